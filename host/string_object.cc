#include "trove/host/string_object.h"

#include <mutex>
#include <unordered_map>

#include "trove/result_codes.h"

namespace trove::host {
namespace {

// Live string objects by the address handed to modules, so that the assign
// function never writes through an address that is not one of them.
std::mutex gLiveMutex;
std::unordered_map<const void*, StringObject*>& liveStrings() {
  static auto* live = new std::unordered_map<const void*, StringObject*>;
  return *live;
}

constexpr uint32_t kCodePageUtf16 = 1200;

}  // namespace

StringObject::StringObject() : StringObject(std::u16string_view{}) {}

StringObject::StringObject(std::u16string_view text) {
  assign(text);
  std::lock_guard lock(gLiveMutex);
  liveStrings()[&view_] = this;
}

StringObject::~StringObject() {
  std::lock_guard lock(gLiveMutex);
  liveStrings().erase(&view_);
}

void StringObject::assign(std::u16string_view text) {
  storage_.assign(text);
  view_.chars = storage_.c_str();
  view_.length = static_cast<uint32_t>(storage_.size());
}

// The two numbers that come before the data (the module passes 0 and 0xFFFF)
// are taken as "the whole string": the text always replaces what was there.
int32_t assignStringObject(void* stringObject, uint32_t, uint32_t, const void* data,
                           uint32_t sizeBytes, uint32_t codePage) {
  if (codePage != kCodePageUtf16) return errNotSupported;
  if (!data && sizeBytes) return errInvalidArgument;
  std::lock_guard lock(gLiveMutex);
  auto found = liveStrings().find(stringObject);
  if (found == liveStrings().end()) return errInvalidArgument;
  // The text ends at the first NUL unit within the size (the data usually
  // carry their terminator); an odd last byte is no unit.
  const char16_t* units = static_cast<const char16_t*>(data);
  size_t count = sizeBytes / 2;
  size_t length = 0;
  while (length < count && units[length] != 0) ++length;
  StringObject& target = *found->second;
  target.assign(std::u16string_view(units, length));
  ++target.assignCount_;
  return errOk;
}

}  // namespace trove::host
