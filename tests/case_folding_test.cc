// Case folding of names, and the conversions between UTF-8 and UTF-16.
#include "base/case_folding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/text_conversion.h"

namespace {

using trove::namesEqual;

// Unicode 11 full folding: mappings by the count of code points they give.
TEST(CaseFolding, FoldsFullyAsUnicode11) {
  int changed[4] = {0, 0, 0, 0};  // by the number of code points folded to
  for (uint32_t c = 0; c < 0x110000; ++c) {
    const trove::FoldedCodePoint f = trove::caseFold(c);
    ASSERT_TRUE(f.count() >= 1 && f.count() <= 3) << c;
    if (f.count() > 1 || f.slots[2] != c) ++changed[f.count()];
  }
  EXPECT_EQ(std::vector<int>(changed + 1, changed + 4), (std::vector<int>{1376, 88, 16}));
  EXPECT_EQ(trove::caseFold(0x7FFFFFFF).slots[2], 0x7FFFFFFFu);  // beyond Unicode: itself
}

TEST(CaseFolding, NamesCompareFoldedAndDecodeBadUtf8Leniently) {
  const char* const fffd = "\xEF\xBF\xBD";
  const struct {
    const char* a;
    const char* b;
    bool equal;
  } cases[] = {// clang-format off
      {"", "", true}, {"Software", "SOFTWARE", true}, {"stra\303\237e", "STRASSE", true},
      {"\xE1\xBA\x9E", "ss", true}, {"\xEF\xAC\x83", "FFI", true},
      {"\342\204\252elvin", "kelvin", true}, {"\xC4\xB0", "i\xCC\x87", true},
      {"\xF0\x90\x90\x80", "\xF0\x90\x90\xA8", true}, {"\xCE\xA3", "\xCF\x82", true},
      {"abc", "abcd", false}, {"\xC3\x9F", "s", false},
      {"\xC3\x9F", "sss", false}, {"\xC4\xB0", "i", false}, {"e", "\xC3\xA9", false},
      {"\xEA\x9F\x82", "\xEA\x9F\x83", false},  // U+A7C2 is newer than 11.0
      {"\xE1\xB2\x90", "\xE1\x83\x90", true},  // U+1C90 is in 11.0
      // Bad leads, cut sequences and bad continuations: one U+FFFD each.
      {"\x80", fffd, true}, {"\xFF", fffd, true}, {"\xF8\x80", "\xEF\xBF\xBD\xEF\xBF\xBD", true},
      {"a\xE2\x82", "A\xEF\xBF\xBD", true}, {"a\xE2\x82", "A\xEF\xBF\xBD\xEF\xBF\xBD", false},
      {"\xF0\x9F\x98", fffd, true}, {"\xC3\x41", fffd, true}, {"\xC3\x41", "\357\277\275A", false},
      {"\xE2\x01\x82", "\xE2\x81\x82", true},  // only the continuations ORed are checked
      {"\xC1\x81", "a", true}, {"\xE0\x81\x81", "A", true},  // overlong forms as they come
      {"\xED\xA0\x80", "\xED\xA0\x80", true}, {"\xED\xA0\x80", fffd, false}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(namesEqual(c.a, c.b), c.equal) << c.a << " / " << c.b;
    EXPECT_EQ(namesEqual(c.b, c.a), c.equal) << c.b << " / " << c.a;
  }
  EXPECT_TRUE(namesEqual(nullptr, ""));
  // A counted name ends where its count says, even inside a sequence.
  EXPECT_TRUE(namesEqual("SOFTWARE/Vendor", 8, "software"));
  EXPECT_EQ(trove::foldedNameHash("SOFTWARE/x", 8), trove::foldedNameHash("software", 8));
  EXPECT_FALSE(namesEqual("SOFTWARE/Vendor", 9, "software"));
  EXPECT_TRUE(namesEqual("\xC3\xA9", 1, fffd));
  EXPECT_TRUE(namesEqual("STRASSE\\x", 7, "stra\303\237e"));
}

TEST(TextConversion, Utf8ToUtf16KeepsThePlaneAndMarksTheRest) {
  // clang-format off
  const std::pair<std::string, std::u16string> cases[] = {
      {"", u""}, {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"x\xD0\x96y\xE2\x82\xACz", u"x\u0416y\u20ACz"},
      {"a\xF0\x9F\x98\x80z", u"a????z"},  // four-byte sequences: each byte alone
      {"\x80\xF8\xFF", u"???"},  // a stray continuation, leads 0xF8-0xFF
      {"\xC3", u"\u00FF"}, {"ab\xC0", u"ab?"},  // a cut two-byte lead: ones fill the rest
      {"A\xE2\x82", u"A?"},  // a cut three-byte sequence ends the decoding
      {"\xC3\x41", u"\u00C1"}, {"\xE2\x02\xC3", u"\u2083"}};  // continuations unchecked
  // clang-format on
  for (const auto& [bytes, units] : cases) {
    std::u16string out(bytes.size() + 1, u'#');
    const size_t n = trove::utf8ToUtf16(bytes.data(), bytes.size(), out.data());
    EXPECT_EQ(out.substr(0, n + 1), units + u'#') << "wrote beyond what it reported: " << bytes;
  }
}

TEST(TextConversion, Utf16ToUtf8PathPairsSurrogatesAndRefusesTheUnpaired) {
  // clang-format off
  const std::pair<std::u16string, std::string> good[] = {
      {u"", ""}, {u"/tmp/a\\b.xml", "/tmp/a\\b.xml"},
      {u"\u00E9\u07FF\u0800\uFFFF", "\xC3\xA9\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"a\xD83D\xDE00z", "a\xF0\x9F\x98\x80z"}, {u"\xDBFF\xDFFF", "\xF4\x8F\xBF\xBF"}};
  // clang-format on
  for (const auto& [text, path] : good) {
    std::string out = "stale";
    EXPECT_TRUE(trove::utf16ToUtf8Path(text.data(), text.size(), out)) << path;
    EXPECT_EQ(out, path);
  }
  for (const std::u16string& bad :
       {std::u16string(u"a\xD83D"), std::u16string(u"\xDE00"),
        std::u16string(u"\xD83D\xD83D\xDE00"), std::u16string(u"a\0b", 3)}) {
    std::string out = "untouched";
    EXPECT_FALSE(trove::utf16ToUtf8Path(bad.data(), bad.size(), out));
    EXPECT_EQ(out, "untouched");
  }
}

}  // namespace
