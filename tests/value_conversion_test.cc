// Values read and written in another type than the stored one: the stored
// type writes its text and the other type reads it (or the other way round),
// except for a binary of exactly the caller's size, which passes as bytes.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

using trove::host::StringObject;

std::string le(uint64_t value, size_t width) {
  std::string bytes(width, '\0');
  std::memcpy(bytes.data(), &value, width);
  return bytes;
}
// The bytes of UTF-16 text, with its terminator when `nul`.
std::string w(std::u16string_view text, bool nul = false) {
  return std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size()) +
         std::string(nul ? 2 : 0, '\0');
}
const auto z = [](const std::string& text) { return text + '\0'; };
const auto dbl = [](double value) { return le(std::bit_cast<uint64_t>(value), 8); };

class ValueConversionTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
};

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
      {TROVE_TDWORD, le(256, 4), TROVE_TBYTE, refused, ""},
      {TROVE_TQWORD, le(5000000000ull, 8), TROVE_TDWORD, errOk, le(0xFFFFFFFF, 4)},
      {TROVE_TINT, le(uint32_t(-5), 4), TROVE_TDWORD, errOk, le(0xFFFFFFFB, 4)},
      {TROVE_TINT, le(uint32_t(-5), 4), TROVE_TSBYTE, errOk, le(0xFB, 1)},
      {TROVE_TSHORT, le(128, 2), TROVE_TSBYTE, refused, ""},
      {TROVE_TLONGLONG, le(uint64_t(-7), 8), TROVE_TLONG, errOk, le(uint32_t(-7), 4)},
      {TROVE_TSTRING, "2147483648", TROVE_TINT, errOk, le(0x7FFFFFFF, 4)},
      {TROVE_TSTRING, "-2147483649", TROVE_TINT, errOk, le(0x80000000, 4)},
      {TROVE_TSTRING, "0x1F", TROVE_TDWORD, errOk, le(31, 4)},
      {TROVE_TSTRING, "ff", TROVE_TDWORD, errOk, le(255, 4)},
      {TROVE_TSTRING, "ffffffff", TROVE_TDWORD, refused, ""},
      {TROVE_TSTRING, "", TROVE_TDWORD, errOk, le(0, 4)},
      {TROVE_TSTRING, "", TROVE_TDOUBLE, refused, ""},
      {TROVE_TDOUBLE, dbl(2.5), TROVE_TSTRING, errOk, z("2.500000")},
      {TROVE_TDOUBLE, dbl(2.5), TROVE_TDWORD, refused, ""},
      {TROVE_TSTRING, "true", TROVE_TBOOL, errOk, le(1, 4)},
      {TROVE_TSTRING, "yes", TROVE_TBOOL, refused, ""},
      {TROVE_TSTRING, "AB0", TROVE_TBINARY, refused, ""},
      {TROVE_TSTRING, "ab01", TROVE_TBINARY, errOk, "\xAB\x01"},
      {TROVE_TBINARY, "\xAB\x01", TROVE_TDWORD, errOk, le(0xAB01, 4)},
      {TROVE_TSTRING, "bcd", TROVE_TCHAR, errOk, "b"},
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
      {TROVE_TSTRING, "x", TROVE_TDOUBLE, dbl(0), errOk, z("0.000000")},
      {TROVE_TBYTE, le(1, 1), TROVE_TDWORD, le(256, 4), errInvalidArgument, le(1, 1)},
      {TROVE_TBOOL, le(0, 4), TROVE_TSTRING, "true", errOk, le(1, 4)},
      {TROVE_TINT, le(3, 4), TROVE_TWCHAR, le(u'x', 2), errUnspecified, le(3, 4)},
      {TROVE_TCHAR, "a", TROVE_TSTRING, "bcd", errOk, "b"},
      {TROVE_TDOUBLE, dbl(0), TROVE_TSTRING, "", errInvalidArgument, dbl(0)},
      // A wide string takes the bytes as UTF-16 text, whatever their type.
      {TROVE_TWSTRING, w(u"old"), TROVE_TDWORD, w(u"hi"), errOk, w(u"hi", true)},
      // A binary takes bytes of its own size as they are, others as hex text:
      // tQWORD 5 is the text '5', odd; 1234 is the two bytes 0x12 0x34.
      {TROVE_TBINARY, "\x01\x02\x03\x04", TROVE_TDWORD, le(0x0A0B0C0D, 4), errOk,
       le(0x0A0B0C0D, 4)},
      {TROVE_TBINARY, "\x01", TROVE_TQWORD, le(5, 8), errInvalidArgument, "\x01"},
      {TROVE_TBINARY, "\x01", TROVE_TQWORD, le(1234, 8), errOk, "\x12\x34"},
      {TROVE_TBINARY, "\x01", TROVE_TWORD, le(4660, 2), errOk, "\x46\x60"},
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
