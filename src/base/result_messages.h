// The translations of system errors and of codes into what the module
// reports; the messages themselves are public (trove/result_messages.h).
#pragma once

#include <cstdint>

#include "trove/result_messages.h"

namespace trove {

// Maps a Windows system error number, or an HRESULT, to a result code.
int32_t resultFromSystemError(uint32_t error);

// The translation that the store load and save and the name property apply
// before reporting: missing things become errFileNotFound, errNotInitialized
// errWrongState, errSysAlreadyExists errAlreadyExists, errFalse 3.
int32_t toModuleResult(int32_t code);

}  // namespace trove
