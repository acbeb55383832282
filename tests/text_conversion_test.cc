#include "base/text_conversion.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using trove::utf8ToUtf16;

std::u16string decode(const std::string& bytes) {
  std::u16string out(bytes.size() + 1, u'#');
  std::size_t n = utf8ToUtf16(bytes.data(), bytes.size(), out.data());
  EXPECT_EQ(out[n], u'#') << "wrote beyond the units it reported";
  out.resize(n);
  return out;
}

TEST(Utf8ToUtf16Test, DecodesTheBasicMultilingualPlane) {
  EXPECT_EQ(decode(""), u"");
  EXPECT_EQ(decode("plain ASCII"), u"plain ASCII");
  EXPECT_EQ(decode(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_EQ(decode("\xC3\xA9"), u"\u00E9");
  EXPECT_EQ(decode("\xE2\x82\xAC"), u"\u20AC");
  EXPECT_EQ(decode("x\xD0\x96y\xEF\xBF\xBDz"), u"x\u0416y\uFFFDz");
}

TEST(Utf8ToUtf16Test, ReplacesWhatItCannotRepresent) {
  // Four-byte sequences: each byte alone.
  EXPECT_EQ(decode("\xF0\x9F\x98\x80"), u"????");
  EXPECT_EQ(decode("a\xF0\x9F\x98\x80z"), u"a????z");
  // A stray continuation byte and the leads 0xF8-0xFF.
  EXPECT_EQ(decode("\x80"), u"?");
  EXPECT_EQ(decode("\xBF\xF8\xFF"), u"???");
  // A two-byte lead at the end keeps its bits and fills the rest with ones.
  EXPECT_EQ(decode("\xC3"), u"\u00FF");
  EXPECT_EQ(decode("ab\xC0"), u"ab?");
  // A cut three-byte sequence gives one '?' and ends the decoding.
  EXPECT_EQ(decode("\xE2\x82"), u"?");
  EXPECT_EQ(decode("A\xE2"), u"A?");
  // Continuation bytes are not checked: only their low six bits count.
  EXPECT_EQ(decode("\xC3\x41"), u"\u00C1");
  EXPECT_EQ(decode("\xE2\x02\xC3"), u"\u2083");
}

std::string toPath(const std::u16string& text, bool* ok) {
  std::string out = "untouched";
  *ok = trove::utf16ToUtf8Path(text.data(), text.size(), out);
  return out;
}

TEST(Utf16ToUtf8PathTest, EncodesStrictly) {
  bool ok = false;
  EXPECT_EQ(toPath(u"", &ok), "");
  EXPECT_TRUE(ok);
  EXPECT_EQ(toPath(u"/tmp/profiles.xml", &ok), "/tmp/profiles.xml");
  EXPECT_TRUE(ok);
  EXPECT_EQ(toPath(u"\u00E9\u07FF\u0800\u20AC\uFFFF", &ok),
            "\xC3\xA9\xDF\xBF\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF");
  EXPECT_TRUE(ok);
  EXPECT_EQ(toPath(u"a\xD83D\xDE00z", &ok), "a\xF0\x9F\x98\x80z");
  EXPECT_TRUE(ok);
  EXPECT_EQ(toPath(u"\xDBFF\xDFFF", &ok), "\xF4\x8F\xBF\xBF");
  EXPECT_TRUE(ok);
  EXPECT_EQ(toPath(u"back\\slash", &ok), "back\\slash");
  EXPECT_TRUE(ok);

  for (const std::u16string& bad :
       {std::u16string(u"a\xD83D"), std::u16string(u"\xDE00"), std::u16string(u"\xD83Dx"),
        std::u16string(u"\xD83D\xD83D\xDE00"), std::u16string(u"a\0b", 3)}) {
    EXPECT_EQ(toPath(bad, &ok), "untouched");
    EXPECT_FALSE(ok);
  }
}

}  // namespace
