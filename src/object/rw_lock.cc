#include "object/rw_lock.h"

#include "base/result_messages.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

// Windows reports an abandoned wait as WAIT_ABANDONED (0x80).
constexpr platform::WinError kWaitAbandoned = 0x80;

int32_t waitResult(platform::WinError error) {
  if (error == platform::kSuccess) {
    return errOk;
  }
  if (error == kWaitAbandoned) {
    return errSysWaitAbandoned;
  }
  return resultFromSystemError(error);
}

}  // namespace

void RwLock::create() {
  mutex.lock();
  waitingReaders = 0;
  waitingWriters = 0;
  state = 0;
  mutex.unlock();
  destroy();
  platform::Platform& system = platform::current();
  readerSemaphore = system.createSemaphore();
  if (readerSemaphore == nullptr) {
    return;
  }
  writerSemaphore = system.createSemaphore();
  if (writerSemaphore == nullptr) {
    // Half a lock is no lock: the object goes on without locking.
    system.destroySemaphore(readerSemaphore);
    readerSemaphore = nullptr;
  }
}

void RwLock::destroy() {
  platform::Platform& system = platform::current();
  if (readerSemaphore != nullptr) {
    system.destroySemaphore(readerSemaphore);
    readerSemaphore = nullptr;
  }
  if (writerSemaphore != nullptr) {
    system.destroySemaphore(writerSemaphore);
    writerSemaphore = nullptr;
  }
}

int32_t RwLock::acquireShared() {
  mutex.lock();
  bool mustWait = state < 0;
  if (mustWait) {
    ++waitingReaders;
  } else {
    ++state;
  }
  mutex.unlock();
  if (!mustWait) {
    return errOk;
  }
  return waitResult(platform::current().waitSemaphore(readerSemaphore));
}

int32_t RwLock::acquireExclusive() {
  mutex.lock();
  bool mustWait = state != 0;
  if (mustWait) {
    ++waitingWriters;
  } else {
    state = -1;
  }
  mutex.unlock();
  if (!mustWait) {
    return errOk;
  }
  int32_t result = waitResult(platform::current().waitSemaphore(writerSemaphore));
  return result < 0 ? result : errOk;
}

void RwLock::releaseLock() {
  platform::Semaphore* wake = nullptr;
  uint32_t count = 0;
  mutex.lock();
  if (state > 0) {
    --state;
  } else if (state == -1) {
    state = 0;
  }
  if (state == 0) {
    if (waitingWriters > 0) {
      state = -1;
      --waitingWriters;
      wake = writerSemaphore;
      count = 1;
    } else if (waitingReaders > 0) {
      state = static_cast<int32_t>(waitingReaders);
      count = waitingReaders;
      waitingReaders = 0;
      wake = readerSemaphore;
    }
  }
  mutex.unlock();
  if (wake != nullptr) {
    // A failed release cannot be reported to anyone; the waiter stays asleep.
    platform::current().releaseSemaphore(wake, count);
  }
}

LockGuard::LockGuard(RwLock& lock, uint32_t useLocking, Mode mode)
    : lock_(&lock), enabled_(useLocking) {
  if (enabled_ == 0 || !lock_->exists()) {
    return;
  }
  int32_t result = mode == Exclusive ? lock_->acquireExclusive() : lock_->acquireShared();
  held_ = result >= 0;
  result_ = held_ ? 0 : result;
}

LockGuard::~LockGuard() {
  if (held_) {
    lock_->releaseLock();
  }
}

}  // namespace trove
