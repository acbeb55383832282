// A host string object: UTF-16 characters and their count at the start of the
// object, filled by the host's string-assign function when a module hands
// text out in the string-object type.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "trove/abi.h"

namespace trove::host {

class StringObject {
 public:
  StringObject();
  explicit StringObject(std::u16string_view text);
  ~StringObject();
  StringObject(const StringObject&) = delete;
  StringObject& operator=(const StringObject&) = delete;

  // The object to hand to a module (the buffer argument of a value call).
  void* get() { return &view_; }
  std::u16string_view text() const { return {view_.chars, view_.length}; }
  void assign(std::u16string_view text);

  // How often the host's string-assign function filled this object.
  uint32_t assignCount() const { return assignCount_; }

 private:
  friend int32_t assignStringObject(void*, uint32_t, uint32_t, const void*, uint32_t, uint32_t);
  TroveStringObject view_;
  std::u16string storage_;
  uint32_t assignCount_ = 0;
};

// The host's string-assign function: replaces the text of a StringObject with
// the UTF-16 data (code page 1200) of the given byte size, up to its first
// NUL unit. An object that is not a live StringObject, or another code page,
// is refused.
int32_t assignStringObject(void* stringObject, uint32_t a, uint32_t b, const void* data,
                           uint32_t sizeBytes, uint32_t codePage);

}  // namespace trove::host
