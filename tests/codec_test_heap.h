// A host object for codec tests: word 1 is a services table whose alloc and
// free entries keep per-holder accounting, can be told to fail, and can be
// told how to answer a request for 0 bytes. Blocks are filled with 0xCD so
// that code relying on zeroed memory shows itself.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>

#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {
class PropertiesMap;
}

namespace codec_test {

enum class ZeroSize { block, null, refuse };

class TestHeapObject {
 public:
  TestHeapObject() {
    for (auto& entry : services_) entry = reinterpret_cast<void*>(&unsupported);
    services_[TROVE_SERVICE_ALLOC] = reinterpret_cast<void*>(&alloc);
    services_[TROVE_SERVICE_REALLOC] = reinterpret_cast<void*>(&realloc);
    services_[TROVE_SERVICE_FREE] = reinterpret_cast<void*>(&release);
    header_[0] = nullptr;    // no methods
    header_[1] = services_;  // word 1: the services table
    header_[2] = this;       // the host's word
  }
  ~TestHeapObject() {
    for (auto& [block, size] : blocks_) std::free(block);
  }
  TestHeapObject(const TestHeapObject&) = delete;
  TestHeapObject& operator=(const TestHeapObject&) = delete;

  // The owner as the codecs see it: the object's header address.
  trove::PropertiesMap* owner() { return reinterpret_cast<trove::PropertiesMap*>(header_); }

  size_t liveBlocks() const { return blocks_.size(); }
  size_t allocations() const { return allocations_; }
  size_t foreignFrees() const { return foreignFrees_; }
  bool owns(const void* block) const { return blocks_.count(const_cast<void*>(block)) != 0; }
  size_t blockSize(const void* block) const {
    auto it = blocks_.find(const_cast<void*>(block));
    return it == blocks_.end() ? 0 : it->second;
  }

  // After `successes` further successful allocations, every one fails with
  // `code` until stopFailing().
  void failAfter(size_t successes, int32_t code = errOutOfMemory) {
    failing_ = true;
    successesLeft_ = successes;
    failCode_ = code;
  }
  void stopFailing() { failing_ = false; }
  void setZeroSize(ZeroSize mode) { zeroSize_ = mode; }

 private:
  static TestHeapObject* self(void** holder) {
    return static_cast<TestHeapObject*>(holder[1]);  // the word after the holder
  }
  static int32_t alloc(void** holder, void** block, uint32_t size) {
    TestHeapObject* heap = self(holder);
    *block = nullptr;
    if (heap->failing_) {
      if (heap->successesLeft_ == 0) return heap->failCode_;
      --heap->successesLeft_;
    }
    if (size == 0 && heap->zeroSize_ == ZeroSize::null) return errOk;
    if (size == 0 && heap->zeroSize_ == ZeroSize::refuse) return errInvalidArgument;
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) return errOutOfMemory;
    std::memset(memory, 0xCD, size);
    heap->blocks_[memory] = size;
    ++heap->allocations_;
    *block = memory;
    return errOk;
  }
  static int32_t realloc(void**, void** block, void*, uint32_t) {
    *block = nullptr;
    return errNotSupported;
  }
  static int32_t release(void** holder, void* block) {
    TestHeapObject* heap = self(holder);
    auto it = heap->blocks_.find(block);
    if (it == heap->blocks_.end()) {
      ++heap->foreignFrees_;  // not from this holder, or freed twice
      return errInvalidArgument;
    }
    std::free(block);
    heap->blocks_.erase(it);
    return errOk;
  }
  static int32_t unsupported() { return errNotSupported; }

  void* header_[3];
  void* services_[TROVE_SERVICES_COUNT];
  std::map<void*, size_t> blocks_;
  size_t allocations_ = 0;
  size_t foreignFrees_ = 0;
  bool failing_ = false;
  size_t successesLeft_ = 0;
  int32_t failCode_ = errOutOfMemory;
  ZeroSize zeroSize_ = ZeroSize::block;
};

}  // namespace codec_test
