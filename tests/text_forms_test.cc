// The text form of every codec family, one table per direction, and the
// number reader behind the integer families.
#include <cctype>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <locale.h>

#include "codec_fixture.h"
#include "types/number_text.h"

using namespace trove;
using trove::testing::binaryOf;
using trove::testing::bits;
using trove::testing::le;
using trove::testing::textOf;

namespace {

using CodecTest = trove::testing::HeapTest;

std::string u16(std::u16string_view units) {
  return std::string(reinterpret_cast<const char*>(units.data()), 2 * units.size());
}

TEST_F(CodecTest, WritesText) {
  const struct {
    TypeId type;
    std::string binary;
    uint32_t required;
    std::string written;  // into a buffer of required + 1 bytes
  } cases[] = {
      // clang-format off
      {TROVE_TDWORD, le(4294967295), 10, "4294967295"},  // numbers: no terminator
      {TROVE_TINT, le(-1), 2, "-1"}, {TROVE_TSBYTE, le(0x80), 4, "-128"},
      {TROVE_TWORD, le(65535), 5, "65535"}, {TROVE_TBYTE, le(255), 3, "255"},
      {TROVE_TSHORT, le(0x8000), 6, "-32768"}, {TROVE_TCODEPAGE, le(65001), 5, "65001"},
      {TROVE_TQWORD, le(-1), 20, "18446744073709551615"},
      {TROVE_TLONGLONG, le(uint64_t{1} << 63), 20, "-9223372036854775808"},
      {TROVE_TERROR, le(0x80000000), 11, "-2147483648"},
      {TROVE_TBOOL, le(7), 2, std::string("1\0", 2)},
      {TROVE_TBOOL, le(0), 2, std::string("0\0", 2)}, {TROVE_TCHAR, "A", 1, "A"},
      {TROVE_TDOUBLE, bits(0.1), 8, "0.100000"}, {TROVE_TDOUBLE, bits(-2.25), 9, "-2.250000"},
      {TROVE_TDOUBLE, bits(0.0000004), 8, "0.000000"},
      {TROVE_TDOUBLE, bits(1e6), 14, "1000000.000000"}, {TROVE_TDOUBLE, bits(-INFINITY), 4, "-inf"},
      {TROVE_TDOUBLE, bits(NAN), 3, "nan"},
      {TROVE_TSTRING, "h\xC3\xA9llo", 7, std::string("h\xC3\xA9llo\0", 7)},
      {TROVE_TSTRING, "", 0, ""},
      // UTF-8 one unit at a time: a surrogate pair gives two 3-byte forms.
      {TROVE_TWSTRING, u16(u"\u00E9\u20AC"), 6, std::string("\xC3\xA9\xE2\x82\xAC\0", 6)},
      {TROVE_TWSTRING, u16(u"\U0001F600"), 7, std::string("\xED\xA0\xBD\xED\xB8\x80\0", 7)},
      {TROVE_TWSTRING, u16(u"a\u007F\u0080\u07FF\u0800\uFFFF"), 13,
      std::string("a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\0", 13)},
      {TROVE_TWSTRING, "", 0, std::string("\0", 1)},  // a NUL when there is room
      {TROVE_TBINARY, "\x01\xAB", 5, "01AB"},         // room for a NUL never written
      {TROVE_TPTR, "\x01\xAB", 5, "01AB"}, {TROVE_TBINARY, "", 1, ""},
      {TROVE_TFUNC_PTR, le(0x12345678), 0, ""}, {TROVE_TVOID, "", 0, ""}};
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " " + c.written);
    ValueCodec* codec = make(c.type);
    ASSERT_GE(codec->SetBinary(c.binary.data(), static_cast<uint32_t>(c.binary.size())), 0);
    uint32_t required = 0xDEAD;
    EXPECT_EQ(codec->ToText(nullptr, 0, &required), errOk);
    EXPECT_EQ(required, c.required);
    std::string buffer(c.required + 1, 'X');
    EXPECT_EQ(codec->ToText(buffer.data(), c.required + 1, nullptr), errOk);
    EXPECT_EQ(buffer, c.written + std::string(c.required + 1 - c.written.size(), 'X'));
    if (c.required == 0) continue;
    buffer.assign(c.required - 1, 'X');
    required = 0;
    EXPECT_EQ(codec->ToText(buffer.data(), c.required - 1, &required), errBufferTooSmall);
    EXPECT_EQ(required, c.required);
    EXPECT_EQ(buffer, std::string(c.required - 1, 'X'));
    EXPECT_EQ(codec->ToText(nullptr, 1, &required), errInvalidArgument);
  }
  // tWCHAR has no text at all.
  ValueCodec* wide = make(TROVE_TWCHAR);
  uint32_t required = 77;
  char buffer[4] = {'X'};
  EXPECT_EQ(wide->ToText(buffer, 4, &required), errUnspecified);
  EXPECT_EQ(wide->ToText(nullptr, 0, &required), errUnspecified);
  EXPECT_EQ(required, 77u);
  EXPECT_EQ(buffer[0], 'X');
}

TEST_F(CodecTest, ReadsText) {
  constexpr int32_t ok = errOk, no = errInvalidArgument;
  const struct {
    TypeId type;
    const char* text;
    int32_t result;
    std::string binary;  // afterwards; a failure keeps the value before (42)
  } cases[] = {          // clang-format off
      // Integers: decimal, else the whole text in base 16; a minus wraps,
      // a decimal beyond the width saturates, a hexadecimal one is refused.
      {TROVE_TDWORD, "200", ok, le(200)}, {TROVE_TDWORD, "0x1F", ok, le(31)},
      {TROVE_TDWORD, "1f", ok, le(31)}, {TROVE_TDWORD, "12abc", ok, le(0x12abc)},
      {TROVE_TDWORD, "", ok, le(0)}, {TROVE_TDWORD, "\t\n 0x10", ok, le(16)},
      {TROVE_TDWORD, "+5", ok, le(5)}, {TROVE_TDWORD, "-1", ok, le(0xFFFFFFFF)},
      {TROVE_TDWORD, "-4294967295", ok, le(1)}, {TROVE_TDWORD, "99999999999", ok, le(0xFFFFFFFF)},
      {TROVE_TDWORD, "7 ", no}, {TROVE_TDWORD, "0x", no}, {TROVE_TDWORD, "g", no},
      {TROVE_TDWORD, "   ", no}, {TROVE_TDWORD, "1 2", no}, {TROVE_TDWORD, "FFFFFFFF", no},
      {TROVE_TDWORD, "0x100000000", no}, {TROVE_TDWORD, "-0x1", no},
      {TROVE_TTYPE_ID, "1f", ok, le(31)}, {TROVE_TCODEPAGE, "99999999999", ok, le(0xFFFFFFFF)},
      {TROVE_TBYTE, "255", ok, le(255)}, {TROVE_TBYTE, "ff", ok, le(255)},
      {TROVE_TBYTE, "256", no}, {TROVE_TBYTE, "-1", no}, {TROVE_TBYTE, "12abc", no},
      {TROVE_TWORD, "ffff", ok, le(65535)}, {TROVE_TWORD, "65536", no}, {TROVE_TWORD, "1ffff", no},
      {TROVE_TQWORD, "99999999999999999999", ok, le(UINT64_MAX)},
      {TROVE_TQWORD, "-1", ok, le(UINT64_MAX)}, {TROVE_TQWORD, "FFFFFFFFF", ok, le(0xFFFFFFFFF)},
      {TROVE_TQWORD, "FFFFFFFFFFFFFFFF", no}, {TROVE_TQWORD, "0x10000000000000000", no},
      {TROVE_TDATA, "4294967296", ok, le(4294967296)}, {TROVE_TINT, "-0x10", ok, le(-16)},
      {TROVE_TINT, "FF", ok, le(255)}, {TROVE_TINT, "80000000", ok, le(80000000)},
      {TROVE_TINT, "-2147483648", ok, le(0x80000000)},
      {TROVE_TINT, "99999999999", ok, le(INT32_MAX)},
      {TROVE_TINT, "-99999999999", ok, le(0x80000000)}, {TROVE_TINT, "7FFFFFFF", no},
      {TROVE_TINT, "-0x80000000", no}, {TROVE_TINT, "5 ", no},
      {TROVE_TLONG, "99999999999", ok, le(INT32_MAX)}, {TROVE_TSBYTE, "7f", ok, le(127)},
      {TROVE_TSBYTE, "-128", ok, le(0x80)}, {TROVE_TSBYTE, "128", no}, {TROVE_TSBYTE, "-129", no},
      {TROVE_TSBYTE, "FF", no}, {TROVE_TSHORT, "-32768", ok, le(0x8000)},
      {TROVE_TSHORT, "-7fff", ok, le(-0x7fff)}, {TROVE_TSHORT, "32768", no},
      {TROVE_TSHORT, "-32769", no}, {TROVE_TLONGLONG, "99999999999999999999", ok, le(INT64_MAX)},
      {TROVE_TLONGLONG, "-99999999999999999999", ok, le(uint64_t{1} << 63)},
      {TROVE_TLONGLONG, "-8000000000000000", ok, le(-8000000000000000)},
      {TROVE_TLONGLONG, "FFFFFFFFF", ok, le(0xFFFFFFFFF)},
      {TROVE_TLONGLONG, "7FFFFFFFFFFFFFFF", no}, {TROVE_TLONGLONG, "-0x8000000000000000", no},
      // Bool: a whole "true"/"false" token, else a C number at the very start.
      {TROVE_TBOOL, "\ttrue\n", ok, le(1)}, {TROVE_TBOOL, "true  x", ok, le(1)},
      {TROVE_TBOOL, "false true", ok, le(0)}, {TROVE_TBOOL, "2", ok, le(2)},
      {TROVE_TBOOL, "010", ok, le(8)}, {TROVE_TBOOL, "0x10", ok, le(16)},
      {TROVE_TBOOL, "12abc", ok, le(12)}, {TROVE_TBOOL, "08", ok, le(0)},
      {TROVE_TBOOL, "99999999999", ok, le(0xFFFFFFFF)}, {TROVE_TBOOL, "TRUE", no},
      {TROVE_TBOOL, "truex", no}, {TROVE_TBOOL, " 1", no}, {TROVE_TBOOL, "", no},
      {TROVE_TBOOL, "-1", no}, {TROVE_TBOOL, "+1", no}, {TROVE_TCHAR, "xyz", ok, "x"},
      {TROVE_TCHAR, "", ok, le(0)},
      // Double: sscanf's rules, a point whatever the locale; no number at
      // the start keeps the value.
      {TROVE_TDOUBLE, "2.5e3", ok, bits(2500)}, {TROVE_TDOUBLE, "  -1.5xyz", ok, bits(-1.5)},
      {TROVE_TDOUBLE, "0x1.8p3", ok, bits(12)}, {TROVE_TDOUBLE, ".5", ok, bits(0.5)},
      {TROVE_TDOUBLE, "1,5", ok, bits(1)}, {TROVE_TDOUBLE, "-infinity", ok, bits(-INFINITY)},
      {TROVE_TDOUBLE, "abc", ok, le(42)}, {TROVE_TDOUBLE, "", no}, {TROVE_TDOUBLE, " \t\n", no},
      {TROVE_TSTRING, "h\xC3\xA9llo", ok, std::string("h\xC3\xA9llo\0", 7)},
      {TROVE_TSTRING, "*", errUnchanged, std::string("*\0", 2)},
      // Wide string: hexadecimal UTF-16 bytes; a bad text gives an empty one.
      {TROVE_TWSTRING, "41004200", ok, u16(u"AB") + le(0, 2)},
      {TROVE_TWSTRING, "e900ac20", ok, u16(u"\u00E9\u20AC") + le(0, 2)},
      {TROVE_TWSTRING, "414243", ok, u16(u"\u4241\u0043") + le(0, 2)},
      {TROVE_TWSTRING, "2A00", ok, u16(u"*") + le(0, 2)},  // never unchanged
      {TROVE_TWSTRING, "410", ok, ""}, {TROVE_TWSTRING, "4100zz00", ok, ""},
      {TROVE_TWSTRING, "", ok, ""},
      // Blocks: hexadecimal bytes of either case, nothing else.
      {TROVE_TBINARY, "00FF10", ok, std::string("\x00\xFF\x10", 3)},
      {TROVE_TBINARY, "2A00000000000000", ok, le(42)},  // never unchanged
      {TROVE_TPTR, "a0", ok, "\xA0"}, {TROVE_TPTR, "", ok, ""}, {TROVE_TBINARY, "abc", no},
      {TROVE_TBINARY, "zz", no}, {TROVE_TBINARY, "0g", no}, {TROVE_TBINARY, " 1", no},
      {TROVE_TPTR, "0x", no}, {TROVE_TPTR, "+1", no}, {TROVE_TFUNC_PTR, "7", ok, le(42)},
      {TROVE_TVOID, "7", ok, ""}, {TROVE_TWCHAR, "a", errUnspecified}};
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " '" + c.text + "'");
    ValueCodec* codec = make(c.type);
    const size_t width = binaryOf(codec).size();  // 0 for the variable-size families
    ASSERT_GE(codec->SetBinary(le(42).data(), 8), 0);
    const std::string before = binaryOf(codec);
    const int32_t result = codec->FromText(c.text);
    EXPECT_EQ(result, c.result);
    const std::string expected = result < 0 ? before : width ? c.binary.substr(0, width) : c.binary;
    EXPECT_EQ(binaryOf(codec), expected);
  }
  ValueCodec* flag = make(TROVE_TBOOL);
  ASSERT_EQ(flag->FromText("1"), errOk);
  EXPECT_EQ(flag->FromText("1"), errOk);  // a bool never reports unchanged
  for (TypeId type = 0; type < 64; ++type) {
    if (ValueCodec* codec = make(type)) {
      const int32_t expected = type == TROVE_TFUNC_PTR || type == TROVE_TVOID ? errOk
                               : type == TROVE_TWCHAR                         ? errUnspecified
                                                                              : errInvalidArgument;
      EXPECT_EQ(codec->FromText(nullptr), expected) << type;
    }
  }
}

TEST_F(CodecTest, TextKeepsEveryByteAndEveryDouble) {
  std::string all, upper;
  for (int b = 0; b < 256; ++b) {
    all += static_cast<char>(b);
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", b);
    upper += pair;
  }
  ValueCodec* codec = make(TROVE_TBINARY);
  ASSERT_EQ(codec->SetBinary(all.data(), 256), errOk);
  EXPECT_EQ(textOf(codec), upper);
  std::string lower = upper;
  for (char& c : lower) c = static_cast<char>(std::tolower(c));
  ASSERT_EQ(codec->FromText(lower.c_str()), errOk);
  EXPECT_EQ(binaryOf(codec), all);
  // The largest magnitudes need 317 characters, all of them kept.
  ValueCodec* real = make(TROVE_TDOUBLE);
  ASSERT_EQ(real->SetBinary(bits(-DBL_MAX).data(), 8), errOk);
  const std::string huge = textOf(real);
  EXPECT_EQ(huge.size(), 317u);
  EXPECT_EQ(huge.substr(0, 8) + huge.substr(310), "-1797693.000000");
  ASSERT_EQ(real->SetBinary(bits(0).data(), 8), errOk);
  EXPECT_EQ(real->FromText(huge.c_str()), errOk);
  EXPECT_EQ(binaryOf(real), bits(-DBL_MAX));
}

TEST_F(CodecTest, DoubleTextKeepsThePointUnderAnotherLocale) {
  locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(0));
  if (german == static_cast<locale_t>(0)) GTEST_SKIP() << "locale de_DE.UTF-8 is not installed";
  ValueCodec* codec = make(TROVE_TDOUBLE);
  ASSERT_EQ(codec->FromText("0.1"), errOk);
  char probe[32];
  // Process-wide, as a host might set it.
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  std::snprintf(probe, sizeof probe, "%lf", 0.5);
  EXPECT_STREQ(probe, "0,500000") << "the locale has no decimal comma; the case proves nothing";
  EXPECT_EQ(textOf(codec), "0.100000");
  EXPECT_EQ(codec->FromText("2.5"), errOk);
  EXPECT_EQ(binaryOf(codec), bits(2.5));
  std::setlocale(LC_ALL, "C");
  // For this thread only; the codec gives the thread its own locale back.
  const locale_t previous = uselocale(german);
  EXPECT_EQ(textOf(codec), "2.500000");
  EXPECT_EQ(codec->FromText("0.25"), errOk);
  EXPECT_EQ(binaryOf(codec), bits(0.25));
  std::snprintf(probe, sizeof probe, "%lf", 0.5);
  EXPECT_STREQ(probe, "0,500000");
  uselocale(previous);
  freelocale(german);
}

// The integer reader must agree with strtoull/strtoll at 64 bits, end
// position included.
TEST(NumberScanning, MatchesTheCLibraryAt64Bits) {
  // clang-format off
  const char* texts[] = {
      "", " ", "+", "-", "0x", "-0x", "0xg", "0x1g", "  -12", "+0X1F", "09", "0777",
      "18446744073709551615", "18446744073709551616", "-18446744073709551616",
      "9223372036854775808", "-9223372036854775808", "-9223372036854775809", "12abc",
      "\v\f\r 5", "0x0x1", "- 5", "+-5", "00000000000000000000000000012"};
  // clang-format on
  for (const char* text : texts) {
    for (int base : {0, 10, 16}) {
      SCOPED_TRACE(std::string("'") + text + "' base " + std::to_string(base));
      char* cEnd = nullptr;
      const char* ourEnd = nullptr;
      EXPECT_EQ(scanUnsigned(text, base, 64, &ourEnd), std::strtoull(text, &cEnd, base));
      EXPECT_EQ(ourEnd, cEnd);
      EXPECT_EQ(scanSigned(text, base, 64, &ourEnd), std::strtoll(text, &cEnd, base));
      EXPECT_EQ(ourEnd, cEnd);
    }
  }
}

}  // namespace
