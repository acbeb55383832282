// What a save leaves on disk when a step of it fails or the machine stops in
// the middle: the store's name holds the old store or the new one, or the
// old one is in ".bak2" where the sequence has moved it for a moment; never
// a mix, never nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "in_process_store.h"
#include "store_files.h"
#include "support/fault_injecting_platform.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::platform::Fault;
using trove::platform::FaultInjectingPlatform;
using trove::platform::InstalledPlatform;
using trove::platform::Op;
namespace os = trove::platform;

const std::string kOld = canonicalCount(1);
const std::string kNew = canonicalCount(2);

struct FailureCase {
  const char* name;  // the store's file name
  uint8_t mode;
  Fault fault;
  int32_t result;
  const char* after;   // files(...)
  uint64_t slept;      // milliseconds between attempts to install
  const char* traced;  // part of the error trace
};

Fault fail(Op op, os::WinError error, uint32_t times = 1, uint32_t skip = 0, const char* path = "",
           std::optional<uint32_t> byteLimit = {}) {
  return Fault{op, error, times, skip, path, byteLimit};
}

// Every case starts from the store with a ".bak" and a ".bak2" beside it.
constexpr char kBefore[] = "=old .bak=first .bak2=previous";

// The platform reports thread 0xabc: the temporary file is ".tmpabc".
const FailureCase kFailures[] = {
    // A failure while the temporary file is made or written touches nothing
    // else and leaves no temporary file.
    {"profiles.xml", 2, fail(Op::OpenExclusive, os::kDiskFull), errOutOfSpace, kBefore, 0, "write"},
    {"profiles.xml", 2, fail(Op::Write, os::kDiskFull), errOutOfSpace, kBefore, 0, "write"},
    {"profiles.xml", 2, fail(Op::Write, os::kDiskFull, 1, 0, "", 20), errOutOfSpace, kBefore, 0,
     "write"},
    {"profiles.xml", 2, fail(Op::Write, os::kSuccess, 1, 0, "", 10), errNotMatched, kBefore, 0,
     "write"},
    {"profiles.xml", 2, fail(Op::Flush, os::kGeneralFailure), errUnspecified, kBefore, 0, "write"},
    // Access denied to the install is tried three times, 200 ms apart; the
    // new store stays in the temporary file when all fail.
    {"data.xml", 0, fail(Op::ReplaceMove, os::kAccessDenied, 2), errOk,
     "=new .bak=first .bak2=previous", 400, nullptr},
    {"data.xml", 0, fail(Op::ReplaceMove, os::kAccessDenied, 3), errAccessDenied,
     "=old .bak=first .bak2=previous .tmpabc=new", 400, "move temporary"},
    {"data.xml", 0, fail(Op::ReplaceMove, os::kSharingViolation), errSysSharingViolation,
     "=old .bak=first .bak2=previous .tmpabc=new", 0, "move temporary"},
    // After the backup move the old store is in ".bak2", the new one in the
    // temporary file.
    {"profiles.xml", 0, fail(Op::ReplaceMove, os::kGeneralFailure, 1, 0, ".tmp"), errUnspecified,
     ".bak=first .bak2=old .tmpabc=new", 0, "does not exist"},
    // Failing backup steps are reported and the save goes on.
    {"profiles.xml", 0, fail(Op::ReplaceMove, os::kAccessDenied, 1, 0, ".bak2"), errOk,
     "=new .bak=first .bak2=old", 0, "move profiles.xml.bak2"},
    {"profiles.xml", 0, fail(Op::RemoveFile, os::kAccessDenied), errOk,
     "=new .bak=first .bak2=old .bak2abc=previous", 0, "cannot remove"},
    {"profiles.xml", 0, fail(Op::ReplaceMove, os::kAccessDenied, 1, 1), errOk, "=new .bak=first", 0,
     "move original"},
};

class Durability : public ::testing::Test {
 protected:
  trove::host::Host host_;
  trove::host::CapturingTraceSink& trace_ = host_.captureTrace();
};

TEST_F(Durability, FailedStepsLeaveTheseFiles) {
  int row = 0;
  for (const FailureCase& c : kFailures) {
    const std::string context = "row " + std::to_string(row++);
    ScratchDirectory scratch;
    const std::string path = scratch.file(c.name);
    writeFiles(path, files(kBefore));
    FaultInjectingPlatform fault;
    fault.setThreadId(0xabc);
    InstalledPlatform installed(fault);
    InProcessStore store(host_);
    store.setName(path);
    store.map().backupMode = c.mode;
    ASSERT_EQ(store.load(), errOk);
    ASSERT_GE(store.setCount(2), 0);
    trace_.clear();
    fault.inject(c.fault);

    EXPECT_EQ(store.flush(), c.result) << context;
    EXPECT_EQ(filesIn(scratch, c.name), files(c.after)) << context;
    EXPECT_EQ(store.map().backupMode, c.mode) << context << ": the mode changed";
    EXPECT_EQ(fault.sleptMilliseconds(), c.slept) << context;
    std::string errors;
    for (const auto& line : trace_.linesAt(TROVE_TRACE_ERROR)) errors += line.text + "\n";
    if (c.traced == nullptr) {
      EXPECT_EQ(errors, "") << context;
    } else {
      EXPECT_NE(errors.find(c.traced), std::string::npos) << context << ": " << errors;
    }
    // A failed save keeps the change, and the next one installs it.
    EXPECT_EQ(store.changed(), c.result < 0 ? 1u : 0u) << context;
    if (c.result < 0) {
      EXPECT_EQ(store.flush(), errOk) << context;
      EXPECT_EQ(readFile(path), kNew) << context;
    }
  }
}

struct Scenario {
  const char* name;
  uint8_t backupMode;
  const char* before;  // files(...)
};

const Scenario kScenarios[] = {
    {"data.xml", 0, "=old .bak2=previous"},
    {"profiles.xml", 0, "=old"},
    {"profiles.xml", 0, "=old .bak2=previous"},
    {"data.xml", 1, "=old .bak2=previous"},
    {"data.xml", 2, "=old"},
    {"data.xml", 2, "=old .bak=first .bak2=previous"},
};

// Saves `scenario` in a fresh directory on a machine that stops at step
// `crashAt` (never when unset), checks what a restart finds, and returns how
// many disk-changing steps the save took.
uint32_t saveAndCrash(trove::host::Host& host, const Scenario& scenario,
                      std::optional<uint32_t> crashAt) {
  ScratchDirectory scratch;
  const std::string path = scratch.file(scenario.name);
  writeFiles(path, files(scenario.before));
  FaultInjectingPlatform crashing;
  if (crashAt) crashing.crashAt(*crashAt);
  {
    InProcessStore store(host);
    store.setName(path);
    store.map().backupMode = scenario.backupMode;
    EXPECT_EQ(store.load(), errOk);
    EXPECT_GE(store.setCount(2), 0);
    InstalledPlatform installed(crashing);
    const int32_t result = store.flush();
    EXPECT_TRUE(crashing.crashed() || result == errOk) << result;
  }

  const std::string context = std::string(scenario.name) + " mode " +
                              std::to_string(scenario.backupMode) + " crash at " +
                              (crashAt ? std::to_string(*crashAt) : "never");
  if (fileExists(path)) {
    const std::string found = readFile(path);
    EXPECT_TRUE(found == kOld || found == kNew) << context << ": " << found;
    InProcessStore restarted(host);
    restarted.setName(path);
    EXPECT_EQ(restarted.load(), errOk) << context;
    EXPECT_EQ(restarted.count(), found == kOld ? 1u : 2u) << context;
  } else {
    EXPECT_EQ(readFile(path + ".bak2"), kOld) << context << ": the store is nowhere";
  }
  if (!crashAt) {
    EXPECT_EQ(readFile(path), kNew) << context;
  }
  if (files(scenario.before).count(".bak") != 0) {
    EXPECT_EQ(readFile(path + ".bak"), "first") << context;
  }
  return crashing.steps();
}

TEST_F(Durability, CrashAtAnyStepLeavesTheOldOrTheNewStoreRecoverable) {
  for (const Scenario& scenario : kScenarios) {
    const uint32_t total = saveAndCrash(host_, scenario, std::nullopt);
    EXPECT_GE(total, 4u) << "create, write, flush and install at least";
    for (uint32_t crashAt = 0; crashAt <= total; ++crashAt) {
      saveAndCrash(host_, scenario, crashAt);
    }
  }
}

}  // namespace
