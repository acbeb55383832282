// A Registry object made through trove's host, as a component would: the
// module is loaded, an object created and (optionally) loaded, and the
// methods are called through the registered method table. At the end of
// every test the object is destroyed and must have left nothing on the heap.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "object/properties_map.h"  // only to look at the `changed` flag
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace registry_test {

using trove::host::formatResult;

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    trace_ = &host_.captureTrace();
    module_ = host_.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module_.ok()) << module_.status();
    object_ = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object_.ok()) << object_.status();
  }

  void TearDown() override {
    if (object_.ok()) {
      EXPECT_TRUE(object_.destroy().ok());
    }
    EXPECT_EQ(host_.reclaimedBlocks(), 0u) << "the destroyed object left blocks on its heap";
    EXPECT_EQ(host_.heap().violationCount(), 0u) << "a block went back through a wrong holder";
  }

  // Loads an object without name or store I/O: an empty store.
  void load() { ASSERT_TRUE(object_.initDone().ok()); }

  void* obj() const { return object_.get(); }

  trove::PropertiesMap* map() const { return trove::PropertiesMap::from(object_.get()); }
  uint32_t changed() const { return map()->changed.load(); }
  void clearChanged() { map()->changed.store(0); }

  void setField(uint32_t id, uint32_t value) {
    ASSERT_TRUE(object_.setField<uint32_t>(id, value).ok());
  }

  // --- Methods through the registered method table ------------------------
  int32_t openKey(uint64_t* out, uint64_t parent, const char* path, uint32_t create) {
    return object_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, out, parent, path, create);
  }
  // The handle of a key made (or found) at `path` below the root key.
  uint64_t makeKey(const char* path) {
    uint64_t key = TROVE_INVALID_KEY;
    int32_t result = openKey(&key, 0, path, 1);
    EXPECT_TRUE(result == errOk || result == errKeyCreated) << path;
    return key;
  }
  int32_t openKeyByIndex(uint64_t* out, uint64_t key, uint32_t index) {
    return object_.call<TroveOpenKeyByIndex>(TROVE_SLOT_OPEN_KEY_BY_INDEX, out, key, index);
  }
  int32_t openNextKey(uint64_t* out, uint64_t key) {
    return object_.call<TroveOpenNextKey>(TROVE_SLOT_OPEN_NEXT_KEY, out, key);
  }
  int32_t closeKey(uint64_t key) { return object_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, key); }
  int32_t getKeyName(uint32_t* required, uint64_t key, char* buffer, uint32_t size, uint32_t full) {
    return object_.call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, required, key, buffer, size,
                                         full);
  }
  int32_t getKeyNameByIndex(uint32_t* required, uint64_t key, uint32_t index, char* buffer,
                            uint32_t size, uint32_t full) {
    return object_.call<TroveGetKeyNameByIndex>(TROVE_SLOT_GET_KEY_NAME_BY_INDEX, required, key,
                                                index, buffer, size, full);
  }
  int32_t getKeyCount(uint32_t* count, uint64_t key) {
    return object_.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, count, key);
  }
  uint32_t keyCount(uint64_t key) {
    uint32_t count = 0xDEAD;
    EXPECT_EQ(getKeyCount(&count, key), errOk);
    return count;
  }
  int32_t deleteKey(uint64_t key, const char* path) {
    return object_.call<TroveDeleteKey>(TROVE_SLOT_DELETE_KEY, key, path);
  }
  int32_t deleteKeyByInd(uint64_t key, uint32_t index) {
    return object_.call<TroveDeleteKeyByInd>(TROVE_SLOT_DELETE_KEY_BY_IND, key, index);
  }
  int32_t setRootKey(uint64_t key) {
    return object_.call<TroveSetRootKey>(TROVE_SLOT_SET_ROOT_KEY, key);
  }
  int32_t setRootStr(const char* path) {
    return object_.call<TroveSetRootStr>(TROVE_SLOT_SET_ROOT_STR, path);
  }

  int32_t getValue(uint32_t* required, uint64_t key, const char* name, uint32_t* type, void* buffer,
                   uint32_t size) {
    return object_.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, required, key, name, type, buffer,
                                       size);
  }
  int32_t getValueByIndex(uint32_t* required, uint64_t key, uint32_t index, uint32_t* type,
                          void* buffer, uint32_t size) {
    return object_.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, required, key, index,
                                              type, buffer, size);
  }
  int32_t getValueNameByIndex(uint32_t* required, uint64_t key, uint32_t index, char* buffer,
                              uint32_t size) {
    return object_.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, required, key,
                                                  index, buffer, size);
  }
  int32_t setValue(uint64_t key, const char* name, uint32_t type, const void* buffer, uint32_t size,
                   uint32_t create) {
    return object_.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, name, type, buffer, size, create);
  }
  int32_t setValueByIndex(uint64_t key, uint32_t index, uint32_t type, const void* buffer,
                          uint32_t size, uint32_t create) {
    return object_.call<TroveSetValueByIndex>(TROVE_SLOT_SET_VALUE_BY_INDEX, key, index, type,
                                              buffer, size, create);
  }
  int32_t getValueCount(uint32_t* count, uint64_t key) {
    return object_.call<TroveGetValueCount>(TROVE_SLOT_GET_VALUE_COUNT, count, key);
  }
  uint32_t valueCount(uint64_t key) {
    uint32_t count = 0xDEAD;
    EXPECT_EQ(getValueCount(&count, key), errOk);
    return count;
  }
  int32_t deleteValue(uint64_t key, const char* name) {
    return object_.call<TroveDeleteValue>(TROVE_SLOT_DELETE_VALUE, key, name);
  }
  int32_t deleteValueByInd(uint64_t key, uint32_t index) {
    return object_.call<TroveDeleteValueByInd>(TROVE_SLOT_DELETE_VALUE_BY_IND, key, index);
  }
  int32_t clean() { return object_.call<TroveClean>(TROVE_SLOT_CLEAN); }

  // A tDWORD value, created when missing.
  int32_t setDword(uint64_t key, const char* name, uint32_t value) {
    return setValue(key, name, TROVE_TDWORD, &value, sizeof(value), 1);
  }
  uint32_t dword(uint64_t key, const char* name) {
    uint32_t value = 0xDEADBEEF;
    uint32_t type = TROVE_TDWORD;
    EXPECT_EQ(getValue(nullptr, key, name, &type, &value, sizeof(value)), errOk) << name;
    return value;
  }

  // The short or full name of a key, through the size query.
  std::string keyName(uint64_t key, uint32_t full) {
    uint32_t required = 0;
    EXPECT_EQ(getKeyName(&required, key, nullptr, 0, full), errOk);
    std::string name(required + 1, '\0');
    EXPECT_EQ(getKeyName(&required, key, name.data(), required + 1, full), errOk);
    return name.c_str();
  }

  // --- Trace ------------------------------------------------------------------
  std::string lastTrace() const { return trace_->last().text; }
  uint32_t lastTraceLevel() const { return trace_->last().level; }
  size_t traceCount() const { return trace_->count(); }
  // The line a method call wrote: "trove\t" + what + ": " + the result.
  static std::string line(const std::string& what, int32_t result) {
    return "trove\t" + what + ": " + formatResult(result);
  }
  static std::string hex32(uint64_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), "%x", static_cast<uint32_t>(value));
    return text;
  }
  static std::string dec32(uint64_t value) {
    return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(value)));
  }

  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = nullptr;
  trove::host::Module module_;
  trove::host::Object object_;
};

}  // namespace registry_test
