// Reading store text. The reader never copies the buffer and never reads
// past its end; names and texts are decoded into short-lived std::strings.
#include "xml/xml_reader.h"

#include <array>
#include <cstring>
#include <new>
#include <stdexcept>

#include "trove/abi.h"
#include "trove/result_codes.h"
#include "types/value_codec.h"
#include "xml/tree_memory.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

constexpr std::string_view kStoreRoot = "propertiesmap";
constexpr std::string_view kKeyElement = "key";
constexpr std::string_view kNameAttribute = "name";
constexpr const char* kUnnamedValue = "noname";

// Byte classes, looked up rather than compared: the reader asks for every byte.
enum ByteClass : uint8_t {
  kSpace = 1,          // white space between items
  kNameStart = 2,      // first byte of an element or attribute name
  kAttributeName = 4,  // later bytes of an attribute name
  kElementName = 8,    // later bytes of an element name
  kStartTagByte = 16,  // a byte after '<' that makes a start tag
};

constexpr std::array<uint8_t, 256> kByteClasses = [] {
  std::array<uint8_t, 256> classes{};
  for (unsigned c = 0; c < 256; ++c) {
    const bool space = c == 0x09 || c == 0x0A || c == 0x0D || c == 0x20;
    const bool nameStart = c == ':' || c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    // Bytes 0xC0-0xFF that are name characters when read as Latin-1 code points.
    const bool latinLetter = c >= 0xC0 && c != 0xD7 && c != 0xF7;
    const bool attributeName = nameStart || c == '-' || c == '.' || (c >= '0' && c <= '9');
    classes[c] = static_cast<uint8_t>((space ? kSpace : 0) | (nameStart ? kNameStart : 0) |
                                      (attributeName ? kAttributeName : 0) |
                                      (attributeName || c == 0xB7 || latinLetter ? kElementName : 0) |
                                      (nameStart || latinLetter ? kStartTagByte : 0));
  }
  return classes;
}();

bool is(unsigned char c, ByteClass byteClass) {
  return (kByteClasses[c] & byteClass) != 0;
}

bool isWhitespace(unsigned char c) {
  return is(c, kSpace);
}

bool isNameStart(unsigned char c) {
  return is(c, kNameStart);
}

bool isAttributeNameChar(unsigned char c) {
  return is(c, kAttributeName);
}

bool isElementNameChar(unsigned char c) {
  return is(c, kElementName);
}

bool isStartTagByte(unsigned char c) {
  return is(c, kStartTagByte);
}

const char* findByte(const char* from, const char* end, char byte) {
  if (from >= end) return nullptr;
  return static_cast<const char*>(std::memchr(from, byte, static_cast<size_t>(end - from)));
}

// Position of `literal` in [from, end), or null.
const char* findLiteral(const char* from, const char* end, std::string_view literal) {
  if (from >= end) return nullptr;
  std::string_view haystack(from, static_cast<size_t>(end - from));
  size_t at = haystack.find(literal);
  return at == std::string_view::npos ? nullptr : from + at;
}

void appendUtf8(uint32_t value, std::string& out) {
  if (value < 0x80) {
    out.push_back(static_cast<char>(value));
  } else if (value < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (value >> 6)));
    out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
  } else if (value < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (value >> 12)));
    out.push_back(static_cast<char>(0x80 | ((value >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
  }
  // Values beyond the 16-bit range have no encoding here: the reference
  // simply disappears.
}

int digitValue(char c, uint32_t base) {
  if (c >= '0' && c <= '9') return c - '0';
  if (base == 16 && c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (base == 16 && c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Replaces one reference body (the text between '&' and ';'). False leaves
// the reference in the text as it stands.
bool appendReference(std::string_view body, std::string& out) {
  if (body.size() < 2) return false;
  if (body[0] == '#') {
    uint32_t base = 10;
    size_t i = 1;
    if (body[1] == 'x') {
      base = 16;
      i = 2;
    }
    uint32_t value = 0;  // wraps on overflow, like the unsigned 32-bit it is
    for (; i < body.size(); ++i) {
      int digit = digitValue(body[i], base);
      if (digit < 0) return false;
      value = value * base + static_cast<uint32_t>(digit);
    }
    if (value == 0) return false;
    appendUtf8(value, out);
    return true;
  }
  if (body.size() > 4) return false;
  if (body == "lt") {
    out.push_back('<');
  } else if (body == "gt") {
    out.push_back('>');
  } else if (body == "amp") {
    out.push_back('&');
  } else if (body == "apos") {
    out.push_back('\'');
  } else if (body == "quot") {
    out.push_back('"');
  } else {
    return false;
  }
  return true;
}

const XmlAttribute* findNameAttribute(const std::vector<XmlAttribute>& list) {
  for (const XmlAttribute& attribute : list) {
    if (attribute.name == kNameAttribute) return &attribute;
  }
  return nullptr;
}

}  // namespace

bool XmlReader::skipWhitespace() {
  const char* from = cursor_;
  while (cursor_ < end_ && isWhitespace(static_cast<unsigned char>(*cursor_))) ++cursor_;
  return cursor_ != from;
}

bool XmlReader::startsWith(std::string_view literal) const {
  return cursor_ < end_ && static_cast<size_t>(end_ - cursor_) >= literal.size() &&
         std::memcmp(cursor_, literal.data(), literal.size()) == 0;
}

bool XmlReader::readElementName() {
  if (cursor_ >= end_ || !isNameStart(static_cast<unsigned char>(*cursor_))) return false;
  ++cursor_;
  while (cursor_ < end_ && isElementNameChar(static_cast<unsigned char>(*cursor_))) ++cursor_;
  return true;
}

itemKind XmlReader::classifyItem() const {
  if (cursor_ >= end_) return itemEnd;
  if (*cursor_ != '<') return itemText;
  if (end_ - cursor_ < 2) return itemUnknown;
  unsigned char next = static_cast<unsigned char>(cursor_[1]);
  if (next == '/') return itemEndTag;
  if (isStartTagByte(next)) return itemStartTag;
  if (startsWith("<!--")) return itemComment;
  if (startsWith("<![CDATA[")) return itemCData;
  if (startsWith("<?")) return itemProcessing;
  return itemUnknown;
}

int XmlReader::readSpecial(itemKind kind, std::string_view* content) {
  skipWhitespace();
  std::string_view opener;
  std::string_view closer;
  switch (kind) {
    case itemComment:
      opener = "<!--";
      closer = "--";
      break;
    case itemCData:
      opener = "<![CDATA[";
      closer = "]]>";
      break;
    case itemProcessing:
      opener = "<?";
      closer = "?>";
      break;
    default:
      return malformed;
  }
  if (!startsWith(opener)) return malformed;
  const char* body = cursor_ + opener.size();
  const char* close = findLiteral(body, end_, closer);
  const char* behind = close ? close + closer.size() : nullptr;
  if (close && kind == itemComment) {
    // A comment ends at the first '>' after its first "--".
    const char* gt = findByte(behind, end_, '>');
    behind = gt ? gt + 1 : nullptr;
  }
  if (!behind) {
    cursor_ = end_;
    return malformed;
  }
  if (content) *content = std::string_view(body, static_cast<size_t>(close - body));
  cursor_ = behind;
  return 0;
}

int XmlReader::readStartTag(XmlTag& tag, unsigned flags) {
  tag = XmlTag{};
  skipWhitespace();
  itemKind kind = classifyItem();
  while (kind == itemComment || kind == itemProcessing) {
    readSpecial(kind, nullptr);  // an unterminated one leaves the cursor at the end
    skipWhitespace();
    kind = classifyItem();
  }
  if (kind != itemStartTag) {
    if (flags & requireTag) return malformed;
    if ((flags & reportText) && (kind == itemText || kind == itemCData)) return kind;
    return 1;
  }
  const char* start = cursor_;
  ++cursor_;  // past '<' even on failure, so skipping always makes progress
  const char* name = cursor_;
  if (!readElementName()) return malformed;
  const char* nameEnd = cursor_;
  // Quotes are not respected: the first '>' ends the tag.
  const char* gt = findByte(cursor_, end_, '>');
  if (!gt) {
    cursor_ = end_;
    return malformed;
  }
  cursor_ = gt + 1;
  tag.start = start;
  tag.end = cursor_;
  tag.name = name;
  tag.nameLength = static_cast<uint32_t>(nameEnd - name);
  if (flags & skipElement) {
    int answer = finishElement(tag);
    if (answer < 0) return answer;
  }
  return 0;
}

int XmlReader::parseAttributes(const XmlTag& tag, std::vector<XmlAttribute>& list) const {
  // Entries are reused from tag to tag, keeping their strings' capacity.
  size_t count = 0;
  struct Trim {
    std::vector<XmlAttribute>& list;
    size_t& count;
    ~Trim() { list.resize(count); }
  } trim{list, count};
  if (tag.empty()) return 0;
  const char* p = tag.name + tag.nameLength;
  const char* close = tag.end - 1;  // the tag's '>'
  try {
    while (p < close) {
      const char* before = p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      bool separated = p != before;
      if (p >= close) return 0;
      unsigned char c = static_cast<unsigned char>(*p);
      if (!isNameStart(c)) return (c == '/' || c == '?') ? 0 : malformed;
      if (!separated) return malformed;
      const char* nameStart = p;
      while (p < close && isAttributeNameChar(static_cast<unsigned char>(*p))) ++p;
      const char* nameEnd = p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      if (p >= close || *p != '=') return malformed;
      ++p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      if (p >= close || (*p != '"' && *p != '\'')) return malformed;
      const char quote = *p++;
      const char* valueEnd = findByte(p, close, quote);
      if (!valueEnd) return malformed;
      if (count == list.size()) list.emplace_back();
      XmlAttribute& attribute = list[count];
      attribute.name.clear();
      attribute.value.clear();
      decodeEntities(nameStart, static_cast<size_t>(nameEnd - nameStart), attribute.name);
      decodeEntities(p, static_cast<size_t>(valueEnd - p), attribute.value);
      ++count;
      p = valueEnd + 1;
    }
  } catch (const std::bad_alloc&) {
    return malformed;
  } catch (const std::length_error&) {
    return malformed;
  }
  return 0;
}

bool XmlReader::readText(std::string& text) {
  text.clear();
  bool substantial = false;
  for (;;) {
    const char* lt = findByte(cursor_, end_, '<');
    const char* stop = lt ? lt : end_;
    if (cursor_ < stop) {
      for (const char* p = cursor_; p < stop && !substantial; ++p) {
        substantial = !isWhitespace(static_cast<unsigned char>(*p));
      }
      decodeEntities(cursor_, static_cast<size_t>(stop - cursor_), text);
      cursor_ = stop;
    }
    itemKind kind = classifyItem();
    if (kind == itemCData) {
      std::string_view content;
      if (readSpecial(kind, &content) < 0) break;
      for (size_t i = 0; i < content.size() && !substantial; ++i) {
        substantial = !isWhitespace(static_cast<unsigned char>(content[i]));
      }
      text.append(content);
    } else if (kind == itemComment || kind == itemProcessing) {
      if (readSpecial(kind, nullptr) < 0) break;
    } else {
      break;
    }
  }
  return substantial;
}

// Nested elements are skipped whole. A fault inside one is not reported:
// skipping resumes wherever its read stopped, one level up. The open nested
// elements are kept on a list instead of the stack, so depth costs no stack.
int XmlReader::skipContent(const XmlTag& tag) {
  if (tag.empty() || tag.selfClosing()) return 0;
  std::vector<std::string_view> nested;  // names of the open nested elements
  for (;;) {
    const itemKind kind = classifyItem();
    bool failed = false;
    switch (kind) {
      case itemStartTag: {
        XmlTag inner;
        if (readStartTag(inner, requireTag) == 0 && !inner.selfClosing()) {
          nested.push_back(inner.nameView());
        }
        break;
      }
      case itemEndTag:
        if (nested.empty()) return 0;
        readEndTag(nullptr);  // a nested element's end tag is not checked
        nested.pop_back();
        break;
      case itemText: {
        const char* lt = findByte(cursor_, end_, '<');
        cursor_ = lt ? lt : end_;
        break;
      }
      case itemComment:
      case itemCData:
      case itemProcessing:
        failed = readSpecial(kind, nullptr) < 0;
        break;
      case itemEnd:
      case itemUnknown:
        failed = true;
        break;
    }
    if (failed) {
      if (nested.empty()) return malformed;
      nested.pop_back();
    }
  }
}

int XmlReader::readEndTag(std::string_view* name) {
  skipWhitespace();
  if (!startsWith("</")) return malformed;
  cursor_ += 2;
  const char* start = cursor_;
  if (!readElementName()) return malformed;
  if (name) *name = std::string_view(start, static_cast<size_t>(cursor_ - start));
  skipWhitespace();
  if (cursor_ >= end_ || *cursor_ != '>') return malformed;
  ++cursor_;
  return 0;
}

int XmlReader::finishElement(const XmlTag& tag) {
  if (tag.empty() || tag.selfClosing()) return 0;
  int answer = skipContent(tag);
  if (answer < 0) return answer;
  std::string_view name;
  answer = readEndTag(&name);
  if (answer < 0) return answer;
  return name == tag.nameView() ? 0 : malformed;
}

void decodeEntities(const char* text, size_t length, std::string& out) {
  if (length == SIZE_MAX) length = std::strlen(text);
  const char* p = text;
  const char* end = text + length;
  while (p < end) {
    const char* amp = findByte(p, end, '&');
    if (!amp) break;
    const char* semicolon = findByte(amp + 1, end, ';');
    if (!semicolon) break;
    out.append(p, static_cast<size_t>(amp - p));
    std::string_view body(amp + 1, static_cast<size_t>(semicolon - amp - 1));
    if (!appendReference(body, out)) out.append(amp, static_cast<size_t>(semicolon + 1 - amp));
    p = semicolon + 1;
  }
  out.append(p, static_cast<size_t>(end - p));
}

namespace {

// A key element whose content is being read, and the node it loads into.
struct OpenKey {
  XmlNode* node;
  XmlTag tag;
};

// The levels of a content loader, kept on a list instead of the stack.
class OpenKeys {
 public:
  explicit OpenKeys(XmlNode* base) : base_(base) {}
  XmlNode* current() const { return open_.empty() ? base_ : open_.back().node; }
  bool atBase() const { return open_.empty(); }
  void enter(XmlNode* node, const XmlTag& tag) { open_.push_back(OpenKey{node, tag}); }
  // Leaves the innermost level; answers its element's tag.
  XmlTag leave() {
    XmlTag tag = open_.back().tag;
    open_.pop_back();
    return tag;
  }

 private:
  XmlNode* base_;
  std::vector<OpenKey> open_;
};

int32_t readValueElement(XmlNode* node, XmlReader& reader, const XmlTag& tag,
                         std::vector<XmlAttribute>& attributes, std::string& text) {
  int32_t type = typeIdFromName(tag.name, tag.nameLength);
  if (type < 0) return errInvalidArgument;
  if (reader.parseAttributes(tag, attributes) < 0) return errXmlFormat;
  const XmlAttribute* name = findNameAttribute(attributes);
  if (!name) return errInvalidArgument;
  if (tag.selfClosing()) return errXmlFormat;
  try {
    reader.readText(text);
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  }
  return node->appendValueFromText(name->value.c_str(), static_cast<TypeId>(type), text.c_str());
}

}  // namespace

int32_t readKeyContent(XmlNode* node, XmlReader& reader) {
  OpenKeys levels(node);
  std::vector<XmlAttribute> attributes;
  std::string text;
  for (;;) {
    XmlTag tag;
    int answer = reader.readStartTag(tag, 0);
    if (answer < 0) return errXmlFormat;
    if (answer != 0) {
      // Text, an end tag or the end: no more children at this level.
      if (levels.atBase()) return errOk;
      if (reader.finishElement(levels.leave()) < 0) return errXmlFormat;
      continue;
    }
    XmlNode* current = levels.current();
    if (tag.nameView() == kKeyElement) {
      if (reader.parseAttributes(tag, attributes) < 0) return errXmlFormat;
      const XmlAttribute* name = findNameAttribute(attributes);
      if (!name) return errInvalidArgument;
      XmlNode* key = current->createPath(name->value.c_str(), false);
      if (!key) return errOutOfMemory;
      if (!tag.selfClosing()) {
        levels.enter(key, tag);
        continue;
      }
    } else {
      int32_t result = readValueElement(current, reader, tag, attributes, text);
      if (result < 0) return result;
    }
    if (reader.finishElement(tag) < 0) return errXmlFormat;
  }
}

int32_t importContent(XmlNode* node, XmlReader& reader) {
  OpenKeys levels(node);
  std::vector<XmlAttribute> attributes;
  std::string text;
  for (;;) {
    XmlTag tag;
    int answer = reader.readStartTag(tag, XmlReader::reportText);
    if (answer == itemText || answer == itemCData) {
      // Text ends the import of this element's children; the parent's
      // finishElement skips whatever follows it.
      try {
        if (reader.readText(text)) {
          int32_t result =
              levels.current()->appendValueFromText(kUnnamedValue, TROVE_TSTRING, text.c_str());
          if (result < 0) return result;
        }
      } catch (const std::bad_alloc&) {
        return errOutOfMemory;
      } catch (const std::length_error&) {
        return errOutOfMemory;
      }
      answer = 1;
    }
    if (answer < 0) return errXmlFormat;
    if (answer != 0) {
      if (levels.atBase()) return errOk;
      if (reader.finishElement(levels.leave()) < 0) return errXmlFormat;
      continue;
    }

    if (reader.parseAttributes(tag, attributes) < 0) return errXmlFormat;
    XmlNode* current = levels.current();
    char* name = treeCopyName(current->owner, tag.name, tag.nameLength);
    if (!name) return errOutOfMemory;
    XmlNode* key = current->createPath(name, true);
    treeFree(current->owner, name);
    if (!key) return errOutOfMemory;

    for (const XmlAttribute& attribute : attributes) {
      int32_t result =
          key->appendValueFromText(attribute.name.c_str(), TROVE_TSTRING, attribute.value.c_str());
      if (result < 0) return result;
    }
    if (!tag.selfClosing()) {
      levels.enter(key, tag);
      continue;
    }
    if (reader.finishElement(tag) < 0) return errXmlFormat;
  }
}

int32_t XmlDocument::parse(const char* data, uint32_t size) {
  if (!root_) return errWrongState;
  try {
    XmlReader reader(data, size);
    XmlTag rootTag;
    int answer = reader.readStartTag(rootTag, 0);
    if (answer < 0) return errXmlFormat;
    // Only whitespace, comments and processing instructions may precede the
    // root, and the root must have content.
    if (answer != 0 || rootTag.selfClosing()) return errInvalidArgument;

    int32_t result;
    if (rootTag.nameView() == kStoreRoot) {
      result = readKeyContent(root_, reader);
    } else {
      // The generic import reads from the start again so that the root
      // element itself becomes a key.
      XmlReader importer(data, size);
      result = importContent(root_, importer);
    }
    if (result < 0) return result;
    if (reader.finishElement(rootTag) < 0) return errXmlFormat;
    return errOk;
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (...) {
    return errUnknownException;
  }
}

}  // namespace trove
