// The object's reader/writer lock, driven directly with real threads. The
// tests wait for a thread to block by watching the lock's counters, never by
// sleeping.
#include "object/rw_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/fault_injecting_platform.h"
#include "trove/result_codes.h"

namespace trove {
namespace {

using platform::FaultInjectingPlatform;
using platform::InstalledPlatform;
using platform::Op;

struct Counters {
  uint32_t waitingReaders;
  uint32_t waitingWriters;
  int32_t state;
};

Counters counters(RwLock& lock) {
  lock.mutex.lock();
  Counters seen{lock.waitingReaders, lock.waitingWriters, lock.state};
  lock.mutex.unlock();
  return seen;
}

template <class Condition>
void waitUntil(RwLock& lock, Condition condition) {
  while (!condition(counters(lock))) {
    std::this_thread::yield();
  }
}

template <class Flag>
void waitFor(const Flag& flag, int value) {
  while (flag.load() != value) {
    std::this_thread::yield();
  }
}

class RwLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    lock.create();
    ASSERT_TRUE(lock.exists());
  }
  void TearDown() override { lock.destroy(); }
  RwLock lock;
};

TEST_F(RwLockTest, ReadersShareAndAWaitingWriterGetsTheLockWhenTheyLeave) {
  ASSERT_EQ(lock.acquireShared(), errOk);
  ASSERT_EQ(lock.acquireShared(), errOk);
  EXPECT_EQ(counters(lock).state, 2);

  std::atomic<int> writerInside{0};
  std::atomic<int> writerMayLeave{0};
  std::thread writer([&] {
    EXPECT_EQ(lock.acquireExclusive(), errOk);
    writerInside = 1;
    waitFor(writerMayLeave, 1);
    lock.releaseLock();
  });
  waitUntil(lock, [](Counters c) { return c.waitingWriters == 1; });

  // A third reader is admitted at once although a writer waits.
  ASSERT_EQ(lock.acquireShared(), errOk);
  Counters seen = counters(lock);
  EXPECT_EQ(seen.state, 3);
  EXPECT_EQ(seen.waitingReaders, 0u);

  lock.releaseLock();
  lock.releaseLock();
  seen = counters(lock);
  EXPECT_EQ(seen.state, 1);
  EXPECT_EQ(seen.waitingWriters, 1u);
  EXPECT_EQ(writerInside.load(), 0);

  // The last reader hands the lock to the writer.
  lock.releaseLock();
  seen = counters(lock);
  EXPECT_EQ(seen.state, -1);
  EXPECT_EQ(seen.waitingWriters, 0u);
  waitFor(writerInside, 1);

  // Readers that arrive while the writer holds the lock all wait ...
  std::atomic<int> readersInside{0};
  std::atomic<int> readersMayLeave{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      EXPECT_EQ(lock.acquireShared(), errOk);
      ++readersInside;
      waitFor(readersMayLeave, 1);
      lock.releaseLock();
    });
  }
  waitUntil(lock, [](Counters c) { return c.waitingReaders == 3; });
  EXPECT_EQ(readersInside.load(), 0);

  // ... and are let in together when it leaves.
  writerMayLeave = 1;
  writer.join();
  seen = counters(lock);
  EXPECT_EQ(seen.state, 3);
  EXPECT_EQ(seen.waitingReaders, 0u);
  waitFor(readersInside, 3);  // all three inside at the same time

  readersMayLeave = 1;
  for (std::thread& reader : readers) {
    reader.join();
  }
  EXPECT_EQ(counters(lock).state, 0);
}

TEST_F(RwLockTest, AReleasingWriterPrefersAWaitingWriterOverWaitingReaders) {
  ASSERT_EQ(lock.acquireExclusive(), errOk);
  std::atomic<int> order{0};
  std::atomic<int> writerTurn{0};
  std::atomic<int> readerTurn{0};
  std::thread secondWriter([&] {
    EXPECT_EQ(lock.acquireExclusive(), errOk);
    writerTurn = ++order;
    lock.releaseLock();
  });
  waitUntil(lock, [](Counters c) { return c.waitingWriters == 1; });
  std::thread reader([&] {
    EXPECT_EQ(lock.acquireShared(), errOk);
    readerTurn = ++order;
    lock.releaseLock();
  });
  waitUntil(lock, [](Counters c) { return c.waitingReaders == 1; });

  lock.releaseLock();
  secondWriter.join();
  reader.join();
  EXPECT_EQ(writerTurn.load(), 1);
  EXPECT_EQ(readerTurn.load(), 2);
  EXPECT_EQ(counters(lock).state, 0);
}

TEST_F(RwLockTest, AWriterWaitsForAnotherWriter) {
  ASSERT_EQ(lock.acquireExclusive(), errOk);
  std::atomic<int> inside{0};
  std::thread writer([&] {
    EXPECT_EQ(lock.acquireExclusive(), errOk);
    inside = 1;
    lock.releaseLock();
  });
  waitUntil(lock, [](Counters c) { return c.waitingWriters == 1; });
  EXPECT_EQ(inside.load(), 0);
  lock.releaseLock();
  writer.join();
  EXPECT_EQ(inside.load(), 1);
  EXPECT_EQ(counters(lock).state, 0);
}

TEST_F(RwLockTest, GuardsTakeTheLockOnlyWhenLockingIsOnAndReleaseItOnLeaving) {
  {
    LockGuard shared(lock, 1, LockGuard::Shared);
    EXPECT_EQ(counters(lock).state, 1);
    LockGuard again(lock, 1, LockGuard::Shared);
    EXPECT_EQ(counters(lock).state, 2);
  }
  EXPECT_EQ(counters(lock).state, 0);
  {
    LockGuard exclusive(lock, 1, LockGuard::Exclusive);
    EXPECT_EQ(counters(lock).state, -1);
    EXPECT_EQ(exclusive.result(), errOk);
  }
  EXPECT_EQ(counters(lock).state, 0);
  {
    LockGuard disabled(lock, 0, LockGuard::Exclusive);
    EXPECT_EQ(counters(lock).state, 0);
  }
  EXPECT_EQ(counters(lock).state, 0);

  RwLock never;  // no semaphores: guards must not touch it
  {
    LockGuard guard(never, 1, LockGuard::Exclusive);
    LockGuard second(never, 1, LockGuard::Exclusive);  // would block if taken
    EXPECT_EQ(counters(never).state, 0);
  }
  EXPECT_EQ(counters(never).state, 0);
}

TEST(RwLockCreation, EitherSemaphoreFailingLeavesNoLockAndNothingOpen) {
  FaultInjectingPlatform fault;
  InstalledPlatform installed(fault);

  RwLock lock;
  fault.failNext(Op::CreateSemaphore, platform::kNotEnoughMemory);
  lock.create();
  EXPECT_FALSE(lock.exists());
  EXPECT_EQ(lock.writerSemaphore, nullptr);
  EXPECT_EQ(fault.count(Op::CreateSemaphore), 1u);  // the writer's is not attempted

  fault.clearCalls();
  fault.failNext(Op::CreateSemaphore, platform::kNotEnoughMemory, 1, /*skip=*/1);
  lock.create();
  EXPECT_FALSE(lock.exists());
  EXPECT_EQ(lock.writerSemaphore, nullptr);
  EXPECT_EQ(fault.count(Op::CreateSemaphore), 2u);
  EXPECT_EQ(fault.count(Op::DestroySemaphore), 1u);  // the reader's is closed again

  LockGuard guard(lock, 1, LockGuard::Exclusive);
  EXPECT_EQ(counters(lock).state, 0);
}

TEST(RwLockCreation, CreatingAgainReplacesTheSemaphoresAndResetsTheCounters) {
  FaultInjectingPlatform fault;
  InstalledPlatform installed(fault);
  RwLock lock;
  lock.create();
  ASSERT_TRUE(lock.exists());
  ASSERT_EQ(lock.acquireShared(), errOk);
  lock.create();
  EXPECT_TRUE(lock.exists());
  EXPECT_EQ(counters(lock).state, 0);
  EXPECT_EQ(fault.count(Op::CreateSemaphore), 4u);
  EXPECT_EQ(fault.count(Op::DestroySemaphore), 2u);
  lock.destroy();
  EXPECT_FALSE(lock.exists());
  EXPECT_EQ(fault.count(Op::DestroySemaphore), 4u);
}

TEST(RwLockCreation, AFailedWaitIsReportedAndTheGuardDoesNotRelease) {
  FaultInjectingPlatform fault;
  InstalledPlatform installed(fault);
  RwLock lock;
  lock.create();
  ASSERT_TRUE(lock.exists());
  ASSERT_EQ(lock.acquireExclusive(), errOk);

  fault.failNext(Op::WaitSemaphore, platform::kGeneralFailure);
  EXPECT_EQ(lock.acquireShared(), errUnspecified);
  fault.failNext(Op::WaitSemaphore, platform::kInvalidParameter);
  {
    LockGuard guard(lock, 1, LockGuard::Exclusive);
    EXPECT_EQ(guard.result(), errInvalidArgument);
  }
  EXPECT_EQ(counters(lock).state, -1);  // still the first writer's
  lock.destroy();
}

}  // namespace
}  // namespace trove
