// The POSIX platform on real files in a fresh scratch directory.
#include "platform/platform.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

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

std::string makeScratchDirectory(const std::string& under) {
  std::string pattern = under + "/trove-platform-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) return std::string();
  return pattern;
}

class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = makeScratchDirectory(fs::temp_directory_path().string());
    ASSERT_FALSE(dir_.empty());
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }

  static void writeText(const std::string& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
  }
  static std::string readText(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
  }

  Platform& p_ = posix();
  std::string dir_;
};

TEST(ErrorMapping, FollowsTheTable) {
  EXPECT_EQ(fromErrno(0), kSuccess);
  EXPECT_EQ(fromErrno(ENOTDIR), kPathNotFound);
  for (int error : {EACCES, EPERM, EISDIR, EROFS}) EXPECT_EQ(fromErrno(error), kAccessDenied);
  EXPECT_EQ(fromErrno(EEXIST), kFileExists);
  for (int error : {EWOULDBLOCK, EBUSY, ETXTBSY}) EXPECT_EQ(fromErrno(error), kSharingViolation);
  EXPECT_EQ(fromErrno(ENOMEM), kNotEnoughMemory);
  EXPECT_EQ(fromErrno(EINVAL), kInvalidParameter);
  EXPECT_EQ(fromErrno(ENOSPC), kDiskFull);
  EXPECT_EQ(fromErrno(EDQUOT), kDiskFull);
  EXPECT_EQ(fromErrno(ENAMETOOLONG), kInvalidName);
  EXPECT_EQ(fromErrno(EILSEQ), kInvalidName);
  for (int error : {EIO, EBADF, EFAULT, EMFILE, EXDEV}) {
    EXPECT_EQ(fromErrno(error), kGeneralFailure) << error;
  }
}

TEST_F(PlatformTest, MissingFileIsToldFromMissingDirectory) {
  EXPECT_EQ(fromErrno(ENOENT), kFileNotFound);  // nothing to check against
  EXPECT_EQ(fromErrno(ENOENT, path("gone.xml").c_str()), kFileNotFound);
  EXPECT_EQ(fromErrno(ENOENT, path("no/gone.xml").c_str()), kPathNotFound);
  EXPECT_EQ(fromErrno(ENOENT, "trove-surely-absent.xml"), kFileNotFound);  // in "."

  FileHandle file;
  EXPECT_EQ(p_.openExclusive(path("gone.xml"), OpenMode::ReadExisting, &file), kFileNotFound);
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(p_.openExclusive(path("no/gone.xml"), OpenMode::ReadExisting, &file), kPathNotFound);
  EXPECT_EQ(p_.openExclusive(path("no/new.xml"), OpenMode::WriteCreateAlways, &file),
            kPathNotFound);
  EXPECT_FALSE(file.isOpen());

  // A file where a directory should be.
  writeText(path("plain"), "x");
  EXPECT_EQ(p_.openExclusive(path("plain/x.xml"), OpenMode::ReadExisting, &file), kPathNotFound);
  // A directory is no file to open, for reading or writing.
  EXPECT_EQ(p_.openExclusive(dir_, OpenMode::ReadExisting, &file), kAccessDenied);
  EXPECT_EQ(p_.openExclusive(dir_, OpenMode::WriteCreateAlways, &file), kAccessDenied);
  EXPECT_FALSE(file.isOpen());
}

TEST_F(PlatformTest, ExclusiveOpenShutsOutEveryOtherOpener) {
  writeText(path("store.xml"), "content");
  FileHandle first;
  ASSERT_EQ(p_.openExclusive(path("store.xml"), OpenMode::ReadExisting, &first), kSuccess);
  ASSERT_TRUE(first.isOpen());

  FileHandle second;
  EXPECT_EQ(p_.openExclusive(path("store.xml"), OpenMode::ReadExisting, &second),
            kSharingViolation);
  EXPECT_FALSE(second.isOpen());
  // Creating over a held file must not empty it.
  EXPECT_EQ(p_.openExclusive(path("store.xml"), OpenMode::WriteCreateAlways, &second),
            kSharingViolation);
  EXPECT_EQ(readText(path("store.xml")), "content");
  // A copy of a file held exclusively would be torn.
  EXPECT_EQ(p_.copyNoReplace(path("store.xml"), path("copy.xml")), kSharingViolation);
  EXPECT_NE(p_.exists(path("copy.xml")), kSuccess);

  p_.close(first);
  EXPECT_FALSE(first.isOpen());
  ASSERT_EQ(p_.openExclusive(path("store.xml"), OpenMode::ReadExisting, &second), kSuccess);
  p_.close(second);
  p_.close(second);  // closing twice is harmless
}

TEST_F(PlatformTest, WritesReadsAndTruncates) {
  FileHandle file;
  ASSERT_EQ(p_.openExclusive(path("f"), OpenMode::WriteCreateAlways, &file), kSuccess);
  uint32_t written = 0;
  ASSERT_EQ(p_.write(file, "hello world", 11, &written), kSuccess);
  EXPECT_EQ(written, 11u);
  EXPECT_EQ(p_.flush(file), kSuccess);
  p_.close(file);

  ASSERT_EQ(p_.openExclusive(path("f"), OpenMode::ReadExisting, &file), kSuccess);
  uint64_t size = 0;
  ASSERT_EQ(p_.fileSize(file, &size), kSuccess);
  EXPECT_EQ(size, 11u);
  char buffer[32] = {};
  uint32_t got = 0;
  ASSERT_EQ(p_.read(file, buffer, sizeof buffer, &got), kSuccess);  // stops at the end
  EXPECT_EQ(got, 11u);
  EXPECT_EQ(std::string(buffer, got), "hello world");
  // Writing through a read-only handle fails; so does reading a write-only one.
  EXPECT_EQ(p_.write(file, "x", 1, &written), kGeneralFailure);
  p_.close(file);

  // Creating again empties the file.
  ASSERT_EQ(p_.openExclusive(path("f"), OpenMode::WriteCreateAlways, &file), kSuccess);
  EXPECT_EQ(p_.read(file, buffer, 4, &got), kGeneralFailure);
  ASSERT_EQ(p_.write(file, "abc", 3, nullptr), kSuccess);
  p_.close(file);
  EXPECT_EQ(readText(path("f")), "abc");

  ASSERT_EQ(p_.openExclusive(path("empty"), OpenMode::WriteCreateAlways, &file), kSuccess);
  ASSERT_EQ(p_.fileSize(file, &size), kSuccess);
  EXPECT_EQ(size, 0u);
  p_.close(file);
}

TEST_F(PlatformTest, ReadGathersShortReads) {
  // A pipe hands out at most its capacity per read(2): one read of a
  // megabyte must loop.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::vector<char> sent(1 << 20);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 7);
  std::thread writer([&] {
    size_t done = 0;
    while (done < sent.size()) {
      ssize_t count = ::write(ends[1], sent.data() + done, sent.size() - done);
      if (count <= 0) break;
      done += static_cast<size_t>(count);
    }
    ::close(ends[1]);
  });
  std::vector<char> received(sent.size() + 100);
  uint32_t got = 0;
  EXPECT_EQ(
      p_.read(FileHandle{ends[0]}, received.data(), static_cast<uint32_t>(received.size()), &got),
      kSuccess);
  // Drain what a faulty read left behind, so that the writer can finish.
  char rest[4096];
  while (::read(ends[0], rest, sizeof rest) > 0) {
  }
  writer.join();
  ::close(ends[0]);
  ASSERT_EQ(got, sent.size());
  received.resize(got);
  EXPECT_EQ(received, sent);
}

TEST_F(PlatformTest, FullDeviceIsDiskFull) {
  FileHandle file;
  ASSERT_EQ(p_.openExclusive("/dev/full", OpenMode::WriteCreateAlways, &file), kSuccess);
  uint32_t written = 99;
  EXPECT_EQ(p_.write(file, "data", 4, &written), kDiskFull);
  EXPECT_EQ(written, 0u);
  p_.close(file);
}

TEST_F(PlatformTest, CopyRefusesAnExistingTarget) {
  std::string big(200000, 'q');  // more than one copy buffer
  writeText(path("a"), big);
  ::chmod(path("a").c_str(), 0640);
  ASSERT_EQ(p_.copyNoReplace(path("a"), path("b")), kSuccess);
  EXPECT_EQ(readText(path("b")), big);
  EXPECT_EQ(readText(path("a")), big);
  struct stat info;
  ASSERT_EQ(::stat(path("b").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);

  writeText(path("c"), "keep me");
  EXPECT_EQ(p_.copyNoReplace(path("a"), path("c")), kFileExists);
  EXPECT_EQ(readText(path("c")), "keep me");

  EXPECT_EQ(p_.copyNoReplace(path("missing"), path("d")), kFileNotFound);
  EXPECT_EQ(p_.copyNoReplace(path("no/missing"), path("d")), kPathNotFound);
  EXPECT_EQ(p_.copyNoReplace(path("a"), path("no/d")), kPathNotFound);
  EXPECT_EQ(p_.copyNoReplace(dir_, path("d")), kAccessDenied);
  EXPECT_NE(p_.exists(path("d")), kSuccess);
}

TEST_F(PlatformTest, ReplaceMoveReplacesTheTarget) {
  writeText(path("new"), "new content");
  writeText(path("store"), "old content");
  ASSERT_EQ(p_.replaceMove(path("new"), path("store")), kSuccess);
  EXPECT_EQ(readText(path("store")), "new content");
  EXPECT_EQ(p_.exists(path("new")), kFileNotFound);

  // To a name that does not exist yet.
  ASSERT_EQ(p_.replaceMove(path("store"), path("store.bak2")), kSuccess);
  EXPECT_EQ(readText(path("store.bak2")), "new content");
  EXPECT_EQ(p_.exists(path("store")), kFileNotFound);

  EXPECT_EQ(p_.replaceMove(path("missing"), path("store")), kFileNotFound);
  EXPECT_EQ(p_.replaceMove(path("no/missing"), path("store")), kPathNotFound);
  EXPECT_EQ(p_.replaceMove(path("store.bak2"), path("no/store")), kPathNotFound);
  EXPECT_EQ(readText(path("store.bak2")), "new content");
  ASSERT_EQ(p_.makeDirectory(path("sub")), kSuccess);
  EXPECT_EQ(p_.replaceMove(path("store.bak2"), path("sub")), kAccessDenied);
}

TEST_F(PlatformTest, ReplaceMoveCrossesFileSystems) {
  std::string other = makeScratchDirectory("/dev/shm");
  struct stat here, there;
  if (other.empty() || ::stat(dir_.c_str(), &here) != 0 || ::stat(other.c_str(), &there) != 0 ||
      here.st_dev == there.st_dev) {
    if (!other.empty()) fs::remove_all(other);
    GTEST_SKIP() << "no second file system to move across";
  }
  writeText(other + "/tmp", "moved across");
  writeText(path("store"), "old");
  EXPECT_EQ(p_.replaceMove(other + "/tmp", path("store")), kSuccess);
  EXPECT_EQ(readText(path("store")), "moved across");
  EXPECT_EQ(p_.exists(other + "/tmp"), kFileNotFound);
  // Nothing is left beside the target.
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().string());
  EXPECT_EQ(names, std::vector<std::string>{path("store")});
  // A missing source is still told apart.
  EXPECT_EQ(p_.replaceMove(other + "/tmp", path("store")), kFileNotFound);
  EXPECT_EQ(readText(path("store")), "moved across");
  fs::remove_all(other);
}

TEST_F(PlatformTest, ExistsRemoveAndMakeDirectory) {
  writeText(path("f"), "");
  EXPECT_EQ(p_.exists(path("f")), kSuccess);
  EXPECT_EQ(p_.exists(dir_), kSuccess);
  EXPECT_EQ(p_.exists(path("g")), kFileNotFound);
  EXPECT_EQ(p_.exists(path("no/g")), kPathNotFound);

  EXPECT_EQ(p_.removeFile(path("f")), kSuccess);
  EXPECT_EQ(p_.exists(path("f")), kFileNotFound);
  EXPECT_EQ(p_.removeFile(path("f")), kFileNotFound);
  EXPECT_EQ(p_.removeFile(path("no/f")), kPathNotFound);

  EXPECT_EQ(p_.makeDirectory(path("d")), kSuccess);
  EXPECT_TRUE(fs::is_directory(path("d")));
  EXPECT_EQ(p_.makeDirectory(path("d")), kFileExists);
  EXPECT_EQ(p_.makeDirectory(path("x/y")), kPathNotFound);
  EXPECT_EQ(p_.removeFile(path("d")), kAccessDenied);  // not a file
}

TEST_F(PlatformTest, CurrentDirectoryOfAnyLength) {
  std::string start;
  ASSERT_EQ(p_.currentDirectory(&start), kSuccess);
  EXPECT_EQ(start, fs::current_path().string());

  // Deeper than the first buffer the platform tries.
  std::string deep = dir_;
  for (int i = 0; i < 12; ++i) deep += "/" + std::string(40, static_cast<char>('a' + i));
  fs::create_directories(deep);
  ASSERT_EQ(::chdir(deep.c_str()), 0);
  std::string got;
  WinError result = p_.currentDirectory(&got);
  ASSERT_EQ(::chdir(start.c_str()), 0);
  EXPECT_EQ(result, kSuccess);
  EXPECT_EQ(got, fs::canonical(deep).string());
  EXPECT_GT(got.size(), 500u);
}

TEST(Threads, IdentifiersAreKernelThreadIds) {
  Platform& p = posix();
  uint32_t mine = p.currentThreadId();
  EXPECT_EQ(mine, static_cast<uint32_t>(::gettid()));
  EXPECT_EQ(mine, static_cast<uint32_t>(::getpid()));  // the test runs on the main thread
  uint32_t other = 0;
  std::thread([&] { other = p.currentThreadId(); }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, mine);
}

TEST(Threads, MutexExcludes) {
  Mutex mutex;
  long counter = 0;  // deliberately not atomic
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50000; ++i) {
        mutex.lock();
        ++counter;
        mutex.unlock();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 200000);
}

TEST(Semaphores, CountsReleases) {
  Platform& p = posix();
  Semaphore* semaphore = p.createSemaphore();
  ASSERT_NE(semaphore, nullptr);
  // Releases before waits are kept: three waits pass at once.
  ASSERT_EQ(p.releaseSemaphore(semaphore, 3), kSuccess);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(p.waitSemaphore(semaphore), kSuccess);

  EXPECT_EQ(p.releaseSemaphore(semaphore, 0), kInvalidParameter);
  ASSERT_EQ(p.releaseSemaphore(semaphore, kSemaphoreMaximum), kSuccess);
  EXPECT_EQ(p.releaseSemaphore(semaphore, 1), kTooManyPosts);
  EXPECT_EQ(p.waitSemaphore(semaphore), kSuccess);
  EXPECT_EQ(p.releaseSemaphore(semaphore, 1), kSuccess);  // room for one again
  EXPECT_EQ(p.releaseSemaphore(semaphore, 1), kTooManyPosts);
  p.destroySemaphore(semaphore);

  EXPECT_EQ(p.waitSemaphore(nullptr), kInvalidHandle);
  EXPECT_EQ(p.releaseSemaphore(nullptr, 1), kInvalidHandle);
  p.destroySemaphore(nullptr);
}

TEST(Semaphores, ReleaseWakesExactlyThatManyWaiters) {
  Platform& p = posix();
  Semaphore* semaphore = p.createSemaphore();
  Semaphore* done = p.createSemaphore();
  ASSERT_NE(semaphore, nullptr);
  ASSERT_NE(done, nullptr);
  std::atomic<int> passed{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 5; ++i) {
    waiters.emplace_back([&] {
      EXPECT_EQ(p.waitSemaphore(semaphore), kSuccess);
      ++passed;
      p.releaseSemaphore(done, 1);
    });
  }
  ASSERT_EQ(p.releaseSemaphore(semaphore, 3), kSuccess);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(p.waitSemaphore(done), kSuccess);
  // Three went through; the other two are still held.
  EXPECT_EQ(passed.load(), 3);
  ASSERT_EQ(p.releaseSemaphore(semaphore, 2), kSuccess);
  for (auto& waiter : waiters) waiter.join();
  EXPECT_EQ(passed.load(), 5);
  p.destroySemaphore(semaphore);
  p.destroySemaphore(done);
}

class StubPlatform : public Platform {
 public:
  WinError openExclusive(const std::string&, OpenMode, FileHandle*) override { return 5; }
  WinError fileSize(FileHandle, uint64_t*) override { return 5; }
  WinError read(FileHandle, void*, uint32_t, uint32_t*) override { return 5; }
  WinError write(FileHandle, const void*, uint32_t, uint32_t*) override { return 5; }
  WinError flush(FileHandle) override { return 5; }
  void close(FileHandle&) override {}
  WinError replaceMove(const std::string&, const std::string&) override { return 5; }
  WinError copyNoReplace(const std::string&, const std::string&) override { return 5; }
  WinError removeFile(const std::string&) override { return 5; }
  WinError exists(const std::string&) override { return 5; }
  WinError makeDirectory(const std::string&) override { return 5; }
  WinError currentDirectory(std::string*) override { return 5; }
  uint32_t currentThreadId() override { return 7; }
  void sleepMilliseconds(uint32_t) override {}
  Semaphore* createSemaphore() override { return nullptr; }
  void destroySemaphore(Semaphore*) override {}
  WinError waitSemaphore(Semaphore*) override { return 5; }
  WinError releaseSemaphore(Semaphore*, uint32_t) override { return 5; }
};

TEST(Install, SwapsThePlatformInUse) {
  EXPECT_EQ(&current(), &posix());
  StubPlatform stub;
  Platform* previous = install(&stub);
  EXPECT_EQ(previous, &posix());
  EXPECT_EQ(&current(), &stub);
  EXPECT_EQ(current().currentThreadId(), 7u);

  StubPlatform other;
  EXPECT_EQ(install(&other), &stub);
  EXPECT_EQ(install(nullptr), &other);
  EXPECT_EQ(&current(), &posix());
  install(&posix());  // same as null
  EXPECT_EQ(&current(), &posix());
  EXPECT_EQ(install(nullptr), &posix());
}

}  // namespace
}  // namespace trove::platform
