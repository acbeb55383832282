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

// The header in front of every block.
struct HostHeap::BlockHeader {
  BlockHeader* previous;  // the holder's circular list of live blocks
  BlockHeader* next;
  Holder* holder;
  uint32_t size;
  // canaryOf(this); bit 0 set when the header lies 32 bytes past the start of
  // its malloc block. Cleared when the block is freed.
  uint32_t check;
};

struct alignas(64) HostHeap::Holder {
  std::atomic<const void*> address = nullptr;  // null: free for the next new holder
  Holder* next = nullptr;                      // in its bucket, fixed once published
  std::mutex mutex;                            // guards the list; counts change under it
  BlockHeader list{&list, &list, this, 0, 0};  // the list's sentinel
  std::atomic<size_t> liveBlocks = 0;
  std::atomic<size_t> liveBytes = 0;
  std::atomic<size_t> allocations = 0;
  std::atomic<size_t> frees = 0;
};

namespace {

using Header = HostHeap::BlockHeader;

constexpr uintptr_t kPageSize = 4096;
constexpr uint32_t kPadded = 1;

static_assert(sizeof(Header) == 32 && alignof(std::max_align_t) >= 16,
              "blocks must stay 16-byte aligned behind their header");

// Ties the header to its address, holder and size: a stale or made-up
// pointer matches by chance once in 2^31. Reads what may be no header at all
// (see liveHeader), so the sanitizer must not stop it.
__attribute__((no_sanitize("address", "thread"))) uint32_t canaryOf(const Header* header) {
  uint64_t x = reinterpret_cast<uintptr_t>(header) ^
               (reinterpret_cast<uintptr_t>(header->holder) << 7) ^ (uint64_t{header->size} << 32) ^
               0x9E3779B97F4A7C15u;
  x = (x ^ (x >> 33)) * 0xFF51AFD7ED558CCDu;
  x = (x ^ (x >> 33)) * 0xC4CEB9FE1A85EC53u;
  return static_cast<uint32_t>(x ^ (x >> 33)) & ~kPadded;
}

// Blocks never begin in the first 32 bytes of a page, so reading the header
// of any pointer stays on that pointer's own page.
// Takes the address as a number: a block's place is all that is asked, never
// its bytes.
bool startsPage(uintptr_t address) {
  return address % kPageSize < sizeof(Header);
}

bool startsPage(const void* block) {
  return startsPage(reinterpret_cast<uintptr_t>(block));
}

void* mallocBase(Header* header) {
  return reinterpret_cast<unsigned char*>(header) -
         ((header->check & kPadded) ? sizeof(Header) : 0);
}

// Written under the holder's mutex, read anywhere.
void add(std::atomic<size_t>& counter, size_t amount) {
  counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}
void subtract(std::atomic<size_t>& counter, size_t amount) {
  counter.store(counter.load(std::memory_order_relaxed) - amount, std::memory_order_relaxed);
}

size_t bucketOf(const void* holder) {
  return static_cast<size_t>((reinterpret_cast<uintptr_t>(holder) >> 3) * 0x9E3779B97F4A7C15u >>
                             56);
}

}  // namespace

HostHeap& HostHeap::instance() {
  // Never destroyed: modules may free blocks from static destructors.
  static HostHeap* heap = new HostHeap;
  return *heap;
}

// Lock-free: records are never freed, and a record's place in its bucket
// never changes once published.
HostHeap::Holder* HostHeap::find(const void* holder) const {
  static_assert(kBuckets == 256, "bucketOf gives 8 bits");
  for (Holder* record = buckets_[bucketOf(holder)].load(std::memory_order_acquire); record;
       record = record->next) {
    if (record->address.load(std::memory_order_acquire) == holder) return record;
  }
  return nullptr;
}

HostHeap::Holder* HostHeap::findOrAdd(const void* holder) {
  if (Holder* found = find(holder)) return found;
  std::lock_guard lock(addMutex_);
  if (Holder* found = find(holder)) return found;
  std::atomic<Holder*>& bucket = buckets_[bucketOf(holder)];
  // A reclaimed holder's record serves the next holder of its bucket, so the
  // records number at most the holders alive at once.
  for (Holder* record = bucket.load(std::memory_order_relaxed); record; record = record->next) {
    if (record->address.load(std::memory_order_relaxed) == nullptr) {
      record->address.store(holder, std::memory_order_release);
      return record;
    }
  }
  auto* record = new (std::nothrow) Holder;
  if (!record) return nullptr;
  record->address.store(holder, std::memory_order_relaxed);
  record->next = bucket.load(std::memory_order_relaxed);
  bucket.store(record, std::memory_order_release);
  return record;
}

// The header of a live block, or null. Reading in front of a pointer that is
// not a block is what this check is for, so the sanitizer must not stop it.
__attribute__((no_sanitize("address", "thread"))) HostHeap::BlockHeader* HostHeap::liveHeader(
    const void* block) {
  if (reinterpret_cast<uintptr_t>(block) % 16 != 0 || startsPage(block)) return nullptr;
  auto* header = const_cast<Header*>(static_cast<const Header*>(block) - 1);
  return (header->check & ~kPadded) == canaryOf(header) ? header : nullptr;
}

void* HostHeap::newBlock(Holder& holder, uint32_t size) {
  const size_t total = sizeof(Header) + size;
  auto* base = static_cast<unsigned char*>(std::malloc(total));
  if (!base) return nullptr;
  uint32_t padded = 0;
  if (startsPage(reinterpret_cast<uintptr_t>(base) + sizeof(Header))) {
    // Rare (2 in 256 places): with 32 bytes more, one of the two offsets fits.
    // Grown rather than swapped for another block, which malloc would hand
    // straight back for the next block of this size.
    auto* grown = static_cast<unsigned char*>(std::realloc(base, total + sizeof(Header)));
    if (!grown) {
      std::free(base);
      return nullptr;
    }
    base = grown;
    padded = startsPage(reinterpret_cast<uintptr_t>(base) + sizeof(Header)) ? kPadded : 0;
  }
  auto* header = reinterpret_cast<Header*>(base + (padded ? sizeof(Header) : 0));
  header->holder = &holder;
  header->size = size;
  header->check = canaryOf(header) | padded;
  {
    std::lock_guard lock(holder.mutex);
    header->previous = holder.list.previous;
    header->next = &holder.list;
    holder.list.previous->next = header;
    holder.list.previous = header;
    add(holder.liveBlocks, 1);
    add(holder.liveBytes, size);
    add(holder.allocations, 1);
  }
  return header + 1;
}

// False when another thread freed the block first.
bool HostHeap::freeBlock(BlockHeader* header) {
  Holder& holder = *header->holder;
  {
    std::lock_guard lock(holder.mutex);
    if ((header->check & ~kPadded) != canaryOf(header)) return false;
    header->previous->next = header->next;
    header->next->previous = header->previous;
    subtract(holder.liveBlocks, 1);
    subtract(holder.liveBytes, header->size);
    add(holder.frees, 1);
    header->check &= kPadded;
  }
  std::free(mallocBase(header));
  return true;
}

HolderStats HostHeap::stats(const void* holder) const {
  Holder* record = find(holder);
  if (!record) return {};
  std::lock_guard lock(record->mutex);
  return HolderStats{record->liveBlocks.load(), record->liveBytes.load(),
                     record->allocations.load(), record->frees.load()};
}

size_t HostHeap::totalLiveBlocks() const {
  size_t total = 0;
  for (const auto& bucket : buckets_) {
    for (Holder* record = bucket.load(std::memory_order_acquire); record; record = record->next) {
      total += record->liveBlocks.load(std::memory_order_relaxed);
    }
  }
  return total;
}

size_t HostHeap::blockSize(const void* block) const {
  const Header* header = liveHeader(block);
  return header ? header->size : 0;
}

const void* HostHeap::holderOfBlock(const void* block) const {
  const Header* header = liveHeader(block);
  return header ? header->holder->address.load(std::memory_order_relaxed) : nullptr;
}

void HostHeap::recordViolation(HeapViolation violation) {
  std::lock_guard lock(violationsMutex_);
  violations_.push_back(std::move(violation));
}

std::vector<HeapViolation> HostHeap::violations() const {
  std::lock_guard lock(violationsMutex_);
  return violations_;
}

size_t HostHeap::violationCount() const {
  std::lock_guard lock(violationsMutex_);
  return violations_.size();
}

void HostHeap::clearViolations() {
  std::lock_guard lock(violationsMutex_);
  violations_.clear();
}

void HostHeap::failAllocationsAfter(size_t successes, const void* holder) {
  std::lock_guard lock(failingMutex_);
  successesLeft_ = successes;
  failingHolder_ = holder;
  failing_.store(true);
}

void HostHeap::stopFailing() {
  std::lock_guard lock(failingMutex_);
  failing_.store(false);
  failingHolder_ = nullptr;
}

bool HostHeap::allocationAllowed(const void* holder) {
  if (!failing_.load(std::memory_order_relaxed)) return true;
  std::lock_guard lock(failingMutex_);
  if (!failing_.load(std::memory_order_relaxed)) return true;
  if (failingHolder_ && failingHolder_ != holder) return true;
  if (successesLeft_ == 0) return false;
  --successesLeft_;
  return true;
}

size_t HostHeap::reclaim(const void* holder) {
  Holder* record = find(holder);
  if (!record) return 0;
  std::lock_guard lock(record->mutex);
  size_t count = 0;
  for (Header* header = record->list.next; header != &record->list;) {
    Header* next = header->next;
    header->check &= kPadded;
    std::free(mallocBase(header));
    header = next;
    ++count;
  }
  record->list.previous = record->list.next = &record->list;
  record->liveBlocks.store(0);
  record->liveBytes.store(0);
  record->allocations.store(0);
  record->frees.store(0);
  record->address.store(nullptr, std::memory_order_release);
  return count;
}

int32_t HostHeap::allocate(void** holder, void** block, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  if (!allocationAllowed(holder)) return errOutOfMemory;
  Holder* record = findOrAdd(holder);
  // A size of 0 still gives a block of its own, to be freed like any other.
  void* fresh = record ? newBlock(*record, size) : nullptr;
  if (!fresh) return errOutOfMemory;
  std::memset(fresh, kFreshBlockFill, size);
  *block = fresh;
  return errOk;
}

int32_t HostHeap::reallocate(void** holder, void** block, void* old, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  Header* previous = nullptr;
  if (old) {
    previous = liveHeader(old);
    if (!previous) {
      recordViolation({old, holder, nullptr, "reallocation of a block the heap never gave out"});
      return errInvalidArgument;
    }
    const void* owner = previous->holder->address.load(std::memory_order_relaxed);
    if (owner != holder) {
      recordViolation({old, holder, owner, "block reallocated through another holder"});
    }
  }
  if (!allocationAllowed(holder)) return errOutOfMemory;
  Holder* record = findOrAdd(holder);
  void* fresh = record ? newBlock(*record, size) : nullptr;
  if (!fresh) return errOutOfMemory;
  // Always a new block, so that code which keeps using the old one shows it.
  const size_t kept = previous && previous->size < size ? previous->size : previous ? size : 0;
  if (kept) std::memcpy(fresh, old, kept);
  if (size > kept) std::memset(static_cast<char*>(fresh) + kept, kFreshBlockFill, size - kept);
  if (previous) freeBlock(previous);
  *block = fresh;
  return errOk;
}

int32_t HostHeap::release(void** holder, void* block) {
  if (!block) return errOk;
  Header* header = liveHeader(block);
  const void* owner = header ? header->holder->address.load(std::memory_order_relaxed) : nullptr;
  if (!header || !freeBlock(header)) {
    // Not ours (or freed twice): freeing it would corrupt the process heap.
    recordViolation({block, holder, nullptr, "free of a block the heap does not hold"});
    return errInvalidArgument;
  }
  if (owner != holder) {
    recordViolation({block, holder, owner, "block freed through another holder"});
  }
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
