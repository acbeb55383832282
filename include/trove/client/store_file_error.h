// A store file that cannot be used as it is: not a regular file, held by
// another writer for too long, or replaced by another writer since it was
// loaded. reason() says which, in words, without the result code's message.
#pragma once

#include <string>

#include "trove/client/error.h"

namespace trove {

class StoreFileError : public Error {
 public:
  // `action` is what was being done ("open /a/b.xml"), `reason` why it failed.
  StoreFileError(int32_t code, const std::string& action, std::string reason)
      : Error(code, action + ": " + reason), reason_(std::move(reason)) {}

  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string reason_;
};

}  // namespace trove
