// Read, write, read again. Whatever tree the reader makes, the writer's text
// must read back without error, and one write must reach a fixed point: the
// tree read from a written text writes the same text again. When the first
// tree holds nothing the store layout normalises (wide strings, which are
// written as tSTRING; sibling keys whose names differ only in case, which a
// reload merges; key names holding a path separator), the second tree equals
// the first and the second text equals the first byte for byte.
#include "base/case_folding.h"
#include "fuzz_support.h"

namespace {

using namespace trove;

// Whether the store layout keeps the tree exactly as it is.
bool keptExactly(const XmlNode* node) {
  bool kept = true;
  node->forEachValue([&](const char*, const ValueCodec* codec) {
    kept = kept && codec->GetType() != TROVE_TWSTRING;
  });
  std::vector<const XmlNode*> children;
  node->forEachChild([&](const XmlNode& child) { children.push_back(&child); });
  for (size_t i = 0; kept && i < children.size(); ++i) {
    const std::string_view name = children[i]->name;
    kept = !name.empty() && name.find_first_of("/\\") == std::string_view::npos &&
           keptExactly(children[i]);
    for (size_t j = 0; kept && j < i; ++j) kept = !namesEqual(children[j]->name, children[i]->name);
  }
  return kept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 20) return -1;
  fuzz::Document first;
  first.parse(std::string_view(reinterpret_cast<const char*>(data), size));
  std::string text1;
  // Only a tWCHAR value, which has no text form, keeps a tree from being written.
  const int32_t written = first.get().serialize(text1);
  if (written == errUnspecified) return 0;
  fuzz::check(written == errOk, "the writer failed", std::to_string(written));

  fuzz::Document second;
  fuzz::check(second.parse(text1) == errOk, "a written store does not read back", text1);
  std::string text2;
  fuzz::check(second.get().serialize(text2) == errOk, "a reread store does not write", text1);

  fuzz::Document third;
  fuzz::check(third.parse(text2) == errOk, "a rewritten store does not read back", text2);
  std::string text3;
  fuzz::check(third.get().serialize(text3) == errOk, "a third write failed", text2);
  fuzz::check(text3 == text2, "writing is not stable after one round", text2 + "\n---\n" + text3);
  fuzz::check(fuzz::dump(third.root()) == fuzz::dump(second.root()),
              "the tree changed over a round", text2);

  if (keptExactly(first.root())) {
    fuzz::check(text2 == text1, "the second text differs from the first",
                text1 + "\n---\n" + text2);
    fuzz::check(fuzz::dump(second.root()) == fuzz::dump(first.root()),
                "the second tree differs from the first",
                fuzz::dump(first.root()) + "\n---\n" + fuzz::dump(second.root()));
  }
  return 0;
}
