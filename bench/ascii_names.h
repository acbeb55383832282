// Name matching as a pugixml or tinyxml2 user writes it for case-insensitive
// settings: ASCII case folding only (trove folds full Unicode case).
#pragma once

#include <strings.h>
#include <cstring>
#include <string_view>

namespace trove_bench {

inline bool equalsIgnoringCase(const char* name, std::string_view wanted) {
  return name && std::strlen(name) == wanted.size() &&
         ::strncasecmp(name, wanted.data(), wanted.size()) == 0;
}

// Calls `visit` with each "/"-separated segment of `path` until it answers
// false; returns whether every segment was visited.
template <typename Visit>
bool forEachSegment(std::string_view path, Visit visit) {
  while (!path.empty()) {
    const size_t slash = path.find('/');
    if (!visit(path.substr(0, slash))) return false;
    if (slash == std::string_view::npos) break;
    path.remove_prefix(slash + 1);
  }
  return true;
}

}  // namespace trove_bench
