// The element tree on a host heap with accounting: paths, names, values,
// removals, the document's root key and full key paths. Every test ends with
// the owner's heap empty and no block given back through a foreign holder.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/case_folding.h"
#include "trove/abi.h"
#include "trove/host/heap.h"
#include "trove/result_codes.h"
#include "xml/path_segments.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

using host::HeapObject;
using host::HostHeap;

std::vector<std::string> segmentsOf(const char* path) {
  std::vector<std::string> out;
  PathSegments segments(path);
  std::string_view segment;
  while (segments.next(segment)) out.emplace_back(segment);
  return out;
}

using Segments = std::vector<std::string>;

TEST(PathSegmentsTest, SlashWinsOverBackslashWhileOneRemains) {
  EXPECT_EQ(segmentsOf("a/b"), (Segments{"a", "b"}));
  EXPECT_EQ(segmentsOf("a\\b"), (Segments{"a", "b"}));
  EXPECT_EQ(segmentsOf("a\\b/c"), (Segments{"a\\b", "c"}));
  EXPECT_EQ(segmentsOf("a/b\\c"), (Segments{"a", "b", "c"}));
  EXPECT_EQ(segmentsOf("a\\b/c\\d/e"), (Segments{"a\\b", "c\\d", "e"}));
  EXPECT_EQ(segmentsOf("a\\/b"), (Segments{"a\\", "b"}));
  EXPECT_EQ(segmentsOf("abc"), (Segments{"abc"}));
}

TEST(PathSegmentsTest, EmptySegmentsEndTheWalk) {
  EXPECT_EQ(segmentsOf(""), Segments{});
  EXPECT_EQ(segmentsOf(nullptr), Segments{});
  EXPECT_EQ(segmentsOf("/a"), Segments{});
  EXPECT_EQ(segmentsOf("\\a"), Segments{});
  EXPECT_EQ(segmentsOf("a//b"), (Segments{"a"}));
  EXPECT_EQ(segmentsOf("a\\\\b"), (Segments{"a"}));
  EXPECT_EQ(segmentsOf("a/"), (Segments{"a"}));
  EXPECT_EQ(segmentsOf("a\\"), (Segments{"a"}));
  EXPECT_EQ(segmentsOf("a/b/"), (Segments{"a", "b"}));
}

class ElementTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HostHeap::instance().clearViolations();
    ASSERT_EQ(doc.attach(owner()), errOk);
    root = doc.root();
    ASSERT_NE(root, nullptr);
  }

  void TearDown() override {
    HostHeap::instance().stopFailing();
    doc.release();
    EXPECT_EQ(heap.liveBlocks(), 0u);
    EXPECT_EQ(HostHeap::instance().violationCount(), 0u);
  }

  PropertiesMap* owner() const { return reinterpret_cast<PropertiesMap*>(heap.get()); }

  std::string name(const XmlNode* node) const { return node ? node->name : "<null>"; }

  uint32_t dword(const ValueCodec* codec) const {
    uint32_t value = 0;
    EXPECT_GE(codec->GetBinary(&value, sizeof(value), nullptr), 0);
    return value;
  }

  int32_t addDword(XmlNode* node, const char* valueName, uint32_t value) {
    return node->appendValueFromBinary(valueName, TROVE_TDWORD, &value, sizeof(value));
  }

  int32_t addString(XmlNode* node, const char* valueName, const char* text) {
    return node->appendValueFromBinary(valueName, TROVE_TSTRING, text,
                                       static_cast<uint32_t>(std::strlen(text)));
  }

  // The path from `from` to `target` through a buffer of exactly the reported size.
  std::string pathFrom(const XmlNode* from, const XmlNode* target) {
    uint32_t length = 0;
    EXPECT_EQ(from->buildPath(target, nullptr, 0, &length), errOk);
    std::string out(length + 1, '?');
    uint32_t written = 0;
    EXPECT_EQ(from->buildPath(target, out.data(), length + 1, &written), errOk);
    EXPECT_EQ(written, length);
    EXPECT_EQ(out[length], '\0');
    out.resize(length);
    return out;
  }

  HeapObject heap;
  XmlDocument doc;
  XmlNode* root = nullptr;
};

TEST_F(ElementTreeTest, EmptyAndLeadingSeparatorPathsYieldTheStartNode) {
  XmlNode* marker = reinterpret_cast<XmlNode*>(&heap);
  XmlNode* parent = marker;
  EXPECT_EQ(root->findPath("", &parent), root);
  EXPECT_EQ(parent, marker) << "an empty path records no parent";
  EXPECT_EQ(root->findPath("/a", &parent), root);
  EXPECT_EQ(parent, marker);
  EXPECT_EQ(root->createPath("/a", false), root);
  EXPECT_EQ(root->createPath("", false), root);
  EXPECT_EQ(root->childCount(), 0u) << "nothing may be created";
  EXPECT_EQ(root->findPath(nullptr, nullptr), nullptr);
  EXPECT_EQ(root->createPath(nullptr, false), nullptr);
}

TEST_F(ElementTreeTest, EmptyOrTrailingSegmentsStopCreation) {
  XmlNode* a = root->createPath("a//b", false);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(name(a), "a");
  EXPECT_EQ(root->childCount(), 1u);
  EXPECT_EQ(a->childCount(), 0u);
  EXPECT_EQ(root->createPath("a/", false), a);
  EXPECT_EQ(root->createPath("a\\", false), a);
  EXPECT_EQ(root->childCount(), 1u);
  EXPECT_EQ(root->findPath("a//b", nullptr), a);
}

TEST_F(ElementTreeTest, BackslashSegmentsBeforeASlash) {
  // Without keys 'a' and 'b', the whole segment becomes one key's name.
  XmlNode* c = root->createPath("a\\b/c", false);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(root->childCount(), 1u);
  XmlNode* ab = root->childAt(0);
  EXPECT_EQ(name(ab), "a\\b");
  EXPECT_EQ(ab->childAt(0), c);
  EXPECT_EQ(name(c), "c");
  // findPath compares such a segment as a whole name...
  EXPECT_EQ(root->findPath("a\\b/c", nullptr), c);
  EXPECT_EQ(root->findPath("A\\B/C", nullptr), c);
  // ...while a backslash without a later slash separates levels.
  EXPECT_EQ(root->findPath("a\\b", nullptr), nullptr);

  // With keys 'x' and 'y' present, creation goes into them.
  XmlNode* y = root->createPath("x/y", false);
  ASSERT_NE(y, nullptr);
  XmlNode* z = root->createPath("x\\y/z", false);
  ASSERT_NE(z, nullptr);
  EXPECT_EQ(y->childCount(), 1u);
  EXPECT_EQ(y->childAt(0), z);
  EXPECT_EQ(root->childCount(), 2u) << "no key named 'x\\y' may appear";
  EXPECT_EQ(root->findPath("x/y/z", nullptr), z);
}

TEST_F(ElementTreeTest, FindPathRecordsTheHoldingKey) {
  XmlNode* b = root->createPath("a/b", false);
  XmlNode* a = root->findPath("a", nullptr);
  ASSERT_NE(b, nullptr);
  XmlNode* parent = nullptr;
  EXPECT_EQ(root->findPath("a/b", &parent), b);
  EXPECT_EQ(parent, a);
  parent = nullptr;
  EXPECT_EQ(root->findPath("a/missing/deeper", &parent), nullptr);
  EXPECT_EQ(parent, a) << "the last key searched is recorded";
  parent = nullptr;
  EXPECT_EQ(root->findPath("a", &parent), a);
  EXPECT_EQ(parent, root);
}

TEST_F(ElementTreeTest, NamesCompareUnderFullCaseFolding) {
  XmlNode* key = root->createPath("key", false);
  XmlNode* strasse = root->createPath(
      "stra\xC3\x9F"
      "e",
      false);  // straße
  ASSERT_NE(key, nullptr);
  ASSERT_NE(strasse, nullptr);
  EXPECT_EQ(root->findPath("KEY", nullptr), key);
  EXPECT_EQ(root->findPath("Key", nullptr), key);
  EXPECT_EQ(root->findPath("STRASSE", nullptr), strasse);
  EXPECT_EQ(root->findPath("strasse", nullptr), strasse);
  EXPECT_EQ(root->findPath("STRAS", nullptr), nullptr);
  EXPECT_EQ(root->findPath("keys", nullptr), nullptr);
  EXPECT_EQ(root->findPath("ke", nullptr), nullptr);
  EXPECT_EQ(root->createPath("KEY", false), key) << "an existing key is reused";
  EXPECT_EQ(root->childCount(), 2u);

  ASSERT_EQ(addDword(key, "Value", 5), errOk);
  ASSERT_NE(key->findValue("VALUE"), nullptr);
  EXPECT_EQ(dword(key->findValue("VALUE")), 5u);
  EXPECT_EQ(key->addValue("vAlUe", TROVE_TDWORD, "\0\0\0\0", 4), errAlreadyExists);
}

TEST_F(ElementTreeTest, ForceNewMakesTwinsAndLookupsTakeTheFirst) {
  ASSERT_NE(root->createPath("a/old", false), nullptr);
  XmlNode* first = root->findPath("a", nullptr);
  XmlNode* b = root->createPath("a/b", true);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(root->childCount(), 2u);
  XmlNode* twin = root->childAt(1);
  EXPECT_NE(twin, first);
  EXPECT_EQ(name(twin), "a");
  EXPECT_EQ(twin->childAt(0), b) << "'b' goes under the new twin";
  EXPECT_EQ(first->childCount(), 1u);
  EXPECT_EQ(root->findPath("a", nullptr), first);
  EXPECT_EQ(root->findPath("a/b", nullptr), nullptr) << "the first 'a' has no 'b'";
  // forceNew applies to the first segment only.
  XmlNode* c = root->createPath("a/old", true);
  ASSERT_EQ(root->childCount(), 3u);
  EXPECT_EQ(root->childAt(2)->childAt(0), c);
  // A later segment that designates the key reached creates nothing, even
  // when forceNew was set for the first one.
  XmlNode* e = root->createPath("a/\\x/e", true);
  ASSERT_EQ(root->childCount(), 4u);
  ASSERT_EQ(root->childAt(3)->childCount(), 1u);
  EXPECT_EQ(root->childAt(3)->childAt(0), e);
  XmlNode* d = root->createPath("a/d", false);
  EXPECT_EQ(first->childAt(1), d);
  EXPECT_EQ(root->childCount(), 4u);
}

TEST_F(ElementTreeTest, ChildAccessInListOrder) {
  XmlNode* a = root->createPath("a", false);
  XmlNode* b = root->createPath("b", false);
  XmlNode* c = root->createPath("c", false);
  XmlNode* inner = root->createPath("a/inner", false);
  EXPECT_EQ(root->childAt(0), a);
  EXPECT_EQ(root->childAt(1), b);
  EXPECT_EQ(root->childAt(2), c);
  EXPECT_EQ(root->childAt(3), nullptr);
  EXPECT_EQ(root->nextChild(a), b);
  EXPECT_EQ(root->nextChild(b), c);
  EXPECT_EQ(root->nextChild(c), nullptr);
  EXPECT_EQ(root->nextChild(inner), nullptr) << "not a child of root";
  EXPECT_EQ(root->nextChild(nullptr), nullptr);
  EXPECT_EQ(a->childAt(0), inner);

  std::vector<std::string> seen;
  root->forEachChild([&](const XmlNode& child) { seen.emplace_back(child.name); });
  EXPECT_EQ(seen, (Segments{"a", "b", "c"}));
}

TEST_F(ElementTreeTest, RemovalsKeepCountsAndFreeSubtrees) {
  const size_t baseline = heap.liveBlocks();
  ASSERT_NE(root->createPath("a/x/y", false), nullptr);
  ASSERT_EQ(addDword(root->findPath("a/x", nullptr), "v", 1), errOk);
  root->createPath("b", false);
  XmlNode* c = root->createPath("c", false);
  ASSERT_EQ(root->childCount(), 3u);

  EXPECT_EQ(root->removePath("missing"), errEntryNotFound);
  EXPECT_EQ(root->removePath(""), errEntryNotFound);
  EXPECT_EQ(root->removePath("/a"), errEntryNotFound);
  EXPECT_EQ(root->removePath(nullptr), errInvalidArgument);
  EXPECT_EQ(root->childCount(), 3u);

  EXPECT_EQ(root->removePath("A/X"), errOk);
  EXPECT_EQ(root->findPath("a", nullptr)->childCount(), 0u);
  EXPECT_EQ(root->removePath("a/x"), errEntryNotFound);

  EXPECT_EQ(root->removeChildAt(1), errOk);  // 'b'
  EXPECT_EQ(root->childCount(), 2u);
  EXPECT_EQ(root->childAt(1), c);
  EXPECT_EQ(root->nextChild(root->childAt(0)), c);
  EXPECT_EQ(root->removeChildAt(2), errEntryNotFound);

  // An empty segment stops the walk at 'a', which is then what goes.
  EXPECT_EQ(root->removePath("a//c"), errOk);
  EXPECT_EQ(root->childCount(), 1u);
  EXPECT_EQ(root->childAt(0), c);
  EXPECT_EQ(root->removeChildAt(0), errOk);
  EXPECT_EQ(root->childCount(), 0u);
  EXPECT_EQ(root->childAt(0), nullptr);
  EXPECT_EQ(heap.liveBlocks(), baseline);

  // The list is still usable after being emptied.
  XmlNode* again = root->createPath("again", false);
  EXPECT_EQ(root->childAt(0), again);
  EXPECT_EQ(root->nextChild(again), nullptr);
}

TEST_F(ElementTreeTest, ValuesAppendWithoutDuplicateCheck) {
  XmlNode* key = root->createPath("k", false);
  ASSERT_EQ(addDword(key, "v", 1), errOk);
  ASSERT_EQ(addDword(key, "V", 2), errOk);
  ASSERT_EQ(key->appendValueFromText("s", TROVE_TSTRING, "text"), errOk);
  EXPECT_EQ(key->valueCount(), 3u);
  EXPECT_EQ(dword(key->findValue("v")), 1u) << "the first match wins";
  EXPECT_STREQ(key->valueNameAt(1), "V");
  EXPECT_EQ(dword(key->valueAt(1)), 2u);
  EXPECT_EQ(key->valueAt(2)->GetType(), static_cast<TypeId>(TROVE_TSTRING));
  EXPECT_EQ(key->valueAt(3), nullptr);
  EXPECT_EQ(key->valueNameAt(3), nullptr);

  std::vector<std::string> names;
  key->forEachValue([&](const char* n, const ValueCodec*) { names.emplace_back(n); });
  EXPECT_EQ(names, (Segments{"v", "V", "s"}));

  // Removal by name takes the first match; by index the given one.
  EXPECT_EQ(key->removeValue("v"), errOk);
  EXPECT_EQ(key->valueCount(), 2u);
  EXPECT_EQ(dword(key->findValue("v")), 2u);
  EXPECT_EQ(key->removeValueAt(1), errOk);
  EXPECT_EQ(key->valueCount(), 1u);
  EXPECT_EQ(key->findValue("s"), nullptr);
  EXPECT_EQ(key->removeValueAt(1), errEntryNotFound);
  EXPECT_EQ(key->removeValue("s"), errEntryNotFound);
  EXPECT_EQ(key->removeValue(nullptr), errInvalidArgument);
  EXPECT_EQ(key->removeValue("v"), errOk);
  EXPECT_EQ(key->valueCount(), 0u);
  EXPECT_EQ(key->valueAt(0), nullptr);
}

TEST_F(ElementTreeTest, FailedAppendsLeaveNothingBehind) {
  XmlNode* key = root->createPath("k", false);
  const size_t baseline = heap.liveBlocks();
  EXPECT_EQ(key->appendValueFromBinary("v", 16, "x", 1), errOutOfMemory) << "type without codec";
  EXPECT_EQ(key->appendValueFromBinary(nullptr, TROVE_TDWORD, "abcd", 4), errInvalidArgument);
  EXPECT_EQ(key->appendValueFromBinary("v", TROVE_TDWORD, "ab", 2), errInvalidArgument)
      << "the codec's own refusal is the result";
  EXPECT_EQ(key->appendValueFromText("v", TROVE_TSTRING, nullptr), errInvalidArgument);
  EXPECT_EQ(key->addValue(nullptr, TROVE_TDWORD, "abcd", 4), errInvalidArgument);
  EXPECT_EQ(key->valueCount(), 0u);
  EXPECT_EQ(heap.liveBlocks(), baseline);

  // A node without an owner refuses to allocate anything.
  XmlNode orphan{};
  EXPECT_EQ(orphan.appendValueFromBinary("v", TROVE_TDWORD, "abcd", 4), errWrongState);
  EXPECT_EQ(orphan.appendValueFromText("v", TROVE_TSTRING, "t"), errWrongState);
  EXPECT_EQ(orphan.createPath("a", false), nullptr);
}

TEST_F(ElementTreeTest, AddValueAtNamesByIndexAndRefusesOthers) {
  XmlNode* key = root->createPath("k", false);
  uint32_t v = 9;
  ASSERT_EQ(key->addValueAt(0, TROVE_TDWORD, &v, 4), errOk);
  EXPECT_STREQ(key->valueNameAt(0), "noname0");
  ASSERT_EQ(addDword(key, "noname2", 1), errOk);
  ASSERT_EQ(key->valueCount(), 2u);
  EXPECT_EQ(key->addValueAt(2, TROVE_TDWORD, &v, 4), errOk)
      << "the generated name is not checked against existing ones";
  EXPECT_STREQ(key->valueNameAt(2), "noname2");
  EXPECT_EQ(dword(key->findValue("noname2")), 1u);
  EXPECT_EQ(key->addValueAt(0, TROVE_TDWORD, &v, 4), errAlreadyExists);
  EXPECT_EQ(key->addValueAt(2, TROVE_TDWORD, &v, 4), errAlreadyExists);
  EXPECT_EQ(key->addValueAt(4, TROVE_TDWORD, &v, 4), errInvalidArgument);
  EXPECT_EQ(key->addValueAt(3, TROVE_TDWORD, &v, 4), errOk);
  EXPECT_STREQ(key->valueNameAt(3), "noname3");
  EXPECT_EQ(key->valueCount(), 4u);

  EXPECT_EQ(key->addValue("fresh", TROVE_TDWORD, &v, 4), errOk);
  EXPECT_EQ(key->addValue("FRESH", TROVE_TDWORD, &v, 4), errAlreadyExists);
  EXPECT_EQ(key->valueCount(), 5u);
}

TEST_F(ElementTreeTest, CdataMarkerRedirectsToTheChildsNonameValue) {
  XmlNode* key = root->createPath("k", false);
  ASSERT_EQ(addString(key, "x", "![CDATA["), errOk);
  ValueCodec* marker = key->valueAt(0);

  // No child 'x' yet: the marker itself.
  EXPECT_EQ(key->findValue("x"), marker);
  // A child 'x' without "noname": still the marker.
  XmlNode* child = key->createPath("x", false);
  ASSERT_EQ(addDword(child, "other", 3), errOk);
  EXPECT_EQ(key->findValue("x"), marker);
  // With "noname" the redirect is taken, under case folding too.
  ASSERT_EQ(addDword(child, "NoName", 7), errOk);
  ASSERT_NE(key->findValue("X"), nullptr);
  EXPECT_EQ(key->findValue("X"), child->valueAt(1));
  EXPECT_EQ(dword(key->findValue("x")), 7u);

  // addValue sees the redirect as an existing value.
  EXPECT_EQ(key->addValue("x", TROVE_TDWORD, "abcd", 4), errAlreadyExists);

  // Only the exact marker redirects.
  ASSERT_EQ(addString(key, "y", "![CDATA[y"), errOk);
  ASSERT_EQ(addString(key, "z", "![CDATA"), errOk);
  key->createPath("y", false);
  key->createPath("z", false);
  ASSERT_EQ(addDword(key->findPath("y", nullptr), "noname", 1), errOk);
  ASSERT_EQ(addDword(key->findPath("z", nullptr), "noname", 1), errOk);
  EXPECT_EQ(key->findValue("y"), key->valueAt(1));
  EXPECT_EQ(key->findValue("z"), key->valueAt(2));

  // A redirect may lead to another marker, which is followed in turn.
  XmlNode* deeper = root->createPath("m/m/noname", false);
  XmlNode* m = root->findPath("m", nullptr);
  XmlNode* mm = root->findPath("m/m", nullptr);
  ASSERT_EQ(addString(m, "m", "![CDATA["), errOk);
  ASSERT_EQ(addString(mm, "noname", "![CDATA["), errOk);
  EXPECT_EQ(m->findValue("m"), mm->valueAt(0)) << "the deeper key has no noname value yet";
  ASSERT_EQ(addDword(deeper, "noname", 42), errOk);
  EXPECT_EQ(dword(m->findValue("m")), 42u);

  // Removal never redirects: it takes the marker away.
  EXPECT_EQ(key->removeValue("x"), errOk);
  EXPECT_EQ(key->valueCount(), 2u);
  EXPECT_EQ(child->valueCount(), 2u);
  EXPECT_EQ(key->findValue("x"), nullptr);
}

TEST_F(ElementTreeTest, ClearEmptiesValuesAndSubkeys) {
  XmlNode* key = root->createPath("k", false);
  const size_t baseline = heap.liveBlocks();
  ASSERT_EQ(addDword(key, "a", 1), errOk);
  ASSERT_EQ(addString(key, "b", "text"), errOk);
  ASSERT_NE(key->createPath("sub/deeper/deepest", false), nullptr);
  ASSERT_EQ(addDword(key->findPath("sub/deeper", nullptr), "v", 2), errOk);
  ASSERT_NE(key->createPath("second", false), nullptr);
  XmlNode* sibling = root->createPath("sibling", false);

  key->clear();
  EXPECT_EQ(key->childCount(), 0u);
  EXPECT_EQ(key->valueCount(), 0u);
  EXPECT_EQ(key->childAt(0), nullptr);
  EXPECT_EQ(key->findValue("a"), nullptr);
  EXPECT_EQ(root->childCount(), 2u) << "the cleared key itself stays";
  EXPECT_EQ(root->nextChild(key), sibling);
  root->removePath("sibling");
  EXPECT_EQ(heap.liveBlocks(), baseline);
  // The cleared key still works.
  EXPECT_NE(key->createPath("new", false), nullptr);
  EXPECT_EQ(addDword(key, "a", 3), errOk);
}

TEST_F(ElementTreeTest, FindParentSearchesTheSubtreeOnly) {
  XmlNode* b = root->createPath("a/b", false);
  XmlNode* a = root->findPath("a", nullptr);
  XmlNode* d = root->createPath("c/d", false);
  XmlNode* c = root->findPath("c", nullptr);
  EXPECT_EQ(root->findParent(nullptr), nullptr);
  EXPECT_EQ(root->findParent(root), root);
  EXPECT_EQ(root->findParent(a), root);
  EXPECT_EQ(root->findParent(b), a);
  EXPECT_EQ(root->findParent(d), c);
  EXPECT_EQ(a->findParent(d), nullptr);
  EXPECT_EQ(a->findParent(a), a);
  EXPECT_EQ(b->findParent(a), nullptr);
  EXPECT_EQ(root->findParent(reinterpret_cast<const XmlNode*>(&heap)), nullptr);
}

TEST_F(ElementTreeTest, BuildPathSizesAndFailures) {
  XmlNode* b = root->createPath("a/b", false);
  XmlNode* a = root->findPath("a", nullptr);
  XmlNode* other = root->createPath("other", false);

  uint32_t length = 0;
  EXPECT_EQ(root->buildPath(b, nullptr, 0, &length), errOk);
  EXPECT_EQ(length, 3u);

  char small[3] = {'#', '#', '#'};
  length = 0;
  EXPECT_EQ(root->buildPath(b, small, sizeof(small), &length), errUnspecified);
  EXPECT_EQ(length, 0u) << "the length is restored when a branch fails";
  EXPECT_EQ(std::string(small, 3), "###") << "nothing is written";

  char exact[4];
  length = 0;
  EXPECT_EQ(root->buildPath(b, exact, sizeof(exact), &length), errOk);
  EXPECT_EQ(length, 3u);
  EXPECT_STREQ(exact, "a\\b");

  // The target is the start node: the length stays at its full value.
  char one[1] = {'#'};
  length = 0;
  EXPECT_EQ(a->buildPath(a, one, sizeof(one), &length), errBufferTooSmall);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(one[0], '#');
  EXPECT_EQ(pathFrom(a, a), "a");
  EXPECT_EQ(pathFrom(a, b), "a\\b");
  EXPECT_EQ(pathFrom(root, root), "");
  EXPECT_EQ(pathFrom(root, other), "other");

  length = 0;
  EXPECT_EQ(a->buildPath(other, nullptr, 0, &length), errUnspecified);
  EXPECT_EQ(length, 0u);
  length = 7;
  EXPECT_EQ(a->buildPath(nullptr, nullptr, 0, &length), errInvalidArgument);
  EXPECT_EQ(length, 7u);

  // A non-zero entry length: the path goes behind it with a separator.
  char behind[16];
  std::memcpy(behind, "XY", 2);
  length = 2;
  EXPECT_EQ(a->buildPath(b, behind, sizeof(behind), &length), errOk);
  EXPECT_EQ(length, 6u);
  EXPECT_STREQ(behind, "XY\\a\\b");
  length = 2;
  EXPECT_EQ(a->buildPath(b, behind, 6, &length), errUnspecified);
  EXPECT_EQ(length, 2u);
  // Behind an entry length even the root's empty name takes a separator.
  length = 2;
  EXPECT_EQ(root->buildPath(b, behind, sizeof(behind), &length), errOk);
  EXPECT_EQ(length, 7u);
  EXPECT_STREQ(behind, "XY\\\\a\\b");
}

TEST_F(ElementTreeTest, DeepTreesNeedNoDeepStack) {
  // Far deeper than any recursion over the tree could survive.
  constexpr size_t kDepth = 200000;
  std::string path;
  path.reserve(kDepth * 2);
  for (size_t i = 0; i < kDepth; ++i) path += i == 0 ? "d" : "/d";
  XmlNode* deepest = root->createPath(path.c_str(), false);
  ASSERT_NE(deepest, nullptr);
  EXPECT_EQ(root->findPath(path.c_str(), nullptr), deepest);
  EXPECT_EQ(doc.resolveKey(deepest), deepest);
  uint32_t length = 0;
  EXPECT_EQ(doc.rootKeyPath(deepest, nullptr, 0, &length), errOk);
  EXPECT_EQ(length, kDepth * 2 - 1);
  XmlNode* side = root->createPath("side", false);
  EXPECT_EQ(doc.resolveKey(side), side);
  ASSERT_EQ(addDword(deepest, "v", 1), errOk);
  root->childAt(0)->clear();
  EXPECT_EQ(root->childAt(0)->childCount(), 0u);
  EXPECT_NE(root->createPath(path.c_str(), false), nullptr);
  // TearDown releases the rebuilt chain.
}

TEST_F(ElementTreeTest, DocumentStateChecks) {
  EXPECT_EQ(doc.attach(owner()), errWrongState) << "a second attach is refused";
  EXPECT_EQ(doc.currentRootKey(), root);
  EXPECT_EQ(doc.owner(), owner());
  EXPECT_STREQ(root->name, "");
  EXPECT_EQ(root->owner, owner());

  XmlDocument empty;
  EXPECT_EQ(empty.root(), nullptr);
  EXPECT_EQ(empty.selectRootKey(nullptr), errWrongState);
  EXPECT_EQ(empty.setRootPath(""), errWrongState);
  uint32_t length = 0;
  EXPECT_EQ(empty.keyPath(nullptr, nullptr, 0, &length), errWrongState);
  EXPECT_EQ(empty.rootKeyPath(nullptr, nullptr, 0, &length), errWrongState);
  EXPECT_EQ(empty.resolveKey(nullptr), nullptr);
  EXPECT_EQ(empty.nextSibling(root), nullptr);
  empty.clearRootKey();
  empty.release();
}

TEST_F(ElementTreeTest, RootKeyBoundsResolution) {
  XmlNode* b = root->createPath("a/b", false);
  XmlNode* a = root->findPath("a", nullptr);
  XmlNode* d = root->createPath("c/d", false);

  EXPECT_EQ(doc.resolveKey(nullptr), root);
  EXPECT_EQ(doc.resolveKey(d), d);
  ASSERT_EQ(doc.selectRootKey(a), errOk);
  EXPECT_EQ(doc.currentRootKey(), a);
  EXPECT_EQ(doc.resolveKey(nullptr), a);
  EXPECT_EQ(doc.resolveKey(a), a);
  EXPECT_EQ(doc.resolveKey(b), b);
  EXPECT_EQ(doc.resolveKey(d), nullptr) << "outside the root key";
  EXPECT_EQ(doc.resolveKey(root), nullptr);

  // Selecting reaches the whole document, not just the root key's subtree.
  EXPECT_EQ(doc.selectRootKey(d), errOk);
  EXPECT_EQ(doc.resolveKey(d), d);
  EXPECT_EQ(doc.resolveKey(b), nullptr);
  int local = 0;
  EXPECT_EQ(doc.selectRootKey(reinterpret_cast<XmlNode*>(&local)), errEntryNotFound);
  EXPECT_EQ(doc.currentRootKey(), d);
  EXPECT_EQ(doc.selectRootKey(nullptr), errOk);
  EXPECT_EQ(doc.currentRootKey(), root);

  // Paths are taken from the document root, whatever the root key.
  ASSERT_EQ(doc.selectRootKey(d), errOk);
  EXPECT_EQ(doc.setRootPath("A/B"), errOk);
  EXPECT_EQ(doc.currentRootKey(), b);
  EXPECT_EQ(doc.setRootPath("a/missing"), errEntryNotFound);
  EXPECT_EQ(doc.currentRootKey(), b);
  EXPECT_EQ(doc.setRootPath(nullptr), errInvalidArgument);
  EXPECT_EQ(doc.setRootPath(""), errOk);
  EXPECT_EQ(doc.currentRootKey(), root);

  // A removed key no longer resolves.
  EXPECT_EQ(root->removePath("c"), errOk);
  EXPECT_EQ(doc.resolveKey(d), nullptr);
  EXPECT_EQ(doc.selectRootKey(d), errEntryNotFound);

  // Nodes of another document are strangers.
  HeapObject otherHeap;
  XmlDocument other;
  ASSERT_EQ(other.attach(reinterpret_cast<PropertiesMap*>(otherHeap.get())), errOk);
  XmlNode* foreign = other.root()->createPath("a", false);
  EXPECT_EQ(doc.resolveKey(foreign), nullptr);
  EXPECT_EQ(doc.selectRootKey(foreign), errEntryNotFound);
  other.release();
  EXPECT_EQ(otherHeap.liveBlocks(), 0u);
}

TEST_F(ElementTreeTest, NextSiblingWithinTheRootKey) {
  XmlNode* a = root->createPath("a", false);
  XmlNode* b = root->createPath("b", false);
  XmlNode* c = root->createPath("c", false);
  XmlNode* b1 = root->createPath("b/1", false);
  XmlNode* b2 = root->createPath("b/2", false);

  EXPECT_EQ(doc.nextSibling(a), b);
  EXPECT_EQ(doc.nextSibling(b), c);
  EXPECT_EQ(doc.nextSibling(c), nullptr);
  EXPECT_EQ(doc.nextSibling(b1), b2);
  EXPECT_EQ(doc.nextSibling(nullptr), nullptr);
  EXPECT_EQ(doc.nextSibling(root), nullptr);

  ASSERT_EQ(doc.selectRootKey(b), errOk);
  EXPECT_EQ(doc.nextSibling(b), nullptr) << "the root key has no sibling";
  EXPECT_EQ(doc.nextSibling(b1), b2);
  EXPECT_EQ(doc.nextSibling(a), nullptr) << "outside the root key";
}

TEST_F(ElementTreeTest, KeyPathsFromTheRootKeyAndTheDocumentRoot) {
  XmlNode* b = root->createPath("a/b", false);
  XmlNode* a = root->findPath("a", nullptr);
  char buffer[16];
  uint32_t length = 0;

  EXPECT_EQ(doc.keyPath(b, buffer, sizeof(buffer), &length), errOk);
  EXPECT_STREQ(buffer, "a\\b");
  length = 0;
  EXPECT_EQ(doc.rootKeyPath(root, buffer, sizeof(buffer), &length), errOk);
  EXPECT_EQ(length, 0u);
  EXPECT_STREQ(buffer, "");

  ASSERT_EQ(doc.selectRootKey(a), errOk);
  length = 0;
  EXPECT_EQ(doc.keyPath(a, buffer, sizeof(buffer), &length), errOk);
  EXPECT_EQ(length, 1u);
  EXPECT_STREQ(buffer, "a") << "the root key's own name comes first";
  length = 0;
  EXPECT_EQ(doc.keyPath(b, buffer, sizeof(buffer), &length), errOk);
  EXPECT_STREQ(buffer, "a\\b");
  length = 0;
  EXPECT_EQ(doc.keyPath(a, buffer, 1, &length), errBufferTooSmall);
  EXPECT_EQ(length, 1u);
  length = 0;
  EXPECT_EQ(doc.keyPath(b, buffer, 3, &length), errUnspecified);
  EXPECT_EQ(length, 0u);
  length = 0;
  EXPECT_EQ(doc.keyPath(root, nullptr, 0, &length), errUnspecified) << "above the root key";

  ASSERT_EQ(doc.selectRootKey(b), errOk);
  length = 0;
  EXPECT_EQ(doc.rootKeyPath(b, buffer, sizeof(buffer), &length), errOk);
  EXPECT_STREQ(buffer, "a\\b") << "from the document root, whatever the root key";
}

TEST_F(ElementTreeTest, ClearRootKeyAndRelease) {
  ASSERT_NE(root->createPath("a/x", false), nullptr);
  XmlNode* a = root->findPath("a", nullptr);
  XmlNode* b = root->createPath("b", false);
  ASSERT_EQ(addDword(a, "v", 1), errOk);
  ASSERT_EQ(doc.selectRootKey(a), errOk);
  doc.clearRootKey();
  EXPECT_EQ(a->childCount(), 0u);
  EXPECT_EQ(a->valueCount(), 0u);
  EXPECT_EQ(root->childCount(), 2u);
  EXPECT_EQ(doc.currentRootKey(), a);
  EXPECT_EQ(root->nextChild(a), b);

  ASSERT_EQ(doc.selectRootKey(nullptr), errOk);
  doc.clearRootKey();
  EXPECT_EQ(root->childCount(), 0u);
  EXPECT_EQ(doc.root(), root) << "clearing keeps the root";

  root->createPath("c/d", false);
  doc.release();
  EXPECT_EQ(heap.liveBlocks(), 0u);
  EXPECT_EQ(doc.root(), nullptr);
  EXPECT_EQ(doc.resolveKey(nullptr), nullptr);
  EXPECT_EQ(doc.attach(owner()), errWrongState) << "a released document stays used up";
}

TEST_F(ElementTreeTest, AllocationFailuresKeepEarlierKeys) {
  auto& hostHeap = HostHeap::instance();
  // Fail every allocation in turn: keys made for earlier segments stay, the
  // failing one leaves nothing behind.
  size_t successes = 0;
  for (;; ++successes) {
    const size_t before = heap.liveBlocks();
    const uint32_t keysBefore = root->childCount();
    hostHeap.failAllocationsAfter(successes, heap.holder());
    XmlNode* made = root->createPath("a/b", false);
    hostHeap.stopFailing();
    if (made != nullptr) break;
    XmlNode* a = root->findPath("a", nullptr);
    if (a == nullptr) {
      EXPECT_EQ(heap.liveBlocks(), before) << "no block may leak, " << successes;
      EXPECT_EQ(root->childCount(), keysBefore);
    } else {
      EXPECT_EQ(a->childCount(), 0u) << successes;
    }
  }
  EXPECT_GT(successes, 0u);
  XmlNode* a = root->findPath("a", nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->childCount(), 1u);

  const size_t baseline = heap.liveBlocks();
  // Values: a failure at any allocation adds nothing and leaks nothing.
  for (size_t successes = 0;; ++successes) {
    hostHeap.failAllocationsAfter(successes, heap.holder());
    const int32_t result = addString(a, "s", "text");
    hostHeap.stopFailing();
    if (result >= 0) break;
    EXPECT_EQ(a->valueCount(), 0u) << successes;
    EXPECT_EQ(heap.liveBlocks(), baseline) << successes;
  }
  ASSERT_EQ(a->removeValue("s"), errOk);
  hostHeap.failAllocationsAfter(0, heap.holder());
  EXPECT_EQ(addDword(a, "d", 1), errOutOfMemory);
  hostHeap.stopFailing();
  EXPECT_EQ(addString(a, "s", "text"), errOk);
}

// Long lists are indexed and walked from remembered positions. Against a
// plain model of the lists, every lookup must still give the first match in
// list order and every index the element at that place, through twins,
// appends and removals at the front, middle and end.
TEST_F(ElementTreeTest, IndexedListsAnswerLikeAScanThroughTwinsAndRemovals) {
  const char* names[] = {"k0", "K0", "k1", "STRASSE", "straße", "k2", "noname", "k3"};
  std::vector<XmlNode*> keys;       // model of root's child list
  std::vector<std::string> values;  // model of root's value names
  unsigned seed = 7;
  auto next = [&seed](unsigned bound) {
    seed = seed * 1103515245u + 12345u;
    return (seed >> 16) % bound;
  };
  auto firstKey = [&](const char* n) -> XmlNode* {
    for (XmlNode* key : keys) {
      if (namesEqual(key->name, n)) return key;
    }
    return nullptr;
  };
  for (int step = 0; step < 600; ++step) {
    const char* n = names[next(8)];
    switch (next(6)) {
      case 0:
      case 1:
        keys.push_back(root->createPath(n, true));
        ASSERT_NE(keys.back(), nullptr);
        break;
      case 2:
      case 3:
        ASSERT_EQ(root->appendValueFromText(n, TROVE_TDWORD, "1"), errOk);
        values.emplace_back(n);
        break;
      case 4:
        if (!keys.empty()) {
          const uint32_t at = next(static_cast<unsigned>(keys.size()));
          ASSERT_EQ(root->removeChildAt(at), errOk);
          keys.erase(keys.begin() + at);
        }
        if (!values.empty()) {
          const uint32_t at = next(static_cast<unsigned>(values.size()));
          ASSERT_EQ(root->removeValueAt(at), errOk);
          values.erase(values.begin() + at);
        }
        break;
      default:
        if (XmlNode* first = firstKey(n)) {
          ASSERT_EQ(root->removePath(n), errOk);
          keys.erase(std::find(keys.begin(), keys.end(), first));
        }
        for (auto it = values.begin(); it != values.end(); ++it) {
          if (namesEqual(it->c_str(), n)) {
            ASSERT_EQ(root->removeValue(n), errOk);
            values.erase(it);
            break;
          }
        }
    }
    ASSERT_EQ(root->childCount(), keys.size());
    ASSERT_EQ(root->valueCount(), values.size());
    for (const char* probe : names) {
      ASSERT_EQ(root->findPath(probe, nullptr), firstKey(probe)) << step << " " << probe;
      const ValueCodec* found = root->findValue(probe);
      const ValueCodec* expected = nullptr;
      for (uint32_t i = 0; i < values.size() && expected == nullptr; ++i) {
        if (namesEqual(values[i].c_str(), probe)) expected = root->valueAt(i);
      }
      ASSERT_EQ(found, expected) << step << " " << probe;
    }
    // Forwards, backwards and from the middle, as callers walk.
    for (uint32_t i = 0; i < keys.size(); ++i) ASSERT_EQ(root->childAt(i), keys[i]) << step;
    for (uint32_t i = static_cast<uint32_t>(keys.size()); i-- > 0;)
      ASSERT_EQ(root->childAt(i), keys[i]);
    for (uint32_t i = 0; i < values.size(); ++i) ASSERT_EQ(root->valueNameAt(i), values[i]);
    for (XmlNode* key : keys) ASSERT_EQ(doc.resolveKey(key), key);
  }
  EXPECT_GT(keys.size() + values.size(), 16u) << "the lists must grow past the indexed length";
}

TEST(ElementTreeAttachTest, FailedAttachKeepsTheOwner) {
  HeapObject heap;
  auto* owner = reinterpret_cast<PropertiesMap*>(heap.get());
  XmlDocument doc;
  HostHeap::instance().failAllocationsAfter(0, heap.holder());
  EXPECT_EQ(doc.attach(owner), errOutOfMemory);
  HostHeap::instance().stopFailing();
  EXPECT_EQ(doc.owner(), owner);
  EXPECT_EQ(doc.root(), nullptr);
  EXPECT_EQ(doc.attach(owner), errWrongState);
  EXPECT_EQ(doc.resolveKey(nullptr), nullptr);
  EXPECT_EQ(doc.setRootPath(""), errWrongState);
  doc.release();
  EXPECT_EQ(heap.liveBlocks(), 0u);
}

}  // namespace
}  // namespace trove
