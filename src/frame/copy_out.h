// Handing a NUL-terminated string to a caller's buffer.
#pragma once

#include <cstdint>

namespace trove {

// The required size (length + 1, or 0 for no text) goes to `required` before
// anything is checked. A null buffer is a size query (errOk for size 0,
// errInvalidArgument otherwise); a short buffer is errBufferTooSmall and
// receives nothing; otherwise the text and its NUL are copied.
int32_t copyStringOut(char* buffer, uint32_t size, uint32_t* required, const char* text);

}  // namespace trove
