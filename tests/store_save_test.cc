// Saving a store: what each backup mode leaves beside it, when nothing is
// written at all, and saving through a store I/O object.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "in_process_store.h"
#include "store_files.h"
#include "support/fault_injecting_platform.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::platform::Call;
using trove::platform::FaultInjectingPlatform;
using trove::platform::InstalledPlatform;
using trove::platform::Op;

struct BackupCase {
  const char* name;  // the store's file name
  uint8_t mode;
  const char* before;  // files(...)
  const char* after;
  uint8_t modeAfter;
};

// The platform reports thread 0xabc: the temporary file is ".tmpabc".
const BackupCase kBackupCases[] = {
    // Mode 0 neither keeps nor touches a backup of an ordinary store.
    {"data.xml", 0, "=old .bak2=older", "=new .bak2=older", 0},
    // A store named profiles.xml (compared with case) always keeps the
    // previous store as ".bak2"; an older ".bak2" is set aside and removed.
    {"profiles.xml", 0, "=old", "=new .bak2=old", 0},
    {"myprofiles.xml", 0, "=old .bak2=older", "=new .bak2=old", 0},
    {"Profiles.xml", 0, "=old", "=new", 0},
    // Mode 1 does so for any store; other modes act as 0.
    {"data.xml", 1, "=old .bak2=older", "=new .bak2=old", 1},
    {"data.xml", 7, "=old", "=new", 7},
    // Mode 2 also copies the store to ".bak" once, never over an existing
    // one, and then becomes mode 1.
    {"data.xml", 2, "=old", "=new .bak=old .bak2=old", 1},
    {"data.xml", 2, "=old .bak=first", "=new .bak=first .bak2=old", 1},
    {"data.xml", 2, "", "=new", 1},
    // An empty store is what creating it anew leaves after a crash left only
    // ".bak2": it must not push out the backup of the last real store.
    {"profiles.xml", 0, "= .bak2=old", "=new .bak2=old", 0},
    // Leftovers of an interrupted save by a thread of the same number.
    {"profiles.xml", 0, "=old .bak2=older .tmpabc=torn<prop .bak2abc=stale", "=new .bak2=old", 0},
};

class StoreSave : public ::testing::Test {
 protected:
  void SetUp() override { fault_.setThreadId(0xabc); }

  trove::host::Host host_;
  FaultInjectingPlatform fault_;
  InstalledPlatform installed_{fault_};
};

TEST_F(StoreSave, BackupModesLeaveTheseFiles) {
  for (const BackupCase& c : kBackupCases) {
    const std::string context = std::string(c.name) + " mode " + std::to_string(c.mode);
    ScratchDirectory scratch;
    const std::string path = scratch.file(c.name);
    writeFiles(path, files(c.before));
    InProcessStore store(host_);
    store.setName(path);
    store.map().backupMode = c.mode;
    store.map().useLocking = 1;
    store.load();
    ASSERT_GE(store.setCount(2), 0);
    fault_.clearCalls();

    EXPECT_EQ(store.flush(), errOk) << context;
    EXPECT_EQ(store.changed(), 0u) << context;
    EXPECT_EQ(store.map().backupMode, c.modeAfter) << context;
    EXPECT_EQ(store.map().lock.state, 0) << context << ": the save still holds the lock";
    EXPECT_EQ(filesIn(scratch, c.name), files(c.after)) << context;

    // Nothing old moves before the new store is on disk.
    const auto calls = fault_.calls();
    auto first = [&](Op op) {
      return std::find_if(calls.begin(), calls.end(), [op](const Call& x) { return x.op == op; });
    };
    EXPECT_LT(first(Op::Flush), std::min(first(Op::ReplaceMove), first(Op::CopyNoReplace)))
        << context;
  }
}

TEST_F(StoreSave, NothingIsWrittenWithoutAChangeOrWithoutAPlace) {
  ScratchDirectory scratch;
  const std::string path = scratch.file("data.xml");
  writeFile(path, storeWithCount(1));
  InProcessStore unchanged(host_);
  unchanged.setName(path);
  ASSERT_EQ(unchanged.load(), errOk);
  InProcessStore nowhere(host_);  // no name, no store I/O
  ASSERT_EQ(nowhere.load(), errOk);
  ASSERT_GE(nowhere.setCount(4), 0);
  fault_.clearCalls();

  EXPECT_EQ(unchanged.flush(), errOk);
  EXPECT_EQ(nowhere.flush(), errOk);
  EXPECT_EQ(nowhere.changed(), 0u);
  EXPECT_TRUE(fault_.calls().empty());
  EXPECT_EQ(readFile(path), storeWithCount(1));
}

TEST_F(StoreSave, DefaultStoreNameIsItsLastTwelveUnits) {
  EXPECT_TRUE(trove::isDefaultStoreName(u"profiles.xml", 12));
  EXPECT_FALSE(trove::isDefaultStoreName(u"rofiles.xml", 11));
  EXPECT_FALSE(trove::isDefaultStoreName(u"profiles.xml.bak", 16));
  EXPECT_FALSE(trove::isDefaultStoreName(nullptr, 0));
}

TEST_F(StoreSave, StoreIoGetsTheWholeTextAndAFailedWriteKeepsTheChange) {
  using trove::host::StoreIo;
  trove::host::MemoryStoreIo io("<propertiesmap></propertiesmap>  trailing bytes stay");
  InProcessStore store(host_);
  store.map().storeIo = io.get();
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(4), 0);

  io.setFailure(StoreIo::kWrite, errMediaError);
  EXPECT_EQ(store.flush(), errMediaError);
  EXPECT_EQ(store.changed(), 1u);
  EXPECT_EQ(io.calls(StoreIo::kComplete), 1u) << "completed after a failed write too";

  io.setFailure(StoreIo::kWrite, errOk);
  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(store.changed(), 0u);
  EXPECT_EQ(io.contents().substr(0, canonicalCount(4).size()), canonicalCount(4));
  EXPECT_EQ(fault_.count(Op::OpenExclusive), 0u) << "no file is involved";
}

}  // namespace
