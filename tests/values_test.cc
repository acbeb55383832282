// The value methods of the Registry interface through the registered method
// table: the stored type, refusals, enumeration, deletion, Clean, trace lines.
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

TEST_F(ValuesTest, ReadsAndWritesInTheStoredType) {
  uint32_t five = 5;
  ASSERT_EQ(setValue(0, "v", TROVE_TDWORD, &five, 4u, 1u), errOk);
  EXPECT_EQ(changed(), 1u);
  uint32_t required = 0;
  uint32_t type = 0;  // asks for the stored type and receives it
  EXPECT_EQ(getValue(&required, 0, "V", &type, nullptr, 0u), errOk);
  EXPECT_EQ(required, 4u);
  EXPECT_EQ(type, uint32_t{TROVE_TDWORD});
  uint32_t value = 0;
  EXPECT_EQ(getValue(nullptr, 0, "v", nullptr, &value, 4u), errOk);  // no type cell
  EXPECT_EQ(value, 5u);
  ASSERT_EQ(setDword(0, "b", 2), errOk);
  ASSERT_EQ(setDword(0, "c", 3), errOk);
  EXPECT_EQ(getValueByIndex(nullptr, 0, 2u, nullptr, &value, 4u), errOk);
  EXPECT_EQ(value, 3u) << "appended values come last";
  clearChanged();
  EXPECT_EQ(setDword(0, "v", 5), errOk);
  EXPECT_EQ(changed(), 0u) << "an equal value is no change";
  EXPECT_EQ(setDword(0, "v", 13), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(0, "v"), 13u);
}

// Every refusal leaves the values as they were and `required` as documented.
TEST_F(ValuesTest, RefusalsReturnTheirCodesAndChangeNothing) {
  uint64_t k = makeKey("k");
  ASSERT_EQ(setDword(k, "v", 9), errOk);
  clearChanged();
  const uint64_t bad = 0xAAAA;
  const uint32_t dw = TROVE_TDWORD;
  uint32_t n = 7;
  uint32_t value = 0;
  uint32_t type = dw;
  char name[4] = "#";
  EXPECT_TRUE(is(getValue(&n, k, "no", &type, &value, 4u), errEntryNotFound, n));
  EXPECT_TRUE(is(getValue(&n, bad, "v", &type, &value, 4u), errInvalidKey, n));
  EXPECT_TRUE(is(getValue(&n, k, nullptr, &type, &value, 4u), errInvalidArgument, n));
  EXPECT_TRUE(is(getValue(&n, k, "v", &type, &value, 3u), errBufferTooSmall, n, 4));
  EXPECT_TRUE(is(getValue(&n, k, "v", &type, nullptr, 4u), errInvalidArgument, n, 4));
  EXPECT_TRUE(is(getValueByIndex(&n, k, 1u, &type, &value, 4u), errEntryNotFound, n));
  EXPECT_TRUE(is(getValueByIndex(&n, bad, 0u, &type, &value, 4u), errInvalidKey, n));
  EXPECT_TRUE(is(getValueNameByIndex(&n, bad, 0u, name, 4u), errInvalidKey, n, 0));
  EXPECT_TRUE(is(getValueNameByIndex(&n, k, 0u, nullptr, 4u), errInvalidArgument, n, 2));
  EXPECT_TRUE(is(getValueNameByIndex(&n, k, 0u, name, 1u), errBufferTooSmall, n, 2));
  EXPECT_TRUE(is(getValueCount(&n, bad), errInvalidKey, n, 0));
  EXPECT_EQ(setValue(k, "no", dw, &value, 4u, 0u), errEntryNotFound);
  EXPECT_EQ(setValue(bad, "v", dw, &value, 4u, 1u), errInvalidKey);
  EXPECT_EQ(setValue(k, nullptr, dw, &value, 4u, 1u), errInvalidArgument);
  EXPECT_EQ(setValue(k, "v", dw, &value, 2u, 0u), errInvalidArgument);
  EXPECT_EQ(setValue(k, "v", TROVE_TSTRING, "x", 1u, 0u), errInvalidArgument);
  // A type without a codec can neither carry a value over nor make one.
  EXPECT_EQ(setValue(k, "v", TROVE_TOBJECT, &value, 4u, 0u), errOutOfMemory);
  EXPECT_EQ(setValue(k, "w", TROVE_TOBJECT, &value, 4u, 1u), errOutOfMemory);
  EXPECT_EQ(setValueByIndex(k, 2u, dw, &value, 4u, 1u), errInvalidArgument);
  EXPECT_EQ(setValueByIndex(k, 1u, dw, &value, 4u, 0u), errEntryNotFound);
  EXPECT_EQ(setValueByIndex(bad, 0u, dw, &value, 4u, 1u), errInvalidKey);
  EXPECT_EQ(deleteValue(k, "no"), errEntryNotFound);
  EXPECT_EQ(deleteValue(k, nullptr), errInvalidArgument);
  EXPECT_EQ(deleteValue(bad, "v"), errInvalidKey);
  EXPECT_EQ(deleteValueByInd(k, 1u), errEntryNotFound);
  EXPECT_EQ(deleteValueByInd(bad, 0u), errInvalidKey);
  EXPECT_EQ(name[0], '#');
  EXPECT_EQ(dword(k, "v"), 9u);
  EXPECT_EQ(valueCount(k), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(ValuesTest, ReadOnlyRefusesEveryWriteButNoRead) {
  uint64_t key = makeKey("k");
  ASSERT_EQ(setDword(key, "v", 1), errOk);
  clearChanged();
  setField(TROVE_PROP_READ_ONLY, 1);
  uint32_t two = 2;
  uint64_t out = 0;
  EXPECT_EQ(setValue(key, "v", TROVE_TDWORD, &two, 4u, 1u), errReadOnly);
  EXPECT_EQ(setValue(0xFEED, "v", TROVE_TDWORD, &two, 4u, 1u), errReadOnly) << "before the key";
  EXPECT_EQ(setValueByIndex(key, 0u, TROVE_TDWORD, &two, 4u, 1u), errReadOnly);
  EXPECT_EQ(deleteValue(key, "v"), errReadOnly);
  EXPECT_EQ(deleteValueByInd(key, 0u), errReadOnly);
  EXPECT_EQ(clean(), errReadOnly);
  EXPECT_EQ(openKey(&out, 0, "k/new", 1u), errReadOnly);
  EXPECT_EQ(deleteKey(0, "k"), errReadOnly);
  EXPECT_EQ(deleteKeyByInd(0, 0u), errReadOnly);
  EXPECT_EQ(openKey(&out, 0, "k", 1u), errOk) << "an open that creates nothing";
  EXPECT_EQ(dword(key, "v"), 1u);
  EXPECT_EQ(keyCount(0) + keyCount(key), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(ValuesTest, ByIndexWritesInPlaceOrAppendsAGeneratedNameAndDeletes) {
  uint64_t key = makeKey("k");
  for (uint32_t i = 0; i < 3; ++i) ASSERT_EQ(setValueByIndex(key, i, 4u, &i, 4u, 1u), errOk);
  clearChanged();
  EXPECT_EQ(setValueByIndex(key, 1u, TROVE_TSTRING, "40", 2u, 1u), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(key, "noname1"), 40u);
  EXPECT_EQ(valueCount(key), 3u);
  char name[16];
  uint32_t required = 0;
  EXPECT_EQ(getValueNameByIndex(&required, key, 2u, nullptr, 0u), errOk);
  EXPECT_EQ(required, 8u);
  EXPECT_EQ(getValueNameByIndex(&required, key, 2u, name, 8u), errOk);
  EXPECT_STREQ(name, "noname2");
  EXPECT_EQ(getValueNameByIndex(&required, key, 3u, name, 16u), errOk) << "past the end";
  EXPECT_EQ(required, 0u) << "no name, and no error";
  clearChanged();
  EXPECT_EQ(deleteValue(key, "NONAME1"), errOk);
  EXPECT_EQ(changed(), 1u);
  clearChanged();
  EXPECT_EQ(deleteValueByInd(key, 0u), errOk);
  EXPECT_EQ(changed(), 1u);
  ASSERT_EQ(valueCount(key), 1u);
  EXPECT_EQ(dword(key, "noname2"), 2u);
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
  ASSERT_EQ(setDword(makeKey("a/b/c"), "v", 1), errOk);
  ASSERT_EQ(setDword(a, "v", 1), errOk);
  ASSERT_EQ(setDword(makeKey("outside"), "v", 1), errOk);
  ASSERT_EQ(setRootKey(a), errOk);
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(0) + valueCount(0), 0u);
  EXPECT_EQ(keyName(0), "a");
  ASSERT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(keyCount(0) + valueCount(0), 0u);
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u) << "cleaning an empty root key is still a change";
}

// A method writes one line at the call level: what it did and its result.
TEST_F(ValuesTest, MethodsWriteOneTraceLine) {
  const uint32_t word = 0;
  auto at = trove::host::formatTrace("%x", uint32_t(reinterpret_cast<uintptr_t>(&word)));
  auto traced = [&](int32_t result, const std::string& what) {
    auto lines = trace_->lines();
    trace_->clear();
    return lines.size() == 1 && lines[0].level == TROVE_TRACE_CALL &&
           lines[0].text == "trove\t" + what + ": " + formatResult(result);
  };
  trace_->clear();
  uint64_t out = 0;
  EXPECT_TRUE(traced(openKey(&out, 0, "a\\b/c", 1u), "Opening key ?\\a\\b/c"));
  EXPECT_TRUE(traced(closeKey(0x1234567890ABCDEFull), "Closing key 90abcdef"));
  EXPECT_TRUE(traced(openKeyByIndex(&out, 0, ~0u), "PropertiesMap::OpenKeyByIndex -1"));
  EXPECT_TRUE(traced(deleteKeyByInd(0, 2u), "PropertiesMap::DeleteKeyByInd 2 "));
  EXPECT_TRUE(
      traced(setValue(0, "w", 4u, &word, 4u, 1u), "PropertiesMap::SetValue w (0x" + at + ":4)"));
  EXPECT_TRUE(traced(getValue(nullptr, 0, "w", nullptr, &out, 2u), "Getting value ?\\w"));
  EXPECT_TRUE(traced(clean(), "PropertiesMap::Clean "));
  // An unresolved key is the one SetValue failure without a line.
  EXPECT_EQ(setValue(0xFEED, "v", 4u, &word, 4u, 1u), errInvalidKey);
  EXPECT_EQ(trace_->count(), 0u);
}

}  // namespace
}  // namespace registry_test
