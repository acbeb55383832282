// What a save leaves on disk when it fails or is cut short: failed writes
// leave the old store and its backups byte for byte, and a crash at any step
// leaves the old or the new store under its name, or the old one in ".bak2"
// where the sequence has moved it away for a moment.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "in_process_store.h"
#include "platform/platform.h"
#include "store_files.h"
#include "support/fault_injecting_platform.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::platform::FaultInjectingPlatform;
using trove::platform::FileHandle;
using trove::platform::InstalledPlatform;
using trove::platform::Op;
using trove::platform::OpenMode;
using trove::platform::Platform;
using trove::platform::WinError;

constexpr WinError kDead = trove::platform::kGeneralFailure;

std::string canonicalCount(uint32_t n) {
  return "<propertiesmap>\r\n    <key name=\"app\">\r\n        <tDWORD name=\"count\">" +
         std::to_string(n) + "</tDWORD>\r\n    </key>\r\n</propertiesmap>\r\n";
}

// The POSIX platform until the machine "stops" at step `crashAt`: every call
// that changes the disk is a step; the step at the crash does half its work
// at most (a write or a copy is torn, a rename is atomic and does not happen)
// and nothing that changes the disk happens after it.
class CrashingPlatform : public Platform {
 public:
  explicit CrashingPlatform(std::optional<uint32_t> crashAt) : crashAt_(crashAt) {}

  uint32_t steps() const { return steps_; }
  bool crashed() const { return crashed_; }

  WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) override {
    if (mode == OpenMode::WriteCreateAlways && !step()) return kDead;
    return os().openExclusive(path, mode, out);
  }
  WinError fileSize(FileHandle file, uint64_t* size) override { return os().fileSize(file, size); }
  WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) override {
    return os().read(file, buffer, size, countRead);
  }
  WinError write(FileHandle file, const void* data, uint32_t size,
                 uint32_t* countWritten) override {
    if (!step()) {
      if (justCrashed_) os().write(file, data, size / 2, countWritten);  // torn
      return kDead;
    }
    return os().write(file, data, size, countWritten);
  }
  WinError flush(FileHandle file) override { return step() ? os().flush(file) : kDead; }
  void close(FileHandle& file) override { os().close(file); }
  WinError replaceMove(const std::string& from, const std::string& to) override {
    return step() ? os().replaceMove(from, to) : kDead;
  }
  WinError copyNoReplace(const std::string& from, const std::string& to) override {
    if (!step()) {
      // Torn: a new target holds part of the source (an existing one is never opened).
      if (justCrashed_ && !fileExists(to) && fileExists(from)) {
        writeFile(to, readFile(from).substr(0, 10));
      }
      return kDead;
    }
    return os().copyNoReplace(from, to);
  }
  WinError removeFile(const std::string& path) override {
    return step() ? os().removeFile(path) : kDead;
  }
  WinError exists(const std::string& path) override { return os().exists(path); }
  WinError makeDirectory(const std::string& path) override {
    return step() ? os().makeDirectory(path) : kDead;
  }
  WinError currentDirectory(std::string* out) override { return os().currentDirectory(out); }
  uint32_t currentThreadId() override { return 0x5a5a; }
  void sleepMilliseconds(uint32_t) override {}
  trove::platform::Semaphore* createSemaphore() override { return os().createSemaphore(); }
  void destroySemaphore(trove::platform::Semaphore* semaphore) override {
    os().destroySemaphore(semaphore);
  }
  WinError waitSemaphore(trove::platform::Semaphore* semaphore) override {
    return os().waitSemaphore(semaphore);
  }
  WinError releaseSemaphore(trove::platform::Semaphore* semaphore, uint32_t count) override {
    return os().releaseSemaphore(semaphore, count);
  }

 private:
  static Platform& os() { return trove::platform::posix(); }

  // Whether this disk-changing call may go ahead.
  bool step() {
    justCrashed_ = false;
    if (crashed_) return false;
    if (crashAt_ && steps_ == *crashAt_) {
      crashed_ = true;
      justCrashed_ = true;
      return false;
    }
    ++steps_;
    return true;
  }

  std::optional<uint32_t> crashAt_;
  uint32_t steps_ = 0;
  bool crashed_ = false;
  bool justCrashed_ = false;
};

struct Scenario {
  const char* name;  // the store's file name
  uint8_t backupMode;
  bool earlierSecondBackup;  // a ".bak2" from an earlier save exists
  bool earlierFirstBackup;   // a ".bak" exists
};

const Scenario kScenarios[] = {
    {"data.xml", 0, true, false},     {"profiles.xml", 0, false, false},
    {"profiles.xml", 0, true, false}, {"data.xml", 1, true, false},
    {"data.xml", 2, false, false},    {"data.xml", 2, true, true},
};

class Durability : public ::testing::Test {
 protected:
  const std::string old_ = canonicalCount(1);
  const std::string new_ = canonicalCount(2);
  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = &host_.captureTrace();
};

// Runs one save of `scenario` that crashes at `crashAt` (never when unset) in
// a fresh directory, checks what a restart would find, and returns how many
// disk-changing steps the save took.
uint32_t saveAndCrash(trove::host::Host& host, const Scenario& scenario,
                      std::optional<uint32_t> crashAt, const std::string& oldStore,
                      const std::string& newStore) {
  ScratchDirectory scratch;
  const std::string path = scratch.file(scenario.name);
  writeFile(path, oldStore);
  if (scenario.earlierSecondBackup) writeFile(path + ".bak2", "previous save");
  if (scenario.earlierFirstBackup) writeFile(path + ".bak", "first ever");

  CrashingPlatform crashing(crashAt);
  uint32_t steps = 0;
  {
    InProcessStore store(host);
    store.setName(path);
    store.map().backupMode = scenario.backupMode;
    EXPECT_EQ(store.load(), errOk);
    EXPECT_GE(store.setCount(2), 0);
    InstalledPlatform installed(crashing);
    const int32_t result = store.flush();
    steps = crashing.steps();
    if (!crashing.crashed()) {
      EXPECT_EQ(result, errOk);
    }
  }

  const std::string context = std::string(scenario.name) + " mode " +
                              std::to_string(scenario.backupMode) + " crash at " +
                              (crashAt ? std::to_string(*crashAt) : "never");
  if (fileExists(path)) {
    const std::string found = readFile(path);
    EXPECT_TRUE(found == oldStore || found == newStore) << context << ": " << found;
    // And it loads as what it says.
    InProcessStore restarted(host);
    restarted.setName(path);
    EXPECT_EQ(restarted.load(), errOk) << context;
    EXPECT_EQ(restarted.count(), found == oldStore ? 1u : 2u) << context;
  } else {
    EXPECT_EQ(readFile(path + ".bak2"), oldStore) << context << ": the store is nowhere";
  }
  if (!crashAt) {
    EXPECT_EQ(readFile(path), newStore) << context;
  }
  if (scenario.earlierFirstBackup) {
    EXPECT_EQ(readFile(path + ".bak"), "first ever") << context;
  }
  return steps;
}

TEST_F(Durability, CrashAtAnyStepLeavesTheOldOrTheNewStoreRecoverable) {
  for (const Scenario& scenario : kScenarios) {
    const uint32_t total = saveAndCrash(host_, scenario, std::nullopt, old_, new_);
    EXPECT_GE(total, 4u) << "create, write, flush and install at least";
    for (uint32_t crashAt = 0; crashAt <= total; ++crashAt) {
      saveAndCrash(host_, scenario, crashAt, old_, new_);
    }
  }
}

// Backup modes with a ".bak" and a ".bak2" in place: a save that fails while
// the temporary file is made or written touches neither them nor the store.
class FailedWrite : public Durability {
 protected:
  void SetUp() override {
    fault_.setThreadId(0x77);
    path_ = scratch_.file("profiles.xml");
    writeFile(path_, old_);
    writeFile(path_ + ".bak", "first ever");
    writeFile(path_ + ".bak2", "previous save");
  }

  // Loads, changes and saves with `inject` armed; returns the save's result.
  int32_t saveWith(const std::function<void(FaultInjectingPlatform&)>& inject) {
    InProcessStore store(host_);
    store.setName(path_);
    store.map().backupMode = 2;
    EXPECT_EQ(store.load(), errOk);
    EXPECT_GE(store.setCount(2), 0);
    InstalledPlatform installed(fault_);
    inject(fault_);
    const int32_t result = store.flush();
    EXPECT_EQ(store.changed(), 1u) << "a failed save keeps the change";
    EXPECT_EQ(store.map().backupMode, 2) << "no backup step ran";
    return result;
  }

  void expectUntouched() {
    EXPECT_EQ(readFile(path_), old_);
    EXPECT_EQ(readFile(path_ + ".bak"), "first ever");
    EXPECT_EQ(readFile(path_ + ".bak2"), "previous save");
    EXPECT_EQ(scratch_.entries(),
              (std::set<std::string>{"profiles.xml", "profiles.xml.bak", "profiles.xml.bak2"}))
        << "a failed write leaves no temporary file behind";
    EXPECT_EQ(fault_.count(Op::ReplaceMove), 0u);
    EXPECT_EQ(fault_.count(Op::CopyNoReplace), 0u);
  }

  ScratchDirectory scratch_;
  FaultInjectingPlatform fault_;
  std::string path_;
};

TEST_F(FailedWrite, DiskFull) {
  EXPECT_EQ(saveWith([](FaultInjectingPlatform& f) {
              f.failNext(Op::Write, trove::platform::kDiskFull);
            }),
            errOutOfSpace);
  expectUntouched();
  EXPECT_TRUE(
      trace_->contains("trove\tcannot write file " + path_ + " : 0x80000062 (Out of space)"));
}

TEST_F(FailedWrite, DiskFullAfterPartOfTheText) {
  trove::platform::Fault fault;
  fault.op = Op::Write;
  fault.error = trove::platform::kDiskFull;
  fault.byteLimit = 20;
  EXPECT_EQ(saveWith([&](FaultInjectingPlatform& f) { f.inject(fault); }), errOutOfSpace);
  expectUntouched();
}

TEST_F(FailedWrite, ShortWrite) {
  EXPECT_EQ(saveWith([](FaultInjectingPlatform& f) { f.shortWrite(10); }), errNotMatched);
  expectUntouched();
}

TEST_F(FailedWrite, TemporaryFileNotOnDisk) {
  EXPECT_EQ(saveWith([](FaultInjectingPlatform& f) {
              f.failNext(Op::Flush, trove::platform::kGeneralFailure);
            }),
            errUnspecified);
  expectUntouched();
}

TEST_F(FailedWrite, TemporaryFileCannotBeCreated) {
  EXPECT_EQ(saveWith([](FaultInjectingPlatform& f) {
              f.failNext(Op::OpenExclusive, trove::platform::kDiskFull);
            }),
            errOutOfSpace);
  expectUntouched();
}

TEST_F(Durability, TemporaryFileReachesTheDiskBeforeItReplacesTheStore) {
  ScratchDirectory scratch;
  const std::string path = scratch.file("profiles.xml");
  writeFile(path, old_);
  FaultInjectingPlatform fault;
  fault.setThreadId(0x1f);
  InProcessStore store(host_);
  store.setName(path);
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(2), 0);
  InstalledPlatform installed(fault);
  ASSERT_EQ(store.flush(), errOk);

  const auto calls = fault.calls();
  auto position = [&](Op op, const std::string& file) {
    for (size_t i = 0; i < calls.size(); ++i) {
      if (calls[i].op == op && calls[i].path == file) return i;
    }
    return calls.size();
  };
  const size_t flushed = position(Op::Flush, path + ".tmp1f");
  const size_t closed = position(Op::Close, path + ".tmp1f");
  const size_t backedUp = position(Op::ReplaceMove, path);
  const size_t installed_ = position(Op::ReplaceMove, path + ".tmp1f");
  ASSERT_LT(installed_, calls.size());
  EXPECT_LT(flushed, closed);
  EXPECT_LT(closed, backedUp) << "the store is moved away only once its successor is safe";
  EXPECT_LT(backedUp, installed_);
}

TEST_F(Durability, LeftoversOfAnEarlierCrashDoNotDisturbTheNextSave) {
  ScratchDirectory scratch;
  const std::string path = scratch.file("profiles.xml");
  writeFile(path, old_);
  writeFile(path + ".bak2", "previous save");
  writeFile(path + ".tmp2a", "torn <propertiesmap");  // an unfinished temporary file
  writeFile(path + ".bak2" + "2a", "stale set-aside");
  FaultInjectingPlatform fault;
  fault.setThreadId(0x2a);
  InProcessStore store(host_);
  store.setName(path);
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(2), 0);
  InstalledPlatform installed(fault);
  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(readFile(path), new_);
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_EQ(scratch.entries(), (std::set<std::string>{"profiles.xml", "profiles.xml.bak2"}));
}

}  // namespace

namespace {

// A crash between the backup move and the install leaves the name empty and
// the last real store in ".bak2". Creating the store anew must not let the
// first save of the empty store push that backup out, nor a save while the
// name is still empty.
TEST_F(Durability, RecreatedStoreKeepsTheBackupOfTheLastRealStore) {
  ScratchDirectory scratch;
  const std::string path = scratch.file("profiles.xml");
  writeFile(path + ".bak2", old_);
  {
    InProcessStore store(host_);
    store.setName(path);
    store.map().openFlags = TROVE_OPEN_CREATE_IF_MISSING;
    ASSERT_EQ(store.load(), errOk);
    EXPECT_EQ(readFile(path), "");
    ASSERT_GE(store.setCount(2), 0);
    EXPECT_EQ(store.flush(), errOk);
  }
  EXPECT_EQ(readFile(path + ".bak2"), old_) << "an empty store is no backup";
  EXPECT_EQ(readFile(path), new_);
  EXPECT_EQ(scratch.entries(), (std::set<std::string>{"profiles.xml", "profiles.xml.bak2"}));

  // The next save backs up real content again.
  InProcessStore store(host_);
  store.setName(path);
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(3), 0);
  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(readFile(path + ".bak2"), new_);
}

}  // namespace
