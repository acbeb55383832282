// The key methods of the Registry interface through the registered method
// table: results, out-parameters and the refusals with their codes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "registry_fixture.h"

namespace registry_test {
namespace {

class KeysTest : public LoadedRegistryTest {
 protected:
  uint64_t rootHandle() {
    uint64_t root = 0;
    EXPECT_EQ(openKey(&root, 0, nullptr, 0u), errOk);
    return root;
  }
  std::string childName(uint64_t key, uint32_t index) {
    char name[16] = "?";
    EXPECT_EQ(getKeyNameByIndex(nullptr, key, index, name, 16u, 0u), errOk);
    return name;
  }
};

TEST_F(KeysTest, OpenKeyFindsOrCreatesCaseInsensitivelyAndAppendsNewKeys) {
  EXPECT_TRUE(rootHandle() != 0 && rootHandle() != TROVE_INVALID_KEY);
  makeKey("first");
  clearChanged();
  uint64_t d = TROVE_INVALID_KEY;
  EXPECT_EQ(openKey(&d, 0, "a/b/c/d", 1u), errKeyCreated);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyName(d, 1), "a\\b\\c\\d");
  clearChanged();
  uint64_t b = makeKey("a/b");
  makeKey("A\\B\\e");
  EXPECT_EQ(changed(), 1u);
  uint64_t found[4] = {};
  EXPECT_EQ(openKey(&found[0], 0, "A\\B", 0u), errOk);
  EXPECT_EQ(openKey(&found[1], 0, "a/b/", 0u), errOk);
  EXPECT_EQ(openKey(&found[2], b, nullptr, 0u), errOk);  // null path: the parent itself
  EXPECT_EQ(openKey(&found[3], makeKey("a"), "b", 0u), errOk);
  for (uint64_t key : found) EXPECT_EQ(key, b);
  EXPECT_EQ(childName(0, 1), "a");
  EXPECT_EQ(childName(b, 1), "e");
  EXPECT_EQ(openKey(nullptr, 0, "x/y", 1u), errKeyCreated);  // a null out is allowed
  EXPECT_EQ(keyCount(0), 3u);
  EXPECT_EQ(closeKey(b), errOk);
  EXPECT_EQ(keyName(b), "b") << "closing releases nothing";
}

// Every refusal leaves the tree as it was and the out-parameters as documented.
TEST_F(KeysTest, RefusalsReturnTheirCodesAndChangeNothing) {
  uint64_t a = makeKey("a");
  makeKey("a/b");
  uint64_t x = makeKey("x");
  const uint64_t bad = 0xABCDEF;
  const uint64_t none = TROVE_INVALID_KEY;
  clearChanged();
  uint64_t out = 7;
  uint32_t n = 7;
  char buffer[8] = "#";
  uint64_t root = rootHandle();
  EXPECT_TRUE(is(openKey(&out, bad, "a", 1u), errInvalidKey, out, none));
  EXPECT_TRUE(is(openKey(&out, 0, "a\\b/c", 0u), errEntryNotFound, out, none));
  EXPECT_TRUE(is(openKeyByIndex(&out, 0, 2u), errEntryNotFound, out, none));
  EXPECT_TRUE(is(openKeyByIndex(&out, bad, 0u), errEntryNotFound, out, none));
  EXPECT_TRUE(is(openNextKey(&out, 0), errInvalidKey, out, none));
  EXPECT_TRUE(is(openNextKey(&out, x), errInvalidKey, out, none));
  EXPECT_TRUE(is(openNextKey(&out, bad), errInvalidKey, out, none));
  EXPECT_TRUE(is(getKeyCount(&n, bad), errInvalidKey, n, 0));
  EXPECT_TRUE(is(getKeyName(&n, bad, buffer, 8u, 0u), errInvalidKey, n));
  EXPECT_TRUE(is(getKeyNameByIndex(&n, 0, 2u, buffer, 8u, 0u), errEntryNotFound, n));
  EXPECT_TRUE(is(getKeyNameByIndex(&n, bad, 0u, buffer, 8u, 0u), errEntryNotFound, n));
  EXPECT_TRUE(is(getKeyName(&n, a, nullptr, 8u, 0u), errInvalidArgument, n, 2));
  EXPECT_TRUE(is(getKeyName(&n, a, buffer, 1u, 0u), errBufferTooSmall, n, 2));
  EXPECT_EQ(deleteKey(a, nullptr), errInvalidArgument);
  EXPECT_EQ(deleteKey(0, ""), errInvalidArgument);
  EXPECT_EQ(deleteKey(a, "missing"), errEntryNotFound);
  EXPECT_EQ(deleteKey(bad, "b"), errInvalidKey);
  EXPECT_EQ(deleteKeyByInd(0, 2u), errEntryNotFound);
  EXPECT_EQ(setRootKey(bad), errEntryNotFound);
  EXPECT_EQ(setRootStr(nullptr), errInvalidArgument);
  EXPECT_EQ(setRootStr("a/missing"), errEntryNotFound);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(rootHandle(), root);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(keyCount(a), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(KeysTest, NamesFollowTheSizeQueryProtocol) {
  uint64_t key = makeKey("Alpha");
  uint64_t b = makeKey("Alpha/b");
  uint32_t required = 0;
  EXPECT_EQ(getKeyName(&required, key, nullptr, 0u, 0u), errOk);
  EXPECT_EQ(required, 6u);
  char buffer[16];
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(getKeyName(&required, key, buffer, 6u, 0u), errOk);
  EXPECT_EQ(std::string(buffer, 7), std::string("Alpha\0#", 7)) << "only the name and its NUL";
  EXPECT_EQ(keyName(0), "") << "the document root's name is empty";

  // Full names start at the root key and count no terminator.
  EXPECT_EQ(getKeyName(&required, b, nullptr, 0u, 1u), errOk);
  EXPECT_EQ(required, 7u);
  EXPECT_EQ(getKeyNameByIndex(&required, key, 0u, buffer, 8u, 1u), errOk);
  EXPECT_STREQ(buffer, "Alpha\\b");
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(getKeyName(&required, b, buffer, 7u, 1u), errUnspecified);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(getKeyName(&required, 0, nullptr, 0u, 1u), errOk);
  EXPECT_EQ(required, 0u);
  // A root key moved to 'Alpha' has its own name as its full name.
  ASSERT_EQ(setRootKey(key), errOk);
  EXPECT_EQ(keyName(b, 1), "Alpha\\b");
  EXPECT_EQ(keyName(0, 1), "Alpha");
  EXPECT_EQ(getKeyName(&required, 0, buffer, 1u, 1u), errBufferTooSmall);
  EXPECT_EQ(required, 5u);
}

TEST_F(KeysTest, TheRootKeyBoundsEveryHandleAndMovesAnywhere) {
  uint64_t a = makeKey("a");
  uint64_t ab = makeKey("a/b");
  uint64_t x = makeKey("x");
  uint64_t root = rootHandle();
  ASSERT_EQ(setRootKey(a), errOk);
  uint32_t count = 5;
  EXPECT_EQ(getKeyCount(&count, x), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(getKeyCount(&count, root), errInvalidKey) << "above the root key";
  uint64_t out = 0;
  EXPECT_EQ(openKey(&out, 0, "b", 0u), errOk);
  EXPECT_EQ(out, ab);
  EXPECT_EQ(openNextKey(&out, a), errInvalidKey) << "the root key has no sibling";
  EXPECT_EQ(openKeyByIndex(&out, x, 0u), errEntryNotFound);
  clearChanged();
  EXPECT_EQ(setRootKey(x), errOk) << "sideways";
  EXPECT_EQ(setRootStr("A/b"), errOk);
  EXPECT_EQ(rootHandle(), ab);
  EXPECT_EQ(setRootStr(""), errOk);
  EXPECT_EQ(rootHandle(), root);
  EXPECT_EQ(setRootKey(x), errOk);
  EXPECT_EQ(setRootKey(0), errOk) << "0 is the document root";
  EXPECT_EQ(keyName(ab, 1), "a\\b");
  EXPECT_EQ(changed(), 0u) << "moving the root key is no change of the store";
  EXPECT_EQ(openNextKey(&out, a), errOk);
  EXPECT_EQ(out, x);
}

TEST_F(KeysTest, DeleteKeyRemovesTheSubtreeAndItsHandles) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint64_t c = makeKey("a/b/c");
  uint64_t z = makeKey("a/z");
  makeKey("a/y");
  clearChanged();
  EXPECT_EQ(deleteKey(0, "A/B"), errOk);
  EXPECT_EQ(changed(), 1u);
  uint32_t count = 0;
  EXPECT_EQ(getKeyCount(&count, b), errInvalidKey);
  EXPECT_EQ(getKeyCount(&count, c), errInvalidKey);
  clearChanged();
  EXPECT_EQ(deleteKeyByInd(a, 0u), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(getKeyCount(&count, z), errInvalidKey);
  EXPECT_EQ(keyCount(a), 1u);
  EXPECT_EQ(childName(a, 0), "y");
}

}  // namespace
}  // namespace registry_test
