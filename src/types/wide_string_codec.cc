#include "types/wide_string_codec.h"

#include <cstring>
#include <limits>

#include "base/utf8.h"
#include "types/copy_out.h"
#include "types/number_text.h"
#include "types/owned_block.h"

namespace trove {

WideStringCodecBase::~WideStringCodecBase() {
  giveBlock(owner, text);
}

// A text of an odd byte count would end in the middle of a unit, so its block
// gets one more zero byte: the last byte becomes a unit with a zero high
// byte, followed by a whole zero unit.
int32_t WideStringCodecBase::takeTextBlock(uint32_t count, char16_t** block) const {
  const uint32_t tail = count % 2 == 0 ? 2 : 3;
  if (count > std::numeric_limits<uint32_t>::max() - tail) return errInvalidArgument;
  void* raw = nullptr;
  const int32_t result = takeBlock(owner, count + tail, &raw);
  if (result < 0) return result;
  std::memset(static_cast<char*>(raw) + count, 0, tail);
  *block = static_cast<char16_t*>(raw);
  return errOk;
}

void WideStringCodecBase::adoptText(char16_t* fresh) {
  giveBlock(owner, text);
  text = fresh;
}

uint32_t WideStringCodecBase::unitCount() const {
  uint32_t count = 0;
  if (text != nullptr) {
    while (text[count] != 0) ++count;
  }
  return count;
}

int32_t WideStringCodecBase::GetBinary(void* buffer, uint32_t size, uint32_t* required) const {
  const uint32_t units = unitCount();
  return copyValueOut(text, units != 0 ? 2 * units + 2 : 0, buffer, size, required);
}

int32_t WideStringCodecBase::SetBinary(const void* data, uint32_t size) {
  if (data == nullptr) return errInvalidArgument;
  char16_t* fresh = nullptr;
  const int32_t result = takeTextBlock(size, &fresh);
  if (result < 0) return result;
  std::memcpy(fresh, data, size);
  if (text != nullptr) {
    uint32_t i = 0;
    while (text[i] != 0 && text[i] == fresh[i]) ++i;
    if (text[i] == fresh[i]) {
      giveBlock(owner, fresh);
      return errUnchanged;
    }
  }
  adoptText(fresh);
  return errOk;
}

// UTF-8, one unit at a time: surrogates are not paired, each gives its own
// three bytes.
int32_t WideStringCodec::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  const uint32_t units = unitCount();
  uint64_t bytes = 0;
  for (uint32_t i = 0; i < units; ++i) {
    bytes += text[i] < 0x80 ? 1 : text[i] < 0x800 ? 2 : 3;
  }
  const uint64_t count = units != 0 ? bytes + 1 : 0;
  if (count > std::numeric_limits<uint32_t>::max()) {
    // No 32-bit size can hold this text.
    if (required != nullptr) *required = std::numeric_limits<uint32_t>::max();
    if (buffer == nullptr) return size == 0 ? errOk : errInvalidArgument;
    return errBufferTooSmall;
  }
  int32_t result = errOk;
  if (!beginValueCopyOut(static_cast<uint32_t>(count), buffer, size, required, &result))
    return result;
  // Unit by unit: a surrogate is written as the 3 bytes of its own value.
  char* out = static_cast<char*>(buffer);
  for (uint32_t i = 0; i < units; ++i) out += encodeUtf8(text[i], out);
  // An empty text still gets its NUL when there is room for one.
  if (units != 0 || size >= 1) *out = 0;
  return errOk;
}

// Hexadecimal digits of the UTF-16 bytes. An odd-length text or a pair that is
// not hexadecimal gives an empty text. The bytes are decoded straight into the
// result block rather than through a scratch block: one allocation, and a
// failed allocation leaves the value as it was.
int32_t WideStringCodec::FromText(const char* source) {
  if (source == nullptr) return errInvalidArgument;
  const std::size_t length = std::strlen(source);
  if (length / 2 > std::numeric_limits<uint32_t>::max()) return errInvalidArgument;
  const uint32_t count = length % 2 == 0 ? static_cast<uint32_t>(length / 2) : 0;
  char16_t* fresh = nullptr;
  const int32_t result = takeTextBlock(count, &fresh);
  if (result < 0) return result;
  uint8_t* bytes = reinterpret_cast<uint8_t*>(fresh);
  for (uint32_t i = 0; i < count; ++i) {
    if (!readHexByte(source[2 * i], source[2 * i + 1], &bytes[i])) {
      fresh[0] = 0;
      break;
    }
  }
  adoptText(fresh);
  return errOk;
}

}  // namespace trove
