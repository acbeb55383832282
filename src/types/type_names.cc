// The lookup from a type name, as read from a store file, to its id.
#include <cstring>

#include "types/value_codec.h"

namespace trove {

int32_t typeIdFromName(const char* name, uint32_t length) {
  if (name == nullptr) return errInvalidArgument;
  for (TypeId id = 0; id < 64; ++id) {
    const char* entry = typeNameTable[id];
    if (entry[0] == '\0') continue;
    // Exact and case-sensitive: the entry has exactly `length` characters.
    if (std::strlen(entry) == length && std::memcmp(entry, name, length) == 0) {
      return static_cast<int32_t>(id);
    }
  }
  return errInvalidArgument;
}

}  // namespace trove
