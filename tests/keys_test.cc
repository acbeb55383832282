// The key methods of the Registry interface, called through the registered
// method table: results, out-parameters, trace lines, and handle checks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

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
    EXPECT_EQ(openKey(&root, 0, nullptr, 0), errOk);
    return root;
  }
};

TEST_F(KeysTest, OpenKeyFindsCreatesAndReportsEveryOutcome) {
  uint64_t root = TROVE_INVALID_KEY;
  EXPECT_EQ(openKey(&root, 0, nullptr, 0), errOk);
  EXPECT_NE(root, 0u);
  EXPECT_NE(root, TROVE_INVALID_KEY);
  EXPECT_EQ(lastTrace(), line("Opening key ?\\(null)", errOk));
  EXPECT_EQ(lastTraceLevel(), TROVE_TRACE_CALL);

  uint64_t b = 0;
  EXPECT_EQ(openKey(&b, 0, "a/b", 1), errKeyCreated);
  EXPECT_EQ(lastTrace(), line("Opening key ?\\a/b", errKeyCreated));
  EXPECT_EQ(changed(), 1u);
  clearChanged();

  uint64_t again = 0;
  EXPECT_EQ(openKey(&again, 0, "a/b", 1), errOk);
  EXPECT_EQ(again, b);
  EXPECT_EQ(changed(), 0u);  // nothing created
  EXPECT_EQ(openKey(&again, 0, "A\\B", 0), errOk);
  EXPECT_EQ(again, b);
  EXPECT_EQ(openKey(&again, b, nullptr, 0), errOk);  // null path: the parent itself
  EXPECT_EQ(again, b);
  EXPECT_EQ(openKey(&again, 0, "a/b/", 0), errOk);  // trailing separator ignored
  EXPECT_EQ(again, b);

  uint64_t a = 0;
  ASSERT_EQ(openKey(&a, 0, "a", 0), errOk);
  uint64_t viaParent = 0;
  EXPECT_EQ(openKey(&viaParent, a, "b", 0), errOk);
  EXPECT_EQ(viaParent, b);

  // 'a\b/c' is the two segments 'a\b' and 'c': no such key.
  uint64_t out = 7;
  EXPECT_EQ(openKey(&out, 0, "a\\b/c", 0), errEntryNotFound);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  EXPECT_EQ(lastTrace(), line("Opening key ?\\a\\b/c", errEntryNotFound));

  out = 7;
  EXPECT_EQ(openKey(&out, 0xABCDEF, "a", 0), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  out = 7;
  EXPECT_EQ(openKey(&out, TROVE_INVALID_KEY, "a", 1), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  EXPECT_EQ(openKey(nullptr, 0, "x/y", 1), errKeyCreated);  // null out is allowed
  EXPECT_EQ(keyCount(0), 2u);
}

TEST_F(KeysTest, OpenKeyCreatesMissingSegmentsAsNewLastSubkeys) {
  makeKey("first");
  uint64_t d = makeKey("a/b/c/d");
  uint32_t required = 0;
  char name[32];
  EXPECT_EQ(getKeyNameByIndex(&required, 0, 1, name, sizeof(name), 0), errOk);
  EXPECT_STREQ(name, "a");
  EXPECT_EQ(keyName(d, 1), "a\\b\\c\\d");
  uint64_t e = makeKey("a/b/e");
  EXPECT_EQ(keyName(e, 1), "a\\b\\e");
  uint64_t b = 0;
  ASSERT_EQ(openKey(&b, 0, "a/b", 0), errOk);
  EXPECT_EQ(keyCount(b), 2u);
}

TEST_F(KeysTest, ReadOnlyRefusesOnlyOpensThatWouldCreate) {
  uint64_t a = makeKey("a");
  clearChanged();
  setField(TROVE_PROP_READ_ONLY, 1);
  uint64_t out = 0;
  EXPECT_EQ(openKey(&out, 0, "a", 1), errOk);
  EXPECT_EQ(out, a);
  out = 0;
  EXPECT_EQ(openKey(&out, 0, "a/new", 1), errReadOnly);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  EXPECT_EQ(lastTrace(), line("Opening key ?\\a/new", errReadOnly));
  EXPECT_EQ(keyCount(a), 0u);

  EXPECT_EQ(deleteKey(0, "a"), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKey a", errReadOnly));
  EXPECT_EQ(deleteKeyByInd(0, 0), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKeyByInd 0 ", errReadOnly));
  EXPECT_EQ(keyCount(0), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(KeysTest, EnumeratesByIndexAndByNextSibling) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("b");
  uint64_t c = makeKey("c");
  makeKey("b/inner");

  uint64_t out = 0;
  EXPECT_EQ(openKeyByIndex(&out, 0, 1), errOk);
  EXPECT_EQ(out, b);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::OpenKeyByIndex 1", errOk));
  EXPECT_EQ(openKeyByIndex(&out, 0, 3), errEntryNotFound);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::OpenKeyByIndex 3", errEntryNotFound));
  out = 0;
  EXPECT_EQ(openKeyByIndex(&out, 0x5000, 0), errEntryNotFound);  // unresolved handle
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  EXPECT_EQ(openKeyByIndex(&out, 0, 0xFFFFFFFF), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::OpenKeyByIndex -1", errEntryNotFound));

  std::vector<uint64_t> seen;
  uint64_t key = 0;
  int32_t result = openKeyByIndex(&key, 0, 0);
  while (result >= 0) {
    seen.push_back(key);
    result = openNextKey(&key, key);
  }
  EXPECT_EQ(result, errInvalidKey);
  EXPECT_EQ(key, TROVE_INVALID_KEY);
  EXPECT_EQ(seen, (std::vector<uint64_t>{a, b, c}));
  EXPECT_EQ(lastTrace(), line("PropertiesMap::OpenNextKey ", errInvalidKey));

  out = 0;
  EXPECT_EQ(openNextKey(&out, a), errOk);
  EXPECT_EQ(out, b);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::OpenNextKey ", errOk));
  out = 0;
  EXPECT_EQ(openNextKey(&out, 0), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  out = 0;
  EXPECT_EQ(openNextKey(&out, rootHandle()), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  out = 0;
  EXPECT_EQ(openNextKey(&out, 0x77777777), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);

  // Below a moved root key, the root key has no sibling and 'c' is out of reach.
  ASSERT_EQ(setRootKey(b), errOk);
  EXPECT_EQ(openNextKey(&out, b), errInvalidKey);
  EXPECT_EQ(openNextKey(&out, a), errInvalidKey);
  EXPECT_EQ(openKeyByIndex(&out, a, 0), errEntryNotFound);
}

TEST_F(KeysTest, CloseKeyChecksNothingAndTracesTheHandleInHex) {
  EXPECT_EQ(closeKey(0x1234567890ABCDEFull), errOk);
  EXPECT_EQ(lastTrace(), line("Closing key 90abcdef", errOk));
  uint64_t a = makeKey("a");
  EXPECT_EQ(closeKey(a), errOk);
  EXPECT_EQ(lastTrace(), line("Closing key " + hex32(a), errOk));
  EXPECT_EQ(keyName(a, 0), "a");  // closing releases nothing
}

TEST_F(KeysTest, ShortNamesFollowTheCopyOutRule) {
  uint64_t key = makeKey("Alpha");
  uint32_t required = 0;
  EXPECT_EQ(getKeyName(&required, key, nullptr, 0, 0), errOk);
  EXPECT_EQ(required, 6u);
  EXPECT_EQ(lastTrace(), line("Getting key name " + dec32(key), errOk));
  required = 0;
  EXPECT_EQ(getKeyName(&required, key, nullptr, 10, 0), errInvalidArgument);
  EXPECT_EQ(required, 6u);

  char buffer[16];
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(getKeyName(&required, key, buffer, 5, 0), errBufferTooSmall);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(getKeyName(&required, key, buffer, 6, 0), errOk);
  EXPECT_STREQ(buffer, "Alpha");
  EXPECT_EQ(buffer[6], '#');
  EXPECT_EQ(getKeyName(nullptr, key, buffer, 6, 0), errOk);

  // The document root's name is empty: one byte for the NUL.
  EXPECT_EQ(getKeyName(&required, 0, nullptr, 0, 0), errOk);
  EXPECT_EQ(required, 1u);

  required = 77;
  EXPECT_EQ(getKeyName(&required, 0x99999, buffer, sizeof(buffer), 0), errInvalidKey);
  EXPECT_EQ(required, 77u);
  EXPECT_EQ(lastTrace(), line("Getting key name " + dec32(0x99999), errInvalidKey));

  EXPECT_EQ(getKeyNameByIndex(&required, 0, 0, buffer, sizeof(buffer), 0), errOk);
  EXPECT_STREQ(buffer, "Alpha");
  EXPECT_EQ(required, 6u);
  EXPECT_EQ(lastTrace(), line("Getting key name by index 0", errOk));
  required = 77;
  EXPECT_EQ(getKeyNameByIndex(&required, 0, 1, buffer, sizeof(buffer), 0), errEntryNotFound);
  EXPECT_EQ(required, 77u);
  EXPECT_EQ(lastTrace(), line("Getting key name by index 1", errEntryNotFound));
  EXPECT_EQ(getKeyNameByIndex(&required, 0x99999, 0, buffer, sizeof(buffer), 0), errEntryNotFound);
  EXPECT_EQ(required, 77u);
}

TEST_F(KeysTest, FullNamesStartAtTheRootKeyAndCountNoTerminator) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint32_t required = 99;
  EXPECT_EQ(getKeyName(&required, b, nullptr, 0, 1), errOk);
  EXPECT_EQ(required, 3u);
  char buffer[8];
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(getKeyName(&required, b, buffer, 4, 1), errOk);
  EXPECT_STREQ(buffer, "a\\b");
  EXPECT_EQ(required, 3u);
  // A short buffer below the root key: errUnspecified, required reads 0.
  std::memset(buffer, '#', sizeof(buffer));
  required = 99;
  EXPECT_EQ(getKeyName(&required, b, buffer, 3, 1), errUnspecified);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(lastTrace(), line("Getting key name " + dec32(b), errUnspecified));

  // The root key moved to 'a': full names start with its own name.
  ASSERT_EQ(setRootKey(a), errOk);
  EXPECT_EQ(keyName(b, 1), "a\\b");
  EXPECT_EQ(keyName(0, 1), "a");
  // A short buffer for the root key itself: errBufferTooSmall, full length.
  EXPECT_EQ(getKeyName(&required, 0, buffer, 1, 1), errBufferTooSmall);
  EXPECT_EQ(required, 1u);
  EXPECT_EQ(getKeyNameByIndex(&required, 0, 0, buffer, sizeof(buffer), 1), errOk);
  EXPECT_STREQ(buffer, "a\\b");
  EXPECT_EQ(required, 3u);

  // The document root itself has an empty full name.
  ASSERT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(getKeyName(&required, 0, nullptr, 0, 1), errOk);
  EXPECT_EQ(required, 0u);
}

TEST_F(KeysTest, HandlesOutsideTheRootKeyDoNotResolveUntilItMovesBack) {
  uint64_t a = makeKey("a");
  uint64_t ab = makeKey("a/b");
  uint64_t x = makeKey("x");
  uint64_t root = rootHandle();
  ASSERT_EQ(setRootKey(a), errOk);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetRootKey ", errOk));

  char buffer[8];
  uint32_t required = 0;
  EXPECT_EQ(getKeyName(&required, x, buffer, sizeof(buffer), 0), errInvalidKey);
  uint32_t count = 5;
  EXPECT_EQ(getKeyCount(&count, x), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::GetKeyCount ", errInvalidKey));
  EXPECT_EQ(getKeyCount(&count, root), errInvalidKey);  // above the root key
  EXPECT_EQ(deleteKey(x, "y"), errInvalidKey);
  EXPECT_EQ(deleteKeyByInd(x, 0), errInvalidKey);
  uint64_t out = 0;
  EXPECT_EQ(openKey(&out, x, nullptr, 0), errInvalidKey);
  EXPECT_EQ(keyCount(0), 1u);  // 0 is the root key 'a'
  EXPECT_EQ(openKey(&out, 0, "b", 0), errOk);
  EXPECT_EQ(out, ab);

  // SetRootKey searches the whole document: sideways to 'x' works.
  EXPECT_EQ(setRootKey(x), errOk);
  EXPECT_EQ(getKeyName(&required, a, buffer, sizeof(buffer), 0), errInvalidKey);
  EXPECT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(keyName(x, 0), "x");
  EXPECT_EQ(keyName(ab, 1), "a\\b");

  EXPECT_EQ(setRootKey(0xBAD0), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetRootKey ", errEntryNotFound));
  EXPECT_EQ(rootHandle(), root);
  EXPECT_EQ(setRootKey(root), errOk);
  EXPECT_EQ(rootHandle(), root);
}

TEST_F(KeysTest, SetRootStrResolvesFromTheDocumentRoot) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint64_t x = makeKey("x");
  clearChanged();
  EXPECT_EQ(setRootStr("a/b"), errOk);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetRootStr ", errOk));
  EXPECT_EQ(rootHandle(), b);
  EXPECT_EQ(setRootStr("x"), errOk);  // not below the current root key
  EXPECT_EQ(rootHandle(), x);
  EXPECT_EQ(setRootStr("A"), errOk);
  EXPECT_EQ(rootHandle(), a);
  EXPECT_EQ(setRootStr("a/missing"), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetRootStr ", errEntryNotFound));
  EXPECT_EQ(rootHandle(), a);
  EXPECT_EQ(setRootStr(nullptr), errInvalidArgument);
  EXPECT_EQ(rootHandle(), a);
  EXPECT_EQ(setRootStr(""), errOk);
  EXPECT_NE(rootHandle(), a);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(changed(), 0u);  // moving the root key is no change of the store
}

TEST_F(KeysTest, DeleteKeyRemovesTheSubtreeAndRefusesSelfDesignatingPaths) {
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint64_t c = makeKey("a/b/c");
  makeKey("a/z");
  clearChanged();

  EXPECT_EQ(deleteKey(a, nullptr), errInvalidArgument);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKey (null)", errInvalidArgument));
  EXPECT_EQ(deleteKey(a, ""), errInvalidArgument);
  EXPECT_EQ(deleteKey(a, "/b"), errInvalidArgument);
  EXPECT_EQ(deleteKey(0, ""), errInvalidArgument);  // never the root key
  EXPECT_EQ(deleteKey(a, "missing"), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKey missing", errEntryNotFound));
  EXPECT_EQ(keyCount(a), 2u);
  EXPECT_EQ(changed(), 0u);

  EXPECT_EQ(deleteKey(0, "A/B"), errOk);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKey A/B", errOk));
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(a), 1u);
  // The deleted keys' handles resolve to nothing.
  char buffer[8];
  uint32_t required = 0;
  EXPECT_EQ(getKeyName(&required, b, buffer, sizeof(buffer), 0), errInvalidKey);
  EXPECT_EQ(getKeyName(&required, c, buffer, sizeof(buffer), 0), errInvalidKey);
  EXPECT_EQ(keyName(a, 0), "a");
  EXPECT_EQ(deleteKey(b, "c"), errInvalidKey);
}

TEST_F(KeysTest, DeleteKeyByIndexRemovesTheSubkeyAtThatPlace) {
  makeKey("first/child");
  uint64_t second = makeKey("second");
  clearChanged();
  EXPECT_EQ(deleteKeyByInd(0, 2), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKeyByInd 2 ", errEntryNotFound));
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(deleteKeyByInd(0x4242, 0), errInvalidKey);
  EXPECT_EQ(deleteKeyByInd(0, 0), errOk);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteKeyByInd 0 ", errOk));
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(0), 1u);
  uint64_t out = 0;
  EXPECT_EQ(openKeyByIndex(&out, 0, 0), errOk);
  EXPECT_EQ(out, second);
}

TEST(KeysWithoutLoad, NothingResolvesBeforeTheStoreIsLoaded) {
  trove::host::Host host;
  auto& trace = host.captureTrace();
  ASSERT_TRUE(host.loadModule(TROVE_MODULE_PATH).ok());
  trove::host::Object object = host.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.ok());
  uint64_t out = 0;
  EXPECT_EQ(object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &out, 0, "a", 1), errInvalidKey);
  EXPECT_EQ(out, TROVE_INVALID_KEY);
  uint32_t count = 3;
  EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(object.call<TroveOpenNextKey>(TROVE_SLOT_OPEN_NEXT_KEY, &out, 0), errInvalidKey);
  EXPECT_EQ(object.call<TroveSetRootKey>(TROVE_SLOT_SET_ROOT_KEY, 0), errWrongState);
  EXPECT_EQ(object.call<TroveSetRootStr>(TROVE_SLOT_SET_ROOT_STR, ""), errWrongState);
  EXPECT_EQ(trace.last().text,
            "trove\tPropertiesMap::SetRootStr : " + trove::host::formatResult(errWrongState));
  EXPECT_TRUE(object.destroy().ok());
  EXPECT_EQ(host.reclaimedBlocks(), 0u);
}

}  // namespace
}  // namespace registry_test
