// The value methods of the Registry interface through the registered method
// table: reading and writing in the stored type, enumeration, deletion, Clean,
// the read-only refusals, and the trace line every method writes.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

class ValuesTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
};

TEST_F(ValuesTest, SetAndGetInTheStoredTypeFollowTheSizeQueryProtocol) {
  uint32_t five = 5;
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &five, 4u, 0u), errEntryNotFound);
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &five, 4u, 1u), errOk);
  EXPECT_EQ(changed(), 1u);

  uint32_t required = 0;
  uint32_t type = TROVE_TDWORD;
  EXPECT_EQ(getValue(&required, 0, "v", &type, nullptr, 0u), errOk);
  EXPECT_EQ(required, 4u);
  uint32_t value = 0;
  type = 0;  // asks for the stored type and receives it
  EXPECT_EQ(getValue(&required, 0, "V", &type, &value, 4u), errOk);
  EXPECT_EQ(type, uint32_t{TROVE_TDWORD});
  EXPECT_EQ(value, 5u);
  value = 0;
  EXPECT_EQ(getValue(nullptr, 0, "v", nullptr, &value, 4u), errOk);  // no type cell
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(getValue(&required, 0, "v", nullptr, &value, 3u), errBufferTooSmall);
  EXPECT_EQ(getValue(&required, 0, "v", nullptr, nullptr, 4u), errInvalidArgument);
  EXPECT_EQ(getValue(&required, 0, "missing", &type, &value, 4u), errEntryNotFound);
  EXPECT_EQ(getValue(&required, 0x31337, "v", &type, &value, 4u), errInvalidKey);
  EXPECT_EQ(getValue(&required, 0, nullptr, &type, &value, 4u), errInvalidArgument);
  EXPECT_EQ(getValueByIndex(&required, 0, 1u, &type, &value, 4u), errEntryNotFound);
  EXPECT_EQ(getValueByIndex(&required, 0x31337, 0u, &type, &value, 4u), errInvalidKey);

  ASSERT_EQ(setDword(0, "b", 2), errOk);
  ASSERT_EQ(setDword(0, "c", 3), errOk);
  EXPECT_EQ(getValueByIndex(nullptr, 0, 2u, nullptr, &value, 4u), errOk);
  EXPECT_EQ(value, 3u) << "appended values come last";
  EXPECT_EQ(setValue(0xFEED, "v", TROVE_TDWORD, &five, 4u, 1u), errInvalidKey);
  EXPECT_EQ(setValue(0, nullptr, TROVE_TDWORD, &five, 4u, 1u), errInvalidArgument);
  EXPECT_EQ(valueCount(0), 3u);
}

TEST_F(ValuesTest, OnlyAWriteThatChangesTheValueMarksTheStore) {
  ASSERT_EQ(setDword(0, "v", 12), errOk);
  clearChanged();
  EXPECT_EQ(setDword(0, "v", 12), errOk);
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(setDword(0, "v", 13), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(0, "v"), 13u);

  // Failed writes leave the value as it was.
  clearChanged();
  EXPECT_EQ(setValue(0, "v", TROVE_TSTRING, "not a number", 12u, 0u), errInvalidArgument);
  uint16_t small = 1;
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &small, 2u, 0u), errInvalidArgument);
  // A type without a codec can neither carry a value over nor make one.
  EXPECT_EQ(setValue(0, "v", TROVE_TOBJECT, &small, 2u, 0u), errOutOfMemory);
  EXPECT_EQ(setValue(0, "new", TROVE_TOBJECT, &small, 2u, 1u), errOutOfMemory);
  EXPECT_EQ(dword(0, "v"), 13u);
  EXPECT_EQ(valueCount(0), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(ValuesTest, ReadOnlyRefusesEveryWriteButNoRead) {
  uint64_t key = makeKey("k");
  ASSERT_EQ(setDword(key, "v", 1), errOk);
  clearChanged();
  setField(TROVE_PROP_READ_ONLY, 1);
  uint32_t two = 2;
  uint64_t out = 0;
  const std::vector<std::function<int32_t()>> writes = {
      [&] { return setValue(key, "v", TROVE_TDWORD, &two, 4u, 1u); },
      [&] { return setValue(0xFEED, "v", TROVE_TDWORD, &two, 4u, 1u); },  // before the handle
      [&] { return setValueByIndex(key, 0u, TROVE_TDWORD, &two, 4u, 1u); },
      [&] { return deleteValue(key, "v"); },
      [&] { return deleteValueByInd(key, 0u); },
      [&] { return clean(); },
      [&] { return openKey(&out, 0, "k/new", 1u); },
      [&] { return deleteKey(0, "k"); },
      [&] { return deleteKeyByInd(0, 0u); },
  };
  for (size_t i = 0; i < writes.size(); ++i) EXPECT_EQ(writes[i](), errReadOnly) << "write " << i;
  EXPECT_EQ(openKey(&out, 0, "k", 1u), errOk) << "an open that creates nothing";
  EXPECT_EQ(out, key);
  EXPECT_EQ(dword(key, "v"), 1u);
  EXPECT_EQ(keyCount(0), 1u);
  EXPECT_EQ(keyCount(key), 0u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(ValuesTest, ByIndexWritesInPlaceOrAppendsAGeneratedName) {
  uint64_t key = makeKey("k");
  for (uint32_t i = 0; i < 3; ++i) {
    ASSERT_EQ(setValueByIndex(key, i, TROVE_TDWORD, &i, 4u, 1u), errOk);
  }
  uint32_t seven = 7;
  EXPECT_EQ(setValueByIndex(key, 4u, TROVE_TDWORD, &seven, 4u, 1u), errInvalidArgument);
  EXPECT_EQ(setValueByIndex(key, 3u, TROVE_TDWORD, &seven, 4u, 0u), errEntryNotFound);
  EXPECT_EQ(setValueByIndex(key, 3u, TROVE_TDWORD, &seven, 4u, 1u), errOk);
  EXPECT_EQ(setValueByIndex(0xFEED, 0u, TROVE_TDWORD, &seven, 4u, 1u), errInvalidKey);
  clearChanged();
  EXPECT_EQ(setValueByIndex(key, 1u, TROVE_TSTRING, "40", 2u, 1u), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(key, "noname1"), 40u);
  EXPECT_EQ(dword(key, "noname3"), 7u);
  EXPECT_EQ(valueCount(key), 4u);

  // Value names: the size query, a short buffer, and past the end no name.
  char name[16];
  uint32_t required = 0;
  EXPECT_EQ(getValueNameByIndex(&required, key, 2u, nullptr, 0u), errOk);
  EXPECT_EQ(required, 8u);
  EXPECT_EQ(getValueNameByIndex(&required, key, 2u, name, 7u), errBufferTooSmall);
  EXPECT_EQ(getValueNameByIndex(&required, key, 2u, name, 8u), errOk);
  EXPECT_STREQ(name, "noname2");
  required = 99;
  EXPECT_EQ(getValueNameByIndex(&required, key, 4u, name, 16u), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(getValueNameByIndex(&required, key, 4u, nullptr, 5u), errInvalidArgument);
  required = 99;
  EXPECT_EQ(getValueNameByIndex(&required, 0xAAAA, 0u, name, 16u), errInvalidKey);
  EXPECT_EQ(required, 0u);
  uint32_t count = 9;
  EXPECT_EQ(getValueCount(&count, 0xAAAA), errInvalidKey);
  EXPECT_EQ(count, 0u);
}

TEST_F(ValuesTest, DeletingByNameAndByIndex) {
  uint64_t key = makeKey("k");
  for (const char* name : {"a", "b", "c"}) ASSERT_EQ(setDword(key, name, 1), errOk);
  clearChanged();
  EXPECT_EQ(deleteValue(key, "missing"), errEntryNotFound);
  EXPECT_EQ(deleteValueByInd(key, 3u), errEntryNotFound);
  EXPECT_EQ(deleteValue(key, nullptr), errInvalidArgument);
  EXPECT_EQ(deleteValue(0xAAAA, "a"), errInvalidKey);
  EXPECT_EQ(deleteValueByInd(0xAAAA, 0u), errInvalidKey);
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(deleteValue(key, "B"), errOk);
  EXPECT_EQ(changed(), 1u);
  clearChanged();
  EXPECT_EQ(deleteValueByInd(key, 0u), errOk);
  EXPECT_EQ(changed(), 1u);
  ASSERT_EQ(valueCount(key), 1u);
  char name[4];
  EXPECT_EQ(getValueNameByIndex(nullptr, key, 0u, name, 4u), errOk);
  EXPECT_STREQ(name, "c");

  // A redirect marker is read through to the key's "noname" value, but
  // deleting removes the marker, not the value it leads to.
  ASSERT_EQ(setDword(key, "noname", 42), errOk);
  ASSERT_EQ(setValue(0, "k", TROVE_TSTRING, "![CDATA[", 8u, 1u), errOk);
  EXPECT_EQ(dword(0, "k"), 42u);
  EXPECT_EQ(deleteValue(0, "k"), errOk);
  EXPECT_EQ(valueCount(0), 0u);
  EXPECT_EQ(dword(key, "noname"), 42u);
}

TEST_F(ValuesTest, CleanEmptiesTheRootKeyOnly) {
  uint64_t a = makeKey("a");
  makeKey("a/b/c");
  ASSERT_EQ(setDword(a, "v", 1), errOk);
  uint64_t outside = makeKey("outside");
  ASSERT_EQ(setDword(0, "top", 1), errOk);
  ASSERT_EQ(setRootKey(a), errOk);
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(0), 0u);
  EXPECT_EQ(valueCount(0), 0u);
  EXPECT_EQ(keyName(0), "a");
  ASSERT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(valueCount(0), 1u);
  EXPECT_EQ(keyName(outside), "outside");
  EXPECT_EQ(clean(), errOk);
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u) << "cleaning an empty root key is still a change";
}

// Each method writes one line at the call level: what it did and its result.
TEST_F(ValuesTest, EveryMethodWritesOneTraceLine) {
  uint64_t k = makeKey("k");
  ASSERT_EQ(setDword(k, "v", 1), errOk);
  uint64_t out = 0;
  uint32_t n = 0;
  char text[8];
  const uint32_t word = 0;
  const std::string at =
      "(0x" + trove::host::formatTrace("%x", uint32_t(reinterpret_cast<uintptr_t>(&word)));
  const uint64_t bad = 0xFEED;
  const std::vector<std::pair<std::function<int32_t()>, std::string>> cases = {
      {[&] { return openKey(&out, 0, "a\\b/c", 0u); }, "Opening key ?\\a\\b/c"},
      {[&] { return openKey(&out, 0, nullptr, 0u); }, "Opening key ?\\(null)"},
      {[&] { return openKeyByIndex(&out, 0, ~0u); }, "PropertiesMap::OpenKeyByIndex -1"},
      {[&] { return openNextKey(&out, k); }, "PropertiesMap::OpenNextKey "},
      {[&] { return closeKey(0x1234567890ABCDEFull); }, "Closing key 90abcdef"},
      {[&] { return getKeyName(&n, 0x99999, text, 8u, 0u); }, "Getting key name 629145"},
      {[&] { return getKeyNameByIndex(&n, 0, 1u, text, 8u, 0u); }, "Getting key name by index 1"},
      {[&] { return getKeyCount(&n, bad); }, "PropertiesMap::GetKeyCount "},
      {[&] { return deleteKey(k, "x"); }, "PropertiesMap::DeleteKey x"},
      {[&] { return deleteKeyByInd(k, 2u); }, "PropertiesMap::DeleteKeyByInd 2 "},
      {[&] { return setRootKey(bad); }, "PropertiesMap::SetRootKey "},
      {[&] { return setRootStr("x"); }, "PropertiesMap::SetRootStr "},
      {[&] { return getValue(&n, k, "v", nullptr, text, 2u); }, "Getting value ?\\v"},
      {[&] { return getValueByIndex(&n, k, 3u, nullptr, text, 8u); }, "Getting value by index 3"},
      {[&] { return getValueNameByIndex(&n, bad, 0u, text, 8u); },
       "PropertiesMap::GetValueNameByIndex "},
      {[&] { return setValue(k, "w", 4u, &word, 4u, 0u); },
       "PropertiesMap::SetValue w " + at + ":4)"},
      {[&] { return setValueByIndex(bad, 0u, 4u, &word, 4u, 1u); },
       "PropertiesMap::SetValueByIndex 0 " + at + ":4)"},
      {[&] { return getValueCount(&n, k); }, "PropertiesMap::GetValueCount "},
      {[&] { return deleteValue(k, "w"); }, "PropertiesMap::DeleteValue w"},
      {[&] { return deleteValueByInd(k, 5u); }, "PropertiesMap::DeleteValueByInd 5"},
      {[&] { return clean(); }, "PropertiesMap::Clean "},
  };
  for (const auto& [call, what] : cases) {
    size_t before = trace_->count();
    int32_t result = call();
    ASSERT_EQ(trace_->count(), before + 1) << what;
    EXPECT_EQ(lastTrace(), line(what, result));
    EXPECT_EQ(trace_->last().level, TROVE_TRACE_CALL) << what;
  }
  // An unresolved key is the one SetValue failure without a line.
  size_t before = trace_->count();
  EXPECT_EQ(setValue(bad, "v", 4u, &word, 4u, 1u), errInvalidKey);
  EXPECT_EQ(trace_->count(), before);
}

}  // namespace
}  // namespace registry_test
