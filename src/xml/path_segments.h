// Splitting a key path into segments. "/" separates; a backslash separates
// only where the rest of the path holds no "/" at all, so 'a\b/c' is the two
// segments 'a\b' and 'c' while 'a\b' alone is 'a' and 'b'. An empty segment (a
// leading separator, or two in a row) ends the walk, and so does the end of
// the path; a trailing separator therefore changes nothing.
#pragma once

#include <string_view>

namespace trove {

class PathSegments {
 public:
  explicit PathSegments(const char* path)
      : PathSegments(path != nullptr ? std::string_view(path) : std::string_view()) {}
  explicit PathSegments(std::string_view path);

  // Takes the next segment off the path. False when the walk ends: the rest
  // is empty, or the next segment is empty.
  bool next(std::string_view& segment);

 private:
  const char* rest_;
  const char* end_;
  // The next "/" at or after rest_, or null when the rest holds none. A
  // suffix of a slash-free rest is slash-free too, so each byte is scanned
  // for "/" once however many segments the path has.
  const char* slash_;
};

}  // namespace trove
