// tSTRING: NUL-terminated 8-bit text owned on the owner's host heap.
#pragma once

#include <cstdint>

#include "types/value_codec.h"

namespace trove {

// Binary side and ownership of a narrow text.
class StringCodecBase : public ValueCodec {
 public:
  explicit StringCodecBase(PropertiesMap* owner) : owner(owner) {}
  ~StringCodecBase() override;
  StringCodecBase(const StringCodecBase&) = delete;
  StringCodecBase& operator=(const StringCodecBase&) = delete;

  int32_t GetBinary(void* buffer, uint32_t size, uint32_t* required) const override;
  int32_t SetBinary(const void* data, uint32_t size) override;

 protected:
  char* text = nullptr;  // null until the first successful set
  PropertiesMap* owner;
};

class StringCodec final : public StringCodecBase {
 public:
  using StringCodecBase::StringCodecBase;
  TypeId GetType() const override { return TROVE_TSTRING; }
  // The text form is the binary form: the bytes as they are and a NUL.
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override {
    return GetBinary(buffer, size, required);
  }
  int32_t FromText(const char* text) override;
};

}  // namespace trove
