#include "registry/method_frame.h"

#include "base/exceptions.h"

namespace trove {

int32_t resultFromAnyException() noexcept {
  return resultFromCurrentException();
}

}  // namespace trove
