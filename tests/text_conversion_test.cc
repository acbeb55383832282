#include "base/text_conversion.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <typeinfo>

#include "trove/result_codes.h"

namespace {

using trove::utf8ToUtf16;

std::u16string decode(const std::string& bytes) {
  std::u16string out(bytes.size() + 1, u'#');
  std::size_t n = utf8ToUtf16(bytes.data(), bytes.size(), out.data());
  EXPECT_EQ(out[n], u'#') << "wrote beyond the units it reported";
  out.resize(n);
  return out;
}

// Switches the process to a UTF-8 locale for one test.
class Utf8Locale {
 public:
  Utf8Locale() {
    const char* current = std::setlocale(LC_ALL, nullptr);
    saved_ = current != nullptr ? current : "C";
    active_ = std::setlocale(LC_ALL, "C.UTF-8") != nullptr;
  }
  ~Utf8Locale() { std::setlocale(LC_ALL, saved_.c_str()); }
  bool active() const { return active_; }

 private:
  std::string saved_;
  bool active_;
};

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

TEST(NarrowToWideTest, ConvertsInTheCLocale) {
  oru::wstring_t target(u"previous content");
  std::string text("key\0x", 5);
  EXPECT_EQ(trove::narrowToWide(text.data(), text.data() + text.size(), target), errOk);
  EXPECT_EQ(std::u16string(target.view()), std::u16string(u"key\0x", 5));
  EXPECT_EQ(target.c_str()[5], u'\0');

  EXPECT_EQ(trove::narrowToWide(text.data(), text.data(), target), errOk);
  EXPECT_TRUE(target.empty());

  EXPECT_EQ(std::u16string(trove::wideFromNarrow("profiles.xml").view()), u"profiles.xml");
  EXPECT_TRUE(trove::wideFromNarrow(nullptr).empty());
}

TEST(NarrowToWideTest, ConvertsMultibyteTextAndRefusesBrokenText) {
  Utf8Locale locale;
  if (!locale.active()) {
    GTEST_SKIP() << "no UTF-8 locale on this machine";
  }
  oru::wstring_t target(u"kept");
  std::string text = "caf\xC3\xA9 \xE2\x82\xAC";
  EXPECT_EQ(trove::narrowToWide(text.data(), text.data() + text.size(), target), errOk);
  EXPECT_EQ(std::u16string(target.view()), u"caf\u00E9 \u20AC");

  // Beyond 16 bits a character is cut to its low 16 bits.
  std::string emoji = "\xF0\x9F\x98\x80!";
  EXPECT_EQ(trove::narrowToWide(emoji.data(), emoji.data() + emoji.size(), target), errOk);
  EXPECT_EQ(std::u16string(target.view()), u"\xF600!");

  // A cut sequence and an invalid one leave the target untouched.
  target = oru::wstring_t(u"kept");
  std::string cut = "ab\xC3";
  EXPECT_EQ(trove::narrowToWide(cut.data(), cut.data() + cut.size(), target), errInvalidArgument);
  std::string invalid = "\xC3(x";
  EXPECT_EQ(trove::narrowToWide(invalid.data(), invalid.data() + invalid.size(), target),
            errInvalidArgument);
  EXPECT_EQ(std::u16string(target.view()), u"kept");

  try {
    trove::wideFromNarrow(cut.c_str());
    FAIL() << "no bad_cast";
  } catch (const std::bad_cast& e) {
    EXPECT_STREQ(e.what(), "bad cast");
  }
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

TEST(WidenAsciiTest, WidensEachByte) {
  EXPECT_EQ(std::u16string(trove::widenAscii("Out of memory").view()), u"Out of memory");
  EXPECT_EQ(trove::widenAsciiToU16(".bak2"), u".bak2");
  EXPECT_EQ(trove::widenAsciiToU16("\xE9"), u"\u00E9");
  EXPECT_TRUE(trove::widenAscii("").empty());
}

}  // namespace
