// The lookup from a type name, as read from a store file, to its id.
#include <cstring>

#include "types/value_codec.h"

namespace trove {

namespace {

// Type names by length and first differing bytes: a small open-addressed
// table over the 64 entries, built once. Every value element of a store is
// looked up here.
class TypeNameLookup {
 public:
  TypeNameLookup() {
    std::memset(slots_, kFree, sizeof(slots_));
    for (TypeId id = 0; id < 64; ++id) {
      const char* entry = typeNameTable[id];
      if (entry[0] == '\0') continue;
      const uint32_t length = static_cast<uint32_t>(std::strlen(entry));
      lengths_[id] = length;
      uint32_t slot = hash(entry, length);
      while (slots_[slot] != kFree) slot = (slot + 1) % kSlots;
      slots_[slot] = static_cast<uint8_t>(id);
    }
  }

  int32_t find(const char* name, uint32_t length) const {
    for (uint32_t slot = hash(name, length);; slot = (slot + 1) % kSlots) {
      if (slots_[slot] == kFree) return errInvalidArgument;
      const char* entry = typeNameTable[slots_[slot]];
      // Exact and case-sensitive: the entry has exactly `length` characters.
      if (lengths_[slots_[slot]] == length && std::memcmp(entry, name, length) == 0) {
        return slots_[slot];
      }
    }
  }

 private:
  static constexpr uint32_t kSlots = 256;
  static constexpr uint8_t kFree = 0xFF;

  static uint32_t hash(const char* name, uint32_t length) {
    uint32_t h = length * 31u;
    for (uint32_t i = 0; i < length; ++i) h = h * 131u + static_cast<uint8_t>(name[i]);
    return h % kSlots;
  }

  uint8_t slots_[kSlots];
  uint32_t lengths_[64] = {};
};

}  // namespace

int32_t typeIdFromName(const char* name, uint32_t length) {
  if (name == nullptr) return errInvalidArgument;
  static const TypeNameLookup lookup;
  return lookup.find(name, length);
}

}  // namespace trove
