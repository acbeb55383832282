// Codecs and documents on a bare host object of the accounting heap; every
// test must leave that heap empty and no block freed through a stranger.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trove/host/heap.h"
#include "types/value_codec.h"
#include "xml/xml_tree.h"

namespace trove::testing {

// The binary form, through the size query first.
inline std::string binaryOf(const ValueCodec* codec) {
  uint32_t required = 0xFFFFFFFF;
  EXPECT_EQ(codec->GetBinary(nullptr, 0, &required), errOk);
  std::string bytes(required, '\0');
  EXPECT_EQ(codec->GetBinary(bytes.data(), required, &required), errOk);
  return bytes.substr(0, required);
}

// The text as a caller gets it: ask for the count n, give n + 1 zeroed bytes,
// take the bytes up to the first NUL.
inline std::string textOf(const ValueCodec* codec) {
  uint32_t required = 0xFFFFFFFF;
  if (codec->ToText(nullptr, 0, &required) < 0) return "<no text>";
  std::vector<char> buffer(size_t{required} + 1, '\0');
  EXPECT_EQ(codec->ToText(buffer.data(), required + 1, nullptr), errOk);
  return std::string(buffer.data());
}

// Little-endian bytes of a number or of a double's bits.
inline std::string le(uint64_t value, size_t width = 8) {
  return std::string(reinterpret_cast<const char*>(&value), width);
}
inline std::string bits(double value) {
  return std::string(reinterpret_cast<const char*>(&value), 8);
}

// "name:tTYPE=text;" for each value, then "name{...}" for each child key.
inline std::string dump(const XmlNode* node) {
  std::string out;
  for (uint32_t i = 0; i < node->valueCount(); ++i) {
    const ValueCodec* codec = node->valueAt(i);
    out += std::string(node->valueNameAt(i)) + ':' + typeNameTable[codec->GetType() & 63] + '=' +
           textOf(codec) + ';';
  }
  for (uint32_t i = 0; i < node->childCount(); ++i) {
    out += std::string(node->childAt(i)->name) + '{' + dump(node->childAt(i)) + '}';
  }
  return out;
}

class HeapTest : public ::testing::Test {
 protected:
  void SetUp() override { heap().clearViolations(); }
  void TearDown() override {
    for (ValueCodec* codec : codecs_) releaseValueCodec(owner(), codec);
    if (document_) document_->release();
    stopFailing();
    EXPECT_EQ(object.liveBlocks(), 0u) << "memory left on the owner's heap";
    EXPECT_EQ(heap().violationCount(), 0u) << "a block freed by a stranger";
  }

  PropertiesMap* owner() const { return static_cast<PropertiesMap*>(object.get()); }
  void failAfter(size_t successes) { heap().failAllocationsAfter(successes, object.holder()); }
  static void stopFailing() { heap().stopFailing(); }
  static host::HostHeap& heap() { return host::HostHeap::instance(); }
  size_t allocations() const { return heap().stats(object.holder()).allocations; }

  ValueCodec* make(TypeId type) {  // released at the end of the test
    ValueCodec* codec = createValueCodec(owner(), type);
    if (codec != nullptr) codecs_.push_back(codec);
    return codec;
  }

  XmlDocument& fresh() {  // the previous document released
    if (document_) document_->release();
    document_.emplace();
    EXPECT_EQ(document_->attach(owner()), errOk);
    return *document_;
  }
  XmlDocument& document() { return document_ ? *document_ : fresh(); }
  XmlNode* root() { return document().root(); }
  std::string tree() { return dump(root()); }

  // Parses an exact copy of `text` (a read past its end shows under the
  // sanitizers) into a fresh document.
  int32_t parse(std::string_view text) {
    std::vector<char> bytes(text.begin(), text.end());
    return fresh().parse(bytes.data(), static_cast<uint32_t>(bytes.size()));
  }

  host::HeapObject object;

 private:
  std::vector<ValueCodec*> codecs_;
  std::optional<XmlDocument> document_;
};

}  // namespace trove::testing
