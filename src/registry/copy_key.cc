// Copying a key tree into another Registry object.
#include "registry/registry_methods.h"
#include "trove/result_codes.h"

namespace trove {

int32_t CopyKey(void*, uint64_t, void*, uint64_t) {
  return errNotImplemented;
}

int32_t CopyKeyByPath(void*, const char*, void*) {
  return errNotImplemented;
}

}  // namespace trove
