// The module's entry point as a host uses it, then the accessor properties of
// a Registry object called through their registered descriptors, and the lock
// that every method takes when locking is on at load.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "registry_fixture.h"

namespace registry_test {
namespace {

using trove::host::Host;
using trove::host::Module;

TEST(ModuleEntry, OnlyTheRegisterReasonRegistersAndTheResultCellTellsHow) {
  Host host;
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  for (uint32_t reason : {0u, 1u, 2u, 3u, 99u, 101u}) {
    int32_t cell = 0x1234;
    EXPECT_EQ(module.callEntry(host.root(), reason, &cell), 1) << reason;
    EXPECT_EQ(cell, 0x1234) << "reason " << reason << " touched the result cell";
  }
  EXPECT_EQ(host.counters().registerInterface, 0u);
  EXPECT_EQ(host.findInterface(TROVE_IID_REGISTRY), nullptr);

  // A root object without a method table is refused, not followed.
  TroveHostObject bare{nullptr, nullptr, nullptr};
  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(&bare, TROVE_REASON_REGISTER, &cell), 0);
  EXPECT_EQ(cell, errInvalidArgument);
  EXPECT_EQ(module.callEntry(nullptr, TROVE_REASON_REGISTER, nullptr), 0);
  cell = 0x5555;
  EXPECT_EQ(module.callEntry(host.root(), TROVE_REASON_REGISTER, &cell), 1);
  EXPECT_EQ(cell, errOk);
  EXPECT_EQ(host.counters().registerInterface, 1u);
  EXPECT_FALSE(trace.contains("register")) << "a successful registration is silent";
  ASSERT_NE(host.findInterface(TROVE_IID_REGISTRY), nullptr);

  // Every method but flush is reachable through the registered table.
  trove::host::Object object = host.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.initDone());
  EXPECT_EQ(object.call<TroveFlush>(TROVE_SLOT_FLUSH), errMethodNotFound);
  EXPECT_EQ(object.flush(), errOk);
  EXPECT_EQ(object.call<TroveClean>(TROVE_SLOT_CLEAN), errOk);
  // The constants a host reads.
  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_VERSION), 1u);
  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_NAME_CODE_PAGE), 1200u);
  char description[15] = {};
  EXPECT_TRUE(object.getProperty(TROVE_PROP_DESCRIPTION, description, 15u));
  EXPECT_STREQ(description, "properties map");
}

TEST(ModuleEntry, ARefusedRegistrationIsTracedAndReturnsItsCode) {
  trove::host::HostOptions options;
  options.root.registerResult = errNotSupported;
  Host host(options);
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(host.root(), TROVE_REASON_REGISTER, &cell), 0);
  EXPECT_EQ(cell, errNotSupported);
  auto lines = trace.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, uint32_t{TROVE_TRACE_REGISTRATION});
  EXPECT_EQ(lines[0].text, "Registry(IID_REGISTRY)registered [0x80000042 (Not supported)]");
  EXPECT_EQ(lines[1].level, uint32_t{TROVE_TRACE_ERROR});
  EXPECT_EQ(lines[1].text, "cannot register \"Registry\" interface");
  EXPECT_EQ(host.findInterface(TROVE_IID_REGISTRY), nullptr);
  EXPECT_EQ(host.registerModule(module), errNotSupported);
  host.rootOptions().registerResult = errOk;
  EXPECT_TRUE(host.registerModule(module)) << "a later registration may succeed";
  EXPECT_NE(host.findInterface(TROVE_IID_REGISTRY), nullptr);
}

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
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &a, 8u), errOk);
  EXPECT_EQ(rootKey(), a);
  EXPECT_EQ(object.rootPoint(), "a");
  uint64_t handle = 0;
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &handle, 7u), errBufferTooSmall);
  EXPECT_EQ(size_ + handle, 8u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, nullptr, 8u), errInvalidArgument);
  EXPECT_EQ(changed(), 1u) << "from creating the keys, not from moving the root key";
  EXPECT_TRUE(trace_->contains("getRootPoint") && trace_->contains("getRootKey"));
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
