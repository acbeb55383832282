// The text form of every codec family, and the number readers behind them.
#include <cerrno>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <locale.h>

#include "codec_fixture.h"
#include "types/number_text.h"

using namespace trove;
using codec_test::CodecTest;

namespace {

// The text `ToText` writes into a buffer of exactly `size` bytes prefilled
// with 'X', the whole buffer returned so that untouched bytes show.
std::string rawText(const ValueCodec* codec, uint32_t size, int32_t* result) {
  std::string buffer(size, 'X');
  *result = codec->ToText(buffer.data(), size, nullptr);
  return buffer;
}

uint32_t requiredText(const ValueCodec* codec) {
  uint32_t required = 0xDEAD;
  EXPECT_EQ(codec->ToText(nullptr, 0, &required), errOk);
  return required;
}

}  // namespace

TEST_F(CodecTest, NumbersWriteDigitsWithoutTerminator) {
  struct Case {
    TypeId type;
    int64_t value;
    const char* text;
  };
  const Case cases[] = {{TROVE_TDWORD, 4294967295, "4294967295"},
                        {TROVE_TINT, -1, "-1"},
                        {TROVE_TSBYTE, -128, "-128"},
                        {TROVE_TWORD, 65535, "65535"},
                        {TROVE_TBYTE, 255, "255"},
                        {TROVE_TSHORT, -32768, "-32768"},
                        {TROVE_TCODEPAGE, 65001, "65001"},
                        {TROVE_TQWORD, -1, "18446744073709551615"},
                        {TROVE_TLONGLONG, INT64_MIN, "-9223372036854775808"},
                        {TROVE_TERROR, INT32_MIN, "-2147483648"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ValueCodec* codec = make(c.type);
    ASSERT_EQ(codec->SetBinary(&c.value, 8), errOk);
    const uint32_t length = static_cast<uint32_t>(std::strlen(c.text));
    EXPECT_EQ(requiredText(codec), length);
    int32_t result = 0;
    EXPECT_EQ(rawText(codec, length + 1, &result), std::string(c.text) + "X");
    EXPECT_EQ(result, errOk);
    EXPECT_EQ(rawText(codec, length - 1, &result), std::string(length - 1, 'X'));
    EXPECT_EQ(result, errBufferTooSmall);
    uint32_t required = 0;
    EXPECT_EQ(codec->ToText(nullptr, 1, &required), errInvalidArgument);
    EXPECT_EQ(required, length);
  }
}

TEST_F(CodecTest, UnsignedReading) {
  struct Case {
    TypeId type;
    const char* text;
    bool accepted;
    uint64_t value;
  };
  const Case cases[] = {
      {TROVE_TDWORD, "200", true, 200},
      {TROVE_TDWORD, "0x1F", true, 31},
      {TROVE_TDWORD, "1F", true, 31},
      {TROVE_TDWORD, "1f", true, 31},
      {TROVE_TDWORD, "12abc", true, 76476},
      {TROVE_TDWORD, "", true, 0},
      {TROVE_TDWORD, "  7", true, 7},
      {TROVE_TDWORD, "-1", true, 4294967295},
      {TROVE_TDWORD, "99999999999", true, 4294967295},
      {TROVE_TDWORD, "-4294967295", true, 1},
      {TROVE_TDWORD, "+5", true, 5},
      {TROVE_TDWORD, "\t\n 0x10", true, 16},
      {TROVE_TDWORD, "7 ", false, 0},
      {TROVE_TDWORD, "0x", false, 0},
      {TROVE_TDWORD, "g", false, 0},
      {TROVE_TDWORD, "FFFFFFFF", false, 0},
      {TROVE_TDWORD, "0x100000000", false, 0},
      {TROVE_TDWORD, "-0x1", false, 0},
      {TROVE_TDWORD, "   ", false, 0},
      {TROVE_TDWORD, "1 2", false, 0},
      {TROVE_TTYPE_ID, "1f", true, 31},
      {TROVE_TCODEPAGE, "99999999999", true, 4294967295},
      {TROVE_TBYTE, "255", true, 255},
      {TROVE_TBYTE, "ff", true, 255},
      {TROVE_TBYTE, "100", true, 100},
      {TROVE_TBYTE, "256", false, 0},
      {TROVE_TBYTE, "-1", false, 0},
      {TROVE_TBYTE, "12abc", false, 0},
      {TROVE_TWORD, "65535", true, 65535},
      {TROVE_TWORD, "ffff", true, 65535},
      {TROVE_TWORD, "65536", false, 0},
      {TROVE_TWORD, "1ffff", false, 0},
      {TROVE_TQWORD, "18446744073709551615", true, UINT64_MAX},
      {TROVE_TQWORD, "99999999999999999999", true, UINT64_MAX},
      {TROVE_TQWORD, "-1", true, UINT64_MAX},
      {TROVE_TQWORD, "FFFFFFFFF", true, 0xFFFFFFFFF},
      {TROVE_TDATA, "4294967296", true, 4294967296},
      {TROVE_TDATETIME, "0x1F", true, 31},
      {TROVE_TQWORD, "FFFFFFFFFFFFFFFF", false, 0},
      {TROVE_TQWORD, "0x10000000000000000", false, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " '" + c.text + "'");
    ValueCodec* codec = make(c.type);
    const uint64_t before = 42;
    ASSERT_EQ(codec->SetBinary(&before, 8), errOk);
    EXPECT_EQ(codec->FromText(c.text), c.accepted ? errOk : errInvalidArgument);
    uint64_t value = 0;
    codec->GetBinary(&value, 8, nullptr);
    EXPECT_EQ(value, c.accepted ? c.value : before);
  }
  EXPECT_EQ(make(TROVE_TDWORD)->FromText(nullptr), errInvalidArgument);
}

TEST_F(CodecTest, SignedReading) {
  struct Case {
    TypeId type;
    const char* text;
    bool accepted;
    int64_t value;
  };
  const Case cases[] = {
      {TROVE_TINT, "-5", true, -5},
      {TROVE_TINT, "-0x10", true, -16},
      {TROVE_TINT, "FF", true, 255},
      {TROVE_TINT, "7FFFFFFF", false, 0},
      {TROVE_TINT, "FFFFFFFF", false, 0},
      {TROVE_TINT, "-0x80000000", false, 0},
      {TROVE_TINT, "2147483647", true, INT32_MAX},
      {TROVE_TINT, "80000000", true, 80000000},
      {TROVE_TINT, "99999999999", true, INT32_MAX},
      {TROVE_TINT, "-99999999999", true, INT32_MIN},
      {TROVE_TINT, "-2147483648", true, INT32_MIN},
      {TROVE_TINT, "", true, 0},
      {TROVE_TINT, "5 ", false, 0},
      {TROVE_TERROR, "7fffffe", true, 0x7fffffe},
      {TROVE_TLONG, "99999999999", true, INT32_MAX},
      {TROVE_TSBYTE, "FF", false, 0},
      {TROVE_TSBYTE, "127", true, 127},
      {TROVE_TSBYTE, "7f", true, 127},
      {TROVE_TSBYTE, "128", false, 0},
      {TROVE_TSBYTE, "-128", true, -128},
      {TROVE_TSBYTE, "-129", false, 0},
      {TROVE_TSHORT, "32767", true, 32767},
      {TROVE_TSHORT, "-32768", true, -32768},
      {TROVE_TSHORT, "32768", false, 0},
      {TROVE_TSHORT, "-32769", false, 0},
      {TROVE_TSHORT, "-7fff", true, -0x7fff},
      {TROVE_TLONGLONG, "9223372036854775807", true, INT64_MAX},
      {TROVE_TLONGLONG, "99999999999999999999", true, INT64_MAX},
      {TROVE_TLONGLONG, "-99999999999999999999", true, INT64_MIN},
      {TROVE_TLONGLONG, "7FFFFFFFFFFFFFFF", false, 0},
      {TROVE_TLONGLONG, "-8000000000000000", true, -8000000000000000},
      {TROVE_TLONGLONG, "-0x8000000000000000", false, 0},
      {TROVE_TLONGLONG, "FFFFFFFFF", true, 0xFFFFFFFFF},
      {TROVE_TLONGLONG, "-0x10", true, -16},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " '" + c.text + "'");
    ValueCodec* codec = make(c.type);
    const int64_t before = 42;
    ASSERT_EQ(codec->SetBinary(&before, 8), errOk);
    EXPECT_EQ(codec->FromText(c.text), c.accepted ? errOk : errInvalidArgument);
    // Read back through the text, which widens with the sign.
    EXPECT_EQ(textOf(codec), std::to_string(c.accepted ? c.value : before));
  }
}

TEST(NumberScanning, MatchesTheCLibraryAt64Bits) {
  const char* texts[] = {"",
                         " ",
                         "+",
                         "-",
                         "0x",
                         "0X",
                         "-0x",
                         "0xg",
                         "0x1g",
                         "  -12",
                         "+0x1F",
                         "09",
                         "0777",
                         "0x7fffffffffffffff",
                         "18446744073709551615",
                         "18446744073709551616",
                         "-18446744073709551615",
                         "-18446744073709551616",
                         "9223372036854775807",
                         "9223372036854775808",
                         "-9223372036854775808",
                         "-9223372036854775809",
                         "abc",
                         "12abc",
                         "\v\f\r 5",
                         "0x0x1",
                         "1e5",
                         "\xD9\xA1",
                         "- 5",
                         "+-5",
                         "00000000000000000000000000012"};
  for (const char* text : texts) {
    for (int base : {0, 10, 16}) {
      SCOPED_TRACE(std::string("'") + text + "' base " + std::to_string(base));
      char* cEnd = nullptr;
      const char* ourEnd = nullptr;
      const unsigned long long u = std::strtoull(text, &cEnd, base);
      EXPECT_EQ(scanUnsigned(text, base, 64, &ourEnd), u);
      EXPECT_EQ(ourEnd, cEnd);
      const long long s = std::strtoll(text, &cEnd, base);
      EXPECT_EQ(scanSigned(text, base, 64, &ourEnd), s);
      EXPECT_EQ(ourEnd, cEnd);
    }
  }
}

TEST(NumberScanning, HexByteIsTheByteRuleBehindZeroX) {
  // Every pair of characters, read the long way: "0x" and the pair by the
  // 8-bit unsigned rule.
  for (int high = 1; high < 256; ++high) {
    for (int low = 1; low < 256; ++low) {
      const char text[5] = {'0', 'x', static_cast<char>(high), static_cast<char>(low), '\0'};
      uint64_t expected = 0;
      const bool accepted = readUnsignedText(text, 32, &expected) && expected <= 255;
      uint8_t byte = 0;
      ASSERT_EQ(readHexByte(text[2], text[3], &byte), accepted) << text;
      if (accepted) {
        ASSERT_EQ(byte, expected) << text;
      }
    }
  }
}

TEST_F(CodecTest, BoolText) {
  ValueCodec* codec = make(TROVE_TBOOL);
  ASSERT_EQ(setScalar<uint32_t>(codec, 7), errOk);
  EXPECT_EQ(requiredText(codec), 2u);
  int32_t result = 0;
  EXPECT_EQ(rawText(codec, 3, &result), std::string("1\0X", 3));
  EXPECT_EQ(rawText(codec, 1, &result), "X");
  EXPECT_EQ(result, errBufferTooSmall);
  struct Case {
    const char* text;
    bool accepted;
    uint32_t value;
  };
  const Case cases[] = {{"true", true, 1},
                        {"  true", true, 1},
                        {"true  x", true, 1},
                        {"\ttrue\n", true, 1},
                        {"false", true, 0},
                        {"false true", true, 0},
                        {"1", true, 1},
                        {"2", true, 2},
                        {"010", true, 8},
                        {"0x10", true, 16},
                        {"12abc", true, 12},
                        {"08", true, 0},
                        {"99999999999", true, 4294967295},
                        {"TRUE", false, 0},
                        {"truex", false, 0},
                        {" 1", false, 0},
                        {"", false, 0},
                        {"yes", false, 0},
                        {"-1", false, 0},
                        {"+1", false, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ASSERT_GE(setScalar<uint32_t>(codec, 5), 0);
    EXPECT_EQ(codec->FromText(c.text), c.accepted ? errOk : errInvalidArgument);
    EXPECT_EQ(scalarOf<uint32_t>(codec), c.accepted ? c.value : 5u);
  }
  ASSERT_EQ(setScalar<uint32_t>(codec, 2), errOk);
  EXPECT_EQ(textOf(codec), "1");
  ASSERT_EQ(setScalar<uint32_t>(codec, 1), errOk);
  EXPECT_EQ(codec->FromText("1"), errOk);  // not errUnchanged
  EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);
}

TEST_F(CodecTest, CharAndWideCharText) {
  ValueCodec* codec = make(TROVE_TCHAR);
  ASSERT_EQ(setScalar<char>(codec, 'A'), errOk);
  EXPECT_EQ(requiredText(codec), 1u);
  int32_t result = 0;
  EXPECT_EQ(rawText(codec, 2, &result), "AX");
  EXPECT_EQ(rawText(codec, 0, &result), "");
  EXPECT_EQ(result, errBufferTooSmall);
  EXPECT_EQ(codec->FromText("xyz"), errOk);
  EXPECT_EQ(scalarOf<char>(codec), 'x');
  EXPECT_EQ(codec->FromText(""), errOk);
  EXPECT_EQ(scalarOf<char>(codec), '\0');
  EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);

  ValueCodec* wide = make(TROVE_TWCHAR);
  ASSERT_EQ(setScalar<char16_t>(wide, u'W'), errOk);
  uint32_t required = 77;
  char buffer[4] = {'X', 'X', 'X', 'X'};
  EXPECT_EQ(wide->ToText(buffer, 4, &required), errUnspecified);
  EXPECT_EQ(wide->ToText(nullptr, 0, &required), errUnspecified);
  EXPECT_EQ(required, 77u);
  EXPECT_EQ(buffer[0], 'X');
  EXPECT_EQ(wide->FromText("a"), errUnspecified);
  EXPECT_EQ(scalarOf<char16_t>(wide), u'W');
}

TEST_F(CodecTest, DoubleText) {
  ValueCodec* codec = make(TROVE_TDOUBLE);
  const struct {
    double value;
    const char* text;
  } writes[] = {
      {0.1, "0.100000"},       {1.5, "1.500000"}, {-2.25, "-2.250000"}, {0.0000004, "0.000000"},
      {1e6, "1000000.000000"}, {INFINITY, "inf"}, {-INFINITY, "-inf"},  {NAN, "nan"}};
  for (const auto& w : writes) {
    ASSERT_GE(setScalar(codec, w.value), 0);
    EXPECT_EQ(requiredText(codec), std::strlen(w.text));
    int32_t result = 0;
    EXPECT_EQ(rawText(codec, std::strlen(w.text) + 1, &result), std::string(w.text) + "X");
  }
  // The largest magnitudes give 316 and 317 characters, all of them kept.
  ASSERT_EQ(setScalar(codec, -DBL_MAX), errOk);
  const std::string huge = textOf(codec);
  EXPECT_EQ(huge.size(), 317u);
  EXPECT_EQ(huge.substr(0, 8), "-1797693");
  EXPECT_EQ(huge.substr(310), ".000000");
  ASSERT_EQ(setScalar(codec, 0.0), errOk);
  EXPECT_EQ(codec->FromText(huge.c_str()), errOk);
  EXPECT_EQ(scalarOf<double>(codec), -DBL_MAX);

  const struct {
    const char* text;
    int32_t result;
    double value;
  } reads[] = {{"2.5e3", errOk, 2500.0},
               {"  -1.5xyz", errOk, -1.5},
               {"0x1.8p3", errOk, 12.0},
               {".5", errOk, 0.5},
               {"1,5", errOk, 1.0},
               {"+7", errOk, 7.0},
               {"-infinity", errOk, -INFINITY},
               {"abc", errOk, 3.25},
               {"", errInvalidArgument, 3.25},
               {"   ", errInvalidArgument, 3.25},
               {"\t\n", errInvalidArgument, 3.25}};
  for (const auto& r : reads) {
    SCOPED_TRACE(r.text);
    ASSERT_GE(setScalar(codec, 3.25), 0);
    EXPECT_EQ(codec->FromText(r.text), r.result);
    EXPECT_EQ(scalarOf<double>(codec), r.value);
  }
  EXPECT_EQ(codec->FromText("nan"), errOk);
  EXPECT_TRUE(std::isnan(scalarOf<double>(codec)));
  EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);
}

TEST_F(CodecTest, DoubleTextKeepsThePointUnderAnotherLocale) {
  locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(0));
  if (german == static_cast<locale_t>(0)) {
    GTEST_SKIP() << "locale de_DE.UTF-8 is not installed; the comma-locale case is not run";
  }
  ValueCodec* codec = make(TROVE_TDOUBLE);
  ASSERT_EQ(setScalar(codec, 0.1), errOk);
  char probe[32];
  // Process-wide, as a host might set it.
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  std::snprintf(probe, sizeof probe, "%lf", 0.5);
  EXPECT_STREQ(probe, "0,500000") << "the locale does not use a comma; the case proves nothing";
  EXPECT_EQ(textOf(codec), "0.100000");
  EXPECT_EQ(codec->FromText("2.5"), errOk);
  EXPECT_EQ(scalarOf<double>(codec), 2.5);
  std::setlocale(LC_ALL, "C");
  // For this thread only; the codec gives the thread its own locale back.
  const locale_t previous = uselocale(german);
  EXPECT_EQ(textOf(codec), "2.500000");
  EXPECT_EQ(codec->FromText("0.25"), errOk);
  EXPECT_EQ(scalarOf<double>(codec), 0.25);
  std::snprintf(probe, sizeof probe, "%lf", 0.5);
  EXPECT_STREQ(probe, "0,500000");
  uselocale(previous);
  freelocale(german);
}

TEST_F(CodecTest, FuncPtrAndVoidHaveNoText) {
  for (TypeId type : {TROVE_TFUNC_PTR, TROVE_TVOID}) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    const uint64_t address = 0x12345678;
    codec->SetBinary(&address, 8);
    uint32_t required = 9;
    char buffer[4] = {'X', 'X', 'X', 'X'};
    EXPECT_EQ(codec->ToText(buffer, 4, &required), errOk);
    EXPECT_EQ(required, 0u);
    EXPECT_EQ(buffer[0], 'X');
    EXPECT_EQ(codec->ToText(nullptr, 5, &required), errOk);
    EXPECT_EQ(codec->FromText("anything"), errOk);
    EXPECT_EQ(codec->FromText(nullptr), errOk);
    if (type == TROVE_TFUNC_PTR) {
      EXPECT_EQ(scalarOf<uint64_t>(codec), address);
    }
  }
}

TEST_F(CodecTest, StringText) {
  ValueCodec* codec = make(TROVE_TSTRING);
  EXPECT_EQ(requiredText(codec), 0u);
  EXPECT_EQ(codec->FromText("h\xC3\xA9llo"), errOk);
  EXPECT_EQ(requiredText(codec), 7u);
  int32_t result = 0;
  EXPECT_EQ(rawText(codec, 8, &result), std::string("h\xC3\xA9llo\0X", 8));
  EXPECT_EQ(codec->FromText("h\xC3\xA9llo"), errUnchanged);
  EXPECT_EQ(codec->FromText(""), errOk);
  EXPECT_EQ(rawText(codec, 2, &result), "XX");
  EXPECT_EQ(result, errOk);
  EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);
}

TEST_F(CodecTest, WideStringWritesUtf8OneUnitAtATime) {
  ValueCodec* codec = make(TROVE_TWSTRING);
  const struct {
    std::u16string units;
    std::string utf8;
  } cases[] = {
      {u"\u00E9", "\xC3\xA9"},
      {u"\u20AC", "\xE2\x82\xAC"},
      {u"\U0001F600", "\xED\xA0\xBD\xED\xB8\x80"},
      {u"a\u007F\u0080\u07FF\u0800\uFFFF", "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.utf8);
    ASSERT_EQ(codec->SetBinary(c.units.data(), 2 * c.units.size()), errOk);
    const uint32_t required = requiredText(codec);
    EXPECT_EQ(required, c.utf8.size() + 1);
    int32_t result = 0;
    EXPECT_EQ(rawText(codec, required, &result), c.utf8 + '\0');
    EXPECT_EQ(rawText(codec, required - 1, &result), std::string(required - 1, 'X'));
    EXPECT_EQ(result, errBufferTooSmall);
  }
  // Empty: nothing required, a NUL when there is room for one.
  ASSERT_EQ(codec->SetBinary(u"", 0), errOk);
  EXPECT_EQ(requiredText(codec), 0u);
  int32_t result = 0;
  EXPECT_EQ(rawText(codec, 2, &result), std::string("\0X", 2));
  EXPECT_EQ(rawText(codec, 0, &result), "");
  EXPECT_EQ(result, errOk);
  EXPECT_EQ(codec->ToText(nullptr, 1, nullptr), errInvalidArgument);
}

TEST_F(CodecTest, WideStringReadsHexadecimalUtf16) {
  ValueCodec* codec = make(TROVE_TWSTRING);
  const struct {
    const char* text;
    std::string bytes;  // the binary form afterwards
  } cases[] = {{"41004200", std::string("A\0B\0\0\0", 6)},
               {"e900ac20", std::string("\xE9\0\xAC\x20\0\0", 6)},
               {"3DD800DE", std::string("\x3D\xD8\x00\xDE\0\0", 6)},
               {"414243", std::string("AB"
                                      "C\0\0\0",
                                      6)},  // odd bytes: 0x4241, 0x0043
               {"410", ""},
               {"41zz", ""},
               {"4100zz00", ""},
               {"", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    ASSERT_EQ(codec->SetBinary(u"old", 6), errOk);
    EXPECT_EQ(codec->FromText(c.text), errOk);
    EXPECT_EQ(binaryOf(codec), c.bytes);
  }
  EXPECT_EQ(codec->FromText("3DD800DE"), errOk);
  EXPECT_EQ(textOf(codec), "\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(codec->FromText("3DD800DE"), errOk);  // never errUnchanged
  heap_.failAfter(0, errInsufficientResources);
  EXPECT_EQ(codec->FromText("41004200"), errInsufficientResources);
  heap_.stopFailing();
  EXPECT_EQ(textOf(codec), "\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);
}

TEST_F(CodecTest, BlockTextForBinaryAndPtr) {
  for (TypeId type : {TROVE_TBINARY, TROVE_TPTR}) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    // Empty: one byte required, nothing written, a size of 0 too small.
    EXPECT_EQ(requiredText(codec), 1u);
    int32_t result = 0;
    EXPECT_EQ(rawText(codec, 1, &result), "X");
    EXPECT_EQ(result, errOk);
    rawText(codec, 0, &result);
    EXPECT_EQ(result, errBufferTooSmall);

    ASSERT_EQ(codec->SetBinary("\x01\xAB", 2), errOk);
    EXPECT_EQ(requiredText(codec), 5u);
    EXPECT_EQ(rawText(codec, 5, &result), "01ABX");
    EXPECT_EQ(rawText(codec, 4, &result), "XXXX");
    EXPECT_EQ(result, errBufferTooSmall);

    EXPECT_EQ(codec->FromText("00FF10"), errOk);
    EXPECT_EQ(binaryOf(codec), std::string("\x00\xFF\x10", 3));
    EXPECT_EQ(codec->FromText("00FF10"), errOk);  // never errUnchanged
    for (const char* refused : {"abc", "zz", "0g", " 1", "0x", "+1"}) {
      EXPECT_EQ(codec->FromText(refused), errInvalidArgument) << refused;
    }
    EXPECT_EQ(binaryOf(codec), std::string("\x00\xFF\x10", 3));
    EXPECT_EQ(codec->FromText("a0"), errOk);
    EXPECT_EQ(binaryOf(codec), "\xA0");
    heap_.failAfter(0, errInsufficientResources);
    EXPECT_EQ(codec->FromText("0102"), errInsufficientResources);
    heap_.stopFailing();
    EXPECT_EQ(binaryOf(codec), "\xA0");
    EXPECT_EQ(codec->FromText(""), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(codec->FromText(nullptr), errInvalidArgument);
  }
  // Every byte value, upper case, in order.
  ValueCodec* codec = make(TROVE_TBINARY);
  std::string all, hex;
  for (int b = 0; b < 256; ++b) {
    all += static_cast<char>(b);
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", b);
    hex += pair;
  }
  ASSERT_EQ(codec->SetBinary(all.data(), 256), errOk);
  EXPECT_EQ(textOf(codec), hex);
  ASSERT_EQ(codec->SetBinary("", 0), errOk);
  EXPECT_EQ(codec->FromText(hex.c_str()), errOk);
  EXPECT_EQ(binaryOf(codec), all);
}
