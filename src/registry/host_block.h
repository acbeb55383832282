// Scratch memory of one Registry call on the object's host heap, and a
// temporary codec, each given back when the call leaves its scope.
#pragma once

#include <cstdint>
#include <cstring>

#include "object/properties_map.h"
#include "services/host_services.h"
#include "types/value_codec.h"

namespace trove {

class HostBlock {
 public:
  explicit HostBlock(PropertiesMap* owner) : owner_(owner) {}
  ~HostBlock() { reset(); }
  HostBlock(const HostBlock&) = delete;
  HostBlock& operator=(const HostBlock&) = delete;

  // A zero-filled block of `size` bytes; the heap's code on failure.
  int32_t allocateZeroed(uint32_t size) {
    reset();
    void* block = nullptr;
    int32_t result = hostAlloc(owner_, &block, size);
    if (result < 0) {
      return result;
    }
    if (block == nullptr && size > 0) {
      return errOutOfMemory;
    }
    if (block != nullptr) {
      std::memset(block, 0, size);
    }
    block_ = block;
    return errOk;
  }

  void reset() {
    if (block_ != nullptr) {
      hostFree(owner_, block_);
      block_ = nullptr;
    }
  }

  void* get() const { return block_; }
  char* chars() const { return static_cast<char*>(block_); }

 private:
  PropertiesMap* owner_;
  void* block_ = nullptr;
};

class TemporaryCodec {
 public:
  TemporaryCodec(PropertiesMap* owner, TypeId type)
      : owner_(owner), codec_(createValueCodec(owner, type)) {}
  ~TemporaryCodec() { reset(); }
  TemporaryCodec(const TemporaryCodec&) = delete;
  TemporaryCodec& operator=(const TemporaryCodec&) = delete;

  void reset() {
    releaseValueCodec(owner_, codec_);
    codec_ = nullptr;
  }

  explicit operator bool() const { return codec_ != nullptr; }
  ValueCodec* operator->() const { return codec_; }
  ValueCodec* get() const { return codec_; }

 private:
  PropertiesMap* owner_;
  ValueCodec* codec_;
};

}  // namespace trove
