// The store reader: its reading operations on their own, then whole
// documents in both dialects, hostile input and truncated files.
#include "xml/xml_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "trove/result_codes.h"
#include "xml_fixture.h"

namespace trove {
namespace {

using testing::DocumentFixture;

std::string decode(std::string_view text) {
  std::string out;
  decodeEntities(text.data(), text.size(), out);
  return out;
}

TEST(DecodeEntities, NamedReferences) {
  EXPECT_EQ(decode("a &lt;&#x41;&#66;&unknown; b"), "a <AB&unknown; b");
  EXPECT_EQ(decode("&lt;&gt;&amp;&apos;&quot;"), "<>&'\"");
  EXPECT_EQ(decode("&LT;&Amp;&QUOT;"), "&LT;&Amp;&QUOT;");  // case matters
  EXPECT_EQ(decode("&quott;&l;&;"), "&quott;&l;&;");        // too long, too short
  EXPECT_EQ(decode("a & b"), "a & b");                      // no ';' at all
  EXPECT_EQ(decode("tail&amp"), "tail&amp");
  // A reference body runs from '&' to the next ';', whatever lies between.
  EXPECT_EQ(decode("x & y; &lt;"), "x & y; <");
  EXPECT_EQ(decode("&amp &lt;"), "&amp &lt;");

  std::string out = "kept:";
  decodeEntities("&amp;&amp;", SIZE_MAX, out);  // up to the NUL, appended
  EXPECT_EQ(out, "kept:&&");
  out.clear();
  decodeEntities("&amp;xyz", 4, out);  // the ';' lies beyond the length
  EXPECT_EQ(out, "&amp");
}

TEST(DecodeEntities, CharacterReferencesOfEveryLength) {
  EXPECT_EQ(decode("&#65;&#x41;&#x6a;&#x6A;&#9;&#1;"), "AAjj\t\x01");
  EXPECT_EQ(decode("&#x7F;"), "\x7F");
  EXPECT_EQ(decode("&#x80;"), "\xC2\x80");
  EXPECT_EQ(decode("&#xE9;&#233;"), "\xC3\xA9\xC3\xA9");
  EXPECT_EQ(decode("&#x7FF;"), "\xDF\xBF");
  EXPECT_EQ(decode("&#x800;"), "\xE0\xA0\x80");
  EXPECT_EQ(decode("&#x20AC;"), "\xE2\x82\xAC");
  EXPECT_EQ(decode("&#xD800;"), "\xED\xA0\x80");  // no surrogate check
  EXPECT_EQ(decode("&#xFFFF;"), "\xEF\xBF\xBF");
  // Beyond 16 bits the reference disappears.
  EXPECT_EQ(decode("a&#x10000;b&#x1F600;c&#1114111;d"), "abcd");
  // Left as they stand.
  EXPECT_EQ(decode("&#0;&#x0;&#x;&#;&#X41;&#1a;&#x4g;&#-1;&# 65;"),
            "&#0;&#x0;&#x;&#;&#X41;&#1a;&#x4g;&#-1;&# 65;");
  // The value is an unsigned 32-bit number that wraps.
  EXPECT_EQ(decode("&#4294967361;"), "A");  // 2^32 + 65
  EXPECT_EQ(decode("&#x100000041;"), "A");
  EXPECT_EQ(decode("&#4294967296;"), "&#4294967296;");  // wraps to 0
}

Item kindOf(std::string_view text) {
  XmlReader reader(text.data(), static_cast<uint32_t>(text.size()));
  return reader.classifyItem();
}

TEST(XmlReaderItems, ClassifiesWhatStandsAtTheCursor) {
  EXPECT_EQ(kindOf(""), Item::End);
  EXPECT_EQ(kindOf("x<a>"), Item::Text);
  EXPECT_EQ(kindOf(" <a>"), Item::Text);
  EXPECT_EQ(kindOf("<a"), Item::StartTag);
  EXPECT_EQ(kindOf("<:"), Item::StartTag);
  EXPECT_EQ(kindOf("<_"), Item::StartTag);
  EXPECT_EQ(kindOf("<\xC0"), Item::StartTag);
  EXPECT_EQ(kindOf("<\xFF"), Item::StartTag);
  EXPECT_EQ(kindOf("<\xD7"), Item::Unknown);
  EXPECT_EQ(kindOf("<\xF7"), Item::Unknown);
  EXPECT_EQ(kindOf("<\xB7"), Item::Unknown);
  EXPECT_EQ(kindOf("<1"), Item::Unknown);
  EXPECT_EQ(kindOf("< a"), Item::Unknown);
  EXPECT_EQ(kindOf("</"), Item::EndTag);
  EXPECT_EQ(kindOf("<!--"), Item::Comment);
  EXPECT_EQ(kindOf("<!-"), Item::Unknown);
  EXPECT_EQ(kindOf("<![CDATA["), Item::CData);
  EXPECT_EQ(kindOf("<![CDATA"), Item::Unknown);
  EXPECT_EQ(kindOf("<?"), Item::Processing);
  EXPECT_EQ(kindOf("<"), Item::Unknown);
  EXPECT_EQ(kindOf("<!DOCTYPE x>"), Item::Unknown);
}

TEST(XmlReaderItems, ReadsCommentsCDataAndProcessingInstructions) {
  std::string_view text = "  <!-- a -- b -->rest";
  XmlReader comment(text.data(), static_cast<uint32_t>(text.size()));
  std::string_view content;
  ASSERT_EQ(comment.readSpecial(Item::Comment, &content), Scan::Ok);
  EXPECT_EQ(content, " a ");  // a comment ends at its first "--"
  EXPECT_EQ(std::string_view(comment.cursor(), 4), "rest");

  text = "<?xml version='1.0'?>x";
  XmlReader pi(text.data(), static_cast<uint32_t>(text.size()));
  ASSERT_EQ(pi.readSpecial(Item::Processing, &content), Scan::Ok);
  EXPECT_EQ(content, "xml version='1.0'");
  EXPECT_EQ(*pi.cursor(), 'x');

  text = "<![CDATA[a]]b<&>]]>z";
  XmlReader cdata(text.data(), static_cast<uint32_t>(text.size()));
  ASSERT_EQ(cdata.readSpecial(Item::CData, &content), Scan::Ok);
  EXPECT_EQ(content, "a]]b<&>");
  EXPECT_EQ(*cdata.cursor(), 'z');

  for (std::string_view open :
       {"<!-- never closed", "<!-- dashes -- but no end", "<?pi", "<![CDATA[x]]", "<![CDATA[x]>"}) {
    XmlReader reader(open.data(), static_cast<uint32_t>(open.size()));
    Item kind = reader.classifyItem();
    EXPECT_EQ(reader.readSpecial(kind, nullptr), Scan::Malformed) << open;
    EXPECT_EQ(reader.cursor(), reader.end()) << open;
  }
  text = "<?x?>";
  XmlReader wrongKind(text.data(), static_cast<uint32_t>(text.size()));
  EXPECT_EQ(wrongKind.readSpecial(Item::Comment, nullptr), Scan::Malformed);
}

struct ReadTag {
  TagRead answer;
  XmlTag tag;
  std::string rest;  // what follows the cursor afterwards
};

ReadTag readTag(std::string_view text, unsigned flags) {
  XmlReader reader(text.data(), static_cast<uint32_t>(text.size()));
  ReadTag read;
  read.answer = reader.readStartTag(read.tag, flags);
  read.rest.assign(reader.cursor(), reader.end());
  return read;
}

TEST(XmlReaderTags, ReadsStartTagsBehindCommentsAndDeclarations) {
  ReadTag read = readTag("  <!-- c --> <?p?>\r\n<key name='x'>rest", 0);
  ASSERT_EQ(read.answer, TagRead::Tag);
  EXPECT_EQ(read.tag.nameView(), "key");
  EXPECT_FALSE(read.tag.selfClosing());
  EXPECT_EQ(read.rest, "rest");

  EXPECT_TRUE(readTag("<a/>", 0).tag.selfClosing());
  EXPECT_TRUE(readTag("<a b='1' />", 0).tag.selfClosing());
  EXPECT_FALSE(readTag("<a/ >", 0).tag.selfClosing());
  EXPECT_EQ(readTag("<a.b-c:d\xB7\xC0\xFF x>", 0).tag.nameView(), "a.b-c:d\xB7\xC0\xFF");

  // Quotes are not respected: the first '>' ends the tag.
  read = readTag("<key name='a>b'>", 0);
  ASSERT_EQ(read.answer, TagRead::Tag);
  EXPECT_EQ(read.rest, "b'>");
}

TEST(XmlReaderTags, AnswersWhatComesInsteadOfATag) {
  EXPECT_EQ(readTag("text", 0).answer, TagRead::NoTag);
  EXPECT_EQ(readTag("text", XmlReader::reportText).answer, TagRead::Text);
  EXPECT_EQ(readTag("text", XmlReader::requireTag).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<![CDATA[x]]>", 0).answer, TagRead::NoTag);
  EXPECT_EQ(readTag("<![CDATA[x]]>", XmlReader::reportText).answer, TagRead::CData);
  EXPECT_EQ(readTag("</a>", XmlReader::reportText).answer, TagRead::NoTag);
  EXPECT_EQ(readTag("</a>", XmlReader::requireTag).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("", 0).answer, TagRead::NoTag);
  EXPECT_EQ(readTag("  <!-- unterminated", 0).answer, TagRead::NoTag);
  EXPECT_TRUE(readTag("</a>", 0).tag.empty());

  EXPECT_EQ(readTag("<a", 0).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<a b='c'", 0).answer, TagRead::Malformed);
  ReadTag bad = readTag("<\xC0>", 0);
  EXPECT_EQ(bad.answer, TagRead::Malformed);
  EXPECT_EQ(bad.rest, "\xC0>");  // the cursor moved past '<'
}

TEST(XmlReaderTags, SkipsWholeElements) {
  ReadTag read =
      readTag("<a><b>x</b><!-- c --><c/><![CDATA[</a>]]></a>tail", XmlReader::skipElement);
  EXPECT_EQ(read.answer, TagRead::Tag);
  EXPECT_EQ(read.rest, "tail");

  EXPECT_EQ(readTag("<a><b></b>", XmlReader::skipElement).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<a><b></b></c>", XmlReader::skipElement).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<a><!-- open </a>", XmlReader::skipElement).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<a><!x></a>", XmlReader::skipElement).answer, TagRead::Malformed);
  EXPECT_EQ(readTag("<a/>tail", XmlReader::skipElement).rest, "tail");

  // A fault inside a nested skipped element goes unreported; skipping
  // resumes where the nested read stopped.
  read = readTag("<a><b></c>x</a>tail", XmlReader::skipElement);
  EXPECT_EQ(read.answer, TagRead::Tag);
  EXPECT_EQ(read.rest, "tail");
}

int attributesOf(std::string_view text, std::vector<XmlAttribute>& list) {
  XmlReader reader(text.data(), static_cast<uint32_t>(text.size()));
  XmlTag tag;
  if (reader.readStartTag(tag, 0) != TagRead::Tag) return 99;
  list.push_back({"stale", "entry"});
  return reader.parseAttributes(tag, list) == Scan::Ok ? 0 : -1;
}

TEST(XmlReaderAttributes, CollectsAttributesInOrder) {
  std::vector<XmlAttribute> list;
  ASSERT_EQ(attributesOf("<k a='1' b=\"2\" a='3'>", list), 0);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0].name, "a");
  EXPECT_EQ(list[0].value, "1");
  EXPECT_EQ(list[1].name, "b");
  EXPECT_EQ(list[1].value, "2");
  EXPECT_EQ(list[2].value, "3");

  ASSERT_EQ(attributesOf("<k\r\n\ta = '1'\tb.c-d:e_f='x\"<y'>", list), 0);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[1].name, "b.c-d:e_f");
  EXPECT_EQ(list[1].value, "x\"<y");

  ASSERT_EQ(attributesOf("<k a='&lt;&amp;&#x41;' e=''>", list), 0);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].value, "<&A");
  EXPECT_EQ(list[1].value, "");

  EXPECT_EQ(attributesOf("<k>", list), 0);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(attributesOf("<k >", list), 0);
  EXPECT_TRUE(list.empty());
  ASSERT_EQ(attributesOf("<k a='1' / junk>", list), 0);  // nothing behind '/' counts
  EXPECT_EQ(list.size(), 1u);
  ASSERT_EQ(attributesOf("<k a='1'?>", list), 0);
  EXPECT_EQ(list.size(), 1u);
}

TEST(XmlReaderAttributes, RefusesMalformedAttributeLists) {
  std::vector<XmlAttribute> list;
  for (std::string_view bad :
       {"<k a='1'b='2'>",  // no whitespace between attributes
        "<kname='x'>",     // nor between name and attribute
        "<k a>", "<k a b='1'>", "<k a=1>", "<k a='1>", "<k a=\"1'>", "<k 1='x'>", "<k -a='x'>",
        "<k ='x'>", "<k a='1' =>", "<k a='1' &>"}) {
    EXPECT_LT(attributesOf(bad, list), 0) << bad;
  }
}

int endTagOf(std::string_view text, std::string_view* name) {
  XmlReader reader(text.data(), static_cast<uint32_t>(text.size()));
  return reader.readEndTag(name) == Scan::Ok ? 0 : -1;
}

TEST(XmlReaderTags, ReadsEndTags) {
  std::string_view name;
  ASSERT_EQ(endTagOf("  </a.b \r\n>", &name), 0);
  EXPECT_EQ(name, "a.b");
  for (std::string_view bad : {"</ a>", "</a", "</a x>", "< /a>", "<a>", "</>", ""}) {
    EXPECT_LT(endTagOf(bad, &name), 0) << bad;
  }
}

class StoreParse : public DocumentFixture {};

TEST_F(StoreParse, AcceptsTheRootWithItsPrologue) {
  EXPECT_EQ(parse("<propertiesmap></propertiesmap>"), errOk);
  EXPECT_EQ(tree(), "");
  EXPECT_EQ(parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- saved -->\r\n"
                  "<propertiesmap>\r\n<key name='a'/>\r\n</propertiesmap>\r\n"),
            errOk);
  EXPECT_EQ(tree(), "a{}");
  // The root's attributes are never looked at, not even for their syntax.
  EXPECT_EQ(parse("<propertiesmap version='2'x><key name='a'/></propertiesmap >"), errOk);
  EXPECT_EQ(tree(), "a{}");
  // Bytes after the root's end tag are not examined.
  EXPECT_EQ(parse("<propertiesmap><key name='a'/></propertiesmap><<garbage & <unclosed"), errOk);
  EXPECT_EQ(tree(), "a{}");
}

TEST_F(StoreParse, RefusesDocumentsWithoutAUsableRoot) {
  EXPECT_EQ(parse("<propertiesmap/>"), errInvalidArgument);
  EXPECT_EQ(parse(""), errInvalidArgument);
  EXPECT_EQ(parse(" \r\n\t"), errInvalidArgument);
  EXPECT_EQ(parse("junk<propertiesmap></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<!DOCTYPE p><propertiesmap></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<![CDATA[x]]><propertiesmap></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("</propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<!-- never closed <propertiesmap></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap>"), errXmlFormat);
  EXPECT_EQ(parse("<\xC0></\xC0>"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap></propertiesmapx>"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap></PropertiesMap>"), errXmlFormat);

  XmlDocument unattached;
  EXPECT_EQ(unattached.parse("<propertiesmap></propertiesmap>", 31), errWrongState);
}

TEST_F(StoreParse, BuildsKeysFromPathsAndMergesEqualNames) {
  EXPECT_EQ(parse("<propertiesmap><key name='a/b'/><key name='A'><key name='c'/></key>"
                  "<key name='a'/><key name='x\\y'/></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "a{b{}c{}}x{y{}}");
  // The empty name stands for the key itself.
  EXPECT_EQ(parse("<propertiesmap><key name=''><tDWORD name='v'>1</tDWORD></key>"
                  "</propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "v:tDWORD=1;");
  // The first "name" attribute counts; references are decoded.
  EXPECT_EQ(parse("<propertiesmap><key id='9' name=\"a&amp;b\" name='z'/></propertiesmap>"), errOk);
  EXPECT_EQ(tree(), "a&b{}");
}

TEST_F(StoreParse, ReadsTypedValues) {
  EXPECT_EQ(parse("<propertiesmap><key name='k'><tDWORD name='x'>5</tDWORD>"
                  "<tSTRING name='s'>  a b \r\n</tSTRING><tDWORD name='x'>6</tDWORD>"
                  "</key></propertiesmap>"),
            errOk);
  // Texts are kept exactly; a repeated name adds a second value.
  EXPECT_EQ(tree(), "k{x:tDWORD=5;s:tSTRING=  a b \r\n;x:tDWORD=6;}");

  EXPECT_EQ(parse("<propertiesmap><tSTRING name='s'>a &lt;&#x41;&#66;&unknown; b</tSTRING>"
                  "<tSTRING name='e'>[&#x1F600;]</tSTRING>"
                  "<tSTRING name='c'><![CDATA[x&amp;]]></tSTRING>"
                  "<tSTRING name='j'>a<!-- c -->b<?p?>c<![CDATA[<d>]]>e</tSTRING>"
                  "</propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(),
            "s:tSTRING=a <AB&unknown; b;e:tSTRING=[];c:tSTRING=x&amp;;"
            "j:tSTRING=abc<d>e;");

  // Elements inside a value are skipped; wide strings come as UTF-16 bytes.
  EXPECT_EQ(parse("<propertiesmap><tDWORD name='x'>5<b>9</b>more</tDWORD>"
                  "<tWSTRING name='w'>41004200</tWSTRING></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "x:tDWORD=5;w:tWSTRING=AB;");
}

TEST_F(StoreParse, RefusesBadValueElements) {
  EXPECT_EQ(parse("<propertiesmap><tDWORD name='x'/></propertiesmap>"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap><tFOO name='x'>1</tFOO></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><tdword name='x'>1</tdword></propertiesmap>"),
            errInvalidArgument);
  // An unknown element is refused before its attributes are read.
  EXPECT_EQ(parse("<propertiesmap><tFOO a='1'b='2'>1</tFOO></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><key nome='a'/></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><key Name='a'/></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><tDWORD>5</tDWORD></propertiesmap>"), errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><tDWORD a='1'b='2'>5</tDWORD></propertiesmap>"), errXmlFormat);
  // A type without a codec, and codecs refusing their text.
  EXPECT_EQ(parse("<propertiesmap><tOBJECT name='o'>x</tOBJECT></propertiesmap>"), errOutOfMemory);
  EXPECT_EQ(parse("<propertiesmap><tDWORD name='x'>g</tDWORD></propertiesmap>"),
            errInvalidArgument);
  EXPECT_EQ(parse("<propertiesmap><tWCHAR name='w'>a</tWCHAR></propertiesmap>"), errUnspecified);
  // What was read before the failure stays.
  EXPECT_EQ(parse("<propertiesmap><key name='a'><tDWORD name='v'>1</tDWORD></key>"
                  "<tFOO name='x'>1</tFOO><key name='b'/></propertiesmap>"),
            errInvalidArgument);
  EXPECT_EQ(tree(), "a{v:tDWORD=1;}");
}

TEST_F(StoreParse, TextAmongKeysEndsTheirLoading) {
  EXPECT_EQ(parse("<propertiesmap>junk<key name='a'/></propertiesmap>"), errOk);
  EXPECT_EQ(tree(), "");
  EXPECT_EQ(parse("<propertiesmap><key name='a'>junk<key name='b'/></key><key name='c'/>"
                  "</propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "a{}c{}");
  // Whitespace between elements is no text.
  EXPECT_EQ(parse("<propertiesmap>\r\n\t <key name='a'/> \r\n</propertiesmap>"), errOk);
  EXPECT_EQ(tree(), "a{}");
  // The skipped part is still scanned for the root's end.
  EXPECT_EQ(parse("<propertiesmap>junk<key name='a'></propertiesmap>"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap>junk<key name='a'"), errXmlFormat);
  EXPECT_EQ(parse("<propertiesmap>junk<!-- open</propertiesmap>"), errXmlFormat);
}

TEST_F(StoreParse, RefusesMalformedMarkup) {
  const char* const malformed[] = {
      "<propertiesmap><key name='a>b'></key></propertiesmap>",
      "<propertiesmap><key a='1'name='x'></key></propertiesmap>",
      "<propertiesmap><key name='a'></kex></propertiesmap>",
      "<propertiesmap><key name='a'></key ></propertiesmapp>",
      "<propertiesmap><!-- never closed",
      "<propertiesmap><!-- never closed --</propertiesmap>",
      "<propertiesmap><?pi</propertiesmap>",
      "<propertiesmap><tSTRING name='s'>a<!-- x</tSTRING></propertiesmap>",
      "<propertiesmap><tSTRING name='s'><![CDATA[x</tSTRING></propertiesmap>",
      "<propertiesmap><!DOCTYPE x></propertiesmap>",
      "<propertiesmap><\xC0/></propertiesmap>",
      "<propertiesmap><key name='a'><\xD7/></key></propertiesmap>",
      "<propertiesmap><tDWORD name='x'>1</tDWORD",
      "<propertiesmap><tDWORD name='x'>1</tDWORD></propertiesmap",
      "<propertiesmap><key name='a'>",
  };
  for (const char* text : malformed) EXPECT_EQ(parse(text), errXmlFormat) << text;
}

TEST_F(StoreParse, ReportsAnExhaustedHostHeap) {
  const std::string_view texts[] = {"<propertiesmap><key name='a'/></propertiesmap>",
                                    "<propertiesmap><tDWORD name='x'>1</tDWORD></propertiesmap>",
                                    "<r><item/></r>"};
  for (std::string_view text : texts) {
    fresh();
    host::HostHeap::instance().failAllocationsAfter(0, object.holder());
    EXPECT_EQ(document().parse(text.data(), static_cast<uint32_t>(text.size())), errOutOfMemory)
        << text;
    host::HostHeap::instance().stopFailing();
  }
}

class ImportParse : public DocumentFixture {};

TEST_F(ImportParse, TurnsElementsIntoKeysAndStrings) {
  EXPECT_EQ(parse("<cfg a='1'><item>v</item></cfg>"), errOk);
  EXPECT_EQ(tree(), "cfg{a:tSTRING=1;item{noname:tSTRING=v;}}");
  EXPECT_EQ(parse("<x>t<y/></x>"), errOk);
  EXPECT_EQ(tree(), "x{noname:tSTRING=t;}");
  EXPECT_EQ(parse("<a></a><b></b>"), errOk);
  EXPECT_EQ(tree(), "a{}b{}");
  // Every element adds a key, even beside one of the same name.
  EXPECT_EQ(parse("<r>\r\n  <k/>\r\n  <k a='1' a='2'/><K/>  </r>"), errOk);
  EXPECT_EQ(tree(), "r{k{}k{a:tSTRING=1;a:tSTRING=2;}K{}}");
  EXPECT_EQ(parse("<r><k/>tail</r>"), errOk);
  EXPECT_EQ(tree(), "r{noname:tSTRING=tail;k{}}");
  EXPECT_EQ(parse("<r a='&lt;'><![CDATA[<raw>]]>&amp;</r>"), errOk);
  EXPECT_EQ(tree(), "r{a:tSTRING=<;noname:tSTRING=<raw>&;}");
  // The store root's name is matched case-sensitively.
  EXPECT_EQ(parse("<PropertiesMap><key name='a'/></PropertiesMap>"), errOk);
  EXPECT_EQ(tree(), "PropertiesMap{key{name:tSTRING=a;}}");
  EXPECT_EQ(parse("<?xml version='1.0'?><a\xB7\xC0/>"), errInvalidArgument);
  EXPECT_EQ(parse("<?xml version='1.0'?><a\xB7\xC0></a\xB7\xC0>"), errOk);
  EXPECT_EQ(tree(), "a\xB7\xC0{}");
}

TEST_F(ImportParse, RefusesMalformedMarkup) {
  EXPECT_EQ(parse("<a></b>"), errXmlFormat);
  EXPECT_EQ(parse("<a><b></a></b>"), errXmlFormat);
  EXPECT_EQ(parse("<a></a><b></c>"), errXmlFormat);
  EXPECT_EQ(parse("<a\xD7></a>"), errXmlFormat);
  EXPECT_EQ(parse("<a x='1'y='2'></a>"), errXmlFormat);
  EXPECT_EQ(parse("<a><b x='>'/></a>"), errXmlFormat);
  EXPECT_EQ(parse("<a>"), errXmlFormat);
}

std::string repeat(std::string_view piece, int count) {
  std::string out;
  out.reserve(piece.size() * static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) out += piece;
  return out;
}

std::string nestedKeys(int depth) {
  return "<propertiesmap>" + repeat("<key name='k'>", depth) + repeat("</key>", depth) +
         "</propertiesmap>";
}

class DeepNesting : public DocumentFixture {};

int chainDepth(const XmlNode* node) {
  int depth = 0;
  for (; node->childCount() == 1; node = node->childAt(0)) ++depth;
  return depth;
}

TEST_F(DeepNesting, LoadsAndSkipsAnyDepthWithoutExhaustingTheStack) {
  ASSERT_EQ(parse(nestedKeys(1000000)), errOk);
  EXPECT_EQ(chainDepth(root()), 1000000);

  constexpr int kDeep = 100000;
  const std::string open = repeat("<a>", kDeep);
  const std::string close = repeat("</a>", kDeep);
  EXPECT_EQ(parse("<x>" + open + close + "</x>"), errOk);
  EXPECT_EQ(chainDepth(root()), kDeep + 1);
  // Deep content in parts that are only skipped.
  EXPECT_EQ(parse("<propertiesmap>junk" + open + close + "<key name='late'/></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "") << "keys behind the text are skipped, not loaded";
  EXPECT_EQ(parse("<propertiesmap><tDWORD name='x'>1" + open + close + "</tDWORD></propertiesmap>"),
            errOk);
  EXPECT_EQ(tree(), "x:tDWORD=1;");

  // Unclosed at any depth is still refused.
  EXPECT_EQ(parse("<propertiesmap>" + repeat("<key name='k'>", kDeep)), errXmlFormat);
  EXPECT_EQ(parse(open), errXmlFormat);
  for (int closed : {kDeep - 1, kDeep - 7}) {
    EXPECT_EQ(parse("<propertiesmap>junk" + open + repeat("</a>", closed) + "</propertiesmap>"),
              errXmlFormat)
        << closed;
  }
}

// A store using most constructs the reader knows. Cut anywhere before its end
// it must be refused with a sound code, never read past its end, never crash.
constexpr std::string_view kSmallStore =
    "<?xml version=\"1.0\"?>\r\n<!-- c -->\r\n<propertiesmap>\r\n"
    "    <key name=\"a&amp;b\">\r\n"
    "        <key name=\"c\"/>\r\n"
    "        <tDWORD name=\"d\">42</tDWORD>\r\n"
    "        <tSTRING name='s'>x&lt;y<![CDATA[z]]><?p?></tSTRING>\r\n"
    "    </key>\r\n"
    "    <tBINARY name=\"b\">00FF</tBINARY>\r\n"
    "</propertiesmap>";

TEST_F(StoreParse, RefusesTheStoreCutAtEveryOffset) {
  ASSERT_EQ(parse(kSmallStore), errOk);
  EXPECT_EQ(tree(), "b:tBINARY=00FF;a&b{d:tDWORD=42;s:tSTRING=x<yz;c{}}");
  for (size_t size = 0; size < kSmallStore.size(); ++size) {
    int32_t result = parse(kSmallStore.substr(0, size));
    // A cut text value may also be refused by its codec ("00F").
    EXPECT_TRUE(result == errXmlFormat || result == errInvalidArgument)
        << "cut at " << size << ": 0x" << std::hex << result;
  }
}

constexpr std::string_view kSmallImport =
    "<?xml version=\"1.0\"?>\r\n<cfg version='1'>\r\n  <item id='a&amp;b'>v</item>\r\n"
    "  <!-- c --><list><x/><y>t<z/></y></list>\r\n</cfg>";

TEST_F(ImportParse, RefusesTheImportCutAtEveryOffset) {
  ASSERT_EQ(parse(kSmallImport), errOk);
  EXPECT_EQ(tree(),
            "cfg{version:tSTRING=1;item{id:tSTRING=a&b;noname:tSTRING=v;}list{x{}y{noname:"
            "tSTRING=t;}}}");
  for (size_t size = 0; size < kSmallImport.size(); ++size) {
    int32_t result = parse(kSmallImport.substr(0, size));
    EXPECT_TRUE(result == errXmlFormat || result == errInvalidArgument)
        << "cut at " << size << ": 0x" << std::hex << result;
  }
}

}  // namespace
}  // namespace trove
