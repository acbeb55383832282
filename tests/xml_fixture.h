// Shared by the store reader and writer suites: a document attached to a bare
// host object, a readable dump of a tree, and an xmllint check.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trove/host/heap.h"
#include "trove/result_codes.h"
#include "types/value_codec.h"
#include "xml/xml_tree.h"

namespace trove::testing {

inline PropertiesMap* ownerOf(const host::HeapObject& object) {
  return static_cast<PropertiesMap*>(object.get());
}

// The text a codec gives, read the way the writer reads it.
inline std::string textOf(const ValueCodec* codec) {
  uint32_t length = 0;
  if (codec->ToText(nullptr, 0, &length) < 0) return "<no text>";
  std::vector<char> buffer(static_cast<size_t>(length) + 1, '\0');
  if (codec->ToText(buffer.data(), length, &length) < 0) return "<no text>";
  return std::string(buffer.data());
}

inline std::string typeNameOf(const ValueCodec* codec) {
  TypeId type = codec->GetType();
  return type < 64 ? typeNameTable[type] : "?";
}

// "name:tTYPE=text;" for each value, then "name{...}" for each child key.
inline std::string dump(const XmlNode* node) {
  std::string out;
  for (uint32_t i = 0; i < node->valueCount(); ++i) {
    const ValueCodec* codec = node->valueAt(i);
    out += node->valueNameAt(i);
    out += ':' + typeNameOf(codec) + '=' + textOf(codec) + ';';
  }
  for (uint32_t i = 0; i < node->childCount(); ++i) {
    const XmlNode* child = node->childAt(i);
    out += std::string(child->name) + '{' + dump(child) + '}';
  }
  return out;
}

// A document on its own host object. Everything the tree holds must be given
// back when the document is released.
class DocumentFixture : public ::testing::Test {
 protected:
  void SetUp() override { fresh(); }
  void TearDown() override {
    if (document_) document_->release();
    host::HostHeap::instance().stopFailing();
    EXPECT_EQ(object.liveBlocks(), 0u) << "tree memory left on the host heap";
  }

  // Parses an exact copy of `text` (no terminator behind it) into a fresh
  // document, so that a read past the end shows under the sanitizers.
  int32_t parse(std::string_view text) {
    fresh();
    std::vector<char> bytes(text.begin(), text.end());
    return document().parse(bytes.data(), static_cast<uint32_t>(bytes.size()));
  }

  // Releases the current document and attaches a new, empty one.
  XmlDocument& fresh() {
    if (document_) document_->release();
    document_.emplace();
    EXPECT_EQ(document_->attach(ownerOf(object)), errOk);
    return *document_;
  }
  XmlDocument& document() { return *document_; }
  XmlNode* root() { return document_->root(); }
  std::string tree() { return dump(root()); }

  host::HeapObject object;

 private:
  std::optional<XmlDocument> document_;
};

inline bool xmllintAvailable() {
  static const bool available = std::system("command -v xmllint >/dev/null 2>&1") == 0;
  return available;
}

// Whether xmllint takes `text` as well-formed XML. Without xmllint the check
// is skipped (and says so once).
inline bool xmllintAccepts(const std::string& text) {
  if (!xmllintAvailable()) {
    static bool told = false;
    if (!told) std::fprintf(stderr, "xmllint not found: well-formedness checks skipped\n");
    told = true;
    return true;
  }
  char path[] = "/tmp/trove-xmllint-XXXXXX";
  int fd = mkstemp(path);
  if (fd < 0) return false;
  FILE* file = fdopen(fd, "wb");
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
  std::string command = std::string("xmllint --noout ") + path + " 2>/dev/null";
  bool accepted = std::system(command.c_str()) == 0;
  std::remove(path);
  return accepted;
}

}  // namespace trove::testing
