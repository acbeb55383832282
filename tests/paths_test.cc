// Directory parts, full paths and the making of missing directories.
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store_files.h"
#include "support/fault_injecting_platform.h"

namespace trove::platform {
namespace {

TEST(Paths, DirectoryPartAndFullPath) {
  const std::pair<const char*, const char*> parts[] = {
      {"profiles.xml", ""}, {"", ""},     {"/profiles.xml", "/"},  {"/a/b/profiles.xml", "/a/b"},
      {"a/x", "a"},         {"//x", "/"}, {"/a\\b/c\\d", "/a\\b"},  // a backslash is no separator
  };
  for (const auto& [path, directory] : parts) EXPECT_EQ(directoryPart(path), directory) << path;

  const std::vector<std::vector<const char*>> full = {
      // path, current directory, full path
      {"/a/b", "/ignored", "/a/b"},
      {"x/y", "/home/u", "/home/u/x/y"},
      {"", "/home/u", "/home/u"},
      {"//a///b//", "/", "/a/b"},
      {"/a/./b/.", "/", "/a/b"},
      {"../x", "/home/u", "/home/x"},
      {"a/../../b", "/h/u", "/h/b"},
      {"../../../x", "/a", "/x"},
      {"/..", "/a", "/"},
      {"...", "/c", "/c/..."},
      {"..x/.y", "/c", "/c/..x/.y"},
      {"x", "/c/./d/../e/", "/c/e/x"},
  };
  for (const auto& row : full) EXPECT_EQ(makeFullPath(row[0], row[1]), row[2]) << row[0];
}

TEST(Paths, CurrentDirectoryIsAskedForOnlyWhenRelative) {
  FaultInjectingPlatform fault;
  std::string cwd, full = "untouched";
  ASSERT_EQ(posix().currentDirectory(&cwd), kSuccess);
  ASSERT_EQ(makeFullPath(fault, "sub/../f", &full), kSuccess);
  EXPECT_EQ(full, cwd == "/" ? "/f" : cwd + "/f");

  fault.failNext(Op::CurrentDirectory, kAccessDenied, 0);
  EXPECT_EQ(makeFullPath(fault, "relative", &full), kAccessDenied);
  ASSERT_EQ(makeFullPath(fault, "/abs/./x", &full), kSuccess);
  EXPECT_EQ(full, "/abs/x");
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
  ASSERT_EQ(createDirectories(fault, dir + "/a/b"), kSuccess);
  EXPECT_TRUE(made().empty());

  fault.failOnPath(Op::MakeDirectory, "/m/n", kAccessDenied);
  EXPECT_EQ(createDirectories(fault, dir + "/m/n/o"), kAccessDenied);
  EXPECT_EQ(made(), (std::vector<std::string>{dir + "/m", dir + "/m/n"}));
  EXPECT_EQ(scratch.entries(), (std::set<std::string>{"a", "m"}));

  store_test::writeFile(dir + "/file", "x");
  EXPECT_EQ(createDirectories(posix(), dir + "/file/sub"), kPathNotFound);
}

}  // namespace
}  // namespace trove::platform
