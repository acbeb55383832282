#include "types/string_codec.h"

#include <cstring>
#include <limits>

#include "types/copy_out.h"
#include "types/owned_block.h"

namespace trove {

StringCodecBase::~StringCodecBase() {
  giveBlock(owner, text);
}

int32_t StringCodecBase::GetBinary(void* buffer, uint32_t size, uint32_t* required) const {
  const uint32_t length = text != nullptr ? static_cast<uint32_t>(std::strlen(text)) : 0;
  // An empty text yields no bytes at all, not a lone NUL.
  return copyValueOut(text, length != 0 ? length + 1 : 0, buffer, size, required);
}

int32_t StringCodecBase::SetBinary(const void* data, uint32_t size) {
  if (data == nullptr) return errInvalidArgument;
  if (size == std::numeric_limits<uint32_t>::max()) return errInvalidArgument;  // no room for NUL
  void* block = nullptr;
  const int32_t result = takeBlock(owner, size + 1, &block);
  if (result < 0) return result;
  char* fresh = static_cast<char*>(block);
  std::memcpy(fresh, data, size);
  fresh[size] = '\0';
  if (text != nullptr && std::strcmp(text, fresh) == 0) {
    giveBlock(owner, fresh);
    return errUnchanged;
  }
  giveBlock(owner, text);
  text = fresh;
  return errOk;
}

int32_t StringCodec::FromText(const char* source) {
  if (source == nullptr) return errInvalidArgument;
  const std::size_t length = std::strlen(source);
  if (length >= std::numeric_limits<uint32_t>::max()) return errInvalidArgument;
  return SetBinary(source, static_cast<uint32_t>(length));
}

}  // namespace trove
