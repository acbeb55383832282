// The store writer: the canonical layout byte for byte, escaping, and round
// trips of every supported type through writing and reading back.
#include "xml/xml_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "trove/abi.h"
#include "trove/result_codes.h"
#include "xml_fixture.h"

namespace trove {
namespace {

using testing::DocumentFixture;
using testing::dump;
using testing::xmllintAccepts;

std::string escaped(std::string_view text) {
  std::string out;
  escapeText(text.data(), text.size(), out);
  return out;
}

TEST(EscapeText, ReplacesMarkupAndControlBytes) {
  EXPECT_EQ(escaped("a\"b&c'd<e>f"), "a&quot;b&amp;c&apos;d&lt;e&gt;f");
  EXPECT_EQ(escaped("\x01\t\x0B\x0C\x0F\x10\x1B\x1F"),
            "&#x1;&#x9;&#xB;&#xC;&#xF;&#x10;&#x1B;&#x1F;");
  EXPECT_EQ(escaped(std::string_view("a\0b", 3)), "a&#x0;b");
  // LF, CR, DEL and UTF-8 sequences stay as they are.
  EXPECT_EQ(escaped("\n\r\x7F\xC3\xA9 \xF0\x9F\x98\x80"), "\n\r\x7F\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(escaped(""), "");
  EXPECT_EQ(escaped("&&"), "&amp;&amp;");

  std::string out = "kept:";
  escapeText("x<y\0z", SIZE_MAX, out);  // up to the NUL, appended
  EXPECT_EQ(out, "kept:x&lt;y");
  out.clear();
  escapeText("<<<<", 2, out);
  EXPECT_EQ(out, "&lt;&lt;");
}

TEST(EscapeText, WritesTheNameAttribute) {
  std::string out = "<key";
  writeNameAttribute(out, "a<\"b'&");
  EXPECT_EQ(out, "<key name=\"a&lt;&quot;b&apos;&amp;\"");
}

class StoreWriter : public DocumentFixture {
 protected:
  std::string serialized() {
    std::string out;
    EXPECT_EQ(document().serialize(out), errOk);
    return out;
  }
};

constexpr std::string_view kWorkedExample =
    "<propertiesmap>\r\n"
    "    <key name=\"Settings\">\r\n"
    "        <key name=\"Layout\">\r\n"
    "        </key>\r\n"
    "        <tDWORD name=\"Width\">800</tDWORD>\r\n"
    "        <tSTRING name=\"Title\">A &amp; &quot;B&quot;</tSTRING>\r\n"
    "    </key>\r\n"
    "</propertiesmap>\r\n";

TEST_F(StoreWriter, WritesTheWorkedExampleByteForByte) {
  XmlNode* settings = root()->createPath("Settings", false);
  ASSERT_NE(settings, nullptr);
  ASSERT_NE(settings->createPath("Layout", false), nullptr);
  ASSERT_EQ(settings->appendValueFromText("Width", TROVE_TDWORD, "800"), errOk);
  ASSERT_EQ(settings->appendValueFromText("Title", TROVE_TSTRING, "A & \"B\""), errOk);
  // The current root key does not narrow what is written.
  ASSERT_EQ(document().selectRootKey(settings), errOk);

  std::string out = "before|";
  ASSERT_EQ(document().serialize(out), errOk);
  EXPECT_EQ(out, "before|" + std::string(kWorkedExample));
  EXPECT_EQ(kWorkedExample.size(), 225u);
  EXPECT_TRUE(xmllintAccepts(serialized()));

  ASSERT_EQ(parse(kWorkedExample), errOk);
  EXPECT_EQ(tree(), "Settings{Width:tDWORD=800;Title:tSTRING=A & \"B\";Layout{}}");
}

TEST_F(StoreWriter, WritesAnEmptyDocument) {
  std::string out = serialized();
  EXPECT_EQ(out, "<propertiesmap>\r\n</propertiesmap>\r\n");
  EXPECT_EQ(out.size(), 35u);
  EXPECT_TRUE(xmllintAccepts(out));

  XmlDocument unattached;
  std::string untouched = "x";
  EXPECT_EQ(unattached.serialize(untouched), errWrongState);
  EXPECT_EQ(untouched, "x");
}

TEST_F(StoreWriter, WritesKeysBeforeValuesAndEveryTwin) {
  ASSERT_EQ(root()->appendValueFromText("first", TROVE_TDWORD, "1"), errOk);
  XmlNode* twin = root()->createPath("Twin", false);
  ASSERT_NE(twin, nullptr);
  ASSERT_NE(root()->createPath("twin", true), nullptr);  // as a generic import makes them
  ASSERT_EQ(twin->appendValueFromText("v", TROVE_TSTRING, "a"), errOk);
  ASSERT_EQ(twin->appendValueFromText("v", TROVE_TSTRING, ""), errOk);

  const std::string out = serialized();
  EXPECT_EQ(out,
            "<propertiesmap>\r\n"
            "    <key name=\"Twin\">\r\n"
            "        <tSTRING name=\"v\">a</tSTRING>\r\n"
            "        <tSTRING name=\"v\"></tSTRING>\r\n"
            "    </key>\r\n"
            "    <key name=\"twin\">\r\n"
            "    </key>\r\n"
            "    <tDWORD name=\"first\">1</tDWORD>\r\n"
            "</propertiesmap>\r\n");
  EXPECT_TRUE(xmllintAccepts(out));

  // Read back, the twins merge and both values stay.
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), "first:tDWORD=1;Twin{v:tSTRING=a;v:tSTRING=;}");
}

TEST_F(StoreWriter, EscapesNamesAndTextsAndReadsThemBack) {
  const char* const name = "a<b&\"c'>d";
  const char* const text = "line 1\r\nline 2\tend & <x> \"q\" 'a'";
  XmlNode* key = root()->createPath(name, false);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->appendValueFromText(name, TROVE_TSTRING, text), errOk);

  const std::string out = serialized();
  EXPECT_EQ(out,
            "<propertiesmap>\r\n"
            "    <key name=\"a&lt;b&amp;&quot;c&apos;&gt;d\">\r\n"
            "        <tSTRING name=\"a&lt;b&amp;&quot;c&apos;&gt;d\">line 1\r\nline 2&#x9;end "
            "&amp; &lt;x&gt; &quot;q&quot; &apos;a&apos;</tSTRING>\r\n"
            "    </key>\r\n"
            "</propertiesmap>\r\n");
  EXPECT_TRUE(xmllintAccepts(out));

  const std::string before = tree();
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), before);
  EXPECT_EQ(std::string(root()->childAt(0)->name), name);
  EXPECT_STREQ(testing::textOf(root()->childAt(0)->valueAt(0)).c_str(), text);
}

TEST_F(StoreWriter, WritesControlBytesAsReferences) {
  // Such references are outside XML 1.0's character range, so this store is
  // not offered to xmllint; the reader takes them back.
  ASSERT_EQ(root()->appendValueFromText("c", TROVE_TSTRING, "\x1B[0m\x01"), errOk);
  const std::string out = serialized();
  EXPECT_NE(out.find(">&#x1B;[0m&#x1;</tSTRING>"), std::string::npos) << out;
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), "c:tSTRING=\x1B[0m\x01;");
}

std::vector<unsigned char> binaryOf(const ValueCodec* codec) {
  uint32_t size = 0;
  EXPECT_GE(codec->GetBinary(nullptr, 0, &size), 0);
  std::vector<unsigned char> bytes(size);
  if (size) {
    EXPECT_GE(codec->GetBinary(bytes.data(), size, &size), 0);
  }
  return bytes;
}

template <class T>
std::vector<unsigned char> bytesOf(T value) {
  std::vector<unsigned char> bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

struct Sample {
  TypeId type;
  std::vector<unsigned char> written;
  std::vector<unsigned char> readBack;  // what the reloaded value holds
};

std::vector<Sample> everyWritableType() {
  std::vector<Sample> samples = {
      {TROVE_TVOID, {}, {}},
      {TROVE_TBYTE, bytesOf<uint8_t>(0xAB), {}},
      {TROVE_TWORD, bytesOf<uint16_t>(0xBEEF), {}},
      {TROVE_TDWORD, bytesOf<uint32_t>(4294967295u), {}},
      {TROVE_TQWORD, bytesOf<uint64_t>(1234567890123456789ull), {}},
      {TROVE_TBOOL, bytesOf<uint32_t>(1), {}},
      {TROVE_TCHAR, bytesOf<char>('Q'), {}},
      {TROVE_TSTRING, {'<', '&', '>', ' ', '"', 'q', '"', '\t', 0}, {}},
      {TROVE_TERROR, bytesOf<int32_t>(static_cast<int32_t>(0x80000046u)), {}},
      {TROVE_TPTR, {0xDE, 0xAD, 0x00}, {}},
      {TROVE_TINT, bytesOf<int32_t>(-5), {}},
      {TROVE_TUINT, bytesOf<uint32_t>(7), {}},
      {TROVE_TSBYTE, bytesOf<int8_t>(-100), {}},
      {TROVE_TSHORT, bytesOf<int16_t>(-32000), {}},
      {TROVE_TLONG, bytesOf<int32_t>(123456), {}},
      {TROVE_TLONGLONG, bytesOf<int64_t>(-1234567890123ll), {}},
      {TROVE_TDATA, bytesOf<uint64_t>(132000000000000000ull), {}},
      {TROVE_TDATETIME, bytesOf<uint64_t>(132000000000000001ull), {}},
      // A function pointer has no text: it comes back as 0.
      {TROVE_TFUNC_PTR, bytesOf<uint64_t>(0x1234), bytesOf<uint64_t>(0)},
      {TROVE_TDOUBLE, bytesOf<double>(2.5), {}},
      {TROVE_TBINARY, {0x00, 0xFF, 0x10}, {}},
      {TROVE_TTYPE_ID, bytesOf<uint32_t>(54), {}},
  };
  for (TypeId type = TROVE_TIID; type <= TROVE_TLCID; ++type) {
    samples.push_back({type, bytesOf<uint32_t>(type * 1000 + 1), {}});
  }
  for (Sample& sample : samples) {
    if (sample.type != TROVE_TFUNC_PTR) sample.readBack = sample.written;
  }
  return samples;
}

TEST_F(StoreWriter, RoundTripsEverySupportedType) {
  const std::vector<Sample> samples = everyWritableType();
  ASSERT_EQ(samples.size(), 31u);  // every codec but tWCHAR and tWSTRING
  XmlNode* key = root()->createPath("types", false);
  ASSERT_NE(key, nullptr);
  for (const Sample& sample : samples) {
    std::string name = std::string("v") + typeNameTable[sample.type];
    ASSERT_EQ(key->appendValueFromBinary(name.c_str(), sample.type, sample.written.data(),
                                         static_cast<uint32_t>(sample.written.size())),
              errOk)
        << name;
  }
  const std::string out = serialized();
  EXPECT_TRUE(xmllintAccepts(out));
  EXPECT_NE(out.find("        <tVOID name=\"vtVOID\"></tVOID>\r\n"), std::string::npos);
  EXPECT_NE(out.find("        <tBINARY name=\"vtBINARY\">00FF10</tBINARY>\r\n"), std::string::npos);
  EXPECT_NE(out.find("        <tDOUBLE name=\"vtDOUBLE\">2.500000</tDOUBLE>\r\n"),
            std::string::npos);

  ASSERT_EQ(parse(out), errOk);
  const XmlNode* reloaded = root()->childAt(0);
  ASSERT_NE(reloaded, nullptr);
  ASSERT_EQ(reloaded->valueCount(), samples.size());
  for (uint32_t i = 0; i < samples.size(); ++i) {
    const ValueCodec* codec = reloaded->valueAt(i);
    EXPECT_EQ(std::string(reloaded->valueNameAt(i)),
              std::string("v") + typeNameTable[samples[i].type]);
    EXPECT_EQ(codec->GetType(), samples[i].type) << reloaded->valueNameAt(i);
    EXPECT_EQ(binaryOf(codec), samples[i].readBack) << reloaded->valueNameAt(i);
  }
  // And written again, the text is the same.
  EXPECT_EQ(serialized(), out);
}

TEST_F(StoreWriter, WritesWideStringsAsStrings) {
  const char16_t wide[] = u"h\u00e9\u20ac";
  ASSERT_EQ(root()->appendValueFromBinary("w", TROVE_TWSTRING, wide, sizeof wide), errOk);
  const std::string out = serialized();
  EXPECT_EQ(out,
            "<propertiesmap>\r\n"
            "    <tSTRING name=\"w\">h\xC3\xA9\xE2\x82\xAC</tSTRING>\r\n"
            "</propertiesmap>\r\n");
  EXPECT_TRUE(xmllintAccepts(out));
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), "w:tSTRING=h\xC3\xA9\xE2\x82\xAC;");
}

TEST_F(StoreWriter, FailsOnAValueWithoutText) {
  ASSERT_NE(root()->createPath("before", false), nullptr);
  const uint16_t character = 0x41;
  XmlNode* key = root()->createPath("k", false);
  ASSERT_EQ(key->appendValueFromBinary("w", TROVE_TWCHAR, &character, sizeof character), errOk);
  ASSERT_EQ(key->appendValueFromText("after", TROVE_TDWORD, "1"), errOk);
  std::string out;
  EXPECT_EQ(document().serialize(out), errUnspecified);
  // Writing stopped at the value: nothing of it or behind it was written.
  EXPECT_NE(out.find("<key name=\"before\">"), std::string::npos);
  EXPECT_EQ(out.find("tWCHAR"), std::string::npos);
  EXPECT_EQ(out.find("after"), std::string::npos);
  EXPECT_EQ(out.find("</propertiesmap>"), std::string::npos);
}

TEST_F(StoreWriter, WritesDeepTreesThatReadBackTheSame) {
  // Indentation grows with depth, so the text does quadratically: a few
  // thousand levels are enough to show that neither side recurses.
  constexpr int kDeep = 3000;
  XmlNode* node = root();
  for (int i = 0; i < kDeep; ++i) node = node->createPath("k", false);
  ASSERT_NE(node, nullptr);
  ASSERT_EQ(node->appendValueFromText("v", TROVE_TDWORD, "1"), errOk);
  const std::string out = serialized();
  const std::string before = tree();
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(tree(), before);
  EXPECT_EQ(serialized(), out);
}

}  // namespace
}  // namespace trove
