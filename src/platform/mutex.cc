#include <pthread.h>

#include <new>

#include "platform/platform.h"

namespace trove::platform {

namespace {
static_assert(sizeof(pthread_mutex_t) <= 40, "the mutex must fit its in-place storage");
static_assert(alignof(pthread_mutex_t) <= 8);
}  // namespace

Mutex::Mutex() {
  auto* mutex = new (storage_) pthread_mutex_t;
  // A default mutex cannot fail to initialise on Linux.
  pthread_mutex_init(mutex, nullptr);
}

Mutex::~Mutex() {
  pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(storage_));
}

void Mutex::lock() {
  pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(storage_));
}

void Mutex::unlock() {
  pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(storage_));
}

}  // namespace trove::platform
