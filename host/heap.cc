#include "trove/host/heap.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove::host {
namespace {

// New blocks are filled with this byte rather than zeros, so that code which
// takes a fresh block for zero-filled shows it at once.
constexpr unsigned char kFreshBlockFill = 0xA5;

int32_t serviceAlloc(void** holder, void** block, uint32_t size) {
  return HostHeap::instance().allocate(holder, block, size);
}

int32_t serviceRealloc(void** holder, void** block, void* old, uint32_t size) {
  return HostHeap::instance().reallocate(holder, block, old, size);
}

int32_t serviceFree(void** holder, void* block) {
  return HostHeap::instance().release(holder, block);
}

int32_t serviceNotSupported(void*) {
  return errNotSupported;
}

template <typename T>
void* entry(T function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

void** servicesTable() {
  static void* table[TROVE_SERVICES_COUNT] = {};
  static const bool filled = [] {
    for (void*& slot : table) slot = entry(&serviceNotSupported);
    table[TROVE_SERVICE_ALLOC] = entry(&serviceAlloc);
    table[TROVE_SERVICE_REALLOC] = entry(&serviceRealloc);
    table[TROVE_SERVICE_FREE] = entry(&serviceFree);
    return true;
  }();
  (void)filled;
  return table;
}

HostHeap& HostHeap::instance() {
  // Never destroyed: modules may free blocks from static destructors.
  static HostHeap* heap = new HostHeap;
  return *heap;
}

HolderStats HostHeap::stats(const void* holder) const {
  std::lock_guard lock(mutex_);
  auto found = holders_.find(holder);
  return found == holders_.end() ? HolderStats{} : found->second;
}

size_t HostHeap::totalLiveBlocks() const {
  std::lock_guard lock(mutex_);
  return blocks_.size();
}

size_t HostHeap::blockSize(const void* block) const {
  std::lock_guard lock(mutex_);
  auto found = blocks_.find(block);
  return found == blocks_.end() ? 0 : found->second.size;
}

const void* HostHeap::holderOfBlock(const void* block) const {
  std::lock_guard lock(mutex_);
  auto found = blocks_.find(block);
  return found == blocks_.end() ? nullptr : found->second.holder;
}

std::vector<HeapViolation> HostHeap::violations() const {
  std::lock_guard lock(mutex_);
  return violations_;
}

size_t HostHeap::violationCount() const {
  std::lock_guard lock(mutex_);
  return violations_.size();
}

void HostHeap::clearViolations() {
  std::lock_guard lock(mutex_);
  violations_.clear();
}

void HostHeap::failAllocationsAfter(size_t successes, const void* holder) {
  std::lock_guard lock(mutex_);
  failing_ = true;
  successesLeft_ = successes;
  failingHolder_ = holder;
}

void HostHeap::stopFailing() {
  std::lock_guard lock(mutex_);
  failing_ = false;
  failingHolder_ = nullptr;
}

bool HostHeap::allocationAllowed(const void* holder) {
  if (!failing_) return true;
  if (failingHolder_ && failingHolder_ != holder) return true;
  if (successesLeft_ == 0) return false;
  --successesLeft_;
  return true;
}

size_t HostHeap::reclaim(const void* holder) {
  std::lock_guard lock(mutex_);
  size_t count = 0;
  for (auto it = blocks_.begin(); it != blocks_.end();) {
    if (it->second.holder == holder) {
      std::free(const_cast<void*>(it->first));
      it = blocks_.erase(it);
      ++count;
    } else {
      ++it;
    }
  }
  holders_.erase(holder);
  return count;
}

int32_t HostHeap::allocate(void** holder, void** block, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  std::lock_guard lock(mutex_);
  if (!allocationAllowed(holder)) return errOutOfMemory;
  // A size of 0 still gives a block of its own, to be freed like any other.
  void* fresh = std::malloc(size ? size : 1);
  if (!fresh) return errOutOfMemory;
  std::memset(fresh, kFreshBlockFill, size);
  blocks_[fresh] = Block{holder, size};
  HolderStats& stats = holders_[holder];
  ++stats.liveBlocks;
  stats.liveBytes += size;
  ++stats.allocations;
  *block = fresh;
  return errOk;
}

int32_t HostHeap::reallocate(void** holder, void** block, void* old, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  std::lock_guard lock(mutex_);
  size_t oldSize = 0;
  if (old) {
    auto found = blocks_.find(old);
    if (found == blocks_.end()) {
      violations_.push_back(
          {old, holder, nullptr, "reallocation of a block the heap never gave out"});
      return errInvalidArgument;
    }
    if (found->second.holder != holder) {
      violations_.push_back(
          {old, holder, found->second.holder, "block reallocated through another holder"});
    }
    oldSize = found->second.size;
  }
  if (!allocationAllowed(holder)) return errOutOfMemory;
  void* fresh = std::malloc(size ? size : 1);
  if (!fresh) return errOutOfMemory;
  size_t kept = oldSize < size ? oldSize : size;
  if (kept) std::memcpy(fresh, old, kept);
  if (size > kept) std::memset(static_cast<char*>(fresh) + kept, kFreshBlockFill, size - kept);
  if (old) {
    Block previous = blocks_[old];
    blocks_.erase(old);
    HolderStats& from = holders_[previous.holder];
    --from.liveBlocks;
    from.liveBytes -= previous.size;
    ++from.frees;
    std::free(old);
  }
  blocks_[fresh] = Block{holder, size};
  HolderStats& stats = holders_[holder];
  ++stats.liveBlocks;
  stats.liveBytes += size;
  ++stats.allocations;
  *block = fresh;
  return errOk;
}

int32_t HostHeap::release(void** holder, void* block) {
  if (!block) return errOk;
  std::lock_guard lock(mutex_);
  auto found = blocks_.find(block);
  if (found == blocks_.end()) {
    // Not ours (or freed twice): freeing it would corrupt the process heap.
    violations_.push_back({block, holder, nullptr, "free of a block the heap does not hold"});
    return errInvalidArgument;
  }
  Block freed = found->second;
  if (freed.holder != holder) {
    violations_.push_back({block, holder, freed.holder, "block freed through another holder"});
  }
  blocks_.erase(found);
  HolderStats& stats = holders_[freed.holder];
  --stats.liveBlocks;
  stats.liveBytes -= freed.size;
  ++stats.frees;
  std::free(block);
  return errOk;
}

HeapObject::HeapObject(size_t dataSize)
    : header_(static_cast<void**>(
          std::calloc(1, TROVE_HOST_HEADER_SIZE + ((dataSize + 7) & ~size_t{7})))) {
  if (!header_) throw std::bad_alloc();
  header_[1] = servicesTable();
}

HeapObject::~HeapObject() {
  HostHeap::instance().reclaim(holder());
  std::free(header_);
}

}  // namespace trove::host
