// Shared by the fuzz targets: a document on its own host object, a dump of a
// tree that shows every name, type and text, and a check that aborts (so
// libFuzzer keeps the input) when a property does not hold.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "trove/host/heap.h"
#include "trove/result_codes.h"
#include "types/value_codec.h"
#include "xml/xml_tree.h"

namespace trove::fuzz {

[[noreturn]] inline void fail(const char* what, const std::string& detail = {}) {
  std::fprintf(stderr, "property violated: %s\n%s\n", what, detail.c_str());
  std::abort();
}

inline void check(bool holds, const char* what, const std::string& detail = {}) {
  if (!holds) fail(what, detail);
}

// The text a codec gives, read the way the writer reads it (up to the first
// NUL); "<no text>" for a codec without one.
inline std::string textOf(const ValueCodec* codec) {
  uint32_t length = 0;
  if (codec->ToText(nullptr, 0, &length) < 0) return "<no text>";
  std::vector<char> buffer(size_t{length} + 1, '\0');
  if (codec->ToText(buffer.data(), length, &length) < 0) return "<no text>";
  return std::string(buffer.data());
}

// "name:type=text;" for each value, then "name{...}" for each child key.
inline void dump(const XmlNode* node, std::string& out) {
  node->forEachValue([&](const char* name, const ValueCodec* codec) {
    out += name;
    out += ':' + std::to_string(codec->GetType()) + '=' + textOf(codec) + ';';
  });
  node->forEachChild([&](const XmlNode& child) {
    out += child.name;
    out += '{';
    dump(&child, out);
    out += '}';
  });
}
inline std::string dump(const XmlNode* node) {
  std::string out;
  dump(node, out);
  return out;
}

// A document attached to a bare host object; the tree must give back every
// block of the object's heap when it is released.
class Document {
 public:
  Document() { check(document_.attach(owner()) == errOk, "attach"); }
  ~Document() {
    document_.release();
    check(object_.liveBlocks() == 0, "the released tree left blocks on the host heap");
  }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  // Parses an exact copy of the bytes, so a read past the end is caught.
  int32_t parse(std::string_view text) {
    std::vector<char> bytes(text.begin(), text.end());
    return document_.parse(bytes.data(), static_cast<uint32_t>(bytes.size()));
  }
  XmlDocument& get() { return document_; }
  XmlNode* root() { return document_.root(); }
  PropertiesMap* owner() const { return static_cast<PropertiesMap*>(object_.get()); }

 private:
  host::HeapObject object_;
  XmlDocument document_;
};

}  // namespace trove::fuzz
