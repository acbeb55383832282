// The object's reader/writer lock: a mutex guarding three counters and two
// counting semaphores on which readers and writers wait outside the mutex.
// Readers are admitted whenever no writer holds the lock, also while writers
// wait; a releasing writer hands over to one waiting writer first, else to
// all waiting readers at once.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace trove {

struct RwLock {
  platform::Mutex mutex;
  platform::Semaphore* readerSemaphore = nullptr;
  platform::Semaphore* writerSemaphore = nullptr;
  uint32_t waitingReaders = 0;
  uint32_t waitingWriters = 0;
  int32_t state = 0;  // 0 free, n > 0 readers hold it, -1 a writer holds it

  // Creates both semaphores (replacing earlier ones). On failure none is
  // kept, and the object works without locking.
  void create();
  void destroy();
  bool exists() const { return readerSemaphore != nullptr; }

  int32_t acquireShared();
  int32_t acquireExclusive();
  void releaseLock();
};

// Takes the lock for one scope when locking is enabled and the lock exists.
class LockGuard {
 public:
  enum Mode { Shared, Exclusive };
  LockGuard(RwLock& lock, uint32_t useLocking, Mode mode);
  ~LockGuard();
  LockGuard(const LockGuard&) = delete;
  // The failure of a wait that could not take the lock, else errOk.
  int32_t result() const { return result_; }
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  RwLock* lock_;
  uint32_t enabled_;
  bool held_ = false;
  int32_t result_ = 0;
};

}  // namespace trove
