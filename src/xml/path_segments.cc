#include "xml/path_segments.h"

#include <cstring>

namespace trove {

PathSegments::PathSegments(const char* path)
    : rest_(path), slash_(path != nullptr ? std::strchr(path, '/') : nullptr) {}

bool PathSegments::next(std::string_view& segment) {
  if (rest_ == nullptr || *rest_ == '\0') return false;
  const char* separator = slash_ != nullptr ? slash_ : std::strchr(rest_, '\\');
  if (separator == rest_) return false;
  if (separator == nullptr) {
    segment = std::string_view(rest_);
    rest_ += segment.size();
    return true;
  }
  segment = std::string_view(rest_, static_cast<std::size_t>(separator - rest_));
  rest_ = separator + 1;
  if (separator == slash_) slash_ = std::strchr(rest_, '/');
  return true;
}

}  // namespace trove
