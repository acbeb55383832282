// The value methods of the Registry interface, called through the registered
// method table: reading and writing in the stored type and in others, string
// objects, enumeration, deletion, Clean, read-only refusals and trace lines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

using trove::host::StringObject;

class ValuesTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
  std::string setLine(const char* name, const void* buffer, uint32_t size, int32_t result) {
    return line(std::string("PropertiesMap::SetValue ") + name + " (0x" +
                    hex32(reinterpret_cast<uintptr_t>(buffer)) + ":" + dec32(size) + ")",
                result);
  }
  // The value's bytes in `type`, through the size query.
  std::string bytes(uint64_t key, const char* name, uint32_t type) {
    uint32_t required = 0;
    EXPECT_EQ(getValue(&required, key, name, &type, nullptr, 0), errOk) << name;
    std::string out(required, '\0');
    EXPECT_EQ(getValue(&required, key, name, &type, out.data(), required), errOk) << name;
    return out;
  }
  void setString(uint64_t key, const char* name, const std::string& text) {
    ASSERT_EQ(setValue(key, name, TROVE_TSTRING, text.data(), text.size(), 1), errOk);
  }
  void setWide(uint64_t key, const char* name, const std::u16string& text) {
    ASSERT_EQ(setValue(key, name, TROVE_TWSTRING, text.data(), 2 * text.size(), 1), errOk);
  }
};

TEST_F(ValuesTest, SetAndGetInTheStoredTypeWithTheTypeCell) {
  uint32_t five = 5;
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &five, 4, 0), errEntryNotFound);
  EXPECT_EQ(lastTrace(), setLine("v", &five, 4, errEntryNotFound));
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &five, 4, 1), errOk);
  EXPECT_EQ(lastTrace(), setLine("v", &five, 4, errOk));
  EXPECT_EQ(lastTraceLevel(), TROVE_TRACE_CALL);
  EXPECT_EQ(changed(), 1u);

  uint32_t required = 0;
  uint32_t type = TROVE_TDWORD;
  EXPECT_EQ(getValue(&required, 0, "v", &type, nullptr, 0), errOk);
  EXPECT_EQ(required, 4u);
  EXPECT_EQ(lastTrace(), line("Getting value ?\\v", errOk));

  uint32_t value = 0;
  type = 0;  // asks for the stored type and receives it
  EXPECT_EQ(getValue(&required, 0, "V", &type, &value, 4), errOk);
  EXPECT_EQ(type, static_cast<uint32_t>(TROVE_TDWORD));
  EXPECT_EQ(value, 5u);
  value = 0;
  EXPECT_EQ(getValue(nullptr, 0, "v", nullptr, &value, 4), errOk);  // no type cell
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(getValue(&required, 0, "v", nullptr, &value, 3), errBufferTooSmall);
  EXPECT_EQ(getValue(&required, 0, "v", nullptr, nullptr, 4), errInvalidArgument);

  EXPECT_EQ(getValue(&required, 0, "missing", &type, &value, 4), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("Getting value ?\\missing", errEntryNotFound));
  EXPECT_EQ(getValue(&required, 0x31337, "v", &type, &value, 4), errInvalidKey);
  EXPECT_EQ(getValue(&required, 0, nullptr, &type, &value, 4), errInvalidArgument);
  EXPECT_EQ(lastTrace(), line("Getting value ?\\(null)", errInvalidArgument));

  EXPECT_EQ(getValueByIndex(&required, 0, 0, &type, &value, 4), errOk);
  EXPECT_EQ(lastTrace(), line("Getting value by index 0", errOk));
  EXPECT_EQ(getValueByIndex(&required, 0, 1, &type, &value, 4), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("Getting value by index 1", errEntryNotFound));
  EXPECT_EQ(getValueByIndex(&required, 0x31337, 0, &type, &value, 4), errInvalidKey);
}

TEST_F(ValuesTest, SettingAnEqualValueIsNoChange) {
  ASSERT_EQ(setDword(0, "v", 12), errOk);
  clearChanged();
  EXPECT_EQ(setDword(0, "v", 12), errOk);
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(setDword(0, "v", 13), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(0, "v"), 13u);

  // Through another type the stored codec parses the text: a change.
  clearChanged();
  EXPECT_EQ(setValue(0, "v", TROVE_TSTRING, "77", 2, 0), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(0, "v"), 77u);
}

TEST_F(ValuesTest, AFailedWriteLeavesTheValueAsItWas) {
  ASSERT_EQ(setDword(0, "v", 9), errOk);
  clearChanged();
  EXPECT_EQ(setValue(0, "v", TROVE_TSTRING, "not a number", 12, 0), errInvalidArgument);
  EXPECT_EQ(dword(0, "v"), 9u);
  uint16_t small = 1;
  EXPECT_EQ(setValue(0, "v", TROVE_TDWORD, &small, 2, 0), errInvalidArgument);
  EXPECT_EQ(dword(0, "v"), 9u);
  // A type without a codec cannot carry the value over.
  EXPECT_EQ(setValue(0, "v", TROVE_TOBJECT, &small, 2, 0), errOutOfMemory);
  EXPECT_EQ(setValue(0, "new", TROVE_TOBJECT, &small, 2, 1), errOutOfMemory);
  EXPECT_EQ(valueCount(0), 1u);
  EXPECT_EQ(changed(), 0u);
  EXPECT_EQ(setValue(0, nullptr, TROVE_TDWORD, &small, 4, 1), errInvalidArgument);
  EXPECT_EQ(dword(0, "v"), 9u);
}

TEST_F(ValuesTest, SetValueWithAnUnresolvedKeyWritesNoTraceLine) {
  size_t lines = traceCount();
  uint32_t five = 5;
  EXPECT_EQ(setValue(0xFEED, "v", TROVE_TDWORD, &five, 4, 1), errInvalidKey);
  EXPECT_EQ(traceCount(), lines);
  // SetValueByIndex traces the same failure.
  EXPECT_EQ(setValueByIndex(0xFEED, 0, TROVE_TDWORD, &five, 4, 1), errInvalidKey);
  EXPECT_EQ(traceCount(), lines + 1);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetValueByIndex 0 (0x" +
                                  hex32(reinterpret_cast<uintptr_t>(&five)) + ":4)",
                              errInvalidKey));
}

TEST_F(ValuesTest, ReadOnlyRefusesEveryWriteAndStillTraces) {
  uint64_t key = makeKey("k");
  ASSERT_EQ(setDword(key, "v", 1), errOk);
  clearChanged();
  setField(TROVE_PROP_READ_ONLY, 1);
  uint32_t two = 2;

  EXPECT_EQ(setValue(key, "v", TROVE_TDWORD, &two, 4, 1), errReadOnly);
  EXPECT_EQ(lastTrace(), setLine("v", &two, 4, errReadOnly));
  // Refused before the handle is even looked at, and still traced.
  EXPECT_EQ(setValue(0xFEED, "v", TROVE_TDWORD, &two, 4, 1), errReadOnly);
  EXPECT_EQ(lastTrace(), setLine("v", &two, 4, errReadOnly));
  EXPECT_EQ(setValueByIndex(key, 0, TROVE_TDWORD, &two, 4, 1), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::SetValueByIndex 0 (0x" +
                                  hex32(reinterpret_cast<uintptr_t>(&two)) + ":4)",
                              errReadOnly));
  EXPECT_EQ(deleteValue(key, "v"), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteValue v", errReadOnly));
  EXPECT_EQ(deleteValueByInd(key, 0), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteValueByInd 0", errReadOnly));
  EXPECT_EQ(clean(), errReadOnly);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::Clean ", errReadOnly));

  EXPECT_EQ(dword(key, "v"), 1u);  // reading still works
  EXPECT_EQ(keyCount(0), 1u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(ValuesTest, ByIndexCreatesGeneratedNamesAtTheEndOnly) {
  uint64_t key = makeKey("k");
  for (uint32_t i = 0; i < 3; ++i) {
    ASSERT_EQ(setValueByIndex(key, i, TROVE_TDWORD, &i, 4, 1), errOk);
  }
  char name[16];
  uint32_t required = 0;
  EXPECT_EQ(getValueNameByIndex(&required, key, 2, name, sizeof(name)), errOk);
  EXPECT_STREQ(name, "noname2");
  EXPECT_EQ(required, 8u);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::GetValueNameByIndex ", errOk));

  uint32_t seven = 7;
  EXPECT_EQ(setValueByIndex(key, 4, TROVE_TDWORD, &seven, 4, 1), errInvalidArgument);
  EXPECT_EQ(setValueByIndex(key, 3, TROVE_TDWORD, &seven, 4, 0), errEntryNotFound);
  EXPECT_EQ(setValueByIndex(key, 3, TROVE_TDWORD, &seven, 4, 1), errOk);
  EXPECT_EQ(getValueNameByIndex(&required, key, 3, name, sizeof(name)), errOk);
  EXPECT_STREQ(name, "noname3");

  // An existing index is written in place.
  clearChanged();
  EXPECT_EQ(setValueByIndex(key, 1, TROVE_TSTRING, "40", 2, 1), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(dword(key, "noname1"), 40u);
  EXPECT_EQ(valueCount(key), 4u);
}

TEST_F(ValuesTest, ValueNamesFollowTheCopyOutRuleAndEndWithoutError) {
  ASSERT_EQ(setDword(0, "name", 1), errOk);
  uint32_t required = 0;
  char buffer[8];
  EXPECT_EQ(getValueNameByIndex(&required, 0, 0, nullptr, 0), errOk);
  EXPECT_EQ(required, 5u);
  EXPECT_EQ(getValueNameByIndex(&required, 0, 0, buffer, 4), errBufferTooSmall);
  required = 99;
  EXPECT_EQ(getValueNameByIndex(&required, 0, 1, buffer, sizeof(buffer)), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(getValueNameByIndex(&required, 0, 1, nullptr, 5), errInvalidArgument);
  required = 99;
  EXPECT_EQ(getValueNameByIndex(&required, 0xAAAA, 0, buffer, sizeof(buffer)), errInvalidKey);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::GetValueNameByIndex ", errInvalidKey));

  uint32_t count = 9;
  EXPECT_EQ(getValueCount(&count, 0xAAAA), errInvalidKey);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::GetValueCount ", errInvalidKey));
  EXPECT_EQ(getValueCount(&count, 0), errOk);
  EXPECT_EQ(count, 1u);
}

TEST_F(ValuesTest, AppendedValuesComeLastInIndexOrder) {
  ASSERT_EQ(setDword(0, "a", 1), errOk);
  ASSERT_EQ(setDword(0, "b", 2), errOk);
  ASSERT_EQ(setDword(0, "c", 3), errOk);
  uint32_t type = TROVE_TDWORD;
  uint32_t value = 0;
  EXPECT_EQ(getValueByIndex(nullptr, 0, 2, &type, &value, 4), errOk);
  EXPECT_EQ(value, 3u);
}

TEST_F(ValuesTest, DeletingValuesByNameAndIndex) {
  uint64_t key = makeKey("k");
  ASSERT_EQ(setDword(key, "a", 1), errOk);
  ASSERT_EQ(setDword(key, "b", 2), errOk);
  ASSERT_EQ(setDword(key, "c", 3), errOk);
  clearChanged();
  EXPECT_EQ(deleteValue(key, "missing"), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteValue missing", errEntryNotFound));
  EXPECT_EQ(deleteValueByInd(key, 3), errEntryNotFound);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteValueByInd 3", errEntryNotFound));
  EXPECT_EQ(deleteValue(key, nullptr), errInvalidArgument);
  EXPECT_EQ(deleteValue(0xAAAA, "a"), errInvalidKey);
  EXPECT_EQ(deleteValueByInd(0xAAAA, 0), errInvalidKey);
  EXPECT_EQ(changed(), 0u);

  EXPECT_EQ(deleteValue(key, "B"), errOk);
  EXPECT_EQ(changed(), 1u);
  clearChanged();
  EXPECT_EQ(deleteValueByInd(key, 0), errOk);
  EXPECT_EQ(lastTrace(), line("PropertiesMap::DeleteValueByInd 0", errOk));
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(valueCount(key), 1u);
  EXPECT_EQ(dword(key, "c"), 3u);
}

TEST_F(ValuesTest, DeleteValueRemovesARedirectMarkerItself) {
  uint64_t x = makeKey("x");
  ASSERT_EQ(setDword(x, "noname", 42), errOk);
  setString(0, "x", "![CDATA[");
  // Reading follows the marker to the key's "noname" value ...
  EXPECT_EQ(dword(0, "x"), 42u);
  // ... deleting removes the marker, not the value it leads to.
  EXPECT_EQ(deleteValue(0, "x"), errOk);
  EXPECT_EQ(valueCount(0), 0u);
  EXPECT_EQ(dword(x, "noname"), 42u);
}

TEST_F(ValuesTest, BinaryValuesOfTheCallersSizePassUnconverted) {
  const unsigned char bytes4[] = {0x0A, 0x0B, 0x0C, 0x0D};
  ASSERT_EQ(setValue(0, "bin", TROVE_TBINARY, bytes4, 4, 1), errOk);

  uint32_t type = TROVE_TDWORD;
  unsigned char out[8] = {};
  uint32_t required = 0;
  EXPECT_EQ(getValue(&required, 0, "bin", &type, out, 4), errOk);
  EXPECT_EQ(std::memcmp(out, bytes4, 4), 0);
  EXPECT_EQ(type, static_cast<uint32_t>(TROVE_TDWORD));  // the cell keeps the asked type

  // Another size goes through the text '0A0B0C0D', read as a number.
  std::memset(out, 0, sizeof(out));
  EXPECT_EQ(getValue(&required, 0, "bin", &type, out, 8), errOk);
  EXPECT_EQ(required, 4u);
  uint32_t number = 0;
  std::memcpy(&number, out, 4);
  EXPECT_EQ(number, 0x0A0B0C0Du);

  // Writing: a tDWORD of exactly the binary's size is stored as bytes.
  uint32_t newBytes = 0x04030201;
  EXPECT_EQ(setValue(0, "bin", TROVE_TDWORD, &newBytes, 4, 0), errOk);
  EXPECT_EQ(bytes(0, "bin", TROVE_TBINARY), std::string("\x01\x02\x03\x04", 4));
  // Of another size it converts through text: 8 bytes of a tQWORD 5 give
  // the text '5', which is no hexadecimal byte sequence.
  uint64_t five = 5;
  EXPECT_EQ(setValue(0, "bin", TROVE_TQWORD, &five, 8, 0), errInvalidArgument);
  uint64_t hexLike = 1234;
  EXPECT_EQ(setValue(0, "bin", TROVE_TQWORD, &hexLike, 8, 0), errOk);
  EXPECT_EQ(bytes(0, "bin", TROVE_TBINARY), std::string("\x12\x34", 2));
}

TEST_F(ValuesTest, WideStringsTakeBytesAsUtf16WhateverTheirType) {
  setWide(0, "w", u"old");
  const char16_t units[] = {u'h', u'i'};
  uint32_t asDword = 0;
  std::memcpy(&asDword, units, 4);
  EXPECT_EQ(setValue(0, "w", TROVE_TDWORD, &asDword, 4, 0), errOk);
  std::string stored = bytes(0, "w", TROVE_TWSTRING);
  EXPECT_EQ(stored, std::string("h\0i\0\0\0", 6));

  // Read as tSTRING the wide text comes back as UTF-8.
  setWide(0, "e", u"\u00e9\u20ac");
  EXPECT_EQ(bytes(0, "e", TROVE_TSTRING), "\xc3\xa9\xe2\x82\xac" + std::string(1, '\0'));
  // A UTF-8 tSTRING read as tWSTRING decodes to UTF-16 with its terminator.
  setString(0, "u", "\xc3\xa9x");
  EXPECT_EQ(bytes(0, "u", TROVE_TWSTRING), std::string("\xe9\0x\0\0\0", 6));
  uint32_t required = 0;
  uint32_t type = TROVE_TWSTRING;
  ASSERT_EQ(setDword(0, "d", 12), errOk);
  EXPECT_EQ(getValue(&required, 0, "d", &type, nullptr, 0), errOk);
  EXPECT_EQ(required, 6u);
}

TEST_F(ValuesTest, StringObjectsReceiveAndGiveText) {
  ASSERT_EQ(setDword(0, "d", 5), errOk);
  StringObject target;
  uint32_t required = 99;
  uint32_t type = TROVE_TSTRING_OBJ;
  EXPECT_EQ(getValue(&required, 0, "d", &type, target.get(), 0), errOk);
  EXPECT_EQ(target.text(), u"5");
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(target.assignCount(), 1u);

  setWide(0, "w", u"wide \u00e9");
  StringObject wide;
  EXPECT_EQ(getValue(&required, 0, "w", &type, wide.get(), 0), errOk);
  EXPECT_EQ(wide.text(), u"wide \u00e9");
  setString(0, "empty", "");
  StringObject empty(u"was here");
  EXPECT_EQ(getValue(&required, 0, "empty", &type, empty.get(), 0), errOk);
  EXPECT_EQ(empty.text(), u"");
  EXPECT_EQ(getValue(&required, 0, "w", &type, nullptr, 0), errInvalidArgument);

  // Writing from a string object into an existing wide string ...
  StringObject source(u"from object");
  clearChanged();
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, source.get(), 0, 0), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(bytes(0, "w", TROVE_TSTRING), std::string("from object") + '\0');
  // ... into a number, through its text ...
  StringObject number(u"321");
  EXPECT_EQ(setValue(0, "d", TROVE_TSTRING_OBJ, number.get(), 0, 0), errOk);
  EXPECT_EQ(dword(0, "d"), 321u);
  // ... but never as a new value: the type has no codec of its own.
  EXPECT_EQ(setValue(0, "new", TROVE_TSTRING_OBJ, source.get(), 0, 1), errOutOfMemory);
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, nullptr, 0, 0), errInvalidArgument);
  uint32_t count = valueCount(0);
  EXPECT_EQ(count, 3u);

  // A string object without characters writes an empty text.
  TroveStringObject none{nullptr, 0};
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, &none, 0, 0), errOk);
  EXPECT_EQ(getValue(&required, 0, "w", nullptr, nullptr, 0), errOk);
  EXPECT_EQ(required, 0u);
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
  EXPECT_EQ(lastTrace(), line("PropertiesMap::Clean ", errOk));
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(keyCount(0), 0u);
  EXPECT_EQ(valueCount(0), 0u);
  EXPECT_EQ(keyName(0, 0), "a");

  ASSERT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(keyCount(0), 2u);
  EXPECT_EQ(valueCount(0), 1u);
  EXPECT_EQ(keyName(outside, 0), "outside");

  // An empty root key: still a change.
  EXPECT_EQ(clean(), errOk);
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u);
}

TEST(CleanWithoutLoad, HasNothingToCleanAndChangesNothing) {
  trove::host::Host host;
  auto& trace = host.captureTrace();
  ASSERT_TRUE(host.loadModule(TROVE_MODULE_PATH).ok());
  trove::host::Object object = host.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.ok());
  EXPECT_EQ(object.call<TroveClean>(TROVE_SLOT_CLEAN), errOk);
  EXPECT_EQ(trove::PropertiesMap::from(object.get())->changed.load(), 0u);
  EXPECT_EQ(trace.last().text, "trove\tPropertiesMap::Clean : " + trove::host::formatResult(errOk));
  uint32_t five = 5;
  EXPECT_EQ(object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, 0, "v", TROVE_TDWORD, &five, 4, 1),
            errInvalidKey);
  EXPECT_TRUE(object.destroy().ok());
  EXPECT_EQ(host.reclaimedBlocks(), 0u);
}

}  // namespace
}  // namespace registry_test
