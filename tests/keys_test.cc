// The key methods of the Registry interface through the registered method
// table: results, out-parameters and the refusals with their codes.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

class KeysTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
  uint64_t rootHandle() {
    uint64_t root = 0;
    EXPECT_EQ(openKey(&root, 0, nullptr, 0u), errOk);
    return root;
  }
};

TEST_F(KeysTest, OpenKeyFindsOrCreatesCaseInsensitivelyAndAppendsNewKeys) {
  uint64_t root = rootHandle();
  EXPECT_NE(root, 0u);
  EXPECT_NE(root, TROVE_INVALID_KEY);
  makeKey("first");
  clearChanged();
  uint64_t d = TROVE_INVALID_KEY;
  EXPECT_EQ(openKey(&d, 0, "a/b/c/d", 1u), errKeyCreated);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyName(d, 1), "a\\b\\c\\d");
  uint64_t e = makeKey("a/b/e");
  EXPECT_EQ(makeKey("A\\B\\E"), e);
  EXPECT_EQ(keyName(e, 1), "a\\b\\e");

  clearChanged();
  uint64_t b = makeKey("a/b");
  EXPECT_EQ(changed(), 0u) << "nothing created";
  for (const char* path : {"a/b", "A\\B", "a/b/"}) {
    uint64_t found = 0;
    EXPECT_EQ(openKey(&found, 0, path, 0u), errOk) << path;
    EXPECT_EQ(found, b) << path;
  }
  uint64_t same = 0;
  EXPECT_EQ(openKey(&same, b, nullptr, 0u), errOk);  // null path: the parent itself
  EXPECT_EQ(same, b);
  EXPECT_EQ(openKey(&same, makeKey("a"), "b", 0u), errOk);
  EXPECT_EQ(same, b);
  EXPECT_EQ(keyCount(b), 2u);
  char name[8];
  EXPECT_EQ(getKeyNameByIndex(nullptr, 0, 1u, name, 8u, 0u), errOk);
  EXPECT_STREQ(name, "a");
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
  clearChanged();
  uint64_t out = 7;
  uint32_t n = 7;
  char buffer[8] = "#";
  struct Case {
    const char* what;
    int32_t code;
    std::function<int32_t()> call;
    uint64_t out = 7;  // afterwards
    uint32_t n = 7;
  };
  const uint64_t none = TROVE_INVALID_KEY;
  const std::vector<Case> cases = {
      {"open below a bad handle", errInvalidKey, [&] { return openKey(&out, bad, "a", 1u); }, none},
      {"open below no key", errInvalidKey, [&] { return openKey(&out, none, "a", 1u); }, none},
      {"open missing", errEntryNotFound, [&] { return openKey(&out, 0, "a\\b/c", 0u); }, none},
      {"by index past the end", errEntryNotFound, [&] { return openKeyByIndex(&out, 0, 2u); },
       none},
      {"by index -1", errEntryNotFound, [&] { return openKeyByIndex(&out, 0, ~0u); }, none},
      {"by index of bad", errEntryNotFound, [&] { return openKeyByIndex(&out, bad, 0u); }, none},
      {"next of root key", errInvalidKey, [&] { return openNextKey(&out, 0); }, none},
      {"next of root handle", errInvalidKey, [&] { return openNextKey(&out, rootHandle()); }, none},
      {"next of the last", errInvalidKey, [&] { return openNextKey(&out, x); }, none},
      {"next of bad", errInvalidKey, [&] { return openNextKey(&out, bad); }, none},
      {"count of bad", errInvalidKey, [&] { return getKeyCount(&n, bad); }, 7, 0},
      {"name of bad", errInvalidKey, [&] { return getKeyName(&n, bad, buffer, 8u, 0u); }},
      {"name by index past the end", errEntryNotFound,
       [&] { return getKeyNameByIndex(&n, 0, 2u, buffer, 8u, 0u); }},
      {"name by index of bad", errEntryNotFound,
       [&] { return getKeyNameByIndex(&n, bad, 0u, buffer, 8u, 0u); }},
      {"name into a null buffer with a size", errInvalidArgument,
       [&] { return getKeyName(&n, a, nullptr, 8u, 0u); }, 7, 2},
      {"name into a short buffer", errBufferTooSmall,
       [&] { return getKeyName(&n, a, buffer, 1u, 0u); }, 7, 2},
      {"delete null path", errInvalidArgument, [&] { return deleteKey(a, nullptr); }},
      {"delete empty path", errInvalidArgument, [&] { return deleteKey(a, ""); }},
      {"delete '/b'", errInvalidArgument, [&] { return deleteKey(a, "/b"); }},
      {"delete the root key", errInvalidArgument, [&] { return deleteKey(0, ""); }},
      {"delete missing", errEntryNotFound, [&] { return deleteKey(a, "missing"); }},
      {"delete below bad", errInvalidKey, [&] { return deleteKey(bad, "b"); }},
      {"delete by index past the end", errEntryNotFound, [&] { return deleteKeyByInd(0, 2u); }},
      {"delete by index of bad", errInvalidKey, [&] { return deleteKeyByInd(bad, 0u); }},
      {"root key to bad", errEntryNotFound, [&] { return setRootKey(bad); }},
      {"root key to null path", errInvalidArgument, [&] { return setRootStr(nullptr); }},
      {"root key to missing", errEntryNotFound, [&] { return setRootStr("a/missing"); }},
  };
  uint64_t root = rootHandle();
  for (const Case& c : cases) {
    out = 7;
    n = 7;
    EXPECT_EQ(c.call(), c.code) << c.what;
    EXPECT_EQ(out, c.out) << c.what;
    EXPECT_EQ(n, c.n) << c.what;
    EXPECT_EQ(buffer[0], '#') << c.what;
  }
  EXPECT_EQ(rootHandle(), root);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(keyCount(a), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(KeysTest, EnumeratesByIndexAndByNextSiblingWithinTheRootKey) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("b");
  uint64_t c = makeKey("c");
  makeKey("b/inner");
  std::vector<uint64_t> seen;
  uint64_t key = 0;
  int32_t result = openKeyByIndex(&key, 0, 0u);
  for (; result >= 0; result = openNextKey(&key, key)) seen.push_back(key);
  EXPECT_EQ(result, errInvalidKey);
  EXPECT_EQ(key, TROVE_INVALID_KEY);
  EXPECT_EQ(seen, (std::vector<uint64_t>{a, b, c}));
  EXPECT_EQ(openKeyByIndex(&key, 0, 1u), errOk);
  EXPECT_EQ(key, b);

  // Below a moved root key, the root key has no sibling and 'a' is out of reach.
  ASSERT_EQ(setRootKey(b), errOk);
  EXPECT_EQ(openNextKey(&key, b), errInvalidKey);
  EXPECT_EQ(openNextKey(&key, a), errInvalidKey);
  EXPECT_EQ(openKeyByIndex(&key, a, 0u), errEntryNotFound);
  EXPECT_EQ(keyName(0), "b");
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
  EXPECT_STREQ(buffer, "Alpha");
  EXPECT_EQ(buffer[6], '#') << "only the name and its NUL";
  EXPECT_EQ(getKeyNameByIndex(&required, 0, 0u, buffer, 16u, 0u), errOk);
  EXPECT_STREQ(buffer, "Alpha");
  EXPECT_EQ(getKeyName(&required, 0, nullptr, 0u, 0u), errOk);
  EXPECT_EQ(required, 1u) << "the document root's name is empty";

  // Full names start at the root key and count no terminator.
  required = 99;
  EXPECT_EQ(getKeyName(&required, b, nullptr, 0u, 1u), errOk);
  EXPECT_EQ(required, 7u);
  EXPECT_EQ(getKeyName(&required, b, buffer, 8u, 1u), errOk);
  EXPECT_STREQ(buffer, "Alpha\\b");
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(getKeyName(&required, b, buffer, 7u, 1u), errUnspecified);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(getKeyName(&required, 0, nullptr, 0u, 1u), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(getKeyNameByIndex(&required, key, 0u, buffer, 16u, 1u), errOk);
  EXPECT_STREQ(buffer, "Alpha\\b");

  // A root key moved to 'Alpha' has its own name as its full name.
  ASSERT_EQ(setRootKey(key), errOk);
  EXPECT_EQ(keyName(b, 1), "Alpha\\b");
  EXPECT_EQ(keyName(0, 1), "Alpha");
  EXPECT_EQ(getKeyName(&required, 0, buffer, 1u, 1u), errBufferTooSmall);
  EXPECT_EQ(required, 5u);
}

TEST_F(KeysTest, HandlesOutsideTheRootKeyDoNotResolveUntilItMovesBack) {
  uint64_t a = makeKey("a");
  uint64_t ab = makeKey("a/b");
  uint64_t x = makeKey("x");
  uint64_t root = rootHandle();
  ASSERT_EQ(setRootKey(a), errOk);
  uint32_t count = 5;
  EXPECT_EQ(getKeyCount(&count, x), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(getKeyCount(&count, root), errInvalidKey) << "above the root key";
  EXPECT_EQ(deleteKey(x, "y"), errInvalidKey);
  uint64_t out = 0;
  EXPECT_EQ(keyCount(0), 1u);
  EXPECT_EQ(openKey(&out, 0, "b", 0u), errOk);
  EXPECT_EQ(out, ab);

  // Both root key moves search the whole document: sideways works.
  EXPECT_EQ(setRootKey(x), errOk);
  EXPECT_EQ(getKeyCount(&count, a), errInvalidKey);
  clearChanged();
  EXPECT_EQ(setRootStr("A/b"), errOk);
  EXPECT_EQ(rootHandle(), ab);
  EXPECT_EQ(setRootStr(""), errOk);
  EXPECT_EQ(rootHandle(), root);
  EXPECT_EQ(setRootKey(x), errOk);
  EXPECT_EQ(setRootKey(0), errOk) << "0 is the document root";
  EXPECT_EQ(keyName(ab, 1), "a\\b");
  EXPECT_EQ(changed(), 0u) << "moving the root key is no change of the store";
}

TEST_F(KeysTest, DeleteKeyRemovesTheSubtreeAndItsHandles) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint64_t c = makeKey("a/b/c");
  uint64_t z = makeKey("a/z");
  clearChanged();
  EXPECT_EQ(deleteKey(0, "A/B"), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(a), 1u);
  uint32_t count = 0;
  EXPECT_EQ(getKeyCount(&count, b), errInvalidKey);
  EXPECT_EQ(getKeyCount(&count, c), errInvalidKey);
  EXPECT_EQ(deleteKey(b, "c"), errInvalidKey);

  makeKey("a/y");
  clearChanged();
  EXPECT_EQ(deleteKeyByInd(a, 0u), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(getKeyCount(&count, z), errInvalidKey);
  uint64_t out = 0;
  EXPECT_EQ(openKeyByIndex(&out, a, 0u), errOk);
  EXPECT_EQ(keyName(out), "y");
}

TEST(KeysWithoutLoad, NothingResolvesBeforeTheStoreIsLoaded) {
  trove::host::Host host;
  ASSERT_TRUE(host.loadModule(TROVE_MODULE_PATH).ok());
  Registry r{host.createObject(TROVE_IID_REGISTRY)};
  ASSERT_TRUE(r.object.ok());
  uint64_t out = 0;
  EXPECT_EQ(r.openKey(&out, 0, "a", 1u), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  uint32_t count = 3;
  EXPECT_EQ(r.getKeyCount(&count, 0), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(r.openNextKey(&out, 0), errInvalidKey);
  EXPECT_EQ(r.setRootKey(0), errWrongState);
  EXPECT_EQ(r.setRootStr(""), errWrongState);
  EXPECT_EQ(r.clean(), errOk) << "nothing to clean";
  EXPECT_EQ(r.changed(), 0u);
  EXPECT_EQ(r.setDword(0, "v", 5), errInvalidKey);
}

}  // namespace
}  // namespace registry_test
