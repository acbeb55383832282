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
  Files after;
  uint8_t modeAfter;
  uint64_t slept;      // milliseconds between attempts to install
  const char* traced;  // part of the error trace
};

// Every case starts from the store with a ".bak" and a ".bak2" beside it.
const Files kBefore{{"", kOld}, {".bak", "first"}, {".bak2", "previous"}};

// The platform reports thread 0xabc: the temporary file is ".tmpabc".
const FailureCase kFailures[] = {
    // A failure while the temporary file is made or written touches nothing
    // else and leaves no temporary file.
    {"profiles.xml",
     2,
     {Op::OpenExclusive, os::kDiskFull},
     errOutOfSpace,
     kBefore,
     2,
     0,
     "cannot write file"},
    {"profiles.xml",
     2,
     {Op::Write, os::kDiskFull},
     errOutOfSpace,
     kBefore,
     2,
     0,
     "cannot write file"},
    {"profiles.xml",
     2,
     {Op::Write, os::kDiskFull, 1, 0, "", 20},
     errOutOfSpace,
     kBefore,
     2,
     0,
     "cannot write file"},
    {"profiles.xml",
     2,
     {Op::Write, os::kSuccess, 1, 0, "", 10},
     errNotMatched,
     kBefore,
     2,
     0,
     "cannot write file"},
    {"profiles.xml",
     2,
     {Op::Flush, os::kGeneralFailure},
     errUnspecified,
     kBefore,
     2,
     0,
     "cannot write file"},
    // Access denied to the install is tried three times, 200 ms apart; the
    // new store stays in the temporary file when all fail.
    {"data.xml",
     0,
     {Op::ReplaceMove, os::kAccessDenied, 2},
     errOk,
     {{"", kNew}, {".bak", "first"}, {".bak2", "previous"}},
     0,
     400,
     nullptr},
    {"data.xml",
     0,
     {Op::ReplaceMove, os::kAccessDenied, 3},
     errAccessDenied,
     {{"", kOld}, {".bak", "first"}, {".bak2", "previous"}, {".tmpabc", kNew}},
     0,
     400,
     "cannot move temporary file"},
    {"data.xml",
     0,
     {Op::ReplaceMove, os::kSharingViolation},
     errSysSharingViolation,
     {{"", kOld}, {".bak", "first"}, {".bak2", "previous"}, {".tmpabc", kNew}},
     0,
     0,
     "cannot move temporary file"},
    // After the backup move the old store is in ".bak2", the new one in the
    // temporary file.
    {"profiles.xml",
     0,
     {Op::ReplaceMove, os::kGeneralFailure, 1, 0, ".tmp"},
     errUnspecified,
     {{".bak", "first"}, {".bak2", kOld}, {".tmpabc", kNew}},
     0,
     0,
     "does not exist"},
    // Failing backup steps are reported and the save goes on.
    {"profiles.xml",
     0,
     {Op::ReplaceMove, os::kAccessDenied, 1, 0, ".bak2"},
     errOk,
     {{"", kNew}, {".bak", "first"}, {".bak2", kOld}},
     0,
     0,
     "cannot move profiles.xml.bak2"},
    {"profiles.xml",
     0,
     {Op::RemoveFile, os::kAccessDenied},
     errOk,
     {{"", kNew}, {".bak", "first"}, {".bak2", kOld}, {".bak2abc", "previous"}},
     0,
     0,
     "cannot remove"},
    {"profiles.xml",
     0,
     {Op::ReplaceMove, os::kAccessDenied, 1, 1},
     errOk,
     {{"", kNew}, {".bak", "first"}},
     0,
     0,
     "cannot move original"},
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
    writeFiles(path, kBefore);
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
    EXPECT_EQ(filesIn(scratch, c.name), c.after) << context;
    EXPECT_EQ(store.map().backupMode, c.modeAfter) << context;
    EXPECT_EQ(fault.sleptMilliseconds(), c.slept) << context;
    const auto errors = trace_.linesAt(TROVE_TRACE_ERROR);
    if (c.traced == nullptr) {
      EXPECT_TRUE(errors.empty()) << context << ": " << errors.front().text;
    } else {
      EXPECT_TRUE(trace_.contains(c.traced)) << context;
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
  Files before;
};

const Scenario kScenarios[] = {
    {"data.xml", 0, {{"", kOld}, {".bak2", "previous"}}},
    {"profiles.xml", 0, {{"", kOld}}},
    {"profiles.xml", 0, {{"", kOld}, {".bak2", "previous"}}},
    {"data.xml", 1, {{"", kOld}, {".bak2", "previous"}}},
    {"data.xml", 2, {{"", kOld}}},
    {"data.xml", 2, {{"", kOld}, {".bak", "first"}, {".bak2", "previous"}}},
};

// Saves `scenario` in a fresh directory on a machine that stops at step
// `crashAt` (never when unset), checks what a restart finds, and returns how
// many disk-changing steps the save took.
uint32_t saveAndCrash(trove::host::Host& host, const Scenario& scenario,
                      std::optional<uint32_t> crashAt) {
  ScratchDirectory scratch;
  const std::string path = scratch.file(scenario.name);
  writeFiles(path, scenario.before);
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
  if (scenario.before.count(".bak") != 0) {
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
