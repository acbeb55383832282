// The fault-injecting platform: scripted failures act exactly where they are
// aimed, everything else reaches the real files, and every call is recorded.
#include "support/fault_injecting_platform.h"

#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace trove::platform {
namespace {

namespace fs = std::filesystem;

class FaultInjectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = fs::temp_directory_path().string() + "/trove-fault-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  static void writeText(const std::string& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
  }
  static std::string readText(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
  }
  // Writes `chunks` through the fault platform; returns each write's result.
  std::vector<WinError> writeChunks(const std::string& file, const std::vector<std::string>& chunks,
                                    std::vector<uint32_t>* counts = nullptr) {
    std::vector<WinError> results;
    FileHandle handle;
    if (fault_.openExclusive(file, OpenMode::WriteCreateAlways, &handle) != kSuccess) {
      return results;
    }
    for (const std::string& chunk : chunks) {
      uint32_t count = 12345;
      results.push_back(
          fault_.write(handle, chunk.data(), static_cast<uint32_t>(chunk.size()), &count));
      if (counts != nullptr) counts->push_back(count);
    }
    fault_.close(handle);
    return results;
  }

  std::string dir_;
  FaultInjectingPlatform fault_;
};

TEST_F(FaultInjectionTest, ForwardsAndRecordsWhenNothingIsScripted) {
  ASSERT_EQ(writeChunks(path("f"), {"abc", "de"}), (std::vector<WinError>{0, 0}));
  EXPECT_EQ(readText(path("f")), "abcde");
  ASSERT_EQ(fault_.replaceMove(path("f"), path("g")), kSuccess);
  EXPECT_EQ(fault_.exists(path("f")), kFileNotFound);
  EXPECT_EQ(fault_.trail(), (std::vector<std::string>{
                                "openExclusive " + path("f") + " = 0",
                                "write " + path("f") + " 3 = 0",
                                "write " + path("f") + " 2 = 0",
                                "close " + path("f"),
                                "replaceMove " + path("f") + " -> " + path("g") + " = 0",
                                "exists " + path("f") + " = 2",
                            }));
  for (const Call& call : fault_.calls()) EXPECT_FALSE(call.injected);
  EXPECT_EQ(fault_.pendingFaults(), 0u);
}

TEST_F(FaultInjectionTest, DeniedMoveTwiceThenSucceeds) {
  writeText(path("tmp"), "new");
  writeText(path("store"), "old");
  fault_.failNext(Op::ReplaceMove, kAccessDenied, /*times=*/2);
  EXPECT_EQ(fault_.replaceMove(path("tmp"), path("store")), kAccessDenied);
  EXPECT_EQ(readText(path("store")), "old");  // an injected failure moves nothing
  EXPECT_EQ(fault_.replaceMove(path("tmp"), path("store")), kAccessDenied);
  EXPECT_EQ(fault_.replaceMove(path("tmp"), path("store")), kSuccess);
  EXPECT_EQ(readText(path("store")), "new");
  std::vector<Call> moves = fault_.calls(Op::ReplaceMove);
  ASSERT_EQ(moves.size(), 3u);
  EXPECT_TRUE(moves[0].injected);
  EXPECT_TRUE(moves[1].injected);
  EXPECT_FALSE(moves[2].injected);
  EXPECT_EQ(moves[2].target, path("store"));
  EXPECT_EQ(fault_.pendingFaults(), 0u);
}

TEST_F(FaultInjectionTest, SkipAimsAtTheNthCall) {
  fault_.failNext(Op::Write, kDiskFull, 1, /*skip=*/2);
  EXPECT_EQ(writeChunks(path("f"), {"1", "2", "3", "4"}),
            (std::vector<WinError>{0, 0, kDiskFull, 0}));
  EXPECT_EQ(readText(path("f")), "124");

  // Each fault counts from its own injection; the earliest one acts first.
  fault_.failNext(Op::Exists, kAccessDenied, 1, /*skip=*/1);
  fault_.failNext(Op::Exists, kSharingViolation);
  EXPECT_EQ(fault_.exists(dir_), kSharingViolation);
  EXPECT_EQ(fault_.exists(dir_), kAccessDenied);
  EXPECT_EQ(fault_.exists(dir_), kSuccess);

  fault_.failNext(Op::Exists, kDiskFull);
  fault_.failNext(Op::Exists, kInvalidName);
  EXPECT_EQ(fault_.exists(dir_), kDiskFull);
  EXPECT_EQ(fault_.exists(dir_), kInvalidName);
  EXPECT_EQ(fault_.exists(dir_), kSuccess);
}

TEST_F(FaultInjectionTest, ShortAndPartialWrites) {
  std::vector<uint32_t> counts;
  fault_.shortWrite(3);
  EXPECT_EQ(writeChunks(path("f"), {"abcdefghij", "XY"}, &counts), (std::vector<WinError>{0, 0}));
  EXPECT_EQ(counts, (std::vector<uint32_t>{3, 2}));
  EXPECT_EQ(readText(path("f")), "abcXY");

  // Some bytes reach the disk, then it is full.
  Fault full;
  full.op = Op::Write;
  full.error = kDiskFull;
  full.byteLimit = 4;
  fault_.inject(full);
  counts.clear();
  EXPECT_EQ(writeChunks(path("g"), {"abcdefghij"}, &counts), (std::vector<WinError>{kDiskFull}));
  EXPECT_EQ(counts, (std::vector<uint32_t>{4}));
  EXPECT_EQ(readText(path("g")), "abcd");

  // A plain failure writes nothing.
  fault_.failNext(Op::Write, kGeneralFailure);
  counts.clear();
  EXPECT_EQ(writeChunks(path("h"), {"abc"}, &counts), (std::vector<WinError>{kGeneralFailure}));
  EXPECT_EQ(counts, (std::vector<uint32_t>{0}));
  EXPECT_EQ(readText(path("h")), "");
}

TEST_F(FaultInjectionTest, ReadFaults) {
  writeText(path("f"), "0123456789");
  Fault shortRead;
  shortRead.op = Op::Read;
  shortRead.error = kSuccess;
  shortRead.byteLimit = 4;
  fault_.inject(shortRead);
  fault_.failNext(Op::Read, kGeneralFailure, 1, /*skip=*/1);
  fault_.failNext(Op::FileSize, kAccessDenied);

  FileHandle file;
  ASSERT_EQ(fault_.openExclusive(path("f"), OpenMode::ReadExisting, &file), kSuccess);
  uint64_t size = 0;
  EXPECT_EQ(fault_.fileSize(file, &size), kAccessDenied);
  EXPECT_EQ(fault_.fileSize(file, &size), kSuccess);
  EXPECT_EQ(size, 10u);
  char buffer[16];
  uint32_t got = 99;
  EXPECT_EQ(fault_.read(file, buffer, 10, &got), kSuccess);
  EXPECT_EQ(std::string(buffer, got), "0123");
  EXPECT_EQ(fault_.read(file, buffer, 6, &got), kGeneralFailure);
  EXPECT_EQ(got, 0u);
  EXPECT_EQ(fault_.read(file, buffer, 6, &got), kSuccess);
  EXPECT_EQ(std::string(buffer, got), "456789");
  fault_.close(file);
}

TEST_F(FaultInjectionTest, FaultsAimedByPath) {
  fault_.failOnPath(Op::OpenExclusive, ".tmp", kAccessDenied);
  FileHandle file;
  EXPECT_EQ(fault_.openExclusive(path("store.xml"), OpenMode::WriteCreateAlways, &file), kSuccess);
  fault_.close(file);
  EXPECT_EQ(fault_.openExclusive(path("store.xml.tmp1a"), OpenMode::WriteCreateAlways, &file),
            kAccessDenied);
  EXPECT_FALSE(file.isOpen());
  EXPECT_FALSE(fs::exists(path("store.xml.tmp1a")));  // nothing was created

  // A handle's operations carry the path it was opened with.
  fault_.failOnPath(Op::Write, "second", kDiskFull);
  fault_.failOnPath(Op::Flush, "second", kGeneralFailure);
  EXPECT_EQ(writeChunks(path("first"), {"a"}), (std::vector<WinError>{0}));
  EXPECT_EQ(writeChunks(path("second"), {"a"}), (std::vector<WinError>{kDiskFull}));
  ASSERT_EQ(fault_.openExclusive(path("second"), OpenMode::WriteCreateAlways, &file), kSuccess);
  EXPECT_EQ(fault_.flush(file), kGeneralFailure);
  fault_.close(file);

  // Moves are told apart by source and target.
  writeText(path("s"), "store");
  writeText(path("s.bak2"), "backup");
  fault_.failTransfer(Op::ReplaceMove, path("s"), path("s.bak2"), kSharingViolation);
  Fault onTarget;
  onTarget.op = Op::CopyNoReplace;
  onTarget.targetContains = ".bak";
  onTarget.error = kFileExists;
  fault_.inject(onTarget);
  EXPECT_EQ(fault_.replaceMove(path("s.bak2"), path("s.bak2x")), kSuccess);
  EXPECT_EQ(fault_.copyNoReplace(path("s"), path("copy")), kSuccess);
  EXPECT_EQ(fault_.copyNoReplace(path("s"), path("s.bak")), kFileExists);
  EXPECT_FALSE(fs::exists(path("s.bak")));
  EXPECT_EQ(fault_.replaceMove(path("s"), path("s.bak2")), kSharingViolation);
  EXPECT_EQ(readText(path("s")), "store");
  EXPECT_EQ(fault_.replaceMove(path("s"), path("s.bak2")), kSuccess);
  EXPECT_EQ(fault_.pendingFaults(), 0u);
}

TEST_F(FaultInjectionTest, PersistentFaultsUntilCleared) {
  fault_.failAlways(Op::RemoveFile, kAccessDenied);
  writeText(path("f"), "");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(fault_.removeFile(path("f")), kAccessDenied);
  EXPECT_TRUE(fs::exists(path("f")));
  EXPECT_EQ(fault_.pendingFaults(), 1u);
  fault_.clearFaults();
  EXPECT_EQ(fault_.removeFile(path("f")), kSuccess);
  EXPECT_FALSE(fs::exists(path("f")));

  fault_.failNext(Op::MakeDirectory, kDiskFull);
  fault_.failNext(Op::CurrentDirectory, kNotEnoughMemory);
  EXPECT_EQ(fault_.makeDirectory(path("d")), kDiskFull);
  EXPECT_EQ(fault_.makeDirectory(path("d")), kSuccess);
  std::string cwd = "kept";
  EXPECT_EQ(fault_.currentDirectory(&cwd), kNotEnoughMemory);
  EXPECT_EQ(cwd, "kept");
  EXPECT_EQ(fault_.currentDirectory(&cwd), kSuccess);
  EXPECT_EQ(cwd, fs::current_path().string());
}

TEST_F(FaultInjectionTest, SemaphoreCreationCanFail) {
  // The second creation fails, as when a lock's writer semaphore cannot be made.
  fault_.failNext(Op::CreateSemaphore, kNotEnoughMemory, 1, /*skip=*/1);
  Semaphore* reader = fault_.createSemaphore();
  Semaphore* writer = fault_.createSemaphore();
  Semaphore* third = fault_.createSemaphore();
  EXPECT_NE(reader, nullptr);
  EXPECT_EQ(writer, nullptr);
  EXPECT_NE(third, nullptr);
  std::vector<Call> creations = fault_.calls(Op::CreateSemaphore);
  ASSERT_EQ(creations.size(), 3u);
  EXPECT_EQ(creations[1].result, kNotEnoughMemory);
  EXPECT_TRUE(creations[1].injected);

  // Forwarded semaphores work, and their waits and releases can fail too.
  EXPECT_EQ(fault_.releaseSemaphore(reader, 2), kSuccess);
  EXPECT_EQ(fault_.waitSemaphore(reader), kSuccess);
  fault_.failNext(Op::WaitSemaphore, kInvalidHandle);
  fault_.failNext(Op::ReleaseSemaphore, kTooManyPosts);
  EXPECT_EQ(fault_.waitSemaphore(reader), kInvalidHandle);
  EXPECT_EQ(fault_.releaseSemaphore(reader, 1), kTooManyPosts);
  EXPECT_EQ(fault_.waitSemaphore(reader), kSuccess);  // the second release is still there
  fault_.destroySemaphore(reader);
  fault_.destroySemaphore(third);
  EXPECT_EQ(fault_.count(Op::DestroySemaphore), 2u);
  EXPECT_EQ(fault_.calls(Op::ReleaseSemaphore)[0].amount, 2u);
}

TEST_F(FaultInjectionTest, SleepsAreRecordedAndForwardedOnlyWhenAsked) {
  // A second injector behind the first shows what is forwarded.
  FaultInjectingPlatform behind;
  FaultInjectingPlatform front(static_cast<Platform&>(behind));
  front.sleepMilliseconds(200);
  front.sleepMilliseconds(200);
  EXPECT_EQ(front.sleptMilliseconds(), 400u);
  EXPECT_EQ(front.count(Op::Sleep), 2u);
  EXPECT_EQ(behind.count(Op::Sleep), 0u);

  front.setRealSleep(true);
  front.sleepMilliseconds(3);
  EXPECT_EQ(behind.sleptMilliseconds(), 3u);
  EXPECT_EQ(front.sleptMilliseconds(), 403u);
  EXPECT_EQ(describe(front.calls().back()), "sleep 3");

  front.clearCalls();
  EXPECT_EQ(front.sleptMilliseconds(), 0u);
  EXPECT_TRUE(front.calls().empty());
}

TEST_F(FaultInjectionTest, ThreadIdentifierCanBeFixed) {
  uint32_t real = posix().currentThreadId();
  EXPECT_EQ(fault_.currentThreadId(), real);
  fault_.setThreadId(0xabc);
  EXPECT_EQ(fault_.currentThreadId(), 0xabcu);
  fault_.setThreadId(std::nullopt);
  EXPECT_EQ(fault_.currentThreadId(), real);
}

TEST_F(FaultInjectionTest, InstallsForOneScope) {
  EXPECT_EQ(&current(), &posix());
  {
    InstalledPlatform installed(fault_);
    EXPECT_EQ(&current(), &fault_);
    current().exists(dir_);
    {
      FaultInjectingPlatform inner;
      InstalledPlatform nested(inner);
      EXPECT_EQ(&current(), &inner);
    }
    EXPECT_EQ(&current(), &fault_);
  }
  EXPECT_EQ(&current(), &posix());
  EXPECT_EQ(fault_.count(Op::Exists), 1u);
}

TEST_F(FaultInjectionTest, RecordsCallsFromManyThreads) {
  fault_.failNext(Op::Exists, kAccessDenied, /*times=*/100);
  std::vector<std::thread> threads;
  std::atomic<int> denied{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 250; ++i) {
        if (fault_.exists(dir_) == kAccessDenied) ++denied;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(fault_.count(Op::Exists), 1000u);
  EXPECT_EQ(denied.load(), 100);
}

TEST(Describe, NamesEveryOperation) {
  EXPECT_STREQ(opName(Op::CopyNoReplace), "copyNoReplace");
  EXPECT_STREQ(opName(Op::ReleaseSemaphore), "releaseSemaphore");
  Call call;
  call.op = Op::CopyNoReplace;
  call.path = "a";
  call.target = "b";
  call.result = kFileExists;
  EXPECT_EQ(describe(call), "copyNoReplace a -> b = 80");
}

}  // namespace
}  // namespace trove::platform
