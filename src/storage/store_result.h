// How the store's file operations report: every system failure becomes a
// result code, and a few of those become the module's own codes before the
// load or the save returns them.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace trove {

// The result of a load of a named store (file operations and parser alike):
// missing file or directory -> errFileNotFound, errNotInitialized ->
// errWrongState, errSysAlreadyExists -> errAlreadyExists, the parser's
// positive 1 and 2 -> 0; everything else unchanged.
int32_t normalizeLoadResult(int32_t code);

// The result of a step of the save: the module's translation of the code
// (errFalse becomes 3).
int32_t normalizeSaveResult(int32_t code);

// A platform failure as a result code, normalised as the save reports it.
int32_t saveResultFromError(platform::WinError error);

// A platform failure as a result code, normalised as the load reports it.
int32_t loadResultFromError(platform::WinError error);

}  // namespace trove
