// The object services that the host gives every object through word 1, backed
// by the process heap, with accounting per holder (the address of word 1):
// live blocks and bytes, and a record of every block freed or reallocated
// through a holder other than the one it came from.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace trove::host {

// The working services table: at least 82 entries; 52 hostAlloc, 53
// hostRealloc and 54 hostFree work, every other entry returns errNotSupported.
void** servicesTable();

// The holder of an object: the address of its word 1.
inline void** holderOf(const void* object) {
  return const_cast<void**>(static_cast<void* const*>(object) + 1);
}

struct HeapViolation {
  const void* block = nullptr;
  const void* holder = nullptr;          // the holder it was given back through
  const void* expectedHolder = nullptr;  // the holder it came from (null: unknown block)
  std::string what;
};

struct HolderStats {
  size_t liveBlocks = 0;
  size_t liveBytes = 0;
  size_t allocations = 0;  // successful hostAlloc and hostRealloc calls
  size_t frees = 0;
};

// Every block carries a 32-byte header in front of it (its holder's record,
// its size, a canary, links in its holder's list of live blocks), so that
// giving a block back needs no look-up. Each holder has a record of its own,
// found without a global lock, whose mutex guards only its list; counts are
// atomics. The global mutexes serve only rare events: a holder seen for the
// first time, a violation, fault injection.
class HostHeap {
 public:
  // One heap per process: a block may travel between hosts' objects only
  // through its own holder, whichever host made it.
  static HostHeap& instance();

  // All zero for a holder that has no blocks and never had, or was reclaimed.
  HolderStats stats(const void* holder) const;
  size_t liveBlocks(const void* holder) const { return stats(holder).liveBlocks; }
  size_t liveBytes(const void* holder) const { return stats(holder).liveBytes; }
  size_t totalLiveBlocks() const;  // sums over every holder record
  // Read from the block's header in constant time. Anything that is not a
  // live block gives 0 (null): a pointer into a live object of the process,
  // or a block of this heap freed since. Only a pointer into memory that is
  // not mapped (a large freed block whose pages malloc gave back) faults.
  size_t blockSize(const void* block) const;
  const void* holderOfBlock(const void* block) const;

  std::vector<HeapViolation> violations() const;
  size_t violationCount() const;
  void clearViolations();

  // Fault injection: after `successes` further successful allocations
  // (through `holder`, or any holder when null) every allocation fails with
  // errOutOfMemory until stopFailing().
  void failAllocationsAfter(size_t successes, const void* holder = nullptr);
  void stopFailing();

  // Frees every block still held by `holder` and returns how many there were.
  // The holder's counts start again from zero.
  size_t reclaim(const void* holder);

  // The services themselves, as the table calls them.
  int32_t allocate(void** holder, void** block, uint32_t size);
  int32_t reallocate(void** holder, void** block, void* old, uint32_t size);
  int32_t release(void** holder, void* block);

  // Defined with the heap's code.
  struct Holder;
  struct BlockHeader;

 private:
  HostHeap() = default;
  Holder* find(const void* holder) const;
  Holder* findOrAdd(const void* holder);
  static BlockHeader* liveHeader(const void* block);
  static void* newBlock(Holder& holder, uint32_t size);
  bool freeBlock(BlockHeader* header);
  bool allocationAllowed(const void* holder);
  void recordViolation(HeapViolation violation);

  static constexpr size_t kBuckets = 256;
  std::atomic<Holder*> buckets_[kBuckets] = {};
  std::mutex addMutex_;
  mutable std::mutex violationsMutex_;
  std::vector<HeapViolation> violations_;
  std::atomic<bool> failing_ = false;
  std::mutex failingMutex_;
  size_t successesLeft_ = 0;
  const void* failingHolder_ = nullptr;
};

// A bare host object whose word 1 is the working services table: a holder for
// code that allocates through an object (tests of the tree and the codecs).
// Blocks it still holds when it goes are reclaimed and counted.
class HeapObject {
 public:
  explicit HeapObject(size_t dataSize = 0);
  ~HeapObject();
  HeapObject(const HeapObject&) = delete;
  HeapObject& operator=(const HeapObject&) = delete;

  void* get() const { return header_; }
  void** holder() const { return holderOf(header_); }
  unsigned char* data() const { return reinterpret_cast<unsigned char*>(header_) + 24; }
  size_t liveBlocks() const { return HostHeap::instance().liveBlocks(holder()); }
  size_t liveBytes() const { return HostHeap::instance().liveBytes(holder()); }

 private:
  void** header_;
};

}  // namespace trove::host
