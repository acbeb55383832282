// The accessor properties of a Registry object (name, root point, root key),
// called through their registered descriptors as the host calls them, and the
// lock that every method takes when locking is on at load.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "registry_fixture.h"

namespace registry_test {
namespace {

class PropertiesMapTest : public RegistryTest {
 protected:
  int32_t get(uint32_t id, void* buffer, uint32_t size) {
    size_ = 99;
    return object.interface().findProperty(id)->get(obj(), &size_, id, buffer, size);
  }
  int32_t set(uint32_t id, const void* buffer, uint32_t size) {
    size_ = 99;
    void* data = const_cast<void*>(buffer);
    return object.interface().findProperty(id)->set(obj(), &size_, id, data, size);
  }
  uint64_t rootKey() {
    uint64_t handle = 0;
    EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &handle, 8u), errOk);
    EXPECT_EQ(size_, 8u);
    return handle;
  }
  uint32_t size_ = 0;  // what the last accessor reported
};

TEST_F(PropertiesMapTest, NameFollowsTheSizeQueryProtocolAndKeepsItsValueOnFailure) {
  EXPECT_EQ(get(TROVE_PROP_NAME, nullptr, 0u), errBufferTooSmall);
  EXPECT_EQ(size_, 2u) << "an empty name and its terminator";
  ASSERT_EQ(set(TROVE_PROP_NAME, u"abcd", 10u), errOk);
  EXPECT_EQ(size_, 0u);
  char16_t buffer[8];
  std::fill_n(buffer, 8, u'#');
  EXPECT_EQ(get(TROVE_PROP_NAME, buffer, 9u), errBufferTooSmall);
  EXPECT_EQ(size_, 10u);
  EXPECT_EQ(buffer[0], u'#');
  EXPECT_EQ(get(TROVE_PROP_NAME, buffer, 16u), errOk);
  EXPECT_EQ(std::u16string(buffer, 6), std::u16string(u"abcd\0#", 6)) << "only what is needed";
  EXPECT_EQ(get(TROVE_PROP_NAME, nullptr, 10u), errOk);
  EXPECT_EQ(set(TROVE_PROP_NAME, u"abcd", 9u), errInvalidArgument);
  EXPECT_EQ(size_, 99u);
  EXPECT_EQ(set(TROVE_PROP_NAME, nullptr, 10u), errInvalidArgument);
  EXPECT_EQ(set(TROVE_PROP_NAME, u"zz", 0u), errOutOfMemory) << "no room for the terminator";
  EXPECT_EQ(object.name(), u"abcd");
  EXPECT_EQ(set(TROVE_PROP_NAME, u"xy!", 6u), errOk) << "the last unit is not read";
  EXPECT_EQ(object.name(), u"xy");
  EXPECT_TRUE(object.setName(std::u16string(100, u'n')).ok());  // on the heap, given back
}

TEST_F(PropertiesMapTest, RootPointAndRootKeyBeforeAndAfterLoad) {
  char buffer[16];
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, buffer, 16u), errWrongState);
  EXPECT_EQ(size_, 0u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, nullptr, 0u), errOk);
  EXPECT_EQ(size_, 0u) << "nothing pending";
  uint64_t zero = 0;
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &zero, 8u), errWrongState);
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, "first", 5u), errOk);
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, "a/bXYZ", 3u), errOk) << "only `size` bytes count";
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, nullptr, 3u), errInvalidArgument);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, buffer, 3u), errBufferTooSmall);
  EXPECT_EQ(size_, 4u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, buffer, 4u), errOk);
  EXPECT_STREQ(buffer, "a/b");
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, nullptr, 4u), errInvalidArgument);
  // Before the load no key resolves and the root key cannot move.
  uint64_t out = 0;
  EXPECT_TRUE(is(openKey(&out, 0, "a", 1u), errInvalidKey, out, TROVE_INVALID_KEY));
  EXPECT_EQ(setRootStr(""), errWrongState);
  EXPECT_EQ(setDword(0, "v", 5), errInvalidKey);
  EXPECT_EQ(clean(), errOk) << "nothing to clean";
  EXPECT_EQ(changed(), 0u);
  load();  // a store without a name does not apply the pending root point
  EXPECT_EQ(object.rootPoint(), "");
  // Once loaded, both properties move the root key.
  uint64_t a = makeKey("a");
  uint64_t b = makeKey("a/b");
  uint64_t root = rootKey();
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, "a/missing", 9u), errEntryNotFound);
  EXPECT_EQ(rootKey(), root);
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, "A\\B", 3u), errOk);
  EXPECT_EQ(rootKey(), b);
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, buffer, 3u), errBufferTooSmall);
  EXPECT_EQ(size_, 4u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, buffer, 8u), errOk);
  EXPECT_STREQ(buffer, "a\\b");
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, nullptr, 4u), errInvalidArgument);
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, "", 0u), errOk);
  EXPECT_EQ(rootKey(), root);
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &a, 4u), errInvalidArgument) << "handles take 8 bytes";
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, nullptr, 8u), errInvalidArgument);
  uint64_t madeUp = a + 8;
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &madeUp, 8u), errEntryNotFound);
  EXPECT_EQ(rootKey(), root);
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &a, 8u), errOk);
  EXPECT_EQ(rootKey(), a);
  EXPECT_EQ(object.rootPoint(), "a");
  uint64_t handle = 0;
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &handle, 7u), errBufferTooSmall);
  EXPECT_EQ(size_ + handle, 8u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, nullptr, 8u), errInvalidArgument);
  EXPECT_EQ(changed(), 1u) << "from creating the keys, not from moving the root key";
}

TEST_F(PropertiesMapTest, WithLockingOnAtLoadEveryMethodReleasesTheLockOnEveryPath) {
  setField(TROVE_PROP_USE_LOCKING, 1);
  load();
  ASSERT_TRUE(map()->lock.exists());
  uint64_t key = makeKey("a/b");
  EXPECT_EQ(setDword(key, "v", 5), errOk);
  EXPECT_EQ(deleteKey(0, nullptr), errInvalidArgument);
  EXPECT_EQ(setDword(0x1234, "v", 4), errInvalidKey);
  EXPECT_EQ(getValue(nullptr, key, "v", nullptr, &key, 1u), errBufferTooSmall);
  setField(TROVE_PROP_READ_ONLY, 1);
  EXPECT_EQ(clean(), errReadOnly);
  EXPECT_EQ(map()->lock.state, 0);
  EXPECT_EQ(map()->lock.waitingReaders + map()->lock.waitingWriters, 0u);
  Registry late{host_.createObject(TROVE_IID_REGISTRY)};
  ASSERT_TRUE(late.object.initDone().ok());
  late.setField(TROVE_PROP_USE_LOCKING, 1);  // too late: the lock is made at load
  EXPECT_FALSE(late.map()->lock.exists());
}

}  // namespace
}  // namespace registry_test
