// Scanning store text. The reader never copies the buffer and never reads
// past its end; names and texts are decoded into short-lived std::strings.
#include "xml/xml_reader.h"

#include <array>
#include <cstring>
#include <new>
#include <stdexcept>

#include "base/utf8.h"
#include "trove/result_codes.h"

namespace trove {
namespace {

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
    classes[c] = static_cast<uint8_t>(
        (space ? kSpace : 0) | (nameStart ? kNameStart : 0) | (attributeName ? kAttributeName : 0) |
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
  // Values beyond the 16-bit range have no encoding here: the reference
  // simply disappears.
  if (value >= 0x10000) return;
  char bytes[4];
  out.append(bytes, encodeUtf8(value, bytes));
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

Item XmlReader::classifyItem() const {
  if (cursor_ >= end_) return Item::End;
  if (*cursor_ != '<') return Item::Text;
  if (end_ - cursor_ < 2) return Item::Unknown;
  unsigned char next = static_cast<unsigned char>(cursor_[1]);
  if (next == '/') return Item::EndTag;
  if (isStartTagByte(next)) return Item::StartTag;
  if (startsWith("<!--")) return Item::Comment;
  if (startsWith("<![CDATA[")) return Item::CData;
  if (startsWith("<?")) return Item::Processing;
  return Item::Unknown;
}

Scan XmlReader::readSpecial(Item kind, std::string_view* content) {
  skipWhitespace();
  std::string_view opener;
  std::string_view closer;
  switch (kind) {
    case Item::Comment:
      opener = "<!--";
      closer = "--";
      break;
    case Item::CData:
      opener = "<![CDATA[";
      closer = "]]>";
      break;
    case Item::Processing:
      opener = "<?";
      closer = "?>";
      break;
    default:
      return Scan::Malformed;
  }
  if (!startsWith(opener)) return Scan::Malformed;
  const char* body = cursor_ + opener.size();
  const char* close = findLiteral(body, end_, closer);
  const char* behind = close ? close + closer.size() : nullptr;
  if (close && kind == Item::Comment) {
    // A comment ends at the first '>' after its first "--".
    const char* gt = findByte(behind, end_, '>');
    behind = gt ? gt + 1 : nullptr;
  }
  if (!behind) {
    cursor_ = end_;
    return Scan::Malformed;
  }
  if (content) *content = std::string_view(body, static_cast<size_t>(close - body));
  cursor_ = behind;
  return Scan::Ok;
}

TagRead XmlReader::readStartTag(XmlTag& tag, unsigned flags) {
  tag = XmlTag{};
  skipWhitespace();
  Item kind = classifyItem();
  while (kind == Item::Comment || kind == Item::Processing) {
    readSpecial(kind, nullptr);  // an unterminated one leaves the cursor at the end
    skipWhitespace();
    kind = classifyItem();
  }
  if (kind != Item::StartTag) {
    if (flags & requireTag) return TagRead::Malformed;
    if (flags & reportText) {
      if (kind == Item::Text) return TagRead::Text;
      if (kind == Item::CData) return TagRead::CData;
    }
    return TagRead::NoTag;
  }
  const char* start = cursor_;
  ++cursor_;  // past '<' even on failure, so skipping always makes progress
  const char* name = cursor_;
  if (!readElementName()) return TagRead::Malformed;
  const char* nameEnd = cursor_;
  // Quotes are not respected: the first '>' ends the tag.
  const char* gt = findByte(cursor_, end_, '>');
  if (!gt) {
    cursor_ = end_;
    return TagRead::Malformed;
  }
  cursor_ = gt + 1;
  tag.start = start;
  tag.end = cursor_;
  tag.name = name;
  tag.nameLength = static_cast<uint32_t>(nameEnd - name);
  if (flags & skipElement) {
    if (finishElement(tag) == Scan::Malformed) return TagRead::Malformed;
  }
  return TagRead::Tag;
}

Scan XmlReader::parseAttributes(const XmlTag& tag, std::vector<XmlAttribute>& list) const {
  // Entries are reused from tag to tag, keeping their strings' capacity.
  size_t count = 0;
  struct Trim {
    std::vector<XmlAttribute>& list;
    size_t& count;
    ~Trim() { list.resize(count); }
  } trim{list, count};
  if (tag.empty()) return Scan::Ok;
  const char* p = tag.name + tag.nameLength;
  const char* close = tag.end - 1;  // the tag's '>'
  try {
    while (p < close) {
      const char* before = p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      bool separated = p != before;
      if (p >= close) return Scan::Ok;
      unsigned char c = static_cast<unsigned char>(*p);
      if (!isNameStart(c)) return (c == '/' || c == '?') ? Scan::Ok : Scan::Malformed;
      if (!separated) return Scan::Malformed;
      const char* nameStart = p;
      while (p < close && isAttributeNameChar(static_cast<unsigned char>(*p))) ++p;
      const char* nameEnd = p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      if (p >= close || *p != '=') return Scan::Malformed;
      ++p;
      while (p < close && isWhitespace(static_cast<unsigned char>(*p))) ++p;
      if (p >= close || (*p != '"' && *p != '\'')) return Scan::Malformed;
      const char quote = *p++;
      const char* valueEnd = findByte(p, close, quote);
      if (!valueEnd) return Scan::Malformed;
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
    return Scan::Malformed;
  } catch (const std::length_error&) {
    return Scan::Malformed;
  }
  return Scan::Ok;
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
    Item kind = classifyItem();
    if (kind == Item::CData) {
      std::string_view content;
      if (readSpecial(kind, &content) == Scan::Malformed) break;
      for (size_t i = 0; i < content.size() && !substantial; ++i) {
        substantial = !isWhitespace(static_cast<unsigned char>(content[i]));
      }
      text.append(content);
    } else if (kind == Item::Comment || kind == Item::Processing) {
      if (readSpecial(kind, nullptr) == Scan::Malformed) break;
    } else {
      break;
    }
  }
  return substantial;
}

// Nested elements are skipped whole. A fault inside one is not reported:
// skipping resumes wherever its read stopped, one level up. The open nested
// elements are kept on a list instead of the stack, so depth costs no stack.
Scan XmlReader::skipContent(const XmlTag& tag) {
  if (tag.empty() || tag.selfClosing()) return Scan::Ok;
  std::vector<std::string_view> nested;  // names of the open nested elements
  for (;;) {
    const Item kind = classifyItem();
    bool failed = false;
    switch (kind) {
      case Item::StartTag: {
        XmlTag inner;
        if (readStartTag(inner, requireTag) == TagRead::Tag && !inner.selfClosing()) {
          nested.push_back(inner.nameView());
        }
        break;
      }
      case Item::EndTag:
        if (nested.empty()) return Scan::Ok;
        readEndTag(nullptr);  // a nested element's end tag is not checked
        nested.pop_back();
        break;
      case Item::Text: {
        const char* lt = findByte(cursor_, end_, '<');
        cursor_ = lt ? lt : end_;
        break;
      }
      case Item::Comment:
      case Item::CData:
      case Item::Processing:
        failed = readSpecial(kind, nullptr) == Scan::Malformed;
        break;
      case Item::End:
      case Item::Unknown:
        failed = true;
        break;
    }
    if (failed) {
      if (nested.empty()) return Scan::Malformed;
      nested.pop_back();
    }
  }
}

Scan XmlReader::readEndTag(std::string_view* name) {
  skipWhitespace();
  if (!startsWith("</")) return Scan::Malformed;
  cursor_ += 2;
  const char* start = cursor_;
  if (!readElementName()) return Scan::Malformed;
  if (name) *name = std::string_view(start, static_cast<size_t>(cursor_ - start));
  skipWhitespace();
  if (cursor_ >= end_ || *cursor_ != '>') return Scan::Malformed;
  ++cursor_;
  return Scan::Ok;
}

Scan XmlReader::finishElement(const XmlTag& tag) {
  if (tag.empty() || tag.selfClosing()) return Scan::Ok;
  if (skipContent(tag) == Scan::Malformed) return Scan::Malformed;
  std::string_view name;
  if (readEndTag(&name) == Scan::Malformed) return Scan::Malformed;
  return name == tag.nameView() ? Scan::Ok : Scan::Malformed;
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

}  // namespace trove
