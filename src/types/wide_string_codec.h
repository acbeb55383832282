// tWSTRING: UTF-16 text terminated by a 16-bit zero, owned on the owner's
// host heap. Its text form is UTF-8 going out and hexadecimal UTF-16 bytes
// coming in.
#pragma once

#include <cstdint>

#include "types/value_codec.h"

namespace trove {

// Binary side and ownership of a UTF-16 text.
class WideStringCodecBase : public ValueCodec {
 public:
  explicit WideStringCodecBase(PropertiesMap* owner) : owner(owner) {}
  ~WideStringCodecBase() override;
  WideStringCodecBase(const WideStringCodecBase&) = delete;
  WideStringCodecBase& operator=(const WideStringCodecBase&) = delete;

  int32_t GetBinary(void* buffer, uint32_t size, uint32_t* required) const override;
  int32_t SetBinary(const void* data, uint32_t size) override;

 protected:
  // A block for a text of `count` bytes, its terminator already in place.
  int32_t takeTextBlock(uint32_t count, char16_t** block) const;
  // Frees the old text; `fresh` becomes the value.
  void adoptText(char16_t* fresh);
  // The number of units before the terminator (0 when never set).
  uint32_t unitCount() const;

  char16_t* text = nullptr;  // null until the first successful set
  PropertiesMap* owner;
};

class WideStringCodec final : public WideStringCodecBase {
 public:
  using WideStringCodecBase::WideStringCodecBase;
  TypeId GetType() const override { return TROVE_TWSTRING; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

}  // namespace trove
