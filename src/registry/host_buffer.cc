#include "registry/host_buffer.h"

#include <algorithm>
#include <cstring>

#include "services/host_services.h"

namespace trove {

HostBuffer::~HostBuffer() {
  // Only the plain buffer's own block can be here: a derived buffer has
  // already let go of anything that is not a heap block.
  if (data != nullptr) {
    hostFree(heap, data);
  }
}

uint8_t* HostBuffer::reserve(uint32_t n, bool keep) {
  if (n == kCurrent) {
    return data;
  }
  if (n > capacity) {
    return replaceBlock(n, keep) ? data : nullptr;
  }
  size = n;
  return data;
}

uint8_t* HostBuffer::resize(uint32_t n, bool keep) {
  if (n == kCurrent) {
    n = size;
  }
  if (n == 0) {
    reset();
    return data;
  }
  if (n > capacity) {
    return reserve(n, keep);
  }
  if (n == capacity) {
    size = n;
    return data;
  }
  return replaceBlock(n, keep) ? data : nullptr;
}

void HostBuffer::reset() {
  if (onHeap()) {
    hostFree(heap, data);
  }
  data = nullptr;
  size = 0;
  capacity = 0;
}

void HostBuffer::becomeEmpty() {
  HostBuffer::reset();
}

bool HostBuffer::replaceBlock(uint32_t n, bool keep) {
  void* fresh = nullptr;
  if (keep && onHeap()) {
    // The heap's reallocation carries the content over; only whether a block
    // came back counts. A failed one leaves the old block, freed below.
    hostRealloc(heap, &fresh, data, n);
    if (fresh == nullptr) {
      becomeEmpty();
      return false;
    }
  } else {
    if (onHeap()) {  // nothing to keep: give the old block back first
      hostFree(heap, data);
      data = nullptr;
      size = 0;
      capacity = 0;
    }
    int32_t result = hostAlloc(heap, &fresh, n);
    if (result < 0 || fresh == nullptr) {
      becomeEmpty();
      return false;
    }
    // What is left to keep lives in storage that is not the heap's.
    if (keep && data != nullptr && size > 0) {
      std::memcpy(fresh, data, std::min(size, n));
    }
  }
  data = static_cast<uint8_t*>(fresh);
  size = n;
  capacity = n;
  return true;
}

InlineHostBuffer::InlineHostBuffer(const void* heapObject) : HostBuffer(heapObject) {
  data = area_;
  capacity = kInlineSize;
}

InlineHostBuffer::~InlineHostBuffer() {
  if (onHeap()) {
    hostFree(heap, data);
  }
  data = nullptr;  // the base destructor must not see the inline area
}

uint8_t* InlineHostBuffer::resize(uint32_t n, bool keep) {
  if (n == kCurrent) {
    n = size;
  }
  if (n > kInlineSize) {
    return HostBuffer::resize(n, keep);
  }
  if (onHeap()) {  // back into the area, which cannot be made smaller
    uint8_t* old = data;
    if (keep) {
      std::memcpy(area_, old, std::min(size, n));
    }
    hostFree(heap, old);
    data = area_;
    capacity = kInlineSize;
  }
  size = n;
  return data;
}

void InlineHostBuffer::reset() {
  if (onHeap()) {
    hostFree(heap, data);
  }
  data = area_;
  size = 0;
  capacity = kInlineSize;
}

}  // namespace trove
