// The module's side of the host's object heap, and the scratch buffers on
// it, run in this process against the host.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "registry/host_buffer.h"
#include "services/host_services.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::HeapObject;
using trove::host::Host;
using trove::host::HostHeap;

TEST(HostServices, ObjectHeapAllocatesReallocatesAndFrees) {
  HeapObject object;
  HostHeap& heap = HostHeap::instance();
  const size_t violations = heap.violationCount();
  void* block = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &block, 16), errOk);
  EXPECT_EQ(heap.holderOfBlock(block), object.holder());
  std::memcpy(block, "sixteen bytes!!", 16);
  void* grown = nullptr;
  ASSERT_EQ(trove::hostRealloc(object.get(), &grown, block, 64), errOk);
  EXPECT_EQ(std::memcmp(grown, "sixteen bytes!!", 16), 0);
  EXPECT_EQ(object.liveBytes(), 64u);
  ASSERT_EQ(trove::hostRealloc(object.get(), &grown, grown, 8), errOk);  // shrinking copies 8
  EXPECT_EQ(std::memcmp(grown, "sixteen ", 8), 0);
  void* empty = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &empty, 0), errOk);
  EXPECT_NE(empty, nullptr) << "a size of 0 still gives a block";
  EXPECT_EQ(object.liveBlocks(), 2u);
  trove::hostFree(object.get(), grown);
  trove::hostFree(object.get(), empty);
  trove::hostFree(object.get(), nullptr);
  EXPECT_EQ(object.liveBytes(), 0u);
  EXPECT_EQ(heap.violationCount(), violations);
  EXPECT_EQ(trove::hostAlloc(object.get(), nullptr, 4), errInvalidArgument);

  // Without an object the root's heap serves; without a root nothing does.
  void** rootHolder = nullptr;
  {
    Host host;
    rootHolder = trove::host::holderOf(host.root());
    trove::setRootObject(host.root());
    ASSERT_EQ(trove::rootAlloc(&block, 10), errOk);
    ASSERT_EQ(trove::hostAlloc(nullptr, &empty, 4), errOk);
    EXPECT_EQ(heap.holderOfBlock(empty), rootHolder);
    EXPECT_EQ(heap.liveBlocks(rootHolder), 2u);
    trove::rootFree(block);
    trove::hostFree(nullptr, empty);
    EXPECT_EQ(heap.liveBlocks(rootHolder), 0u);
    trove::setRootObject(nullptr);
  }
  block = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(trove::rootAlloc(&block, 10), errUnexpected);
  EXPECT_EQ(block, nullptr);
}

// Misuse is recorded, never followed: a block freed through another holder
// (freed all the same), freed twice, or never given.
TEST(HostServices, HeapRecordsMisuse) {
  HeapObject a, b;
  HostHeap& heap = HostHeap::instance();
  heap.clearViolations();
  void* block = nullptr;
  ASSERT_EQ(trove::hostAlloc(a.get(), &block, 4), errOk);
  trove::hostFree(b.get(), block);
  ASSERT_EQ(heap.violationCount(), 1u);
  EXPECT_EQ(heap.violations()[0].block, block);
  EXPECT_EQ(heap.violations()[0].holder, b.holder());
  EXPECT_EQ(heap.violations()[0].expectedHolder, a.holder());
  EXPECT_EQ(a.liveBlocks(), 0u);
  trove::hostFree(a.get(), block);
  int local = 0;
  trove::hostFree(a.get(), &local);
  EXPECT_EQ(heap.violationCount(), 3u);
  EXPECT_EQ(heap.violations()[2].expectedHolder, nullptr);
  void* moved = nullptr;
  ASSERT_EQ(trove::hostAlloc(a.get(), &block, 4), errOk);
  ASSERT_EQ(trove::hostRealloc(b.get(), &moved, block, 8), errOk);
  EXPECT_EQ(heap.violationCount(), 4u);
  trove::hostFree(b.get(), moved);
  EXPECT_EQ(heap.violationCount(), 4u);
  heap.clearViolations();
}

TEST(HostServices, ConcurrentHoldersKeepExactCounts) {
  constexpr int kRounds = 10000;
  HeapObject holders[2];
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&holders, t] {
      void* object = holders[t % 2].get();
      for (int i = 0; i < kRounds; ++i) {
        void* block = nullptr;
        void* grown = nullptr;
        if (trove::hostAlloc(object, &block, 16) < 0) return;
        if (i % 2) {
          trove::hostFree(object, block);
        } else if (trove::hostRealloc(object, &grown, block, 32) < 0) {
          return;
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (HeapObject& holder : holders) {
    const auto stats = HostHeap::instance().stats(holder.holder());
    EXPECT_EQ(stats.liveBlocks, size_t{kRounds});
    EXPECT_EQ(stats.liveBytes, size_t{kRounds} * 32);
    EXPECT_EQ(stats.allocations, size_t{kRounds} * 3);
    EXPECT_EQ(stats.frees, size_t{kRounds} * 2);
  }
}

// Scratch buffers on an object's heap: exact growth, content kept only when
// asked, trimming back into the inline area, failures that leave no block.
TEST(HostBuffer, GrowsTrimsAndFailsWithoutLeavingBlocks) {
  HeapObject heap;
  HostHeap& hostHeap = HostHeap::instance();
  trove::HostBuffer plain(heap.get());
  uint8_t* first = plain.reserve(10, false);
  ASSERT_NE(first, nullptr);
  std::memcpy(first, "0123456789", 10);
  EXPECT_EQ(plain.reserve(4, false), first) << "within capacity nothing moves";
  uint8_t* kept = plain.reserve(40, true);
  EXPECT_EQ(std::memcmp(kept, "0123", 4), 0);
  EXPECT_EQ(hostHeap.blockSize(kept), 40u);
  plain.reserve(6, false);
  EXPECT_EQ(hostHeap.blockSize(plain.resize(trove::HostBuffer::kCurrent, true)), 6u);
  EXPECT_EQ(std::memcmp(plain.data, "012345", 6), 0);
  EXPECT_EQ(heap.liveBlocks(), 1u);

  const size_t allocations = hostHeap.stats(heap.holder()).allocations;
  trove::InlineHostBuffer buffer(heap.get());
  uint8_t* area = buffer.data;
  EXPECT_EQ(buffer.reserve(256, false), area);
  EXPECT_EQ(hostHeap.stats(heap.holder()).allocations, allocations) << "the area needs no block";
  std::memcpy(area, "kept", 4);
  buffer.reserve(4, false);
  EXPECT_EQ(std::memcmp(buffer.reserve(257, true), "kept", 4), 0);
  EXPECT_FALSE(buffer.isInline());
  EXPECT_EQ(buffer.resize(4, true), area) << "256 bytes or less go back to the area";
  EXPECT_EQ(std::memcmp(area, "kept", 4), 0);

  ASSERT_NE(buffer.reserve(300, false), nullptr);
  hostHeap.failAllocationsAfter(0, heap.holder());
  EXPECT_EQ(plain.reserve(32, true), nullptr);
  EXPECT_EQ(plain.capacity, 0u);
  EXPECT_EQ(buffer.reserve(400, false), nullptr);
  EXPECT_TRUE(buffer.isInline());
  EXPECT_EQ(heap.liveBlocks(), 0u) << "the blocks held before were given back";
  EXPECT_NE(buffer.reserve(100, false), nullptr);
  hostHeap.stopFailing();
}

}  // namespace
