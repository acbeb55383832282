// The POSIX platform on real files in a fresh scratch directory, and the
// path rules built on it.
#include "platform/platform.h"
#include "platform/paths.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "store_files.h"
#include "support/fault_injecting_platform.h"

namespace trove::platform {
namespace {

using store_test::readFile;
using store_test::writeFile;

class PlatformTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return scratch_.file(name); }
  WinError open(const std::string& name, OpenMode mode, FileHandle* file) {
    return p_.openExclusive(path(name), mode, file);
  }
  store_test::ScratchDirectory scratch_;
  Platform& p_ = posix();
};

TEST_F(PlatformTest, FileOperationsReportWhatWentWrong) {
  writeFile(path("plain"), "x");
  writeFile(path("keep"), "keep me");
  ASSERT_EQ(p_.makeDirectory(path("sub")), kSuccess);
  FileHandle file;
  const OpenMode read = OpenMode::ReadExisting, write = OpenMode::WriteCreateAlways;
  const std::vector<std::pair<std::function<WinError()>, WinError>> cases = {
      {[&] { return open("gone", read, &file); }, kFileNotFound},
      {[&] { return open("no/gone", read, &file); }, kPathNotFound},
      {[&] { return open("plain/x", read, &file); }, kPathNotFound},
      {[&] { return open("sub", read, &file); }, kAccessDenied},
      {[&] { return open("sub", write, &file); }, kAccessDenied},
      {[&] { return p_.copyNoReplace(path("plain"), path("keep")); }, kFileExists},
      {[&] { return p_.copyNoReplace(path("gone"), path("d")); }, kFileNotFound},
      {[&] { return p_.copyNoReplace(path("plain"), path("no/d")); }, kPathNotFound},
      {[&] { return p_.copyNoReplace(path("sub"), path("d")); }, kAccessDenied},
      {[&] { return p_.replaceMove(path("gone"), path("keep")); }, kFileNotFound},
      {[&] { return p_.replaceMove(path("plain"), path("no/keep")); }, kPathNotFound},
      {[&] { return p_.replaceMove(path("plain"), path("sub")); }, kAccessDenied},
      {[&] { return p_.exists(path("gone")); }, kFileNotFound},
      {[&] { return p_.removeFile(path("sub")); }, kAccessDenied},
      {[&] { return p_.makeDirectory(path("sub")); }, kFileExists},
      {[&] { return p_.makeDirectory(path("x/y")); }, kPathNotFound},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(cases[i].first(), cases[i].second) << "case " << i;
    EXPECT_FALSE(file.isOpen()) << "case " << i;
  }
  EXPECT_EQ(scratch_.entries(), (std::set<std::string>{"keep", "plain", "sub"}));
  EXPECT_EQ(readFile(path("keep")), "keep me");
}

TEST_F(PlatformTest, ExclusiveOpenShutsOutEveryOtherOpenerAndCopy) {
  writeFile(path("store"), "content");
  FileHandle first, second;
  ASSERT_EQ(open("store", OpenMode::ReadExisting, &first), kSuccess);
  EXPECT_EQ(open("store", OpenMode::ReadExisting, &second), kSharingViolation);
  EXPECT_FALSE(second.isOpen());
  EXPECT_EQ(open("store", OpenMode::WriteCreateAlways, &second), kSharingViolation);
  EXPECT_EQ(readFile(path("store")), "content") << "creating over a held file emptied it";
  EXPECT_EQ(p_.copyNoReplace(path("store"), path("copy")), kSharingViolation);
  EXPECT_NE(p_.exists(path("copy")), kSuccess);
  p_.close(first);
  EXPECT_FALSE(first.isOpen());
  ASSERT_EQ(open("store", OpenMode::ReadExisting, &second), kSuccess);
  p_.close(second);
}

TEST_F(PlatformTest, ReadGathersShortReads) {
  // A pipe hands out at most its capacity per read(2): one read of a
  // megabyte must loop.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::vector<char> sent(1 << 20);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 7);
  std::thread writer([&] {
    for (size_t done = 0; done < sent.size();) {
      const ssize_t count = ::write(ends[1], sent.data() + done, sent.size() - done);
      if (count <= 0) break;
      done += static_cast<size_t>(count);
    }
    ::close(ends[1]);
  });
  std::vector<char> received(sent.size() + 100);
  uint32_t got = 0;
  const auto size = static_cast<uint32_t>(received.size());
  EXPECT_EQ(p_.read(FileHandle{ends[0]}, received.data(), size, &got), kSuccess);
  char rest[4096];
  while (::read(ends[0], rest, sizeof rest) > 0) {  // lets a writer left behind finish
  }
  writer.join();
  ::close(ends[0]);
  received.resize(got);
  EXPECT_EQ(received, sent);
}

TEST_F(PlatformTest, CopyAndMoveCarryTheWholeContent) {
  const std::string big(200000, 'q');  // more than one copy buffer
  writeFile(path("a"), big);
  ::chmod(path("a").c_str(), 0640);
  ASSERT_EQ(p_.copyNoReplace(path("a"), path("b")), kSuccess);
  EXPECT_EQ(readFile(path("b")), big);
  struct stat info;
  ASSERT_EQ(::stat(path("b").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);
  writeFile(path("store"), "old");
  ASSERT_EQ(p_.replaceMove(path("b"), path("store")), kSuccess);
  EXPECT_EQ(readFile(path("store")), big);
  EXPECT_EQ(scratch_.entries(), (std::set<std::string>{"a", "store"}));

  // Across file systems (when /dev/shm is another one) nothing is left beside the target.
  struct stat here, there;
  ::stat(scratch_.path().c_str(), &here);
  if (::stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev) return;
  const std::string across = "/dev/shm/trove-platform-" + std::to_string(::getpid());
  writeFile(across, "moved across");
  EXPECT_EQ(p_.replaceMove(across, path("store")), kSuccess);
  EXPECT_EQ(readFile(path("store")), "moved across");
  EXPECT_EQ(p_.exists(across), kFileNotFound);
  EXPECT_EQ(scratch_.entries(), (std::set<std::string>{"a", "store"}));
}

TEST_F(PlatformTest, CurrentDirectoryOfAnyLength) {
  std::string start, got;
  ASSERT_EQ(p_.currentDirectory(&start), kSuccess);
  EXPECT_EQ(start, store_test::fs::current_path().string());
  std::string deep = scratch_.path().string();  // deeper than the first buffer tried
  for (int i = 0; i < 12; ++i) deep += "/" + std::string(40, static_cast<char>('a' + i));
  store_test::fs::create_directories(deep);
  ASSERT_EQ(::chdir(deep.c_str()), 0);
  const WinError result = p_.currentDirectory(&got);
  ASSERT_EQ(::chdir(start.c_str()), 0);
  EXPECT_EQ(result, kSuccess);
  EXPECT_EQ(got, store_test::fs::canonical(deep).string());
}

TEST(Paths, DirectoryPartAndFullPath) {
  const std::pair<const char*, const char*> parts[] = {
      {"profiles.xml", ""}, {"", ""},     {"/profiles.xml", "/"},  {"/a/b/profiles.xml", "/a/b"},
      {"a/x", "a"},         {"//x", "/"}, {"/a\\b/c\\d", "/a\\b"},  // a backslash is no separator
  };
  for (const auto& [path, directory] : parts) EXPECT_EQ(directoryPart(path), directory) << path;
  const char* full[] = {
      // path, current directory, full path
      "/a/b",       "/ignored", "/a/b",      "x/y",     "/home/u",   "/home/u/x/y", "",
      "/home/u",    "/home/u",  "//a///b//", "/",       "/a/b",      "/a/./b/.",    "/",
      "/a/b",       "../x",     "/home/u",   "/home/x", "a/../../b", "/h/u",        "/h/b",
      "../../../x", "/a",       "/x",        "/..",     "/a",        "/",           "...",
      "/c",         "/c/...",   "..x/.y",    "/c",      "/c/..x/.y", "x",           "/c/./d/../e/",
      "/c/e/x"};
  for (size_t i = 0; i < std::size(full); i += 3) {
    EXPECT_EQ(makeFullPath(full[i], full[i + 1]), full[i + 2]) << full[i];
  }
}

TEST(Paths, CreateDirectoriesMakesTheMissingOnesTopDownAndStopsAtAFailure) {
  store_test::ScratchDirectory scratch;
  const std::string dir = scratch.path().string();
  FaultInjectingPlatform fault;
  auto made = [&] {
    std::vector<std::string> paths;
    for (const Call& call : fault.calls()) {
      if (call.op == Op::MakeDirectory) paths.push_back(call.path);
    }
    fault.clearCalls();
    return paths;
  };
  ASSERT_EQ(createDirectories(fault, dir + "/a/b"), kSuccess);
  EXPECT_EQ(made(), (std::vector<std::string>{dir + "/a", dir + "/a/b"}));
  fault.inject({Op::MakeDirectory, kAccessDenied, 1, 0, "/m/n"});
  EXPECT_EQ(createDirectories(fault, dir + "/m/n/o"), kAccessDenied);
  EXPECT_EQ(made(), (std::vector<std::string>{dir + "/m", dir + "/m/n"}));
  EXPECT_EQ(scratch.entries(), (std::set<std::string>{"a", "m"}));
  writeFile(dir + "/file", "x");
  EXPECT_EQ(createDirectories(posix(), dir + "/file/sub"), kPathNotFound);
}

}  // namespace
}  // namespace trove::platform
