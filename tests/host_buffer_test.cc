// Scratch buffers on a host object's heap: growth with and without keeping
// the content, the inline area, trimming, and failures that leave no block.
#include <gtest/gtest.h>

#include <cstring>

#include "registry/host_buffer.h"
#include "trove/host.h"

namespace {

using trove::HostBuffer;
using trove::InlineHostBuffer;
using trove::host::HeapObject;
using trove::host::HostHeap;

class HostBufferTest : public ::testing::Test {
 protected:
  void TearDown() override {
    HostHeap::instance().stopFailing();
    EXPECT_EQ(heap_.liveBlocks(), 0u) << "a buffer kept a block";
    EXPECT_EQ(HostHeap::instance().violationCount(), violations_);
  }
  size_t blockSize(const void* data) const { return HostHeap::instance().blockSize(data); }
  size_t allocations() const { return HostHeap::instance().stats(heap_.holder()).allocations; }

  HeapObject heap_;
  size_t violations_ = HostHeap::instance().violationCount();
};

TEST_F(HostBufferTest, ReserveGrowsToExactSizesAndKeepsContentOnlyWhenAsked) {
  HostBuffer buffer(heap_.get());
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.heap, heap_.get());
  uint8_t* first = buffer.reserve(10, false);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(blockSize(first), 10u);
  EXPECT_EQ(HostHeap::instance().holderOfBlock(first), heap_.holder());
  std::memcpy(first, "0123456789", 10);

  EXPECT_EQ(buffer.reserve(4, false), first) << "within capacity nothing moves";
  EXPECT_EQ(buffer.size, 4u);
  EXPECT_EQ(buffer.capacity, 10u);
  EXPECT_EQ(buffer.reserve(HostBuffer::kCurrent, false), first);
  EXPECT_EQ(buffer.size, 4u);

  uint8_t* kept = buffer.reserve(40, true);
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(std::memcmp(kept, "0123", 4), 0);
  EXPECT_EQ(blockSize(kept), 40u);
  EXPECT_EQ(buffer.size, 40u);
  EXPECT_EQ(buffer.capacity, 40u);
  EXPECT_EQ(heap_.liveBlocks(), 1u);

  ASSERT_NE(buffer.reserve(100, false), nullptr);
  EXPECT_EQ(heap_.liveBlocks(), 1u) << "the old block went back";
  buffer.reset();
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.capacity, 0u);
  EXPECT_EQ(heap_.liveBlocks(), 0u);
  ASSERT_NE(buffer.reserve(8, false), nullptr);  // freed by the destructor
}

TEST_F(HostBufferTest, ResizeSetsTheCapacityExactly) {
  HostBuffer buffer(heap_.get());
  ASSERT_NE(buffer.resize(64, false), nullptr);
  std::memcpy(buffer.data, "abcdef", 6);
  buffer.reserve(6, false);
  uint8_t* trimmed = buffer.resize(HostBuffer::kCurrent, true);
  ASSERT_NE(trimmed, nullptr);
  EXPECT_EQ(blockSize(trimmed), 6u);
  EXPECT_EQ(std::memcmp(trimmed, "abcdef", 6), 0);
  EXPECT_EQ(buffer.capacity, 6u);

  ASSERT_NE(buffer.resize(3, false), nullptr);
  EXPECT_EQ(buffer.size, 3u);
  EXPECT_EQ(buffer.capacity, 3u);
  EXPECT_EQ(heap_.liveBlocks(), 1u);
  EXPECT_EQ(buffer.resize(0, false), nullptr);
  EXPECT_EQ(buffer.capacity, 0u);
  EXPECT_EQ(heap_.liveBlocks(), 0u);
}

TEST_F(HostBufferTest, InlineAreaServesUpTo256BytesAndResetReturnsToIt) {
  InlineHostBuffer buffer(heap_.get());
  uint8_t* area = buffer.data;
  ASSERT_NE(area, nullptr);
  EXPECT_TRUE(buffer.isInline());
  EXPECT_EQ(buffer.capacity, 256u);
  EXPECT_EQ(buffer.reserve(0, false), area);
  EXPECT_EQ(buffer.reserve(256, false), area);
  EXPECT_EQ(allocations(), 0u);

  std::memcpy(area, "kept", 4);
  buffer.reserve(4, false);
  uint8_t* block = buffer.reserve(257, true);
  ASSERT_NE(block, nullptr);
  EXPECT_FALSE(buffer.isInline());
  EXPECT_EQ(blockSize(block), 257u);
  EXPECT_EQ(std::memcmp(block, "kept", 4), 0) << "the bytes in use leave the area with it";

  buffer.reset();
  EXPECT_EQ(buffer.data, area);
  EXPECT_EQ(buffer.capacity, 256u);
  EXPECT_EQ(buffer.size, 0u);
  EXPECT_EQ(heap_.liveBlocks(), 0u);

  // Trimming to 256 bytes or less goes back to the area, content included.
  ASSERT_NE(buffer.resize(500, false), nullptr);
  std::memcpy(buffer.data, "trim", 4);
  EXPECT_EQ(buffer.resize(4, true), area);
  EXPECT_EQ(std::memcmp(area, "trim", 4), 0);
  EXPECT_EQ(buffer.capacity, 256u);
  EXPECT_EQ(heap_.liveBlocks(), 0u);
  ASSERT_NE(buffer.reserve(1000, false), nullptr);  // freed by the destructor, not the area
}

TEST_F(HostBufferTest, FailedAllocationsLeaveEmptyBuffersAndNoBlocks) {
  HostBuffer plain(heap_.get());
  InlineHostBuffer inlined(heap_.get());
  ASSERT_NE(plain.reserve(16, false), nullptr);
  ASSERT_NE(inlined.reserve(300, false), nullptr);
  HostHeap::instance().failAllocationsAfter(0, heap_.holder());

  EXPECT_EQ(plain.reserve(32, true), nullptr) << "a failed reallocation";
  EXPECT_EQ(plain.data, nullptr);
  EXPECT_EQ(plain.size, 0u);
  EXPECT_EQ(plain.capacity, 0u);

  EXPECT_EQ(inlined.reserve(400, false), nullptr);
  EXPECT_TRUE(inlined.isInline());
  EXPECT_EQ(inlined.capacity, 256u);
  EXPECT_EQ(inlined.size, 0u);
  EXPECT_EQ(heap_.liveBlocks(), 0u) << "the blocks held before were given back";
  EXPECT_NE(inlined.reserve(100, false), nullptr) << "the area needs no heap";
}

}  // namespace
