// The object's reader/writer lock with real threads: exclusion, who is let in
// and in what order. Blocked threads are seen in the waiting counters.
#include "object/rw_lock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/fault_injecting_platform.h"
#include "trove/result_codes.h"

namespace trove {
namespace {

using platform::FaultInjectingPlatform;
using platform::Op;

void waitForWaiters(RwLock& lock, uint32_t readers, uint32_t writers) {
  for (;;) {
    lock.mutex.lock();
    const bool there = lock.waitingReaders == readers && lock.waitingWriters == writers;
    lock.mutex.unlock();
    if (there) return;
    std::this_thread::yield();
  }
}

class RwLockTest : public ::testing::Test {
 protected:
  void SetUp() override { lock.create(); }
  void TearDown() override { lock.destroy(); }
  RwLock lock;
};

TEST_F(RwLockTest, WritersExcludeEveryoneReadersOnlyWriters) {
  std::atomic<int> readers{0}, writers{0}, violations{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        const bool writing = (i + t) % 3 == 0;
        LockGuard guard(lock, 1, writing ? LockGuard::Exclusive : LockGuard::Shared);
        std::atomic<int>& mine = writing ? writers : readers;
        ++mine;
        violations += writers > 1 || (writers > 0 && readers > 0);
        --mine;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(violations.load(), 0);
  EXPECT_EQ(lock.state, 0) << "the lock is free again";
}

TEST_F(RwLockTest, ReadersPassWaitingWritersAndAReleasingWriterPrefersAWriter) {
  std::mutex logMutex;
  std::vector<std::string> log;
  auto note = [&](const char* who) {
    std::lock_guard hold(logMutex);
    log.push_back(who);
  };
  auto logged = [&] {
    std::lock_guard hold(logMutex);
    return log;
  };
  std::atomic<bool> writersMayLeave{false};
  std::atomic<int> readersInside{0}, readersTogether{0};
  auto writer = [&] {
    EXPECT_EQ(lock.acquireExclusive(), errOk);
    note("writer");
    while (!writersMayLeave) std::this_thread::yield();
    lock.releaseLock();
  };
  ASSERT_EQ(lock.acquireShared(), errOk);
  std::thread first(writer);
  waitForWaiters(lock, 0, 1);
  // Another reader is let in although a writer waits.
  ASSERT_EQ(lock.acquireShared(), errOk);
  lock.releaseLock();
  std::thread second(writer);
  waitForWaiters(lock, 0, 2);
  lock.releaseLock();  // the last reader leaves: one writer goes in
  while (logged().empty()) std::this_thread::yield();
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      EXPECT_EQ(lock.acquireShared(), errOk);
      note("reader");
      ++readersInside;
      // Both readers are let in at once: each sees the other inside.
      const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
      while (readersInside < 2 && std::chrono::steady_clock::now() < until) {
        std::this_thread::yield();
      }
      readersTogether += readersInside == 2;
      lock.releaseLock();
    });
  }
  waitForWaiters(lock, 2, 1);
  EXPECT_EQ(logged(), std::vector<std::string>{"writer"}) << "a writer waits for a writer";
  writersMayLeave = true;
  first.join();
  second.join();
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(logged(), (std::vector<std::string>{"writer", "writer", "reader", "reader"}));
  EXPECT_EQ(readersTogether.load(), 2);
  EXPECT_EQ(lock.state, 0);
}

TEST(RwLockCreation, WithoutBothSemaphoresThereIsNoLockAndNothingLeaks) {
  FaultInjectingPlatform fault;
  platform::InstalledPlatform installed(fault);
  RwLock lock;
  for (uint32_t skip : {0u, 1u}) {  // the reader's semaphore fails, then the writer's
    fault.inject({Op::CreateSemaphore, platform::kNotEnoughMemory, 1, skip});
    lock.create();
    EXPECT_FALSE(lock.exists());
    LockGuard guard(lock, 1, LockGuard::Exclusive);
    LockGuard second(lock, 1, LockGuard::Exclusive);  // would wait if the first took it
    EXPECT_EQ(second.result(), errOk);
  }
  EXPECT_EQ(std::ranges::count(fault.calls(), Op::CreateSemaphore, &platform::Call::op), 3);
  EXPECT_EQ(std::ranges::count(fault.calls(), Op::DestroySemaphore, &platform::Call::op), 1);
}

TEST(RwLockCreation, AFailedWaitIsReportedAndTheGuardReleasesNothing) {
  FaultInjectingPlatform fault;
  platform::InstalledPlatform installed(fault);
  RwLock lock;
  lock.create();
  ASSERT_EQ(lock.acquireExclusive(), errOk);
  fault.inject({Op::WaitSemaphore, platform::kGeneralFailure});
  EXPECT_EQ(lock.acquireShared(), errUnspecified);
  fault.inject({Op::WaitSemaphore, platform::kInvalidParameter});
  {
    LockGuard guard(lock, 1, LockGuard::Exclusive);
    EXPECT_EQ(guard.result(), errInvalidArgument);
  }
  EXPECT_EQ(lock.state, -1) << "still the first writer's";
  lock.destroy();
}

}  // namespace
}  // namespace trove
