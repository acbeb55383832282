// The copy-out protocol shared by every call that fills a caller's buffer
// (GetBinary, ToText, names and paths): the required count is
// reported first, a null buffer with size 0 is a size query, a short buffer
// gets nothing.
#pragma once

#include <cstdint>

#include "trove/result_codes.h"

namespace trove {

// Reports `count` through `required` (when given) and decides the call.
// Returns true when the caller is to write its result into `buffer`; otherwise
// `*result` holds the call's result (errOk for the query form).
inline bool beginValueCopyOut(uint32_t count, const void* buffer, uint32_t size, uint32_t* required,
                              int32_t* result) {
  if (required != nullptr) *required = count;
  if (buffer == nullptr) {
    *result = size == 0 ? errOk : errInvalidArgument;
    return false;
  }
  if (size < count) {
    *result = errBufferTooSmall;
    return false;
  }
  *result = errOk;
  return true;
}

// A NUL-terminated string handed to a caller's buffer: the required size
// (length + 1, or 0 for no text) is the count. A text no 32-bit size can
// describe is errInvalidSize, with 0 required.
int32_t copyStringOut(char* buffer, uint32_t size, uint32_t* required, const char* text);

// The whole protocol for a result that is exactly `count` bytes at `source`.
int32_t copyValueOut(const void* source, uint32_t count, void* buffer, uint32_t size,
                     uint32_t* required);

}  // namespace trove
