// Memory that a codec owns, taken from and given back to its owner's host heap.
#pragma once

#include <cstdint>

#include "services/host_services.h"
#include "trove/result_codes.h"

namespace trove {

class PropertiesMap;

// A block of `size` (> 0) bytes from the owner's heap. A host that reports
// success without giving a block is taken as out of memory.
inline int32_t takeBlock(PropertiesMap* owner, uint32_t size, void** block) {
  *block = nullptr;
  const int32_t result = hostAlloc(owner, block, size);
  if (result < 0) {
    *block = nullptr;
    return result;
  }
  if (*block == nullptr) return errOutOfMemory;
  return errOk;
}

// Gives a block back to the heap it came from; null is ignored.
inline void giveBlock(PropertiesMap* owner, void* block) {
  if (block != nullptr) hostFree(owner, block);
}

}  // namespace trove
