// Directory parts, full paths and the making of missing directories.
#include "platform/paths.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/fault_injecting_platform.h"

namespace trove::platform {
namespace {

namespace fs = std::filesystem;

TEST(DirectoryPart, KeepsEverythingBeforeTheLastSeparator) {
  EXPECT_EQ(directoryPart("profiles.xml"), "");
  EXPECT_EQ(directoryPart(""), "");
  EXPECT_EQ(directoryPart("/profiles.xml"), "/");
  EXPECT_EQ(directoryPart("/a/b/profiles.xml"), "/a/b");
  EXPECT_EQ(directoryPart("a/profiles.xml"), "a");
  EXPECT_EQ(directoryPart("/a/b/"), "/a/b");
  EXPECT_EQ(directoryPart("//x"), "/");
  EXPECT_EQ(directoryPart("./x"), ".");
  // A backslash is part of a file name.
  EXPECT_EQ(directoryPart("C:\\dir\\profiles.xml"), "");
  EXPECT_EQ(directoryPart("/a\\b/c\\d"), "/a\\b");
}

TEST(MakeFullPath, NormalisesAgainstTheCurrentDirectory) {
  EXPECT_EQ(makeFullPath("/a/b", "/ignored"), "/a/b");
  EXPECT_EQ(makeFullPath("x/y", "/home/u"), "/home/u/x/y");
  EXPECT_EQ(makeFullPath("x", "/"), "/x");
  EXPECT_EQ(makeFullPath("", "/home/u"), "/home/u");
  EXPECT_EQ(makeFullPath("/", "/home/u"), "/");
  EXPECT_EQ(makeFullPath("//a///b//", "/"), "/a/b");
  EXPECT_EQ(makeFullPath("/a/./b/.", "/"), "/a/b");
  EXPECT_EQ(makeFullPath("./x", "/c/"), "/c/x");
  EXPECT_EQ(makeFullPath("/a/b/..", "/"), "/a");
  EXPECT_EQ(makeFullPath("../x", "/home/u"), "/home/x");
  EXPECT_EQ(makeFullPath("a/../../b", "/home/u"), "/home/b");
  // Never above the root.
  EXPECT_EQ(makeFullPath("../../../x", "/a"), "/x");
  EXPECT_EQ(makeFullPath("/..", "/a"), "/");
  // Only "." and ".." are special; a backslash is an ordinary character.
  EXPECT_EQ(makeFullPath("...", "/c"), "/c/...");
  EXPECT_EQ(makeFullPath("..x/.y", "/c"), "/c/..x/.y");
  EXPECT_EQ(makeFullPath("a\\..\\b", "/c"), "/c/a\\..\\b");
  // The current directory is normalised too.
  EXPECT_EQ(makeFullPath("x", "/c/./d/../e/"), "/c/e/x");
}

TEST(MakeFullPath, AsksForTheCurrentDirectoryOnlyWhenRelative) {
  FaultInjectingPlatform fault;
  std::string cwd;
  ASSERT_EQ(posix().currentDirectory(&cwd), kSuccess);

  std::string full;
  ASSERT_EQ(makeFullPath(fault, "sub/../f", &full), kSuccess);
  EXPECT_EQ(full, cwd == "/" ? "/f" : cwd + "/f");

  fault.failAlways(Op::CurrentDirectory, kAccessDenied);
  full = "untouched";
  EXPECT_EQ(makeFullPath(fault, "relative", &full), kAccessDenied);
  EXPECT_EQ(full, "untouched");
  fault.clearCalls();
  ASSERT_EQ(makeFullPath(fault, "/abs/./x", &full), kSuccess);
  EXPECT_EQ(full, "/abs/x");
  EXPECT_EQ(fault.count(Op::CurrentDirectory), 0u);
}

class CreateDirectoriesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = fs::temp_directory_path().string() + "/trove-paths-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }
  std::vector<std::string> made() const {
    std::vector<std::string> paths;
    for (const Call& call : fault_.calls(Op::MakeDirectory)) paths.push_back(call.path);
    return paths;
  }

  std::string dir_;
  FaultInjectingPlatform fault_;
};

TEST_F(CreateDirectoriesTest, MakesTheMissingOnesTopDown) {
  std::string deepest = dir_ + "/a/b/c";
  ASSERT_EQ(createDirectories(fault_, deepest), kSuccess);
  EXPECT_TRUE(fs::is_directory(deepest));
  EXPECT_EQ(made(), (std::vector<std::string>{dir_ + "/a", dir_ + "/a/b", dir_ + "/a/b/c"}));
  // The walk upward stopped at the first directory that exists.
  std::vector<Call> tests = fault_.calls(Op::Exists);
  ASSERT_EQ(tests.size(), 4u);
  EXPECT_EQ(tests.back().path, dir_);

  fault_.clearCalls();
  ASSERT_EQ(createDirectories(fault_, deepest), kSuccess);
  EXPECT_TRUE(made().empty());
  EXPECT_EQ(fault_.count(Op::Exists), 1u);

  fault_.clearCalls();
  ASSERT_EQ(createDirectories(fault_, dir_ + "/a/x/y"), kSuccess);
  EXPECT_EQ(made(), (std::vector<std::string>{dir_ + "/a/x", dir_ + "/a/x/y"}));
}

TEST_F(CreateDirectoriesTest, StopsAtTheFirstFailure) {
  fault_.failOnPath(Op::MakeDirectory, "/m/n", kAccessDenied);
  EXPECT_EQ(createDirectories(fault_, dir_ + "/m/n/o"), kAccessDenied);
  EXPECT_TRUE(fs::is_directory(dir_ + "/m"));
  EXPECT_FALSE(fs::exists(dir_ + "/m/n"));
  EXPECT_EQ(made(), (std::vector<std::string>{dir_ + "/m", dir_ + "/m/n"}));

  // A file in the way of the path.
  std::ofstream(dir_ + "/file") << "x";
  EXPECT_EQ(createDirectories(posix(), dir_ + "/file/sub"), kPathNotFound);
}

}  // namespace
}  // namespace trove::platform
