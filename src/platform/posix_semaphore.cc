#include <condition_variable>
#include <mutex>
#include <new>

#include "platform/posix_platform.h"

namespace trove::platform {

// A counting semaphore with an explicit maximum: a release that would pass
// it fails and changes nothing, as the module's lock expects.
class Semaphore {
 public:
  void wait() {
    std::unique_lock lock(mutex_);
    available_.wait(lock, [this] { return count_ > 0; });
    --count_;
  }

  WinError release(uint32_t count) {
    if (count == 0) return kInvalidParameter;
    {
      std::lock_guard lock(mutex_);
      if (count > kSemaphoreMaximum - count_) return kTooManyPosts;
      count_ += count;
    }
    if (count == 1) {
      available_.notify_one();
    } else {
      available_.notify_all();
    }
    return kSuccess;
  }

 private:
  std::mutex mutex_;
  std::condition_variable available_;
  uint32_t count_ = 0;
};

Semaphore* PosixPlatform::createSemaphore() {
  return new (std::nothrow) Semaphore;
}

void PosixPlatform::destroySemaphore(Semaphore* semaphore) {
  delete semaphore;
}

WinError PosixPlatform::waitSemaphore(Semaphore* semaphore) {
  if (semaphore == nullptr) return kInvalidHandle;
  semaphore->wait();
  return kSuccess;
}

WinError PosixPlatform::releaseSemaphore(Semaphore* semaphore, uint32_t count) {
  if (semaphore == nullptr) return kInvalidHandle;
  return semaphore->release(count);
}

}  // namespace trove::platform
