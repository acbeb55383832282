// The module's side of the host services (cells, object heap, trace), run in
// this process against trove's host.
#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "services/host_services.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::HeapObject;
using trove::host::Host;
using trove::host::HostHeap;
using trove::host::HostOptions;

// Kept first: the trace cell of this process is still empty here, and no
// other test in this file fills it.
TEST(HostServices, TraceNeedsTheRootObjectAndTheHostsTraceFunction) {
  trove::setRootObject(nullptr);
  EXPECT_EQ(trove::trace(nullptr, 300, "before reason 100"), errUnexpected);

  HostOptions options;
  options.root.provideTrace = false;
  Host host(options);
  auto& trace = host.captureTrace();
  trove::setRootObject(host.root());
  HeapObject object;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(trove::trace(object.get(), 600, "line %d", i), errUnexpected);
  }
  EXPECT_EQ(host.counters().resolveTrace, 3u) << "an empty cell is asked for again each time";
  EXPECT_EQ(trace.count(), 0u);

  host.rootOptions().provideTrace = true;
  EXPECT_EQ(trove::trace(object.get(), 600, "trove\t%s %d: %terr", "PropertiesMap::X", 7,
                         errInvalidArgument),
            errOk);
  EXPECT_EQ(trove::trace(host.root(), 200, "second"), errOk);
  EXPECT_EQ(host.counters().resolveTrace, 4u) << "the filled cell is not looked up again";
  auto lines = trace.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, 600u);
  EXPECT_EQ(lines[0].text, "trove\tPropertiesMap::X 7: 0x80000046 (Invalid argument)");
  EXPECT_EQ(lines[0].object, object.get());
  EXPECT_EQ(lines[1].object, host.root());

  trove::setRootObject(nullptr);
  EXPECT_EQ(trove::trace(object.get(), 600, "after the root went"), errUnexpected);
  EXPECT_EQ(trace.count(), 2u);
}

TEST(HostServices, HostFunctionsAreLookedUpUntilFound) {
  HostOptions options;
  options.root.provideStringAssign = false;
  Host host(options);
  trove::setRootObject(host.root());

  void* unknown = nullptr;
  EXPECT_EQ(trove::resolveHostFunction(&unknown, 9, 0x12345678, 9), nullptr);
  EXPECT_EQ(trove::resolveHostFunction(&unknown, 9, 0x12345678, 9), nullptr);
  EXPECT_EQ(unknown, nullptr);
  EXPECT_EQ(host.counters().resolveUnknown, 2u);

  EXPECT_EQ(trove::hostStringAssign(), nullptr);
  EXPECT_EQ(trove::hostStringAssign(), nullptr);
  EXPECT_EQ(host.counters().resolveStringAssign, 2u);
  host.rootOptions().provideStringAssign = true;
  TroveHostStringAssign assign = trove::hostStringAssign();
  ASSERT_EQ(reinterpret_cast<void*>(assign),
            reinterpret_cast<void*>(&trove::host::assignStringObject));
  EXPECT_EQ(trove::hostStringAssign(), assign);
  EXPECT_EQ(host.counters().resolveStringAssign, 3u);

  // A cell that holds an address is not asked for.
  void* known = reinterpret_cast<void*>(&trove::host::hostTrace);
  EXPECT_EQ(trove::resolveHostFunction(&known, 1, 0x5EC5256C, 2), known);
  EXPECT_EQ(host.counters().resolveHostFunction, 5u);

  // The function found fills a string object as the module asks it to.
  trove::host::StringObject text;
  const char16_t units[] = u"abc";
  EXPECT_EQ(assign(text.get(), 0, 0xFFFF, units, sizeof units, 1200), errOk);
  EXPECT_EQ(text.text(), u"abc");
  trove::setRootObject(nullptr);
}

// An object whose services table records the holder it was called with.
void** gSeenHolder = nullptr;
char gStaticBlock[8];
int32_t recordingAlloc(void** holder, void** block, uint32_t) {
  gSeenHolder = holder;
  *block = gStaticBlock;
  return 7;
}
int32_t recordingFree(void** holder, void*) {
  gSeenHolder = holder;
  return errOk;
}

TEST(HostServices, HeapCallsGoThroughWordOneOfTheGivenObject) {
  void* services[TROVE_SERVICES_COUNT] = {};
  services[TROVE_SERVICE_ALLOC] = reinterpret_cast<void*>(&recordingAlloc);
  services[TROVE_SERVICE_FREE] = reinterpret_cast<void*>(&recordingFree);
  TroveHostObject object{nullptr, services, nullptr};
  void* block = nullptr;
  EXPECT_EQ(trove::hostAlloc(&object, &block, 5), 7) << "the service's result comes back";
  EXPECT_EQ(block, gStaticBlock);
  EXPECT_EQ(gSeenHolder, reinterpret_cast<void**>(&object.services));
  gSeenHolder = nullptr;
  trove::hostFree(&object, block);
  EXPECT_EQ(gSeenHolder, reinterpret_cast<void**>(&object.services));
}

TEST(HostServices, ObjectHeapAllocatesReallocatesAndFrees) {
  HeapObject object;
  HostHeap& heap = HostHeap::instance();
  size_t violations = heap.violationCount();

  void* block = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &block, 16), errOk);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(heap.holderOfBlock(block), object.holder());
  EXPECT_EQ(object.liveBlocks(), 1u);
  EXPECT_EQ(object.liveBytes(), 16u);
  std::memcpy(block, "sixteen bytes!!", 16);

  void* grown = nullptr;
  ASSERT_EQ(trove::hostRealloc(object.get(), &grown, block, 64), errOk);
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(std::memcmp(grown, "sixteen bytes!!", 16), 0) << "the content moves along";
  EXPECT_EQ(object.liveBlocks(), 1u);
  EXPECT_EQ(object.liveBytes(), 64u);

  void* empty = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &empty, 0), errOk);
  EXPECT_NE(empty, nullptr) << "a size of 0 still gives a block";
  EXPECT_EQ(object.liveBlocks(), 2u);

  trove::hostFree(object.get(), grown);
  trove::hostFree(object.get(), empty);
  trove::hostFree(object.get(), nullptr);
  EXPECT_EQ(object.liveBlocks(), 0u);
  EXPECT_EQ(object.liveBytes(), 0u);
  EXPECT_EQ(heap.violationCount(), violations);

  EXPECT_EQ(trove::hostAlloc(object.get(), nullptr, 4), errInvalidArgument);
}

TEST(HostServices, FailedAllocationsLeaveNoBlock) {
  HeapObject object;
  HostHeap& heap = HostHeap::instance();
  void* kept = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &kept, 8), errOk);
  heap.failAllocationsAfter(1, object.holder());
  void* block = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(trove::hostAlloc(object.get(), &block, 8), errOk);
  trove::hostFree(object.get(), block);
  block = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(trove::hostAlloc(object.get(), &block, 8), errOutOfMemory);
  EXPECT_EQ(block, nullptr);
  void* grown = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(trove::hostRealloc(object.get(), &grown, kept, 32), errOutOfMemory);
  EXPECT_EQ(grown, nullptr);
  EXPECT_EQ(heap.blockSize(kept), 8u) << "a failed reallocation keeps the old block";
  {
    HeapObject other;  // another holder is not affected
    void* elsewhere = nullptr;
    EXPECT_EQ(trove::hostAlloc(other.get(), &elsewhere, 8), errOk);
    trove::hostFree(other.get(), elsewhere);
  }
  heap.stopFailing();
  EXPECT_EQ(trove::hostAlloc(object.get(), &block, 8), errOk);
  trove::hostFree(object.get(), block);
  trove::hostFree(object.get(), kept);
  EXPECT_EQ(object.liveBlocks(), 0u);
}

TEST(HostServices, RootHeapServesBlocksWithoutAnObject) {
  Host host;
  HostHeap& heap = HostHeap::instance();
  size_t violations = heap.violationCount();
  void** rootHolder = trove::host::holderOf(host.root());

  trove::setRootObject(nullptr);
  void* block = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(trove::rootAlloc(&block, 10), errUnexpected);
  EXPECT_EQ(block, nullptr);

  trove::setRootObject(host.root());
  EXPECT_EQ(trove::rootObject(), host.root());
  ASSERT_EQ(trove::rootAlloc(&block, 10), errOk);
  EXPECT_EQ(heap.holderOfBlock(block), rootHolder);
  void* fallback = nullptr;
  ASSERT_EQ(trove::hostAlloc(nullptr, &fallback, 4), errOk);
  EXPECT_EQ(heap.holderOfBlock(fallback), rootHolder) << "no object: the root's heap";
  EXPECT_EQ(heap.liveBlocks(rootHolder), 2u);
  trove::rootFree(block);
  trove::hostFree(nullptr, fallback);
  EXPECT_EQ(heap.liveBlocks(rootHolder), 0u);
  EXPECT_EQ(heap.violationCount(), violations);
  trove::setRootObject(nullptr);
}

TEST(HostServices, HostRecordsBlocksGivenBackThroughAnotherHolder) {
  HeapObject a;
  HeapObject b;
  HostHeap& heap = HostHeap::instance();
  heap.clearViolations();
  void* block = nullptr;
  ASSERT_EQ(trove::hostAlloc(a.get(), &block, 4), errOk);
  trove::hostFree(b.get(), block);
  ASSERT_EQ(heap.violationCount(), 1u);
  auto violation = heap.violations()[0];
  EXPECT_EQ(violation.block, block);
  EXPECT_EQ(violation.holder, b.holder());
  EXPECT_EQ(violation.expectedHolder, a.holder());
  EXPECT_EQ(a.liveBlocks(), 0u) << "the block is freed all the same";

  // Freeing it again, or freeing what the heap never gave, is recorded too
  // and frees nothing.
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
  heap.clearViolations();
}

TEST(HostServices, UnusedServicesAnswerNotSupported) {
  void** table = trove::host::servicesTable();
  using Service = int32_t (*)(void*);
  for (int slot : {0, 1, 51, 55, 68, 81}) {
    ASSERT_NE(table[slot], nullptr) << slot;
    EXPECT_EQ(reinterpret_cast<Service>(table[slot])(nullptr), errNotSupported) << slot;
  }
}

TEST(HostServices, HeapObjectReclaimsWhatItStillHolds) {
  HostHeap& heap = HostHeap::instance();
  void** holder = nullptr;
  size_t before = heap.totalLiveBlocks();
  {
    HeapObject object;
    holder = object.holder();
    void* block = nullptr;
    ASSERT_EQ(trove::hostAlloc(object.get(), &block, 12), errOk);
    EXPECT_EQ(heap.totalLiveBlocks(), before + 1);
  }
  EXPECT_EQ(heap.totalLiveBlocks(), before);
  EXPECT_EQ(heap.liveBlocks(holder), 0u);
}

// Blocks freed from the head, the middle and the tail of the holder's list
// of live blocks leave the rest reclaimable, and the holder starts afresh.
TEST(HostServices, ReclaimAfterPartialFreesFreesTheRest) {
  HostHeap& heap = HostHeap::instance();
  const size_t before = heap.totalLiveBlocks();
  HeapObject object;
  void* blocks[5] = {};
  for (uint32_t i = 0; i < 5; ++i)
    ASSERT_EQ(trove::hostAlloc(object.get(), &blocks[i], 8 + i), errOk);
  for (int i : {0, 2, 4}) trove::hostFree(object.get(), blocks[i]);
  EXPECT_EQ(object.liveBytes(), 9u + 11u);
  EXPECT_EQ(heap.reclaim(object.holder()), 2u);
  EXPECT_EQ(heap.totalLiveBlocks(), before);
  EXPECT_EQ(heap.blockSize(blocks[1]), 0u) << "a reclaimed block is no block";
  void* again = nullptr;
  ASSERT_EQ(trove::hostAlloc(object.get(), &again, 4), errOk);
  EXPECT_EQ(heap.stats(object.holder()).allocations, 1u);
  EXPECT_EQ(object.liveBlocks(), 1u);
}

// Threads allocating, reallocating and freeing at once, two to a holder:
// every holder's counts come out exact.
TEST(HostServices, ConcurrentHoldersKeepExactCounts) {
  constexpr int kRounds = 10000;
  HostHeap& heap = HostHeap::instance();
  HeapObject holders[2];
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&holders, t] {
      void* object = holders[t % 2].get();
      std::vector<void*> kept;
      for (int i = 0; i < kRounds; ++i) {
        void* block = nullptr;
        if (trove::hostAlloc(object, &block, 16) < 0) return;
        if (i % 2) {
          trove::hostFree(object, block);
        } else {
          void* grown = nullptr;
          if (trove::hostRealloc(object, &grown, block, 32) < 0) return;
          kept.push_back(grown);
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (HeapObject& holder : holders) {
    const auto stats = heap.stats(holder.holder());
    EXPECT_EQ(stats.liveBlocks, size_t{kRounds});  // two threads, half of each round kept
    EXPECT_EQ(stats.liveBytes, size_t{kRounds} * 32);
    EXPECT_EQ(stats.allocations,
              size_t{kRounds} * 3);  // a thread: every round, realloc every other
    EXPECT_EQ(stats.frees, size_t{kRounds} * 2);
  }
}

// A foreign pointer at the start of a page, after a page that cannot be
// read, is refused without looking in front of it.
TEST(HostServices, ForeignPointerAtAPageStartIsRefused) {
  const size_t page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
  void* area =
      ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(area, MAP_FAILED);
  ASSERT_EQ(::mprotect(area, page, PROT_NONE), 0);
  void* foreign = static_cast<char*>(area) + page;
  HostHeap& heap = HostHeap::instance();
  const size_t violations = heap.violationCount();
  HeapObject object;
  EXPECT_EQ(heap.blockSize(foreign), 0u);
  EXPECT_EQ(heap.release(object.holder(), foreign), errInvalidArgument);
  void* moved = nullptr;
  EXPECT_EQ(heap.reallocate(object.holder(), &moved, foreign, 8), errInvalidArgument);
  EXPECT_EQ(heap.violationCount(), violations + 2);
  heap.clearViolations();
  ::munmap(area, 2 * page);
}

}  // namespace
