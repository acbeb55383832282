// The object services that the host gives every object through word 1, backed
// by the process heap, with accounting per holder (the address of word 1):
// live blocks and bytes, and a record of every block freed or reallocated
// through a holder other than the one it came from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
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

class HostHeap {
 public:
  // One heap per process: a block may travel between hosts' objects only
  // through its own holder, whichever host made it.
  static HostHeap& instance();

  HolderStats stats(const void* holder) const;
  size_t liveBlocks(const void* holder) const { return stats(holder).liveBlocks; }
  size_t liveBytes(const void* holder) const { return stats(holder).liveBytes; }
  size_t totalLiveBlocks() const;
  size_t blockSize(const void* block) const;  // 0 for an unknown block
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
  size_t reclaim(const void* holder);

  // The services themselves, as the table calls them.
  int32_t allocate(void** holder, void** block, uint32_t size);
  int32_t reallocate(void** holder, void** block, void* old, uint32_t size);
  int32_t release(void** holder, void* block);

 private:
  HostHeap() = default;
  bool allocationAllowed(const void* holder);  // called with the mutex held

  struct Block {
    const void* holder;
    size_t size;
  };
  mutable std::mutex mutex_;
  std::unordered_map<const void*, Block> blocks_;
  std::unordered_map<const void*, HolderStats> holders_;
  std::vector<HeapViolation> violations_;
  bool failing_ = false;
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
