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

}  // namespace trove
