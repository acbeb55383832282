// The store reader: a small hand-made XML scanner that works on the file's
// bytes in place, in one forward pass. store_loaders.h turns what it reads
// into keys and values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trove {

// The kind of item at the reader's cursor.
enum class Item : uint8_t {
  End,         // cursor at or past the end
  Text,        // any byte other than '<'
  StartTag,    // '<' and a byte that may start an element name
  EndTag,      // "</"
  Comment,     // "<!--"
  CData,       // "<![CDATA["
  Processing,  // "<?"
  Unknown,     // any other '<', and a '<' that is the last byte
};

// The outcome of a reading step. Malformed text never leaves the reader's
// callers other than as errXmlFormat.
enum class Scan : uint8_t { Ok, Malformed };

// What readStartTag found.
enum class TagRead : uint8_t {
  Tag,    // a start tag was read
  NoTag,  // something else comes next
  Text,   // with reportText: character data comes next
  CData,  // with reportText: a CDATA section comes next
  Malformed,
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
class XmlReader {
 public:
  // Flags of readStartTag.
  static constexpr unsigned requireTag = 1;   // no start tag here is an error
  static constexpr unsigned skipElement = 2;  // also skip content and end tag
  static constexpr unsigned reportText = 16;  // answer Text or CData for them

  XmlReader(const char* data, uint32_t size) : cursor_(data), end_(data + size) {}

  const char* cursor() const { return cursor_; }
  const char* end() const { return end_; }

  Item classifyItem() const;
  TagRead readStartTag(XmlTag& tag, unsigned flags);
  // Fills `list` with the tag's attributes in document order.
  Scan parseAttributes(const XmlTag& tag, std::vector<XmlAttribute>& list) const;
  // Gathers character data and CDATA up to the next tag. Answers whether any
  // byte besides whitespace was seen. Throws std::bad_alloc.
  bool readText(std::string& text);
  // Reads a comment, CDATA section or processing instruction.
  Scan readSpecial(Item kind, std::string_view* content);
  Scan skipContent(const XmlTag& tag);
  Scan readEndTag(std::string_view* name);
  Scan finishElement(const XmlTag& tag);

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

}  // namespace trove
