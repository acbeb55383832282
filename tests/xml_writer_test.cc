// The store writer: escaping, the exact layout, and round trips of every
// supported type through writing and reading back.
#include "xml/xml_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "codec_fixture.h"

namespace trove {
namespace {

using testing::binaryOf;
using testing::le;

// Whether xmllint takes `text` as well-formed (true without xmllint).
bool xmllintAccepts(const std::string& text) {
  if (std::system("command -v xmllint >/dev/null 2>&1") != 0) return true;
  FILE* lint = popen("xmllint --noout - 2>/dev/null", "w");
  std::fwrite(text.data(), 1, text.size(), lint);
  return pclose(lint) == 0;
}

class StoreWriter : public testing::HeapTest {
 protected:
  std::string serialized() {
    std::string out;
    EXPECT_EQ(document().serialize(out), errOk);
    return out;
  }
};

TEST(XmlWriter, EscapesMarkupAndControlBytes) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"a\"b&c'd<e>f&&", "a&quot;b&amp;c&apos;d&lt;e&gt;f&amp;&amp;"},
      {std::string_view("\x01\t\x0B\x0C\x1F\0", 6), "&#x1;&#x9;&#xB;&#xC;&#x1F;&#x0;"},
      {"\n\r\x7F\xC3\xA9 \xF0\x9F\x98\x80", "\n\r\x7F\xC3\xA9 \xF0\x9F\x98\x80"},
      {"", ""}};
  for (const auto& [text, escaped] : cases) {
    std::string out = "kept:";
    escapeText(text.data(), text.size(), out);
    EXPECT_EQ(out, "kept:" + std::string(escaped));
  }
  std::string out;
  escapeText("x<y\0z", SIZE_MAX, out);  // up to the NUL
  escapeText("<<<<", 2, out);
  writeNameAttribute(out, "a<\"b'&");
  EXPECT_EQ(out, "x&lt;y&lt;&lt; name=\"a&lt;&quot;b&apos;&amp;\"");
}

TEST_F(StoreWriter, WritesTheCanonicalLayout) {
  EXPECT_EQ(serialized(), "<propertiesmap>\r\n</propertiesmap>\r\n");
  XmlNode* settings = root()->createPath("Settings", false);
  ASSERT_EQ(root()->appendValueFromText("Top", TROVE_TDWORD, "1"), errOk);
  ASSERT_EQ(settings->appendValueFromText("Width", TROVE_TDWORD, "800"), errOk);
  ASSERT_EQ(settings->appendValueFromText("Title", TROVE_TSTRING, "A & \"B\""), errOk);
  ASSERT_NE(settings->createPath("Layout", false), nullptr);
  ASSERT_NE(root()->createPath("settings", true), nullptr);  // a twin, as an import makes them
  ASSERT_EQ(document().selectRootKey(settings), errOk);      // the root key does not narrow it
  std::string out = "before|";
  ASSERT_EQ(document().serialize(out), errOk);
  EXPECT_EQ(out,
            "before|<propertiesmap>\r\n"
            "    <key name=\"Settings\">\r\n"
            "        <key name=\"Layout\">\r\n"
            "        </key>\r\n"
            "        <tDWORD name=\"Width\">800</tDWORD>\r\n"
            "        <tSTRING name=\"Title\">A &amp; &quot;B&quot;</tSTRING>\r\n"
            "    </key>\r\n"
            "    <key name=\"settings\">\r\n"
            "    </key>\r\n"
            "    <tDWORD name=\"Top\">1</tDWORD>\r\n"
            "</propertiesmap>\r\n");
  EXPECT_TRUE(xmllintAccepts(out.substr(7)));
  XmlDocument unattached;
  out = "x";
  EXPECT_EQ(unattached.serialize(out), errWrongState);
  EXPECT_EQ(out, "x");
}

TEST_F(StoreWriter, RoundTripsEveryTypeAndText) {
  const char* const odd = "a<b&\"c'>d\r\n\tend \x1B[0m\x01";
  const std::u16string wide = u"h\u00e9\u20ac";
  // clang-format off
  std::vector<std::pair<TypeId, std::string>> samples = {
      {TROVE_TVOID, ""}, {TROVE_TBYTE, le(0xAB, 1)}, {TROVE_TWORD, le(0xBEEF, 2)},
      {TROVE_TDWORD, le(4294967295, 4)}, {TROVE_TQWORD, le(1234567890123456789)},
      {TROVE_TBOOL, le(1, 4)}, {TROVE_TCHAR, "Q"}, {TROVE_TSTRING, std::string(odd) + '\0'},
      {TROVE_TWSTRING, std::string(reinterpret_cast<const char*>(wide.c_str()), 8)},
      {TROVE_TERROR, le(0x80000046, 4)}, {TROVE_TPTR, "\xDE\xAD"}, {TROVE_TINT, le(-5, 4)},
      {TROVE_TSBYTE, le(-100, 1)}, {TROVE_TSHORT, le(-32000, 2)}, {TROVE_TLONGLONG, le(-12345678901)},
      {TROVE_TDATA, le(132000000000000000)}, {TROVE_TDATETIME, le(132000000000000001)},
      {TROVE_TFUNC_PTR, le(0x1234)}, {TROVE_TDOUBLE, testing::bits(2.5)},
      {TROVE_TBINARY, std::string("\x00\xFF\x10", 3)}, {TROVE_TTYPE_ID, le(54, 4)}};
  // clang-format on
  for (TypeId type : {TypeId{TROVE_TUINT}, TypeId{TROVE_TLONG}})
    samples.emplace_back(type, le(type, 4));
  for (TypeId type = TROVE_TIID; type <= TROVE_TLCID; ++type)
    samples.emplace_back(type, le(type, 4));
  XmlNode* key = root()->createPath(odd, false);
  for (const auto& [type, bytes] : samples) {
    ASSERT_EQ(key->appendValueFromBinary(typeNameTable[type], type, bytes.data(),
                                         static_cast<uint32_t>(bytes.size())),
              errOk);
  }
  // A wide string is written as a string; a function pointer has no text.
  samples[8] = {TROVE_TSTRING, std::string("h\xC3\xA9\xE2\x82\xAC", 6) + '\0'};
  samples[17].second = le(0);
  const std::string out = serialized();
  EXPECT_NE(out.find("<tBINARY name=\"tBINARY\">00FF10</tBINARY>\r\n"), std::string::npos);
  EXPECT_NE(out.find("&#x9;end &#x1B;[0m&#x1;</tSTRING>"), std::string::npos);
  // References to control bytes are outside XML 1.0: the rest is linted.
  EXPECT_TRUE(xmllintAccepts(std::regex_replace(out, std::regex("&#x1B?;"), "")));
  ASSERT_EQ(parse(out), errOk);
  const XmlNode* reloaded = root()->childAt(0);
  EXPECT_STREQ(reloaded->name, odd);
  ASSERT_EQ(reloaded->valueCount(), samples.size());
  for (uint32_t i = 0; i < samples.size(); ++i) {
    SCOPED_TRACE(reloaded->valueNameAt(i));
    EXPECT_EQ(reloaded->valueAt(i)->GetType(), samples[i].first);
    EXPECT_EQ(binaryOf(reloaded->valueAt(i)), samples[i].second);
  }
  EXPECT_EQ(serialized(), out);
}

TEST_F(StoreWriter, StopsAtAValueWithoutText) {
  ASSERT_NE(root()->createPath("before", false), nullptr);
  XmlNode* key = root()->createPath("k", false);
  ASSERT_EQ(key->appendValueFromBinary("w", TROVE_TWCHAR, "A", 2), errOk);
  ASSERT_EQ(key->appendValueFromText("after", TROVE_TDWORD, "1"), errOk);
  std::string out;
  EXPECT_EQ(document().serialize(out), errUnspecified);
  EXPECT_NE(out.find("<key name=\"before\">"), std::string::npos);
  EXPECT_EQ(out.find("tWCHAR"), std::string::npos);
  EXPECT_EQ(out.find("after"), std::string::npos);
}

TEST_F(StoreWriter, WritesDeepTreesThatReadBackTheSame) {
  // The text grows quadratically with depth: a few thousand levels show
  // that neither side recurses.
  XmlNode* node = root();
  for (int i = 0; i < 3000; ++i) node = node->createPath("k", false);
  ASSERT_EQ(node->appendValueFromText("v", TROVE_TDWORD, "1"), errOk);
  const std::string out = serialized(), before = tree();
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), before);
  EXPECT_EQ(serialized(), out);
}

}  // namespace
}  // namespace trove
