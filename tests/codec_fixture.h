// A test fixture that makes codecs on a test heap object and, at the end of
// every test, releases them and checks that nothing is left on the heap.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "codec_test_heap.h"
#include "types/value_codec.h"

namespace codec_test {

class CodecTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (trove::ValueCodec* codec : codecs_) trove::releaseValueCodec(heap_.owner(), codec);
    codecs_.clear();
    EXPECT_EQ(heap_.liveBlocks(), 0u) << "a codec left memory on its owner's heap";
    EXPECT_EQ(heap_.foreignFrees(), 0u) << "a block was freed that this heap did not give";
  }

  // A codec that the fixture releases at the end of the test.
  trove::ValueCodec* make(trove::TypeId type) {
    trove::ValueCodec* codec = trove::createValueCodec(heap_.owner(), type);
    if (codec != nullptr) codecs_.push_back(codec);
    return codec;
  }

  // Releases a codec made by make() before the end of the test.
  void release(trove::ValueCodec* codec) {
    std::erase(codecs_, codec);
    trove::releaseValueCodec(heap_.owner(), codec);
  }

  // The binary form, through the query form first.
  static std::string binaryOf(const trove::ValueCodec* codec) {
    uint32_t required = 0xFFFFFFFF;
    EXPECT_EQ(codec->GetBinary(nullptr, 0, &required), errOk);
    std::string bytes(required, '\0');
    uint32_t again = 0;
    EXPECT_EQ(codec->GetBinary(bytes.data(), required, &again), errOk);
    EXPECT_EQ(again, required);
    return bytes;
  }

  // The text form as a caller gets it: ask for the count n, give n + 1
  // zeroed bytes, take the bytes up to the first NUL.
  static std::string textOf(const trove::ValueCodec* codec) {
    uint32_t required = 0xFFFFFFFF;
    EXPECT_EQ(codec->ToText(nullptr, 0, &required), errOk);
    std::vector<char> buffer(size_t{required} + 1, '\0');
    EXPECT_EQ(codec->ToText(buffer.data(), required + 1, nullptr), errOk);
    return std::string(buffer.data());
  }

  template <typename T>
  static int32_t setScalar(trove::ValueCodec* codec, T value) {
    return codec->SetBinary(&value, sizeof value);
  }

  template <typename T>
  static T scalarOf(const trove::ValueCodec* codec) {
    T value{};
    EXPECT_EQ(codec->GetBinary(&value, sizeof value, nullptr), errOk);
    return value;
  }

  TestHeapObject heap_;

 private:
  std::vector<trove::ValueCodec*> codecs_;
};

}  // namespace codec_test
