#include "frame/copy_out.h"

#include <cstring>

#include "trove/result_codes.h"

namespace trove {

int32_t copyStringOut(char* buffer, uint32_t size, uint32_t* required, const char* text) {
  uint64_t length = text == nullptr ? 0 : std::strlen(text);
  // Names longer than a 32-bit size can describe cannot be handed out.
  if (length >= UINT32_MAX) {
    if (required != nullptr) {
      *required = 0;
    }
    return errInvalidSize;
  }
  uint32_t needed = text == nullptr ? 0 : static_cast<uint32_t>(length) + 1;
  if (required != nullptr) {
    *required = needed;
  }
  if (buffer == nullptr) {
    return size == 0 ? errOk : errInvalidArgument;
  }
  if (size < needed) {
    return errBufferTooSmall;
  }
  if (needed > 0) {
    std::memcpy(buffer, text, needed);
  }
  return errOk;
}

}  // namespace trove
