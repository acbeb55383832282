// Writers and readers of one store across processes, recovery of a store that an
// interrupted save left missing, and saves that keep what the file was:
// through the client API and the built tool, on real files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "run_program.h"
#include "store_files.h"
#include "trove/client.h"

namespace {

using store_test::fileExists;
using store_test::has;
using store_test::Outcome;
using store_test::readFile;
using store_test::writeFile;

std::string withValue(uint32_t v) {
  return "<propertiesmap>\r\n    <key name=\"App\">\r\n        <tDWORD name=\"v\">" +
         std::to_string(v) + "</tDWORD>\r\n    </key>\r\n</propertiesmap>\r\n";
}

class ReliabilityTest : public ::testing::Test {
 protected:
  Outcome trove(const std::vector<std::string>& args) {
    return store_test::runProgram(TROVE_CLI_PATH, args, dir_);
  }
  std::string file(const std::string& name) const { return dir_.file(name); }
  uint32_t valueIn(const std::string& name, const std::string& value = "v") {
    return trove::Store::openFile(file(name), {.readOnly = true}).key("App").get<uint32_t>(value);
  }
  store_test::ScratchDirectory dir_;
};

TEST_F(ReliabilityTest, TwentyConcurrentToolSetsAllSurviveAndReadersBesideThemSucceed) {
  writeFile(file("profiles.xml"), withValue(0));
  std::vector<store_test::RunningProgram> running;
  for (int i = 1; i <= 20; ++i) {
    const std::string n = std::to_string(i);
    // A generous wait: the machine may be busy; what counts is that none is lost.
    running.push_back(store_test::startProgram(
        TROVE_CLI_PATH, {"--wait", "300", "set", "App", "V" + n, "tDWORD", n}, dir_, n));
    running.push_back(store_test::startProgram(TROVE_CLI_PATH, {"--wait", "300", "get", "App", "v"},
                                               dir_, "get" + n));
  }
  for (const auto& run : running) {
    const Outcome outcome = store_test::finishProgram(run);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  for (uint32_t i = 1; i <= 20; ++i) EXPECT_EQ(valueIn("profiles.xml", "V" + std::to_string(i)), i);
  EXPECT_EQ(dir_.entries(), (std::set<std::string>{"profiles.xml", "profiles.xml.bak2"}));
}

TEST_F(ReliabilityTest, ConflictsAreRefusedOrReappliedAndTheLockKeepsWritersOut) {
  writeFile(file("s.xml"), withValue(1));
  {
    auto first = trove::Store::openFile(file("s.xml"));
    auto second = trove::Store::openFile(file("s.xml"));
    auto reader = trove::Store::openFile(file("s.xml"));
    auto reapplying = trove::Store::openFile(
        file("s.xml"), {.rootPoint = "App", .onConflict = trove::OnConflict::kReapply});
    first.key("App").set<uint32_t>("v", 2);
    first.close();
    second.key("App").set<uint32_t>("w", 3);
    try {
      second.close();
      FAIL() << "the second store overwrote the first one's save";
    } catch (const trove::StoreFileError& error) {
      EXPECT_EQ(error.code(), errWrongState);
      EXPECT_TRUE(has(error.reason(), "another writer replaced"));
    }
    EXPECT_NO_THROW(reader.close()) << "a store that changed nothing closes quietly";
    reapplying.createKey("Sub").set<uint32_t>("y", 11);
    reapplying.root().set<uint32_t>("x", 12);
    reapplying.close();
  }
  EXPECT_EQ(valueIn("s.xml"), 2u);
  EXPECT_EQ(valueIn("s.xml", "x"), 12u);
  EXPECT_EQ(trove::Store::openFile(file("s.xml")).key("App/Sub").get<uint32_t>("y"), 11u);

  auto holder = trove::Store::openFile(file("s.xml"), {.lockWhileOpen = true});
  try {
    trove::Store::openFile(file("s.xml"), {.lockWait = std::chrono::milliseconds(0)});
    FAIL() << "a second writer got in";
  } catch (const trove::StoreFileError& error) {
    EXPECT_EQ(error.code(), errSysSharingViolation);
    EXPECT_TRUE(has(error.reason(), "s.xml.lock")) << error.what();
  }
  const Outcome refused =
      trove({"--store", "s.xml", "--wait", "0", "set", "App", "v", "tDWORD", "5"});
  EXPECT_EQ(refused.status, 3);
  EXPECT_TRUE(has(refused.err, "another writer held")) << refused.err;
  EXPECT_EQ(trove({"--store", "s.xml", "get", "App", "v"}).out, "2\n") << "readers take no lock";
  holder.key("App").set<uint32_t>("v", 6);
  holder.close();
  EXPECT_EQ(valueIn("s.xml"), 6u);
  EXPECT_FALSE(fileExists(file("s.xml.lock")));
}

// The module holds a store file exclusively while it reads it, so another
// program's load is waited out, by readers and writers alike.
TEST_F(ReliabilityTest, AStoreAnotherProgramIsReadingIsWaitedFor) {
  writeFile(file("s.xml"), withValue(1));
  const auto holdStore = [&] {
    const int fd = open(file("s.xml").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(flock(fd, LOCK_EX), 0);
    return fd;
  };
  for (const bool readOnly : {true, false}) {
    const int held = holdStore();
    const std::jthread release([held] {
      usleep(100000);
      close(held);
    });
    try {
      EXPECT_EQ(trove::Store::openFile(file("s.xml"), {.readOnly = readOnly})
                    .key("App")
                    .get<uint32_t>("v"),
                1u);
    } catch (const trove::Error& error) {
      ADD_FAILURE() << error.what();
    }
  }

  const int held = holdStore();
  for (const bool readOnly : {true, false}) {
    try {
      trove::Store::openFile(file("s.xml"),
                             {.readOnly = readOnly, .lockWait = std::chrono::milliseconds(30)});
      FAIL() << "a held store was read";
    } catch (const trove::Error& error) {
      EXPECT_EQ(error.code(), errSysSharingViolation);
    }
  }
  const Outcome refused = trove({"--store", "s.xml", "--wait", "0", "get", "App", "v"});
  EXPECT_EQ(refused.status, 3);
  EXPECT_TRUE(has(refused.err, "in use by another program")) << refused.err;
  close(held);
}

TEST_F(ReliabilityTest, AStoreMissingAfterAnInterruptedSaveIsRestored) {
  struct Case {
    std::vector<std::pair<std::string, std::string>> files;  // written in this order
    uint32_t restored;
    std::string from;
  };
  const std::vector<Case> cases = {
      {{{"s.xml.bak2", withValue(2)}}, 2, "s.xml.bak2"},
      {{{"s.xml.bak2", withValue(2)}, {"s.xml.tmp1f2e", withValue(3)}}, 3, "s.xml.tmp1f2e"},
      // A temporary file the crash cut short is no store.
      {{{"s.xml.bak2", withValue(2)},
        {"s.xml.tmp1f2e", withValue(9).substr(0, 40)},
        {"s.xml.tmp7", ""}},
       2,
       "s.xml.bak2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.from + " " + std::to_string(c.files.size()));
    for (const std::string& name : dir_.entries()) std::filesystem::remove(file(name));
    for (const auto& [name, content] : c.files) {
      writeFile(file(name), content);
      usleep(20000);  // distinct modification times, in the order written
    }
    const std::set<std::string> before = dir_.entries();
    const Outcome check = trove({"--store", "s.xml", "check"});
    EXPECT_EQ(check.status, 3);
    EXPECT_TRUE(has(check.err, "missing; " + file(c.from) + " holds the last complete store"))
        << check.err;
    EXPECT_EQ(dir_.entries(), before) << "check alone changes nothing";
    std::vector<std::string> told;
    auto store = trove::Store::openFile(
        file("s.xml"),
        {.readOnly = true, .onRecovery = [&](const std::string& m) { told.push_back(m); }});
    EXPECT_EQ(store.key("App").get<uint32_t>("v"), c.restored);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_TRUE(has(told[0], "from " + file(c.from))) << told[0];
  }
  // Stale temporary files are reported, then removed by --repair.
  EXPECT_TRUE(has(trove({"--store", "s.xml", "check"}).out, file("s.xml.tmp7") + ": stale file"));
  EXPECT_EQ(trove({"--store", "s.xml", "check", "--repair"}).out,
            file("s.xml") + ": 1 key, 1 value\n");
  EXPECT_EQ(dir_.entries(), (std::set<std::string>{"s.xml"}));

  // The tool restores before it writes, and says so.
  std::filesystem::rename(file("s.xml"), file("s.xml.bak2"));
  const Outcome set = trove({"--store", "s.xml", "set", "App", "w", "tDWORD", "7"});
  EXPECT_TRUE(has(set.err, "trove: restored s.xml from s.xml.bak2")) << set.err;
  EXPECT_EQ(valueIn("s.xml"), 2u);
  EXPECT_EQ(valueIn("s.xml", "w"), 7u);

  // Never over an existing store, even an empty one.
  writeFile(file("e.xml"), "");
  writeFile(file("e.xml.bak2"), withValue(8));
  EXPECT_EQ(trove({"--store", "e.xml", "check", "--repair"}).out,
            file("e.xml") + ": 0 keys, 0 values\n");
  EXPECT_EQ(readFile(file("e.xml")), "");
  // Nor over a damaged one, nor when the caller asked for no recovery.
  writeFile(file("d.xml"), "<propertiesmap><key");
  writeFile(file("d.xml.bak2"), withValue(8));
  EXPECT_THROW(trove::Store::openFile(file("d.xml"), {.readOnly = true}), trove::Error);
  EXPECT_EQ(readFile(file("d.xml")), "<propertiesmap><key");
  std::filesystem::remove(file("d.xml"));
  EXPECT_THROW(trove::Store::openFile(file("d.xml"), {.readOnly = true, .recover = false}),
               trove::Error);
  EXPECT_FALSE(fileExists(file("d.xml")));
}

TEST_F(ReliabilityTest, SavesKeepModeOwnerAndLinksAndRefuseWhatIsNoFile) {
  ASSERT_EQ(mkfifo(file("fifo.xml").c_str(), 0644), 0);
  std::filesystem::create_directory(file("real"));
  writeFile(file("real/target.xml"), withValue(1));
  std::filesystem::create_symlink("real/target.xml", file("link.xml"));
  writeFile(file("secret.xml"), withValue(1));
  ASSERT_EQ(chmod(file("secret.xml").c_str(), 0640), 0);
  const bool root = geteuid() == 0;
  ASSERT_TRUE(!root || chown(file("secret.xml").c_str(), 4321, 4322) == 0);
  for (const char* store : {"secret.xml", "link.xml"}) {
    const Outcome set =
        trove({"--store", store, "--backup-mode", "1", "set", "App", "v", "tDWORD", "5"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(valueIn(store), 5u);
  }
  struct stat info;
  ASSERT_EQ(stat(file("secret.xml").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  EXPECT_TRUE(!root || (info.st_uid == 4321u && info.st_gid == 4322u)) << "owner kept";
  EXPECT_EQ(readFile(file("secret.xml.bak2")), withValue(1));
  // The link is still a link; its target was replaced, with its backup beside it.
  EXPECT_TRUE(std::filesystem::is_symlink(file("link.xml")));
  EXPECT_EQ(readFile(file("real/target.xml.bak2")), withValue(1));
  EXPECT_FALSE(fileExists(file("link.xml.bak2")));

  for (const auto& [store, refusal] : std::vector<std::pair<std::string, std::string>>{
           {"/dev/null", "not a regular file but a character device"},
           {"fifo.xml", "not a regular file but a FIFO"},
           {"real", "not a regular file but a directory"}}) {
    const Outcome set = trove({"--store", store, "set", "App", "v", "tDWORD", "5"});
    EXPECT_EQ(set.status, 3);
    EXPECT_TRUE(has(set.err, refusal)) << set.err;
  }
  struct stat null;
  ASSERT_EQ(stat("/dev/null", &null), 0);
  EXPECT_TRUE(S_ISCHR(null.st_mode));
  EXPECT_FALSE(fileExists(file("fifo.xml.bak2")));
}

}  // namespace
