// The memory source of framework strings: a reference-counted object shared by
// the strings that use it. A null allocator means the process heap.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace oru {

// The table has six slots in a fixed order; strings call addRef, release,
// allocate and free. Slots 2 and 4 keep the framework's table layout and are
// never called by strings.
class Allocator {
 public:
  virtual uint32_t addRef() = 0;                  // slot 0
  virtual uint32_t release() = 0;                 // slot 1
  virtual uint32_t unusedSlot2() { return 0; }    // slot 2
  virtual void* allocate(std::size_t bytes) = 0;  // slot 3: null when out of memory
  virtual uint32_t unusedSlot4() { return 0; }    // slot 4
  virtual void free(void* block) = 0;             // slot 5

 protected:
  // Lifetime is governed by release(), never by delete through this type.
  ~Allocator() = default;
};

// Raw blocks from an allocator, or from the process heap when there is none.
inline void* allocateFrom(Allocator* allocator, std::size_t bytes) {
  return allocator != nullptr ? allocator->allocate(bytes) : std::malloc(bytes);
}

inline void freeTo(Allocator* allocator, void* block) {
  if (allocator != nullptr) {
    allocator->free(block);
  } else {
    std::free(block);
  }
}

// A block whose release is deferred until its content has been copied out:
// growing a string hands its old block here so that text taken from the
// string itself stays readable during the copy. Holding a new block frees
// the previous one. The allocator must outlive the holder.
class BlockHolder {
 public:
  BlockHolder() = default;
  BlockHolder(const BlockHolder&) = delete;
  BlockHolder& operator=(const BlockHolder&) = delete;
  ~BlockHolder() { reset(); }

  void hold(void* block, Allocator* allocator, uint64_t capacity) {
    reset();
    block_ = block;
    allocator_ = allocator;
    capacity_ = capacity;
  }

  void reset() {
    if (block_ != nullptr) {
      freeTo(allocator_, block_);
    }
    block_ = nullptr;
    allocator_ = nullptr;
    capacity_ = 0;
  }

  void* block() const { return block_; }
  Allocator* allocator() const { return allocator_; }
  uint64_t capacity() const { return capacity_; }

 private:
  void* block_ = nullptr;
  Allocator* allocator_ = nullptr;
  uint64_t capacity_ = 0;
};

}  // namespace oru
