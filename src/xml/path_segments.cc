#include "xml/path_segments.h"

#include <cstring>

namespace trove {
namespace {

const char* find(const char* from, const char* end, char byte) {
  return static_cast<const char*>(std::memchr(from, byte, static_cast<std::size_t>(end - from)));
}

}  // namespace

PathSegments::PathSegments(std::string_view path)
    : rest_(path.data()), end_(path.data() + path.size()), slash_(nullptr) {
  if (rest_ != nullptr) slash_ = find(rest_, end_, '/');
}

bool PathSegments::next(std::string_view& segment) {
  if (rest_ == nullptr || rest_ == end_) return false;
  const char* separator = slash_ != nullptr ? slash_ : find(rest_, end_, '\\');
  if (separator == rest_) return false;
  if (separator == nullptr) {
    segment = std::string_view(rest_, static_cast<std::size_t>(end_ - rest_));
    rest_ = end_;
    return true;
  }
  segment = std::string_view(rest_, static_cast<std::size_t>(separator - rest_));
  rest_ = separator + 1;
  if (separator == slash_) slash_ = find(rest_, end_, '/');
  return true;
}

}  // namespace trove
