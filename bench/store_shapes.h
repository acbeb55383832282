// The stores the load and per-call benchmarks read, generated in trove's
// canonical layout (CR LF, four spaces per level, subkeys before values), so
// that every library reads exactly the bytes trove itself would write.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace trove_bench {

struct Shape {
  std::string id;     // for --shapes: "typical-1mb", "wide", ...
  std::string title;  // for the tables: "typical, 1 MB"
  std::string text;
  uint64_t keys = 0;    // every key element below the root element
  uint64_t values = 0;  // every value element
  // A tDWORD value the save benchmark changes and sets back, which marks
  // the store changed without changing its text.
  std::string dwordKey;
  std::string dwordName;
  uint32_t dwordValue = 0;
};

// A configuration-like store of about `bytes` bytes: nested sections of
// settings of mixed types (strings with paths, URLs, markup characters and
// non-ASCII text, numbers, flags, doubles, binary tokens), names unique
// among their siblings regardless of case, the same for the same size.
Shape typicalStore(std::string id, std::string title, size_t bytes);
// One key holding `count` subkeys of one string value each.
Shape wideStore(int count);
// A chain of `depth` keys, each holding one tDWORD.
Shape deepStore(int depth);
// `count` keys side by side under the root element, one tDWORD each.
Shape siblingStore(int count);

// The store of the per-call table: `keys` leaf keys spread over ten
// sections of ten groups ("Section3/Group7/Item000123"), so that the leaf
// lists grow with the store, each leaf holding a tDWORD "Width" and a
// tSTRING "Title".
Shape callStore(int keys);
// The 3-segment path of leaf `item` of callStore(keys), its parent's path
// and its index there.
struct LeafPlace {
  std::string path;
  std::string parentPath;
  uint32_t index = 0;
  uint32_t width = 0;  // the value the store holds
};
LeafPlace leafOf(int keys, int item);

}  // namespace trove_bench
