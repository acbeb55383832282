// Registry objects made through trove's host, as a component would: the module
// is loaded, objects are created and (optionally) loaded, and the methods are
// called through the registered method table. At the end of every test the
// objects are destroyed and must have left nothing on the heap.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "object/properties_map.h"  // only to look at the `changed` flag and the lock
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace registry_test {

using trove::host::formatResult;

// The methods of one object. Arguments convert at the call of the typed entry.
#define REGISTRY_METHOD(method, Fn, slot) \
  template <class... A>                   \
  int32_t method(A... a) const {          \
    return object.call<Fn>(slot, a...);   \
  }

struct Registry {
  trove::host::Object object;
  REGISTRY_METHOD(openKey, TroveOpenKey, TROVE_SLOT_OPEN_KEY)
  REGISTRY_METHOD(openKeyByIndex, TroveOpenKeyByIndex, TROVE_SLOT_OPEN_KEY_BY_INDEX)
  REGISTRY_METHOD(openNextKey, TroveOpenNextKey, TROVE_SLOT_OPEN_NEXT_KEY)
  REGISTRY_METHOD(closeKey, TroveCloseKey, TROVE_SLOT_CLOSE_KEY)
  REGISTRY_METHOD(getKeyName, TroveGetKeyName, TROVE_SLOT_GET_KEY_NAME)
  REGISTRY_METHOD(getKeyNameByIndex, TroveGetKeyNameByIndex, TROVE_SLOT_GET_KEY_NAME_BY_INDEX)
  REGISTRY_METHOD(getValue, TroveGetValue, TROVE_SLOT_GET_VALUE)
  REGISTRY_METHOD(getValueByIndex, TroveGetValueByIndex, TROVE_SLOT_GET_VALUE_BY_INDEX)
  REGISTRY_METHOD(getValueNameByIndex, TroveGetValueNameByIndex, TROVE_SLOT_GET_VALUE_NAME_BY_INDEX)
  REGISTRY_METHOD(setValue, TroveSetValue, TROVE_SLOT_SET_VALUE)
  REGISTRY_METHOD(setValueByIndex, TroveSetValueByIndex, TROVE_SLOT_SET_VALUE_BY_INDEX)
  REGISTRY_METHOD(getKeyCount, TroveGetKeyCount, TROVE_SLOT_GET_KEY_COUNT)
  REGISTRY_METHOD(getValueCount, TroveGetValueCount, TROVE_SLOT_GET_VALUE_COUNT)
  REGISTRY_METHOD(deleteKey, TroveDeleteKey, TROVE_SLOT_DELETE_KEY)
  REGISTRY_METHOD(deleteKeyByInd, TroveDeleteKeyByInd, TROVE_SLOT_DELETE_KEY_BY_IND)
  REGISTRY_METHOD(deleteValue, TroveDeleteValue, TROVE_SLOT_DELETE_VALUE)
  REGISTRY_METHOD(deleteValueByInd, TroveDeleteValueByInd, TROVE_SLOT_DELETE_VALUE_BY_IND)
  REGISTRY_METHOD(clean, TroveClean, TROVE_SLOT_CLEAN)
  REGISTRY_METHOD(copyKey, TroveCopyKey, TROVE_SLOT_COPY_KEY)
  REGISTRY_METHOD(copyKeyByPath, TroveCopyKeyByPath, TROVE_SLOT_COPY_KEY_BY_PATH)
  REGISTRY_METHOD(setRootKey, TroveSetRootKey, TROVE_SLOT_SET_ROOT_KEY)
  REGISTRY_METHOD(setRootStr, TroveSetRootStr, TROVE_SLOT_SET_ROOT_STR)
  void* obj() const { return object.get(); }
  trove::PropertiesMap* map() const { return trove::PropertiesMap::from(object.get()); }
  uint32_t changed() const { return map()->changed.load(); }
  void clearChanged() const { map()->changed.store(0); }
  void setField(uint32_t id, uint32_t value) {
    ASSERT_TRUE(object.setField<uint32_t>(id, value).ok());
  }
  // The handle of a key made (or found) at `path` below `parent`.
  uint64_t makeKey(const char* path, uint64_t parent = 0) const {
    uint64_t key = TROVE_INVALID_KEY;
    int32_t result = openKey(&key, parent, path, 1u);
    EXPECT_TRUE(result == errOk || result == errKeyCreated) << path << formatResult(result);
    return key;
  }
  uint32_t keyCount(uint64_t key) const { return count(TROVE_SLOT_GET_KEY_COUNT, key); }
  uint32_t valueCount(uint64_t key) const { return count(TROVE_SLOT_GET_VALUE_COUNT, key); }
  uint32_t count(uint32_t slot, uint64_t key) const {  // both counts have one signature
    uint32_t n = 0xDEAD;
    EXPECT_EQ(object.call<TroveGetKeyCount>(slot, &n, key), errOk);
    return n;
  }
  int32_t setDword(uint64_t key, const char* name, uint32_t value) const {
    return setValue(key, name, TROVE_TDWORD, &value, 4u, 1u);
  }
  uint32_t dword(uint64_t key, const char* name) const {
    uint32_t value = 0xDEADBEEF;
    EXPECT_EQ(getValue(nullptr, key, name, nullptr, &value, 4u), errOk) << name;
    return value;
  }
  // The value's bytes read as `type` (0: the stored type), through the size query.
  std::string bytes(uint64_t key, const char* name, uint32_t type = 0) const {
    uint32_t required = 0;
    EXPECT_EQ(getValue(&required, key, name, &type, nullptr, 0u), errOk) << name;
    std::string out(required, '\0');
    EXPECT_EQ(getValue(&required, key, name, &type, out.data(), required), errOk) << name;
    return out;
  }
  // Whether a call gave `code` and left `after` in its out-cell, which is reset to 7.
  template <class T>
  static ::testing::AssertionResult is(int32_t result, int32_t code, T& cell,
                                       std::type_identity_t<T> after = 7) {
    T seen = cell;
    cell = 7;
    if (result == code && seen == after) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << formatResult(result) << ", out-cell " << seen;
  }
  // The short or full name of a key, through the size query.
  std::string keyName(uint64_t key, uint32_t full = 0) const {
    uint32_t required = 0;
    EXPECT_EQ(getKeyName(&required, key, nullptr, 0u, full), errOk);
    std::string name(required + 1, '\0');
    EXPECT_EQ(getKeyName(&required, key, name.data(), required + 1, full), errOk);
    return name.c_str();
  }
};

#undef REGISTRY_METHOD

class RegistryTest : public ::testing::Test, public Registry {
 protected:
  void SetUp() override {
    trace_ = &host_.captureTrace();
    module_ = host_.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module_.ok()) << module_.status();
    object = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object.ok()) << object.status();
  }
  void TearDown() override {
    EXPECT_TRUE(!object.ok() || object.destroy().ok());
    EXPECT_EQ(host_.reclaimedBlocks(), 0u) << "a destroyed object left blocks on its heap";
    EXPECT_EQ(host_.heap().violationCount(), 0u) << "a block went back through a wrong holder";
  }

  // Loads the object without name or store I/O: an empty store.
  void load() { ASSERT_TRUE(object.initDone().ok()); }
  // Another loaded object of the module, with locking in force when asked.
  Registry another(uint32_t locking = 0) {
    Registry other{host_.createObject(TROVE_IID_REGISTRY)};
    EXPECT_TRUE(other.object.setField<uint32_t>(TROVE_PROP_USE_LOCKING, locking).ok());
    EXPECT_TRUE(other.object.initDone().ok());
    return other;
  }
  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = nullptr;
  trove::host::Module module_;
};

// Most suites start from a loaded, empty store.
class LoadedRegistryTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
};

}  // namespace registry_test
