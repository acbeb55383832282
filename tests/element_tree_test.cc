// The element tree: paths, redirect markers, stale handles, allocation
// failures; indexed lists against a plain model; deep trees on a shallow stack.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/case_folding.h"
#include "codec_fixture.h"

namespace trove {
namespace {

using testing::dump;

class ElementTree : public testing::HeapTest {
 protected:
  int32_t add(XmlNode* node, const char* name, uint32_t value) {
    return node->appendValueFromBinary(name, TROVE_TDWORD, &value, 4);
  }
  static std::string text(const ValueCodec* codec) { return testing::textOf(codec); }
  XmlNode* at(const char* path) { return root()->findPath(path, nullptr); }
};

TEST_F(ElementTree, PathsFindCreateAndFoldCase) {
  XmlNode* marker = reinterpret_cast<XmlNode*>(&object);
  XmlNode* parent = marker;
  EXPECT_EQ(root()->findPath("", &parent), root());
  EXPECT_EQ(root()->findPath("/a", &parent), root());
  EXPECT_EQ(parent, marker) << "an empty path records no parent";
  // An empty segment stops creation and lookup where it stands.
  XmlNode* a = root()->createPath("a//b", false);
  EXPECT_EQ(dump(root()), "a{}");
  EXPECT_EQ(root()->createPath("a\\", false), a);
  EXPECT_EQ(root()->findPath("a//b", nullptr), a);
  XmlNode* b = root()->createPath("a/b", false);
  EXPECT_EQ(root()->findPath("A/B", &parent), b);
  EXPECT_EQ(parent, a);
  EXPECT_EQ(root()->findPath("a/missing/deeper", &parent), nullptr);
  EXPECT_EQ(parent, a) << "the last key searched is recorded";
  // Without keys 'x' and 'y' a backslash segment before a slash is one name;
  // with them, creation goes into them.
  XmlNode* c = root()->createPath("x\\y/c", false);
  EXPECT_EQ(root()->findPath("X\\Y/C", nullptr), c);
  EXPECT_EQ(root()->findPath("x\\y", nullptr), nullptr);
  root()->createPath("p/q", false);
  XmlNode* r = root()->createPath("p\\q/r", false);
  EXPECT_EQ(at("p/q/r"), r);
  root()->createPath("s/t\\u", false);  // after the last slash a backslash separates
  root()->createPath("v\\/w", false);
  EXPECT_EQ(dump(root()), "a{b{}}x\\y{c{}}p{q{r{}}}s{t{u{}}}v\\{w{}}");
}

TEST_F(ElementTree, CdataMarkerRedirectsToTheChildsNonameValue) {
  XmlNode* key = root()->createPath("k", false);
  ASSERT_EQ(key->appendValueFromText("x", TROVE_TSTRING, "![CDATA["), errOk);
  ASSERT_EQ(key->appendValueFromText("y", TROVE_TSTRING, "![CDATA"), errOk);
  EXPECT_EQ(text(key->findValue("x")), "![CDATA[") << "no child 'x' yet";
  XmlNode* child = key->createPath("x", false);
  ASSERT_EQ(add(child, "other", 3), errOk);
  EXPECT_EQ(text(key->findValue("x")), "![CDATA[") << "no 'noname' in the child";
  ASSERT_EQ(add(child, "NoName", 7), errOk);
  EXPECT_EQ(text(key->findValue("X")), "7");
  ASSERT_EQ(add(key->createPath("y", false), "noname", 1), errOk);
  EXPECT_EQ(text(key->findValue("y")), "![CDATA") << "only the exact marker redirects";
  // A redirect that leads to another marker is followed in turn.
  ASSERT_EQ(child->appendValueFromText("noname", TROVE_TSTRING, "![CDATA["), errOk);
  ASSERT_EQ(child->removeValue("NoName"), errOk);
  ASSERT_EQ(add(child->createPath("noname", false), "noname", 42), errOk);
  EXPECT_EQ(text(key->findValue("x")), "42");
}

TEST_F(ElementTree, DeepTreesNeedNoDeepStack) {
  constexpr size_t kDepth = 200000;  // far beyond what recursion survives
  std::string path = "d";
  for (size_t i = 1; i < kDepth; ++i) path += "/d";
  XmlNode* deepest = root()->createPath(path.c_str(), false);
  ASSERT_NE(deepest, nullptr);
  EXPECT_EQ(root()->findPath(path.c_str(), nullptr), deepest);
  EXPECT_EQ(document().resolveKey(deepest), deepest);
  uint32_t length = 0;
  EXPECT_EQ(document().rootKeyPath(deepest, nullptr, 0, &length), errOk);
  EXPECT_EQ(length, kDepth * 2 - 1);
  ASSERT_EQ(add(deepest, "v", 1), errOk);
  root()->childAt(0)->clear();
  EXPECT_NE(root()->createPath(path.c_str(), false), nullptr);  // released by the fixture
}

// Handles that no longer or never belonged to the document.
TEST_F(ElementTree, StaleAndForeignHandlesAreStrangers) {
  XmlDocument& doc = document();
  XmlNode* a = root()->createPath("a/b", false)->parent;
  XmlNode* d = root()->createPath("c/d", false);
  EXPECT_EQ(doc.attach(owner()), errWrongState) << "a second attach is refused";
  int local = 0;
  EXPECT_EQ(doc.selectRootKey(reinterpret_cast<XmlNode*>(&local)), errEntryNotFound);
  EXPECT_EQ(doc.resolveKey(d), d);
  EXPECT_EQ(root()->removePath("c"), errOk);
  EXPECT_EQ(doc.resolveKey(d), nullptr);
  EXPECT_EQ(doc.selectRootKey(d), errEntryNotFound);
  host::HeapObject otherHeap;
  XmlDocument other;
  ASSERT_EQ(other.attach(static_cast<PropertiesMap*>(otherHeap.get())), errOk);
  XmlNode* foreign = other.root()->createPath("a", false);
  EXPECT_EQ(doc.resolveKey(foreign), nullptr);
  EXPECT_EQ(doc.selectRootKey(foreign), errEntryNotFound);
  other.release();
  // Clearing the root key keeps the key; a released document stays used up.
  ASSERT_EQ(doc.selectRootKey(a), errOk);
  doc.clearRootKey();
  EXPECT_EQ(dump(root()), "a{}");
  doc.release();
  EXPECT_EQ(object.liveBlocks(), 0u);
  EXPECT_EQ(doc.resolveKey(nullptr), nullptr);
  uint32_t length = 0;
  EXPECT_EQ(doc.keyPath(nullptr, nullptr, 0, &length), errWrongState);
  EXPECT_EQ(doc.attach(owner()), errWrongState);
}

TEST_F(ElementTree, AllocationFailuresKeepEarlierKeysAndLeakNothing) {
  fresh();
  XmlDocument unattached;
  failAfter(0);
  EXPECT_EQ(unattached.attach(owner()), errOutOfMemory);
  stopFailing();
  size_t successes = 0;
  for (XmlNode* made = nullptr; made == nullptr; ++successes) {
    const size_t before = object.liveBlocks();
    failAfter(successes);
    made = root()->createPath("a/b", false);
    stopFailing();
    if (made != nullptr) break;
    // The failing key leaves nothing behind; a key made before it stays.
    EXPECT_EQ(at("a") ? at("a")->childCount() : object.liveBlocks(), at("a") ? 0u : before);
  }
  EXPECT_GT(successes, 1u);
  const size_t blocks = object.liveBlocks();
  for (successes = 0;; ++successes) {
    failAfter(successes);
    const int32_t result = at("a")->appendValueFromText("s", TROVE_TSTRING, "text");
    stopFailing();
    if (result >= 0) break;
    EXPECT_EQ(result, errOutOfMemory);
    EXPECT_EQ(object.liveBlocks(), blocks) << successes;
  }
  EXPECT_EQ(dump(root()), "a{s:tSTRING=text;b{}}");
}

// Against a plain model of the lists, every lookup must give the first match
// in list order and every index the element at that place, through twins,
// appends and removals at the front, middle and end.
TEST_F(ElementTree, IndexedListsAnswerLikeAScanThroughTwinsAndRemovals) {
  const char* names[] = {"k0", "K0", "k1", "STRASSE", "stra\303\237e", "k2", "noname", "k3"};
  std::vector<XmlNode*> keys;
  std::vector<std::string> values;
  unsigned seed = 7;
  auto next = [&seed](size_t bound) {
    seed = seed * 1103515245u + 12345u;
    return static_cast<uint32_t>((seed >> 16) % bound);
  };
  auto firstKey = [&](const char* n) {
    return std::find_if(keys.begin(), keys.end(),
                        [&](XmlNode* k) { return namesEqual(k->name, n); });
  };
  auto firstValue = [&](const char* n) {
    return std::find_if(values.begin(), values.end(),
                        [&](const std::string& v) { return namesEqual(v.c_str(), n); });
  };
  for (int step = 0; step < 600; ++step) {
    const char* n = names[next(8)];
    const uint32_t action = next(6);
    if (action < 2) {
      keys.push_back(root()->createPath(n, true));
    } else if (action < 4) {
      ASSERT_EQ(root()->appendValueFromText(n, TROVE_TDWORD, "1"), errOk);
      values.emplace_back(n);
    } else if (action == 4 && !keys.empty() && !values.empty()) {
      const uint32_t key = next(keys.size()), value = next(values.size());
      ASSERT_EQ(root()->removeChildAt(key), errOk);
      ASSERT_EQ(root()->removeValueAt(value), errOk);
      keys.erase(keys.begin() + key);
      values.erase(values.begin() + value);
    } else if (action == 5) {
      const auto key = firstKey(n);
      ASSERT_EQ(root()->removePath(n), key == keys.end() ? errEntryNotFound : errOk);
      if (key != keys.end()) keys.erase(key);
      const auto value = firstValue(n);
      ASSERT_EQ(root()->removeValue(n), value == values.end() ? errEntryNotFound : errOk);
      if (value != values.end()) values.erase(value);
    }
    ASSERT_EQ(root()->childCount(), keys.size());
    ASSERT_EQ(root()->valueCount(), values.size());
    for (const char* probe : names) {
      const auto key = firstKey(probe);
      ASSERT_EQ(root()->findPath(probe, nullptr), key == keys.end() ? nullptr : *key) << step;
      const auto value = firstValue(probe);
      ASSERT_EQ(root()->findValue(probe),
                value == values.end() ? nullptr : root()->valueAt(value - values.begin()));
    }
    // Forwards, backwards and from the middle, as callers walk.
    for (uint32_t i = 0; i < keys.size(); ++i) ASSERT_EQ(root()->childAt(i), keys[i]) << step;
    for (uint32_t i = keys.size(); i-- > 0;) ASSERT_EQ(root()->childAt(i), keys[i]) << step;
    for (uint32_t i = 0; i < values.size(); ++i) ASSERT_EQ(root()->valueNameAt(i), values[i]);
    for (XmlNode* key : keys) ASSERT_EQ(document().resolveKey(key), key);
  }
  EXPECT_GT(keys.size() + values.size(), 16u) << "the lists must grow past the indexed length";
}

}  // namespace
}  // namespace trove
