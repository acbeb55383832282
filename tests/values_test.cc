// The value methods through the registered method table: the stored type,
// refusals, enumeration, deletion, Clean, trace lines; and values in another
// type, which go through the stored type's text unless they are a binary of
// exactly the caller's size.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

using ValuesTest = LoadedRegistryTest;

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
  clearChanged();
  EXPECT_EQ(setDword(0, "v", 5), errOk);
  EXPECT_EQ(changed(), 0u) << "an equal value is no change";
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
  EXPECT_EQ(deleteValue(k, "no"), errEntryNotFound);
  EXPECT_EQ(deleteValue(k, nullptr), errInvalidArgument);
  EXPECT_EQ(deleteValue(bad, "v"), errInvalidKey);
  EXPECT_EQ(deleteValueByInd(k, 1u), errEntryNotFound);
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
  EXPECT_EQ(deleteValue(key, "v"), errReadOnly);
  EXPECT_EQ(clean(), errReadOnly);
  EXPECT_EQ(openKey(&out, 0, "k/new", 1u), errReadOnly);
  EXPECT_EQ(deleteKey(0, "k"), errReadOnly);
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
  clearChanged();
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(changed(), 1u) << "cleaning an empty root key is still a change";
  ASSERT_EQ(setRootKey(0), errOk);
  EXPECT_EQ(keyCount(0), 2u);
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
  EXPECT_TRUE(traced(deleteKey(0, "x"), "PropertiesMap::DeleteKey x"));
  EXPECT_TRUE(
      traced(setValue(0, "w", 4u, &word, 4u, 1u), "PropertiesMap::SetValue w (0x" + at + ":4)"));
  EXPECT_TRUE(traced(getValue(nullptr, 0, "w", nullptr, &out, 2u), "Getting value ?\\w"));
  // An unresolved key is the one SetValue failure without a line.
  EXPECT_EQ(setValue(0xFEED, "v", 4u, &word, 4u, 1u), errInvalidKey);
  EXPECT_EQ(trace_->count(), 0u);
}

using trove::host::StringObject;

std::string le(uint64_t value, size_t width) {
  return std::string(reinterpret_cast<const char*>(&value), width);
}
// The bytes of UTF-16 text, with its terminator when `nul`.
std::string w(std::u16string_view text, bool nul = false) {
  return std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size()) +
         std::string(nul ? 2 : 0, '\0');
}
const auto z = [](const std::string& text) { return text + '\0'; };
const auto dbl = [](double value) { return le(std::bit_cast<uint64_t>(value), 8); };

using ValueConversionTest = ValuesTest;

TEST_F(ValueConversionTest, ReadingInAnotherTypeGoesThroughTheStoredText) {
  const int32_t refused = errInvalidArgument;
  struct Case {
    uint32_t stored;
    std::string data;
    uint32_t wanted;
    int32_t result;
    std::string read;
  };
  const std::vector<Case> cases = {
      {TROVE_TDWORD, le(70000, 4), TROVE_TSTRING, errOk, z("70000")},
      {TROVE_TDWORD, le(70000, 4), TROVE_TWORD, refused, ""},
      {TROVE_TQWORD, le(5000000000ull, 8), TROVE_TDWORD, errOk, le(0xFFFFFFFF, 4)},
      {TROVE_TINT, le(uint32_t(-5), 4), TROVE_TSBYTE, errOk, le(0xFB, 1)},
      {TROVE_TSHORT, le(128, 2), TROVE_TSBYTE, refused, ""},
      {TROVE_TSTRING, "0x1F", TROVE_TDWORD, errOk, le(31, 4)},
      {TROVE_TDOUBLE, dbl(2.5), TROVE_TSTRING, errOk, z("2.500000")},
      {TROVE_TDOUBLE, dbl(2.5), TROVE_TDWORD, refused, ""},
      {TROVE_TSTRING, "true", TROVE_TBOOL, errOk, le(1, 4)},
      {TROVE_TSTRING, "ab01", TROVE_TBINARY, errOk, "\xAB\x01"},
      {TROVE_TBINARY, "\xAB\x01", TROVE_TDWORD, errOk, le(0xAB01, 4)},
      {TROVE_TWCHAR, le(u'W', 2), TROVE_TSTRING, errUnspecified, ""},
      {TROVE_TFUNC_PTR, le(0x1122334455667788ull, 8), TROVE_TSTRING, errOk, ""},
      {TROVE_TSTRING, "1", TROVE_TFUNC_PTR, errOk, le(0, 8)},
      {TROVE_TVOID, "", TROVE_TDWORD, errOk, le(0, 4)},
      {TROVE_TWSTRING, w(u"12"), TROVE_TQWORD, errOk, le(12, 8)},
      {TROVE_TWSTRING, w(u"\u00e9\u20ac"), TROVE_TSTRING, errOk, z("\xc3\xa9\xe2\x82\xac")},
      {TROVE_TSTRING, "\xc3\xa9x", TROVE_TWSTRING, errOk, w(u"\u00e9x", true)},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE("case " + std::to_string(i));
    const std::string name = "v" + std::to_string(i);
    ASSERT_EQ(setValue(0, name.c_str(), c.stored, c.data.data(), uint32_t(c.data.size()), 1u),
              errOk);
    uint32_t type = c.wanted;
    uint32_t required = 0xFFFFFFFF;
    EXPECT_EQ(getValue(&required, 0, name.c_str(), &type, nullptr, 0u), c.result);
    if (c.result < 0) continue;
    EXPECT_EQ(required, c.read.size()) << "the size query";
    unsigned char buffer[32];
    std::memset(buffer, 0xEE, sizeof(buffer));
    if (required > 0) {
      EXPECT_EQ(getValue(&required, 0, name.c_str(), &type, buffer, required - 1),
                errBufferTooSmall);
    }
    ASSERT_EQ(getValue(&required, 0, name.c_str(), &type, buffer, 31u), errOk);
    EXPECT_EQ(type, c.wanted);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), required), c.read);
    EXPECT_EQ(buffer[required], 0xEE) << "written beyond the value";
  }
}

TEST_F(ValueConversionTest, WritingInAnotherTypeStoresInTheStoredType) {
  struct Case {
    uint32_t stored;
    std::string initial;
    uint32_t written;
    std::string data;
    int32_t result;
    std::string after;  // the stored bytes afterwards
  };
  const std::vector<Case> cases = {
      {TROVE_TDWORD, le(1, 4), TROVE_TSTRING, "0x1F", errOk, le(31, 4)},
      {TROVE_TDWORD, le(1, 4), TROVE_TBOOL, le(7, 4), errOk, le(1, 4)},
      {TROVE_TSTRING, "x", TROVE_TDWORD, le(42, 4), errOk, z("42")},
      {TROVE_TBYTE, le(1, 1), TROVE_TDWORD, le(256, 4), errInvalidArgument, le(1, 1)},
      {TROVE_TBOOL, le(0, 4), TROVE_TSTRING, "true", errOk, le(1, 4)},
      {TROVE_TINT, le(3, 4), TROVE_TWCHAR, le(u'x', 2), errUnspecified, le(3, 4)},
      {TROVE_TCHAR, "a", TROVE_TSTRING, "bcd", errOk, "b"},
      // A wide string takes the bytes as UTF-16 text, whatever their type.
      {TROVE_TWSTRING, w(u"old"), TROVE_TDWORD, w(u"hi"), errOk, w(u"hi", true)},
      // A binary takes bytes of its own size as they are, others as hex text:
      // tQWORD 5 is the text '5', odd; 1234 is the two bytes 0x12 0x34.
      {TROVE_TBINARY, "\x01\x02\x03\x04", TROVE_TDWORD, le(0x0A0B0C0D, 4), errOk,
       le(0x0A0B0C0D, 4)},
      {TROVE_TBINARY, "\x01", TROVE_TQWORD, le(5, 8), errInvalidArgument, "\x01"},
      {TROVE_TBINARY, "\x01", TROVE_TQWORD, le(1234, 8), errOk, "\x12\x34"},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE("case " + std::to_string(i));
    std::string name = "w" + std::to_string(i);
    ASSERT_EQ(setValue(0, name.c_str(), c.stored, c.initial.data(), uint32_t(c.initial.size()), 1u),
              errOk);
    clearChanged();
    EXPECT_EQ(setValue(0, name.c_str(), c.written, c.data.data(), uint32_t(c.data.size()), 0u),
              c.result);
    EXPECT_EQ(changed(), c.result >= 0 ? 1u : 0u);
    EXPECT_EQ(bytes(0, name.c_str()), c.after);
  }
}

TEST_F(ValueConversionTest, StringObjectsAndBinariesOfTheCallersSize) {
  ASSERT_EQ(setDword(0, "d", 5), errOk);
  ASSERT_EQ(setValue(0, "w", TROVE_TWSTRING, u"wide \u00e9", 12u, 1u), errOk);
  ASSERT_EQ(setValue(0, "empty", TROVE_TSTRING, "", 0u, 1u), errOk);
  uint32_t type = TROVE_TSTRING_OBJ;
  uint32_t required = 99;
  StringObject number;
  EXPECT_EQ(getValue(&required, 0, "d", &type, number.get(), 0u), errOk);
  EXPECT_EQ(number.text(), u"5");
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(number.assignCount(), 1u);
  StringObject empty(u"was here");
  EXPECT_EQ(getValue(&required, 0, "empty", &type, empty.get(), 0u), errOk);
  EXPECT_EQ(empty.text(), u"");
  EXPECT_EQ(getValue(&required, 0, "w", &type, nullptr, 0u), errInvalidArgument);
  StringObject source(u"from object");
  clearChanged();
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, source.get(), 0u, 0u), errOk);
  EXPECT_EQ(changed(), 1u);
  EXPECT_EQ(bytes(0, "w", TROVE_TSTRING), z("from object"));
  // Never as a new value: the type has no codec of its own.
  EXPECT_EQ(setValue(0, "new", TROVE_TSTRING_OBJ, source.get(), 0u, 1u), errOutOfMemory);
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, nullptr, 0u, 0u), errInvalidArgument);
  EXPECT_EQ(valueCount(0), 3u);
  TroveStringObject none{nullptr, 0};  // no characters: an empty text
  EXPECT_EQ(setValue(0, "w", TROVE_TSTRING_OBJ, &none, 0u, 0u), errOk);
  EXPECT_EQ(bytes(0, "w"), "");
  // A binary of exactly the caller's size passes as bytes, in the asked type.
  ASSERT_EQ(setValue(0, "bin", TROVE_TBINARY, "\x0A\x0B\x0C\x0D", 4u, 1u), errOk);
  type = TROVE_TDWORD;
  uint64_t raw = 0;
  EXPECT_EQ(getValue(nullptr, 0, "bin", &type, &raw, 4u), errOk);
  EXPECT_EQ(raw, 0x0D0C0B0Au);
  EXPECT_EQ(type, uint32_t{TROVE_TDWORD});
}

}  // namespace
}  // namespace registry_test
