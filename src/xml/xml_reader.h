// The store reader: a small hand-made XML reader that works on the file's
// bytes in place, in one forward pass, and the two content loaders that turn
// what it reads into keys and values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trove {

struct XmlNode;

// The kind of item at the reader's cursor.
enum itemKind : int {
  itemEnd = 1,         // cursor at or past the end
  itemText = 2,        // any byte other than '<'
  itemStartTag = 3,    // '<' and a byte that may start an element name
  itemEndTag = 4,      // "</"
  itemComment = 5,     // "<!--"
  itemCData = 6,       // "<![CDATA["
  itemProcessing = 7,  // "<?"
  itemUnknown = 8,     // any other '<', and a '<' that is the last byte
};

// A start tag as read. `end` is just behind the closing '>'; a tag whose end
// is not behind its start is empty (no tag was read).
struct XmlTag {
  const char* start = nullptr;
  const char* end = nullptr;
  const char* name = nullptr;
  uint32_t nameLength = 0;

  bool empty() const { return end <= start; }
  bool selfClosing() const { return !empty() && end[-2] == '/'; }
  std::string_view nameView() const { return {name, nameLength}; }
};

// One attribute, both parts after entity decoding.
struct XmlAttribute {
  std::string name;
  std::string value;
};

// A cursor over [data, data + size). Every reading operation advances it.
// Negative answers mean malformed text; they never leave the reader's callers
// other than as errXmlFormat.
class XmlReader {
 public:
  // Flags of readStartTag.
  static constexpr unsigned requireTag = 1;   // no start tag here is an error
  static constexpr unsigned skipElement = 2;  // also skip content and end tag
  static constexpr unsigned reportText = 16;  // answer 2 or 6 for text or CDATA

  // The one negative answer of the reading operations.
  static constexpr int malformed = -1;

  XmlReader(const char* data, uint32_t size) : cursor_(data), end_(data + size) {}

  const char* cursor() const { return cursor_; }
  const char* end() const { return end_; }

  itemKind classifyItem() const;
  // 0: a start tag was read; 1: no start tag here; 2 or 6 with reportText.
  int readStartTag(XmlTag& tag, unsigned flags);
  // Fills `list` with the tag's attributes in document order.
  int parseAttributes(const XmlTag& tag, std::vector<XmlAttribute>& list) const;
  // Gathers character data and CDATA up to the next tag. Answers whether any
  // byte besides whitespace was seen. Throws std::bad_alloc.
  bool readText(std::string& text);
  // Reads a comment, CDATA section or processing instruction.
  int readSpecial(itemKind kind, std::string_view* content);
  int skipContent(const XmlTag& tag);
  int readEndTag(std::string_view* name);
  int finishElement(const XmlTag& tag);

 private:
  bool skipWhitespace();
  bool startsWith(std::string_view literal) const;
  bool readElementName();

  const char* cursor_;
  const char* end_;
};

// Appends `text` to `out` with the five named references and numeric
// character references replaced. A length of SIZE_MAX reads up to the NUL.
// Throws std::bad_alloc.
void decodeEntities(const char* text, size_t length, std::string& out);

// Loads the store dialect: "key" elements and values named by type.
int32_t readKeyContent(XmlNode* node, XmlReader& reader);
// Loads any other XML: elements become keys, attributes and text tSTRING values.
int32_t importContent(XmlNode* node, XmlReader& reader);

}  // namespace trove
