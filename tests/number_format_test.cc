#include "base/number_format.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <string>

namespace {

using trove::FormatSpec;

FormatSpec spec(int32_t width, uint32_t fill, int32_t alignment, bool alternate = false) {
  FormatSpec s;
  s.width = width;
  s.fill = fill;
  s.alignment = alignment;
  s.alternate = alternate ? 1 : 0;
  return s;
}

std::u16string unsignedText(const FormatSpec& s, uint32_t value, uint32_t radix,
                            bool negative = false, uint64_t* count = nullptr) {
  oru::wstring_t out(u"<");
  uint64_t n = trove::formatUnsigned(out, s, value, radix, negative);
  if (count != nullptr) {
    *count = n;
  }
  EXPECT_EQ(out.size(), n + 1) << "the count must match what was appended";
  EXPECT_EQ(out.c_str()[out.size()], u'\0');
  return std::u16string(out.view().substr(1));
}

std::u16string signedText(FormatSpec s, int32_t value, uint32_t radix) {
  s.radix = radix;
  oru::wstring_t out;
  uint64_t n = trove::formatSigned(out, s, value);
  EXPECT_EQ(out.size(), n);
  return std::u16string(out.view());
}

std::u16string narrowText(const FormatSpec& s, const char* text) {
  oru::wstring_t out(u"[");
  uint64_t n = trove::formatNarrow(out, s, text);
  EXPECT_EQ(out.size(), n + 1);
  return std::u16string(out.view().substr(1));
}

TEST(FormatUnsignedTest, PadsByAlignment) {
  uint64_t count = 0;
  EXPECT_EQ(unsignedText(spec(6, u'0', 0, true), 255, 16, false, &count), u"0x00ff");
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(unsignedText(spec(6, u' ', 1, true), 255, 16), u"  0xff");
  EXPECT_EQ(unsignedText(spec(6, u'.', -1, true), 255, 16), u"0xff..");
  EXPECT_EQ(unsignedText(spec(5, u'0', 0), 42, 10, true), u"-0042");
  EXPECT_EQ(unsignedText(spec(5, u'*', 1), 42, 10, true), u"**-42");
  EXPECT_EQ(unsignedText(spec(5, u'*', -7), 42, 10, true), u"-42**");
  // The result-code form: eight lower-case hexadecimal digits.
  EXPECT_EQ(unsignedText(spec(8, u'0', 1), 0x80010102u, 16), u"80010102");
  EXPECT_EQ(unsignedText(spec(8, u'0', 1), 0xD001u, 16), u"0000d001");
}

TEST(FormatUnsignedTest, WritesPrefixesAndDigits) {
  FormatSpec plain;
  EXPECT_EQ(unsignedText(plain, 0, 10), u"0");
  EXPECT_EQ(unsignedText(plain, 0, 16), u"0");
  EXPECT_EQ(unsignedText(plain, 4294967295u, 10), u"4294967295");
  EXPECT_EQ(unsignedText(plain, 4294967295u, 2), std::u16string(32, u'1'));
  EXPECT_EQ(unsignedText(plain, 5, 2), u"101");
  EXPECT_EQ(unsignedText(plain, 35, 36), u"z");
  EXPECT_EQ(unsignedText(plain, 36 * 36 - 1, 36), u"zz");
  EXPECT_EQ(unsignedText(plain, 0xABCDEF, 16), u"abcdef");
  FormatSpec alternate = spec(0, u' ', 1, true);
  EXPECT_EQ(unsignedText(alternate, 255, 8), u"0377");
  EXPECT_EQ(unsignedText(alternate, 255, 16), u"0xff");
  EXPECT_EQ(unsignedText(alternate, 255, 10), u"255");
  EXPECT_EQ(unsignedText(alternate, 255, 2), u"11111111");
  // The sign wins over the alternate prefix.
  EXPECT_EQ(unsignedText(alternate, 255, 16, true), u"-ff");
}

TEST(FormatUnsignedTest, PaddingLimits) {
  // Width smaller than the item, negative width, fill beyond 16 bits: no padding.
  EXPECT_EQ(unsignedText(spec(2, u'0', 1, true), 255, 16), u"0xff");
  EXPECT_EQ(unsignedText(spec(-5, u'0', 1), 7, 10), u"7");
  EXPECT_EQ(unsignedText(spec(INT32_MIN, u'0', 0), 7, 10), u"7");
  EXPECT_EQ(unsignedText(spec(6, 0x10000, 1), 7, 10), u"7");
  EXPECT_EQ(unsignedText(spec(6, 0xFFFF, 1), 7, 10),
            u"\xFFFF\xFFFF\xFFFF\xFFFF\xFFFF"
            u"7");
}

TEST(FormatUnsignedTest, RefusesRadicesOutsideTheDigitTable) {
  for (uint32_t radix : {0u, 1u, 37u, 39u, 1000u}) {
    uint64_t count = 99;
    EXPECT_EQ(unsignedText(spec(4, u'0', 1), 123, radix, false, &count), u"") << radix;
    EXPECT_EQ(count, 0u);
  }
}

TEST(FormatSignedTest, SignOnlyInRadixTen) {
  FormatSpec plain;
  EXPECT_EQ(signedText(plain, -5, 10), u"-5");
  EXPECT_EQ(signedText(plain, -5, 16), u"fffffffb");
  EXPECT_EQ(signedText(plain, 5, 10), u"5");
  EXPECT_EQ(signedText(plain, 0, 10), u"0");
  EXPECT_EQ(signedText(plain, INT32_MIN, 10), u"-2147483648");
  EXPECT_EQ(signedText(plain, INT32_MAX, 10), u"2147483647");
  EXPECT_EQ(signedText(plain, -1, 8), u"37777777777");
  EXPECT_EQ(signedText(spec(6, u'0', 0), -42, 10), u"-00042");
  EXPECT_EQ(signedText(spec(10, u'0', 0, true), -1, 16), u"0xffffffff");
}

TEST(FormatNarrowTest, PrecisionAndPadding) {
  FormatSpec plain;
  EXPECT_EQ(narrowText(plain, "hello"), u"hello");
  EXPECT_EQ(narrowText(plain, ""), u"");
  EXPECT_EQ(narrowText(plain, nullptr), u"");
  FormatSpec three;
  three.precision = 3;
  EXPECT_EQ(narrowText(three, "hello"), u"hel");
  EXPECT_EQ(narrowText(three, "hi"), u"hi");
  three.width = 6;
  three.alignment = -1;
  EXPECT_EQ(narrowText(three, "hello"), u"hel   ");
  three.alignment = 1;
  EXPECT_EQ(narrowText(three, "hello"), u"   hel");
  three.alignment = 0;  // no prefix: padding goes before the text
  three.fill = u'_';
  EXPECT_EQ(narrowText(three, "hello"), u"___hel");
  FormatSpec none;
  none.precision = 0;
  none.width = 2;
  EXPECT_EQ(narrowText(none, "hello"), u"  ");
}

TEST(FormatNarrowTest, StopsAtTheFirstByteThatIsNoCharacterByItself) {
  const char* current = std::setlocale(LC_ALL, nullptr);
  std::string saved = current != nullptr ? current : "C";
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
    GTEST_SKIP() << "no UTF-8 locale on this machine";
  }
  FormatSpec padded;
  padded.width = 4;
  padded.alignment = -1;
  padded.fill = u'.';
  EXPECT_EQ(narrowText(padded, "ab\xC3\xA9xyz"), u"ab..");
  EXPECT_EQ(narrowText(FormatSpec(), "\xE2\x82\xAC"), u"");
  std::setlocale(LC_ALL, saved.c_str());
}

}  // namespace
