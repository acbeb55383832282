#include "types/copy_out.h"

#include <cstring>

namespace trove {

int32_t copyValueOut(const void* source, uint32_t count, void* buffer, uint32_t size,
                     uint32_t* required) {
  int32_t result = errOk;
  if (beginValueCopyOut(count, buffer, size, required, &result) && count != 0) {
    std::memcpy(buffer, source, count);
  }
  return result;
}

int32_t copyStringOut(char* buffer, uint32_t size, uint32_t* required, const char* text) {
  const uint64_t length = text == nullptr ? 0 : std::strlen(text);
  if (length >= UINT32_MAX) {
    if (required != nullptr) *required = 0;
    return errInvalidSize;
  }
  return copyValueOut(text, text == nullptr ? 0 : static_cast<uint32_t>(length) + 1, buffer, size,
                      required);
}

}  // namespace trove
