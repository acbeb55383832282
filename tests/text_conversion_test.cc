#include "base/text_conversion.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(TextConversion, Utf8ToUtf16KeepsThePlaneAndMarksTheRest) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"", u""},
      {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"x\xD0\x96y\xE2\x82\xACz", u"x\u0416y\u20ACz"},
      {"a\xF0\x9F\x98\x80z", u"a????z"},  // four-byte sequences: each byte alone
      {"\x80\xF8\xFF", u"???"},           // stray continuation, leads 0xF8-0xFF
      {"\xC3", u"\u00FF"},                // a cut two-byte lead: ones fill the rest
      {"ab\xC0", u"ab?"},
      {"A\xE2\x82", u"A?"},  // a cut three-byte sequence ends the decoding
      {"\xC3\x41", u"\u00C1"},
      {"\xE2\x02\xC3", u"\u2083"}};  // continuations unchecked
  for (const auto& [bytes, units] : cases) {
    std::u16string out(bytes.size() + 1, u'#');
    const size_t n = trove::utf8ToUtf16(bytes.data(), bytes.size(), out.data());
    EXPECT_EQ(out[n], u'#') << "wrote beyond the units it reported: " << bytes;
    EXPECT_EQ(out.substr(0, n), units) << bytes;
  }
}

TEST(TextConversion, Utf16ToUtf8PathPairsSurrogatesAndRefusesTheUnpaired) {
  const std::pair<std::u16string, std::string> good[] = {
      {u"", ""},
      {u"/tmp/a\\b.xml", "/tmp/a\\b.xml"},
      {u"\u00E9\u07FF\u0800\uFFFF", "\xC3\xA9\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {u"a\xD83D\xDE00z", "a\xF0\x9F\x98\x80z"},
      {u"\xDBFF\xDFFF", "\xF4\x8F\xBF\xBF"}};
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
