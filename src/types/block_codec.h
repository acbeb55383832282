// tBINARY and tPTR: a byte block of any length, owned on the owner's host
// heap; its text form is two upper-case hexadecimal digits per byte.
#pragma once

#include <cstdint>

#include "types/value_codec.h"

namespace trove {

// Binary side and ownership of a byte block.
class BlockCodecBase : public ValueCodec {
 public:
  explicit BlockCodecBase(PropertiesMap* owner) : owner(owner) {}
  ~BlockCodecBase() override;
  BlockCodecBase(const BlockCodecBase&) = delete;
  BlockCodecBase& operator=(const BlockCodecBase&) = delete;

  int32_t GetBinary(void* buffer, uint32_t size, uint32_t* required) const override;
  int32_t SetBinary(const void* bytes, uint32_t count) override;

 protected:
  // Frees the old block; `fresh` of `count` bytes becomes the value.
  void adoptBlock(uint8_t* fresh, uint32_t count);

  // Empty blocks own no memory: `data` stays null whenever `size` is 0, so a
  // host that gives null (or refuses) for 0 bytes makes no difference.
  uint8_t* data = nullptr;
  uint32_t size = 0;
  PropertiesMap* owner;
};

template <TypeId Id>
class BlockCodec final : public BlockCodecBase {
 public:
  using BlockCodecBase::BlockCodecBase;
  TypeId GetType() const override { return Id; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

}  // namespace trove
