// Unicode full case folding and the comparison of key and value names.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trove {

// The folding of one code point: the code points fill slots[start..2], so a
// code point folds to 3 - start code points.
struct FoldedCodePoint {
  uint32_t start;
  uint32_t slots[3];

  uint32_t count() const { return 3 - start; }
  const uint32_t* begin() const { return slots + start; }
  const uint32_t* end() const { return slots + 3; }
};

// Full case folding (statuses C and F of Unicode 11.0); a code point without
// a mapping, or assigned after 11.0, folds to itself. Constant time, no
// allocation.
FoldedCodePoint caseFold(uint32_t codePoint);

// Whether two UTF-8 names are equal under full case folding. Malformed UTF-8
// decodes leniently: a bad lead byte, a sequence cut short by the end and a
// sequence with bad continuation bytes each give U+FFFD; overlong forms and
// surrogates are taken as they come. Allocates nothing.
bool namesEqual(const char* a, const char* b);

// The same with `a` given by its length (a path segment compared in place)
// and `b` NUL-terminated.
bool namesEqual(const char* a, std::size_t aLength, const char* b);

// A hash of a name's folded code points: names that namesEqual hash alike.
// Lets an index compare one number before it compares names.
uint32_t foldedNameHash(const char* name, std::size_t length);

}  // namespace trove
