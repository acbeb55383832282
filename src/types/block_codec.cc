#include "types/block_codec.h"

#include <cstring>
#include <limits>

#include "types/copy_out.h"
#include "types/number_text.h"
#include "types/owned_block.h"

namespace trove {

BlockCodecBase::~BlockCodecBase() {
  giveBlock(owner, data);
}

void BlockCodecBase::adoptBlock(uint8_t* fresh, uint32_t count) {
  giveBlock(owner, data);
  data = fresh;
  size = count;
}

int32_t BlockCodecBase::GetBinary(void* buffer, uint32_t bufferSize, uint32_t* required) const {
  return copyValueOut(data, size, buffer, bufferSize, required);
}

int32_t BlockCodecBase::SetBinary(const void* bytes, uint32_t count) {
  if (bytes == nullptr) return errInvalidArgument;
  if (count != 0 && count == size && std::memcmp(data, bytes, count) == 0) return errUnchanged;
  void* fresh = nullptr;
  if (count != 0) {
    const int32_t result = takeBlock(owner, count, &fresh);
    if (result < 0) return result;
    std::memcpy(fresh, bytes, count);
  }
  adoptBlock(static_cast<uint8_t*>(fresh), count);
  return errOk;
}

template <TypeId Id>
int32_t BlockCodec<Id>::ToText(char* buffer, uint32_t bufferSize, uint32_t* required) const {
  // The count includes room for a terminator that is never written.
  const uint64_t count = 2 * uint64_t{size} + 1;
  if (count > std::numeric_limits<uint32_t>::max()) {
    // No 32-bit size can hold this text.
    if (required != nullptr) *required = std::numeric_limits<uint32_t>::max();
    if (buffer == nullptr) return bufferSize == 0 ? errOk : errInvalidArgument;
    return errBufferTooSmall;
  }
  int32_t result = errOk;
  if (!beginValueCopyOut(static_cast<uint32_t>(count), buffer, bufferSize, required, &result)) {
    return result;
  }
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (uint32_t i = 0; i < size; ++i) {
    buffer[2 * i] = kDigits[data[i] >> 4];
    buffer[2 * i + 1] = kDigits[data[i] & 0x0F];
  }
  return errOk;
}

// Always errOk on success, even when the bytes equal the stored ones.
template <TypeId Id>
int32_t BlockCodec<Id>::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  const std::size_t length = std::strlen(text);
  if (length % 2 != 0 || length / 2 > std::numeric_limits<uint32_t>::max()) {
    return errInvalidArgument;
  }
  const uint32_t count = static_cast<uint32_t>(length / 2);
  void* scratch = nullptr;
  if (count != 0) {
    const int32_t result = takeBlock(owner, count, &scratch);
    if (result < 0) return result;
  }
  uint8_t* bytes = static_cast<uint8_t*>(scratch);
  for (uint32_t i = 0; i < count; ++i) {
    if (!readHexByte(text[2 * i], text[2 * i + 1], &bytes[i])) {
      giveBlock(owner, scratch);
      return errInvalidArgument;
    }
  }
  adoptBlock(bytes, count);
  return errOk;
}

template class BlockCodec<TROVE_TPTR>;
template class BlockCodec<TROVE_TBINARY>;

}  // namespace trove
