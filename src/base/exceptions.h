// The conversion of a caught exception into a result code, for the module's
// entry points: no exception crosses the binary interface.
#pragma once

#include <cstdint>

namespace trove {

// The code for the exception being handled: errOutOfMemory for std::bad_alloc
// and std::length_error (a string asked to outgrow its limit), and
// errUnknownException for anything else or outside a handler.
int32_t resultFromCurrentException() noexcept;

}  // namespace trove
