// Writing store text. Output and the value text buffer live in ordinary
// process memory; the tree is only read.
#include "xml/xml_writer.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

#include "trove/abi.h"
#include "trove/result_codes.h"
#include "types/value_codec.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

constexpr int32_t kIndentStep = 4;
constexpr const char* kLineEnd = "\r\n";

// The element name of a value of `type`, or null for an id without a name.
const char* elementNameOf(TypeId type) {
  // Wide strings are written as their UTF-8 text and read back as tSTRING.
  if (type == TROVE_TWSTRING) return typeNameTable[TROVE_TSTRING];
  if (type >= 64) return nullptr;
  const char* name = typeNameTable[type];
  return (name && *name) ? name : nullptr;
}

// The replacement of a byte that cannot stand as it is, or an empty view.
std::string_view replacementOf(unsigned char c, char (&scratch)[8]) {
  switch (c) {
    case '"':
      return "&quot;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\n':
    case '\r':
      return {};
    default:
      break;
  }
  if (c >= 0x20) return {};
  static constexpr char kHex[] = "0123456789ABCDEF";
  size_t n = 0;
  scratch[n++] = '&';
  scratch[n++] = '#';
  scratch[n++] = 'x';
  if (c >= 0x10) scratch[n++] = kHex[c >> 4];
  scratch[n++] = kHex[c & 0x0F];
  scratch[n++] = ';';
  return {scratch, n};
}

// Most value texts are short: they are asked for straight into a small
// zeroed buffer, and only a text that does not fit takes a size query and a
// buffer of its own. The zeroes terminate texts of codecs that write none.
int32_t writeValues(const XmlNode* node, std::string& out, int32_t indent) {
  std::vector<char> large;
  // Walked by count, so the loop never depends on where the sentinel sits.
  const XmlValue* value = node->values.first;
  for (uint64_t i = 0; i < node->values.count; ++i, value = value->next) {
    const ValueCodec* codec = value->codec();
    char small[64];
    std::memset(small, 0, sizeof(small));
    const char* text = small;
    uint32_t length = 0;
    int32_t result = codec->ToText(small, sizeof(small) - 1, &length);
    if (result == errBufferTooSmall) {
      large.assign(static_cast<size_t>(length) + 1, '\0');
      uint32_t written = 0;
      result = codec->ToText(large.data(), length, &written);
      text = large.data();
    }
    if (result < 0) return result;

    const char* element = elementNameOf(codec->GetType());
    if (!element) return errUnexpected;  // no codec is made for such a type
    out.append(static_cast<size_t>(indent), ' ');
    out += '<';
    out += element;
    writeNameAttribute(out, value->name());
    out += '>';
    escapeText(text, SIZE_MAX, out);  // an embedded NUL cuts the text
    out += "</";
    out += element;
    out += '>';
    out += kLineEnd;
  }
  return errOk;
}

}  // namespace

void escapeText(const char* text, size_t length, std::string& out) {
  if (length == SIZE_MAX) length = std::strlen(text);
  const char* run = text;
  const char* end = text + length;
  char scratch[8];
  for (const char* p = text; p < end; ++p) {
    std::string_view replacement = replacementOf(static_cast<unsigned char>(*p), scratch);
    if (replacement.empty()) continue;
    out.append(run, static_cast<size_t>(p - run));
    out.append(replacement);
    run = p + 1;
  }
  out.append(run, static_cast<size_t>(end - run));
}

void writeNameAttribute(std::string& out, const char* name) {
  out += " name=\"";
  escapeText(name ? name : "", SIZE_MAX, out);
  out += '"';
}

namespace {

void writeKeyOpen(const XmlNode* key, std::string& out, size_t indent) {
  out.append(indent, ' ');
  out += "<key";
  writeNameAttribute(out, key->name);
  out += '>';
  out += kLineEnd;
}

void writeKeyClose(std::string& out, size_t indent) {
  out.append(indent, ' ');
  out += "</key>";
  out += kLineEnd;
}

}  // namespace

// Depth first without recursion: down through first children, across through
// siblings, up through parent links. A key's values follow its subkeys.
int32_t writeNode(const XmlNode* node, std::string& out, int32_t indent) {
  try {
    const XmlNode* current = node;
    size_t depth = static_cast<size_t>(indent);  // indentation of current's content
    for (;;) {
      // No store text may pass 32 bits. Indentation grows with depth, so a
      // deep chain would otherwise grow the text quadratically before any
      // check could refuse it.
      if (out.size() > UINT32_MAX) return errInvalidSize;
      if (current->children.count != 0) {
        current = current->children.first;
        writeKeyOpen(current, out, depth);
        depth += kIndentStep;
        continue;
      }
      // `current` has no subkeys left to write: its values, then climb until
      // a key with a next sibling.
      for (;;) {
        int32_t result = writeValues(current, out, static_cast<int32_t>(depth));
        if (result < 0) return result;
        if (current == node) return errOk;
        depth -= kIndentStep;
        writeKeyClose(out, depth);
        const XmlNode* parent = current->parent;
        if (current != parent->children.last) {
          current = current->next;
          writeKeyOpen(current, out, depth);
          depth += kIndentStep;
          break;
        }
        current = parent;
      }
    }
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  }
}

int32_t XmlDocument::serialize(std::string& out) const {
  if (!root_) return errWrongState;
  try {
    out += "<propertiesmap>";
    out += kLineEnd;
    int32_t result = writeNode(root_, out, kIndentStep);
    if (result < 0) return result;
    out += "</propertiesmap>";
    out += kLineEnd;
    return errOk;
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  }
}

}  // namespace trove
