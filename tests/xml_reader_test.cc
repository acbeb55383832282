// The store reader and writer: references and escaping, whole documents of
// both dialects (the store and a generic import), refusals, truncation at
// every offset, any depth, one exact layout and a round trip of every type.
#include "xml/xml_reader.h"

#include <gtest/gtest.h>

#include <string>

#include "codec_fixture.h"

namespace trove {
namespace {

using StoreParse = testing::HeapTest;
using testing::binaryOf;
using testing::le;

// A text starting with '~' stands inside a store's root element.
std::string inStore(std::string_view text) {
  if (text.empty() || text[0] != '~') return std::string(text);
  return "<propertiesmap>" + std::string(text.substr(1)) + "</propertiesmap>";
}

TEST(XmlReader, DecodesReferences) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"&lt;&gt;&amp;&apos;&quot;", "<>&'\""},
      {"&LT;&Amp;&quott;&l;&;a & b&amp", "&LT;&Amp;&quott;&l;&;a & b&amp"},  // case, length
      {"x & y; &lt;", "x & y; <"},  // a body runs from '&' to the next ';'
      {"&#65;&#x6a;&#x6A;&#9;&#1;&#x7F;", "Ajj\t\x01\x7F"},
      {"&#x80;&#233;&#x7FF;&#x800;&#x20AC;", "\xC2\x80\xC3\xA9\xDF\xBF\xE0\xA0\x80\xE2\x82\xAC"},
      {"&#xD800;&#xFFFF;", "\xED\xA0\x80\xEF\xBF\xBF"},  // no surrogate check
      {"a&#x10000;b&#1114111;c", "abc"},                 // beyond 16 bits: gone
      {"&#0;&#x;&#;&#X41;&#1a;&#x4g;&#-1;&# 65;", "&#0;&#x;&#;&#X41;&#1a;&#x4g;&#-1;&# 65;"},
      {"&#4294967361;&#x100000041;&#4294967296;", "AA&#4294967296;"},  // 32 bits, wrapping
      {std::string_view("&amp;xyz", 4), "&amp"}};  // the ';' lies beyond the length
  for (const auto& [text, decoded] : cases) {
    std::string out = "kept:";
    decodeEntities(text.data(), text.size(), out);
    EXPECT_EQ(out, "kept:" + decoded) << text;
  }
}

TEST_F(StoreParse, ReadsBothDialects) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"~", ""},
      {"<?xml version=\"1.0\"?>\r\n<!-- a -- b -->\r\n<propertiesmap>\r\n<key name='a'/>\r\n"
       "</propertiesmap>\r\n",
       "a{}"},
      // The root's attributes and what follows its end are never examined.
      {"<propertiesmap version='2'x><key name='a'/></propertiesmap ><<garbage & <unclosed", "a{}"},
      {"~<key name='a/b'/><key name='A'><key name='c'/></key><key name='a'/><key name='x\\y'/>",
       "a{b{}c{}}x{y{}}"},
      {"~<key name=''><tDWORD name='v'>1</tDWORD></key>", "v:tDWORD=1;"},
      {"~<key id='9' name=\"a&amp;b\" name='z'/>", "a&b{}"},
      {"~<key name='k'><tDWORD name='x'>5</tDWORD><tSTRING name='s'>  a b \r\n</tSTRING>"
       "<tDWORD name='x'>6</tDWORD></key>",
       "k{x:tDWORD=5;s:tSTRING=  a b \r\n;x:tDWORD=6;}"},
      {"~<tSTRING name='s'>a&lt;&#x41;&unknown;[&#x1F600;]</tSTRING><tSTRING name='c'><![CDATA["
       "x&amp;]]]]></tSTRING><tSTRING name='j'>a<!-- c -->b<?p?>c<![CDATA[<d>]]>e</tSTRING>",
       "s:tSTRING=a<A&unknown;[];c:tSTRING=x&amp;]];j:tSTRING=abc<d>e;"},
      // Elements inside a value are skipped, a fault inside them unreported.
      {"~<tDWORD name='x'>5<b>9</b><c><d></e>x</c>more</tDWORD><tWSTRING "
       "name='w'>41004200</tWSTRING>",
       "x:tDWORD=5;w:tWSTRING=AB;"},
      // Text among keys ends their loading; white space is no text.
      {"~\r\n\t <key name='a'>junk<key name='b'/></key><key name='c'/>", "a{}c{}"},
      // Anything else is a generic import: elements become keys, always new
      // ones, attributes and text become strings; elements behind text are dropped.
      {"<cfg a='&lt;'><item><![CDATA[v]]></item>t<![CDATA[<raw>]]>&amp;<item/></cfg><b/>",
       "cfg{a:tSTRING=<;noname:tSTRING=t<raw>&;item{noname:tSTRING=v;}}b{}"},
      {"<r>\r\n  <k a = '1' a='2'/><K/>  </r>", "r{k{a:tSTRING=1;a:tSTRING=2;}K{}}"},
      {"<PropertiesMap><key name='a'/></PropertiesMap>", "PropertiesMap{key{name:tSTRING=a;}}"},
      {"<?xml version='1.0'?><a.b-c:d\xB7\xC0 x='1'></a.b-c:d\xB7\xC0>",
       "a.b-c:d\xB7\xC0{x:tSTRING=1;}"}};
  for (const auto& [text, tree] : cases) {
    ASSERT_EQ(parse(inStore(text)), errOk) << text;
    EXPECT_EQ(this->tree(), tree) << text;
  }
}

TEST_F(StoreParse, RefusesWhatItCannotRead) {
  constexpr int32_t bad = errXmlFormat, arg = errInvalidArgument;
  // clang-format off
  const std::pair<std::string_view, int32_t> cases[] = {
      // No usable root.
      {"", arg}, {" \r\n\t", arg}, {"<propertiesmap/>", arg}, {"<", arg},
      {"junk<propertiesmap></propertiesmap>", arg}, {"</propertiesmap>", arg},
      {"<!DOCTYPE p><propertiesmap></propertiesmap>", arg},
      {"<![CDATA[x]]><propertiesmap></propertiesmap>", arg},
      {"<!-- never closed <propertiesmap></propertiesmap>", arg}, {"<a\xB7\xC0/>", arg},
      {"<propertiesmap", bad}, {"<propertiesmap>", bad}, {"<\xC0></\xC0>", bad},
      {"<propertiesmap></propertiesmapx>", bad}, {"<propertiesmap></PropertiesMap>", bad},
      // Value elements: unknown types (before their attributes are read),
      // no name, an empty element, codecs refusing their text.
      {"~<tdword name='x'>1</tdword>", arg}, {"~<tFOO a='1'b='2'>1</tFOO>", arg},
      {"~<key Name='a'/>", arg}, {"~<tDWORD>5</tDWORD>", arg}, {"~<tDWORD name='x'/>", bad},
      {"~<tOBJECT name='o'>x</tOBJECT>", errOutOfMemory}, {"~<tDWORD name='x'>g</tDWORD>", arg},
      {"~<tWCHAR name='w'>a</tWCHAR>", errUnspecified},
      // Markup: quotes do not protect '>', attributes need white space.
      {"~<key name='a>b'></key>", bad}, {"~<key a='1'name='x'></key>", bad},
      {"~<key name='a'></kex>", bad},
      {"<propertiesmap><key name='a'></key ></propertiesmapp>", bad},
      {"~<!-- never closed --", bad}, {"~<?pi", bad},
      {"~<tSTRING name='s'>a<!-- x</tSTRING>", bad},
      {"~<tSTRING name='s'><![CDATA[x]]</tSTRING>", bad}, {"~<!DOCTYPE x>", bad},
      {"~<key name='a'><\xD7/></key>", bad},
      {"<propertiesmap><tDWORD name='x'>1</tDWORD></propertiesmap", bad},
      // Skipped parts are still scanned for the root's end.
      {"~junk<key name='a'>", bad}, {"~junk<!-- open", bad}, {"<a><b></a></b>", bad},
      {"<a></a><b></c>", bad}, {"<a\xD7></a>", bad},
      {"<a><b x='>'/></a>", bad}, {"<a></ a>", bad}, {"<a></a x>", bad}};
  // clang-format on
  for (const auto& [text, code] : cases) EXPECT_EQ(parse(inStore(text)), code) << text;
  for (std::string_view attributes : {"a='1'b='2'", "a", "a b='1'", "a=1", "a='1", "a=\"1'",
                                      "1='x'", "-a='x'", "='x'", "a='1' =", "a='1' &"}) {
    EXPECT_EQ(parse("<k " + std::string(attributes) + "></k>"), bad) << attributes;
  }
  // What was read before a failure stays.
  EXPECT_EQ(parse("<propertiesmap><key name='a'><tDWORD name='v'>1</tDWORD></key>"
                  "<tFOO name='x'>1</tFOO><key name='b'/></propertiesmap>"),
            arg);
  EXPECT_EQ(tree(), "a{v:tDWORD=1;}");
  for (std::string_view text : {"<propertiesmap><key name='a'/></propertiesmap>", "<r><i/></r>"}) {
    fresh();
    failAfter(0);
    EXPECT_EQ(document().parse(text.data(), static_cast<uint32_t>(text.size())), errOutOfMemory);
    stopFailing();
  }
}

std::string repeat(std::string_view piece, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += piece;
  return out;
}

int chainDepth(const XmlNode* node) {
  int depth = 0;
  for (; node->childCount() == 1; node = node->childAt(0)) ++depth;
  return depth;
}

TEST_F(StoreParse, LoadsAndSkipsAnyDepthWithoutExhaustingTheStack) {
  constexpr int kDeep = 100000;
  ASSERT_EQ(parse("<propertiesmap>" + repeat("<key name='k'>", 10 * kDeep) +
                  repeat("</key>", 10 * kDeep) + "</propertiesmap>"),
            errOk);
  EXPECT_EQ(chainDepth(root()), 10 * kDeep);
  const std::string open = repeat("<a>", kDeep), close = repeat("</a>", kDeep);
  EXPECT_EQ(parse("<x>" + open + close + "</x>"), errOk);
  EXPECT_EQ(chainDepth(root()), kDeep + 1);
  EXPECT_EQ(parse("<propertiesmap>junk" + open + close + "<key name='late'/></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "");
  EXPECT_EQ(parse("<propertiesmap><tDWORD name='x'>1" + open + close + "</tDWORD></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "x:tDWORD=1;");
  EXPECT_EQ(parse("<propertiesmap>" + repeat("<key name='k'>", kDeep)), errXmlFormat);
  EXPECT_EQ(parse(open), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap>junk" + open + repeat("</a>", kDeep - 1) + "</propertiesmap>"),
            errXmlFormat);
}

// Most constructs the reader knows, in both dialects. Cut anywhere before
// its end a document is refused with a sound code, never read past its end.
TEST_F(StoreParse, RefusesADocumentCutAtEveryOffset) {
  const std::pair<std::string_view, std::string_view> documents[] = {
      {"<?xml version=\"1.0\"?>\r\n<!-- c -->\r\n<propertiesmap>\r\n    <key name=\"a&amp;b\">\r\n"
       "        <key name=\"c\"/>\r\n        <tDWORD name=\"d\">42</tDWORD>\r\n"
       "        <tSTRING name='s'>x&lt;y<![CDATA[z]]><?p?></tSTRING>\r\n    </key>\r\n"
       "    <tBINARY name=\"b\">00FF</tBINARY>\r\n</propertiesmap>",
       "b:tBINARY=00FF;a&b{d:tDWORD=42;s:tSTRING=x<yz;c{}}"},
      {"<?xml version=\"1.0\"?>\r\n<cfg version='1'>\r\n  <item id='a&amp;b'>v</item>\r\n"
       "  <!-- c --><list><x/><y>t<z/></y></list>\r\n</cfg>",
       "cfg{version:tSTRING=1;item{id:tSTRING=a&b;noname:tSTRING=v;}list{x{}y{noname:tSTRING=t;}}"
       "}"}};
  for (const auto& [text, tree] : documents) {
    ASSERT_EQ(parse(text), errOk);
    EXPECT_EQ(this->tree(), tree);
    for (size_t size = 0; size < text.size(); ++size) {
      const int32_t result = parse(text.substr(0, size));
      // A cut text value may also be refused by its codec ("00F").
      EXPECT_TRUE(result == errXmlFormat || result == errInvalidArgument) << size << ": " << result;
    }
  }
}

class StoreWriter : public testing::HeapTest {
 protected:
  std::string serialized() {
    std::string out;
    EXPECT_EQ(document().serialize(out), errOk);
    return out;
  }
};

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
  // clang-format off
  EXPECT_EQ(out, "before|<propertiesmap>\r\n    <key name=\"Settings\">\r\n"
                 "        <key name=\"Layout\">\r\n        </key>\r\n"
                 "        <tDWORD name=\"Width\">800</tDWORD>\r\n"
                 "        <tSTRING name=\"Title\">A &amp; &quot;B&quot;</tSTRING>\r\n    </key>\r\n"
                 "    <key name=\"settings\">\r\n    </key>\r\n"
                 "    <tDWORD name=\"Top\">1</tDWORD>\r\n</propertiesmap>\r\n");
  // clang-format on
}

TEST_F(StoreWriter, RoundTripsEveryTypeAndText) {
  // Markup, control bytes of one and two hexadecimal digits, kept bytes.
  const char* const odd = "a<b&\"c'>d\r\n\tend \x1B[0m\x10\x01\x7F\xC3\xA9";
  const std::string escaped =
      "a&lt;b&amp;&quot;c&apos;&gt;d\r\n&#x9;end &#x1B;[0m&#x10;&#x1;\x7F\xC3\xA9";
  const std::u16string wide = u"h\u00e9\u20ac";
  // clang-format off
  std::vector<std::pair<TypeId, std::string>> samples = {
      {TROVE_TVOID, ""}, {TROVE_TBYTE, le(0xAB, 1)}, {TROVE_TWORD, le(0xBEEF, 2)},
      {TROVE_TDWORD, le(4294967295, 4)}, {TROVE_TQWORD, le(1234567890123456789)},
      {TROVE_TBOOL, le(1, 4)}, {TROVE_TCHAR, "Q"}, {TROVE_TSTRING, std::string(odd) + '\0'},
      {TROVE_TWSTRING, std::string(reinterpret_cast<const char*>(wide.c_str()), 8)},
      {TROVE_TERROR, le(0x80000046, 4)}, {TROVE_TPTR, "\xDE\xAD"}, {TROVE_TINT, le(-5, 4)},
      {TROVE_TSBYTE, le(-100, 1)}, {TROVE_TSHORT, le(-3200, 2)}, {TROVE_TLONGLONG, le(-9876543210)},
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
  EXPECT_NE(out.find("<key name=\"" + escaped + "\">"), std::string::npos);
  EXPECT_NE(out.find(">" + escaped + "</tSTRING>"), std::string::npos);
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
  XmlNode* key = root()->createPath("k", false);
  ASSERT_EQ(key->appendValueFromBinary("w", TROVE_TWCHAR, "A", 2), errOk);
  std::string out;
  EXPECT_EQ(document().serialize(out), errUnspecified);
}

TEST_F(StoreWriter, WritesDeepTreesThatReadBackTheSame) {
  XmlNode* node = root();  // the text grows with the square of the depth
  for (int i = 0; i < 3000; ++i) node = node->createPath("k", false);
  const std::string out = serialized();
  ASSERT_EQ(parse(out), errOk);
  EXPECT_EQ(serialized(), out);
}

}  // namespace
}  // namespace trove
