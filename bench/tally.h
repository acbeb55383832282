// What a walk over a loaded store saw: its keys, its values, and a checksum
// of every key name and every value read in its stored type, so that each
// library's walk can be checked against the others'. The checksum is a sum,
// so the order of the visit does not matter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trove_bench {

struct Tally {
  uint64_t keys = 0;
  uint64_t values = 0;
  uint64_t sum = 0;

  bool operator==(const Tally&) const = default;

  void key(std::string_view name);
  // A value as trove hands it over: its type and its bytes in that type
  // (a string without its terminator).
  void binary(std::string_view name, uint32_t type, const void* data, size_t size);
  // A value as an XML library hands it over: the element's name (the type
  // name) and its decoded text, read here in that type as a program would.
  void text(std::string_view name, const char* element, const char* content);

  // The pieces, for readers that convert values themselves.
  void number(std::string_view name, uint32_t type, uint64_t bits);
  void bytes(std::string_view name, uint32_t type, const void* data, size_t size);
};

// The type id of a value element's name ("tDWORD" gives 4), or 0.
uint32_t typeOfElement(const char* element);

inline bool isKeyElement(const char* element) {
  return element[0] == 'k' && element[1] == 'e' && element[2] == 'y' && element[3] == 0;
}

}  // namespace trove_bench
