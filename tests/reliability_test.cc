// Writers of one store across processes, recovery of a store that an
// interrupted save left missing, and saves that keep what the file was:
// through the client API and the built tool, on real files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "run_program.h"
#include "store_files.h"
#include "trove/client.h"

namespace {

using store_test::fileExists;
using store_test::Outcome;
using store_test::readFile;
using store_test::ScratchDirectory;
using store_test::writeFile;

const char kStore[] =
    "<propertiesmap>\r\n    <key name=\"App\">\r\n        <tDWORD name=\"v\">1</tDWORD>\r\n"
    "    </key>\r\n</propertiesmap>\r\n";

std::string withValue(uint32_t v) {
  std::string text = kStore;
  text.replace(text.find(">1<"), 3, ">" + std::to_string(v) + "<");
  return text;
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

  ScratchDirectory dir_;
};

TEST_F(ReliabilityTest, TwentyConcurrentToolSetsAllSurvive) {
  std::vector<store_test::RunningProgram> running;
  for (int i = 1; i <= 20; ++i) {
    const std::string n = std::to_string(i);
    // A generous wait: the machine may be busy; what counts is that none is lost.
    running.push_back(store_test::startProgram(
        TROVE_CLI_PATH, {"--wait", "300", "set", "App", "V" + n, "tDWORD", n}, dir_, n));
  }
  for (const auto& run : running) {
    const Outcome outcome = store_test::finishProgram(run);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  auto store = trove::Store::openFile(file("profiles.xml"), {.readOnly = true});
  for (uint32_t i = 1; i <= 20; ++i)
    EXPECT_EQ(store.key("App").get<uint32_t>("V" + std::to_string(i)), i);
  EXPECT_EQ(dir_.entries(), (std::set<std::string>{"profiles.xml", "profiles.xml.bak2"}));
}

TEST_F(ReliabilityTest, TwoClientStoresOnOneFileNeverDropAChangeSilently) {
  writeFile(file("s.xml"), kStore);
  {
    auto first = trove::Store::openFile(file("s.xml"));
    auto second = trove::Store::openFile(file("s.xml"));
    first.key("App").set<uint32_t>("v", 2);
    first.close();
    second.key("App").set<uint32_t>("w", 3);
    try {
      second.close();
      FAIL() << "the second store overwrote the first one's save";
    } catch (const trove::StoreFileError& error) {
      EXPECT_EQ(error.code(), errWrongState);
      EXPECT_NE(error.reason().find("another writer replaced"), std::string::npos);
    }
  }
  EXPECT_EQ(valueIn("s.xml"), 2u);
  // A store that changed nothing closes quietly, whatever happened to the file.
  {
    auto reader = trove::Store::openFile(file("s.xml"));
    trove::Store::openFile(file("s.xml")).key("App").set<uint32_t>("v", 4);
    EXPECT_NO_THROW(reader.close());
  }
  EXPECT_EQ(valueIn("s.xml"), 4u);
  // Asked to, a store makes its changes again on the other writer's save.
  {
    auto first = trove::Store::openFile(file("s.xml"));
    auto second = trove::Store::openFile(
        file("s.xml"), {.rootPoint = "App", .onConflict = trove::OnConflict::kReapply});
    first.key("App").set<uint32_t>("x", 10);
    first.close();
    second.createKey("Sub").set<uint32_t>("y", 11);
    second.root().set<uint32_t>("v", 12);
    second.close();
  }
  EXPECT_EQ(valueIn("s.xml", "x"), 10u);
  EXPECT_EQ(valueIn("s.xml"), 12u);
  EXPECT_EQ(trove::Store::openFile(file("s.xml")).key("App/Sub").get<uint32_t>("y"), 11u);

  // A store that holds the lock keeps other writers out, the tool included.
  auto holder = trove::Store::openFile(file("s.xml"), {.lockWhileOpen = true});
  try {
    trove::Store::openFile(file("s.xml"), {.lockWait = std::chrono::milliseconds(0)});
    FAIL() << "a second writer got in";
  } catch (const trove::StoreFileError& error) {
    EXPECT_EQ(error.code(), errSysSharingViolation);
    EXPECT_NE(error.reason().find("s.xml.lock"), std::string::npos) << error.what();
  }
  const Outcome refused =
      trove({"--store", "s.xml", "--wait", "0", "set", "App", "v", "tDWORD", "5"});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find(file("s.xml") + ": set App/v: another writer held"), std::string::npos)
      << refused.err;
  // Readers take no lock.
  EXPECT_EQ(trove({"--store", "s.xml", "get", "App", "v"}).out, "12\n");
  holder.key("App").set<uint32_t>("v", 6);
  holder.close();
  EXPECT_EQ(valueIn("s.xml"), 6u);
  EXPECT_FALSE(fileExists(file("s.xml.lock")));
}

TEST_F(ReliabilityTest, AStoreMissingAfterAnInterruptedSaveIsRestored) {
  struct Case {
    const char* what;
    std::vector<std::pair<std::string, std::string>> files;  // name, content; written in order
    uint32_t restored;                                       // the value the store then holds
    std::string from;
  };
  const std::string cut = withValue(9).substr(0, 40);  // a temporary file the crash cut short
  const std::vector<Case> cases = {
      {"backup only", {{"s.xml.bak2", withValue(2)}}, 2, "s.xml.bak2"},
      {"complete temporary newer than the backup",
       {{"s.xml.bak2", withValue(2)}, {"s.xml.tmp1f2e", withValue(3)}},
       3,
       "s.xml.tmp1f2e"},
      {"cut temporary newer than the backup",
       {{"s.xml.bak2", withValue(2)}, {"s.xml.tmp1f2e", cut}, {"s.xml.tmp7", ""}},
       2,
       "s.xml.bak2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    for (const std::string& name : dir_.entries()) std::filesystem::remove(file(name));
    for (const auto& [name, content] : c.files) {
      writeFile(file(name), content);
      usleep(20000);  // distinct modification times, in the order written
    }
    const std::set<std::string> before = dir_.entries();
    const Outcome check = trove({"--store", "s.xml", "check"});
    EXPECT_EQ(check.status, 3);
    EXPECT_NE(check.err.find("missing; " + file(c.from) + " holds the last complete store"),
              std::string::npos)
        << check.err;
    EXPECT_EQ(dir_.entries(), before);  // check alone changes nothing

    // The client API restores on open and says so.
    std::vector<std::string> told;
    auto store = trove::Store::openFile(
        file("s.xml"), {.readOnly = true, .onRecovery = [&](const std::string& message) {
                          told.push_back(message);
                        }});
    EXPECT_EQ(store.key("App").get<uint32_t>("v"), c.restored);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_NE(told[0].find("from " + file(c.from)), std::string::npos) << told[0];
    EXPECT_FALSE(fileExists(file(c.from)));
  }
  // The last case left stale temporary files: reported, then removed by --repair.
  const Outcome check = trove({"--store", "s.xml", "check"});
  EXPECT_EQ(check.status, 0);
  EXPECT_NE(check.out.find(file("s.xml.tmp1f2e") + ": stale file"), std::string::npos) << check.out;
  EXPECT_NE(check.out.find(file("s.xml.tmp7") + ": stale file"), std::string::npos) << check.out;
  const Outcome repair = trove({"--store", "s.xml", "check", "--repair"});
  EXPECT_EQ(repair.status, 0) << repair.err;
  EXPECT_EQ(repair.out, file("s.xml") + ": 1 key, 1 value\n");
  EXPECT_EQ(dir_.entries(), (std::set<std::string>{"s.xml"}));

  // The tool restores before it reads or writes, and says so on standard error.
  std::filesystem::rename(file("s.xml"), file("s.xml.bak2"));
  const Outcome get = trove({"--store", "s.xml", "get", "App", "v"});
  EXPECT_EQ(get.out, "2\n");
  EXPECT_NE(get.err.find("trove: restored s.xml from s.xml.bak2"), std::string::npos) << get.err;
  std::filesystem::rename(file("s.xml"), file("s.xml.bak2"));
  ASSERT_EQ(trove({"--store", "s.xml", "check", "--repair"}).status, 0);
  EXPECT_EQ(trove({"--store", "s.xml", "set", "App", "w", "tDWORD", "7"}).status, 0);
  EXPECT_EQ(valueIn("s.xml"), 2u);
  EXPECT_EQ(valueIn("s.xml", "w"), 7u);

  // Never over an existing store, even an empty one.
  writeFile(file("e.xml"), "");
  writeFile(file("e.xml.bak2"), withValue(8));
  EXPECT_EQ(trove({"--store", "e.xml", "check", "--repair"}).out,
            file("e.xml") + ": 0 keys, 0 values\n");
  EXPECT_EQ(readFile(file("e.xml")), "");
}

TEST_F(ReliabilityTest, SavesKeepModeOwnerAndLinksAndRefuseWhatIsNoFile) {
  ASSERT_EQ(mkfifo(file("fifo.xml").c_str(), 0644), 0);
  std::filesystem::create_directory(file("dir.xml"));
  std::filesystem::create_directory(file("real"));
  writeFile(file("real/target.xml"), kStore);
  std::filesystem::create_symlink("real/target.xml", file("link.xml"));
  const bool root = geteuid() == 0;

  struct Case {
    std::string store;
    mode_t mode;          // set before the save and expected after it; 0: leave as it is
    std::string refusal;  // empty: the save works
  };
  const std::vector<Case> cases = {
      {"secret.xml", 0600, ""},
      {"shared.xml", 0664, ""},
      {"link.xml", 0, ""},
      {"/dev/null", 0, "not a regular file but a character device"},
      {"fifo.xml", 0, "not a regular file but a FIFO"},
      {"dir.xml", 0, "not a regular file but a directory"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.store);
    const std::string path = c.store[0] == '/' ? c.store : file(c.store);
    if (c.mode != 0) {
      writeFile(path, kStore);
      ASSERT_EQ(chmod(path.c_str(), c.mode), 0);
      if (root) {
        ASSERT_EQ(chown(path.c_str(), 4321, 4322), 0);
      }
    }
    const std::set<std::string> before = dir_.entries();
    const Outcome set =
        trove({"--store", c.store, "--backup-mode", "1", "set", "App", "v", "tDWORD", "5"});
    if (!c.refusal.empty()) {
      EXPECT_EQ(set.status, 3);
      EXPECT_NE(set.err.find(c.refusal), std::string::npos) << set.err;
      EXPECT_EQ(trove({"--store", c.store, "get", "App", "v"}).status, 3);
      EXPECT_EQ(dir_.entries(), before);
      continue;
    }
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(valueIn(c.store), 5u);
    struct stat info;
    ASSERT_EQ(lstat(path.c_str(), &info), 0);
    if (c.mode != 0) {
      EXPECT_EQ(readFile(path + ".bak2"), kStore);
      EXPECT_EQ(info.st_mode & 07777, c.mode);
      if (root) {
        EXPECT_EQ(info.st_uid, 4321u);
        EXPECT_EQ(info.st_gid, 4322u);
      }
    }
  }
  // The link is still a link, and its target was replaced beside it.
  EXPECT_TRUE(std::filesystem::is_symlink(file("link.xml")));
  EXPECT_EQ(valueIn("real/target.xml"), 5u);
  EXPECT_EQ(readFile(file("real/target.xml.bak2")), kStore);
  EXPECT_FALSE(fileExists(file("link.xml.bak2")));
  struct stat null;
  ASSERT_EQ(stat("/dev/null", &null), 0);
  EXPECT_TRUE(S_ISCHR(null.st_mode));
}

}  // namespace
