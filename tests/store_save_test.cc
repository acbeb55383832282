// Saving a store at close: the temporary file, the backup modes on real
// files, the install with its retries, the trace lines, store I/O objects,
// and the canonical layout surviving a close and a reload.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "in_process_store.h"
#include "store_files.h"
#include "support/fault_injecting_platform.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::host::formatResult;
using trove::platform::FaultInjectingPlatform;
using trove::platform::InstalledPlatform;
using trove::platform::Op;

constexpr uint32_t kThread = 0xabc;  // the thread identifier the platform reports

// The canonical text of a store holding app/count = n.
std::string canonicalCount(uint32_t n) {
  return "<propertiesmap>\r\n    <key name=\"app\">\r\n        <tDWORD name=\"count\">" +
         std::to_string(n) + "</tDWORD>\r\n    </key>\r\n</propertiesmap>\r\n";
}

class StoreSave : public ::testing::Test {
 protected:
  void SetUp() override { fault_.setThreadId(kThread); }

  // An object loaded from `name` in the scratch directory, holding the store
  // written there first (when `contents` is given), with app/count changed
  // to `newCount`.
  std::unique_ptr<InProcessStore> changedStore(const std::string& name, uint8_t backupMode,
                                               const std::string* contents, uint32_t newCount) {
    const std::string path = scratch_.file(name);
    if (contents != nullptr) writeFile(path, *contents);
    auto store = std::make_unique<InProcessStore>(host_);
    EXPECT_EQ(store->setName(path), errOk);
    store->map().backupMode = backupMode;
    store->map().saveOnClose = 1;
    const int32_t loaded = store->load();
    EXPECT_EQ(loaded, contents != nullptr ? errOk : errFileNotFound);
    EXPECT_GE(store->setCount(newCount), 0);
    EXPECT_EQ(store->changed(), 1u);
    trace_->clear();
    fault_.clearCalls();
    return store;
  }

  std::vector<std::string> linesAt(uint32_t level) const {
    std::vector<std::string> texts;
    for (const auto& line : trace_->linesAt(level)) texts.push_back(line.text);
    return texts;
  }

  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = &host_.captureTrace();
  ScratchDirectory scratch_;
  FaultInjectingPlatform fault_;
  InstalledPlatform installed_{fault_};
  const std::string old_ = canonicalCount(1);
};

TEST_F(StoreSave, UnchangedStoreIsNotWritten) {
  const std::string path = scratch_.file("data.xml");
  writeFile(path, storeWithCount(1));
  InProcessStore store(host_);
  store.setName(path);
  ASSERT_EQ(store.load(), errOk);
  trace_->clear();
  fault_.clearCalls();

  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(linesAt(TROVE_TRACE_SAVE),
            std::vector<std::string>{"trove\tskip saving because data wasn`t changed"});
  EXPECT_TRUE(fault_.calls().empty()) << fault_.trail().front();
  EXPECT_EQ(readFile(path), storeWithCount(1));
}

TEST_F(StoreSave, NamedStoreIsReplacedThroughATemporaryFile) {
  auto store = changedStore("data.xml", 0, &old_, 2);
  const std::string path = scratch_.file("data.xml");
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(store->changed(), 0u);
  EXPECT_EQ(readFile(path), canonicalCount(2));
  EXPECT_EQ(scratch_.entries(), std::set<std::string>{"data.xml"});

  EXPECT_EQ(linesAt(TROVE_TRACE_SAVE), std::vector<std::string>{"trove\tsave to temporary file " +
                                                                path + ".tmpabc, backup mode: 0"});
  EXPECT_TRUE(linesAt(TROVE_TRACE_ERROR).empty());
  EXPECT_TRUE(linesAt(TROVE_TRACE_BACKUP).empty());

  // Written under the temporary name, forced to disk, then moved into place.
  EXPECT_EQ(fault_.trail(),
            (std::vector<std::string>{
                "currentThreadId",
                "openExclusive " + path + ".tmpabc = 0",
                "write " + path + ".tmpabc " + std::to_string(canonicalCount(2).size()) + " = 0",
                "flush " + path + ".tmpabc = 0",
                "close " + path + ".tmpabc",
                "replaceMove " + path + ".tmpabc -> " + path + " = 0",
                "exists " + path + " = 0",
            }))
      << "the trail differs";
}

TEST_F(StoreSave, ModeZeroTouchesNoBackupOfAnOrdinaryStore) {
  writeFile(scratch_.file("data.xml.bak2"), "older");
  auto store = changedStore("data.xml", 0, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(scratch_.file("data.xml.bak2")), "older");
  EXPECT_FALSE(fileExists(scratch_.file("data.xml.bak")));
  EXPECT_EQ(fault_.count(Op::CopyNoReplace), 0u);
  EXPECT_EQ(fault_.count(Op::ReplaceMove), 1u);
  EXPECT_EQ(store->map().backupMode, 0);
}

TEST_F(StoreSave, DefaultStoreNameAlwaysKeepsTheSecondBackup) {
  auto store = changedStore("profiles.xml", 0, &old_, 2);
  const std::string path = scratch_.file("profiles.xml");
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path), canonicalCount(2));
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_FALSE(fileExists(path + ".bak"));
  EXPECT_EQ(linesAt(TROVE_TRACE_BACKUP),
            std::vector<std::string>{"trove\ttrying to back up to " + path + ".bak2"});
  // No earlier second backup: nothing is set aside.
  EXPECT_EQ(fault_.count(Op::RemoveFile), 0u);
  EXPECT_EQ(fault_.count(Op::ReplaceMove), 2u);
}

TEST_F(StoreSave, OldSecondBackupIsSetAsideAndRemoved) {
  const std::string path = scratch_.file("profiles.xml");
  writeFile(path + ".bak2", "oldest");
  auto store = changedStore("profiles.xml", 0, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_EQ(scratch_.entries(), (std::set<std::string>{"profiles.xml", "profiles.xml.bak2"}));

  const auto moves = fault_.calls(Op::ReplaceMove);
  ASSERT_EQ(moves.size(), 3u);
  EXPECT_EQ(moves[0].path, path + ".bak2");
  EXPECT_EQ(moves[0].target, path + ".bak2abc");
  EXPECT_EQ(moves[1].path, path);
  EXPECT_EQ(moves[1].target, path + ".bak2");
  EXPECT_EQ(moves[2].path, path + ".tmpabc");
  const auto removals = fault_.calls(Op::RemoveFile);
  ASSERT_EQ(removals.size(), 1u);
  EXPECT_EQ(removals[0].path, path + ".bak2abc");
}

TEST_F(StoreSave, DefaultNameRuleComparesTheLastTwelveUnitsWithCase) {
  auto is = [](const std::u16string& name) {
    return trove::isDefaultStoreName(name.data(), name.size());
  };
  EXPECT_TRUE(is(u"profiles.xml"));
  EXPECT_TRUE(is(u"/home/u/.app/profiles.xml"));
  EXPECT_TRUE(is(u"myprofiles.xml"));
  EXPECT_FALSE(is(u"Profiles.xml"));
  EXPECT_FALSE(is(u"profiles.XML"));
  EXPECT_FALSE(is(u"rofiles.xml"));
  EXPECT_FALSE(is(u"profiles.xml.bak"));
  EXPECT_FALSE(is(u""));
  EXPECT_FALSE(trove::isDefaultStoreName(nullptr, 0));
}

TEST_F(StoreSave, ModeOneKeepsTheSecondBackupOfAnyStore) {
  writeFile(scratch_.file("data.xml.bak2"), "older");
  auto store = changedStore("data.xml", 1, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(scratch_.file("data.xml")), canonicalCount(2));
  EXPECT_EQ(readFile(scratch_.file("data.xml.bak2")), old_);
  EXPECT_FALSE(fileExists(scratch_.file("data.xml.bak")));
  EXPECT_FALSE(fileExists(scratch_.file("data.xml.bak2abc")));
}

TEST_F(StoreSave, OtherModesActAsZero) {
  auto store = changedStore("data.xml", 7, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(scratch_.entries(), std::set<std::string>{"data.xml"});
  EXPECT_EQ(store->map().backupMode, 7);
}

TEST_F(StoreSave, ModeTwoCopiesTheFirstBackupOnceAndBecomesOne) {
  const std::string path = scratch_.file("data.xml");
  auto store = changedStore("data.xml", 2, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(store->map().backupMode, 1);
  EXPECT_EQ(readFile(path + ".bak"), old_);
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_EQ(readFile(path), canonicalCount(2));
  EXPECT_EQ(linesAt(TROVE_TRACE_BACKUP),
            (std::vector<std::string>{"trove\ttrying to do first backup to " + path + ".bak",
                                      "trove\ttrying to back up to " + path + ".bak2"}));
  EXPECT_TRUE(linesAt(TROVE_TRACE_ERROR).empty());

  // The next save runs as mode 1: the first backup keeps the oldest store.
  ASSERT_GE(store->setCount(3), 0);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path + ".bak"), old_);
  EXPECT_EQ(readFile(path + ".bak2"), canonicalCount(2));
  EXPECT_EQ(readFile(path), canonicalCount(3));
}

TEST_F(StoreSave, ModeTwoNeverOverwritesAnExistingFirstBackup) {
  const std::string path = scratch_.file("data.xml");
  writeFile(path + ".bak", "first ever");
  auto store = changedStore("data.xml", 2, &old_, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path + ".bak"), "first ever");
  EXPECT_EQ(store->map().backupMode, 1);
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_EQ(linesAt(TROVE_TRACE_ERROR), std::vector<std::string>{"trove\tcannot do first backup: " +
                                                                 formatResult(errAlreadyExists)});
}

TEST_F(StoreSave, FirstSaveOfAMissingStoreInModeTwo) {
  const std::string path = scratch_.file("new.xml");
  auto store = changedStore("new.xml", 2, nullptr, 5);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(store->map().backupMode, 1);
  EXPECT_EQ(readFile(path), canonicalCount(5));
  EXPECT_EQ(scratch_.entries(), std::set<std::string>{"new.xml"});
  EXPECT_EQ(linesAt(TROVE_TRACE_ERROR),
            (std::vector<std::string>{
                "trove\tcannot do first backup: " + formatResult(errFileNotFound),
                "trove\tcannot move original profiles.xml to backup file: " +
                    formatResult(errFileNotFound),
            }));
  EXPECT_EQ(store->changed(), 0u);
}

TEST_F(StoreSave, FailingSetAsideIsTracedAndTheSaveGoesOn) {
  const std::string path = scratch_.file("profiles.xml");
  writeFile(path + ".bak2", "oldest");
  auto store = changedStore("profiles.xml", 0, &old_, 2);
  fault_.failNext(Op::ReplaceMove, trove::platform::kAccessDenied);  // the set-aside move
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path), canonicalCount(2));
  EXPECT_EQ(readFile(path + ".bak2"), old_) << "the move over the old second backup replaces it";
  EXPECT_EQ(linesAt(TROVE_TRACE_ERROR),
            (std::vector<std::string>{
                "trove\tcannot move profiles.xml.bak2 to " + path +
                    ".bak2abc: " + formatResult(errAccessDenied),
                "trove\tcannot remove " + path + ".bak2abc: " + formatResult(errFileNotFound),
            }));
}

TEST_F(StoreSave, InstallIsRetriedAfterAccessDenied) {
  auto store = changedStore("data.xml", 0, &old_, 2);
  fault_.failOnPath(Op::ReplaceMove, ".tmpabc", trove::platform::kAccessDenied, 2);
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(fault_.count(Op::ReplaceMove), 3u);
  EXPECT_EQ(fault_.count(Op::Sleep), 2u);
  EXPECT_EQ(fault_.sleptMilliseconds(), 400u);
  EXPECT_EQ(store->changed(), 0u);
  EXPECT_EQ(readFile(scratch_.file("data.xml")), canonicalCount(2));
  EXPECT_TRUE(linesAt(TROVE_TRACE_ERROR).empty());
}

TEST_F(StoreSave, InstallGivesUpAfterThreeDenials) {
  const std::string path = scratch_.file("data.xml");
  auto store = changedStore("data.xml", 0, &old_, 2);
  fault_.failOnPath(Op::ReplaceMove, ".tmpabc", trove::platform::kAccessDenied, 3);
  EXPECT_EQ(store->flush(), errAccessDenied);
  EXPECT_EQ(fault_.count(Op::ReplaceMove), 3u);
  EXPECT_EQ(fault_.sleptMilliseconds(), 400u);
  EXPECT_EQ(store->changed(), 1u);
  EXPECT_EQ(readFile(path), old_);
  EXPECT_EQ(readFile(path + ".tmpabc"), canonicalCount(2)) << "the new content is kept";
  EXPECT_EQ(linesAt(TROVE_TRACE_ERROR),
            std::vector<std::string>{"trove\tcannot move temporary file to " + path + " : " +
                                     formatResult(errAccessDenied)});
}

TEST_F(StoreSave, OtherInstallFailuresAreNotRetried) {
  auto store = changedStore("data.xml", 0, &old_, 2);
  fault_.failOnPath(Op::ReplaceMove, ".tmpabc", trove::platform::kSharingViolation, 3);
  EXPECT_EQ(store->flush(), errSysSharingViolation);
  EXPECT_EQ(fault_.count(Op::ReplaceMove), 1u);
  EXPECT_EQ(fault_.count(Op::Sleep), 0u);
  EXPECT_EQ(store->changed(), 1u);
}

TEST_F(StoreSave, FailedInstallAfterTheBackupReportsTheMissingStore) {
  const std::string path = scratch_.file("profiles.xml");
  auto store = changedStore("profiles.xml", 0, &old_, 2);
  fault_.failOnPath(Op::ReplaceMove, ".tmpabc", trove::platform::kGeneralFailure);
  EXPECT_EQ(store->flush(), errUnspecified);
  EXPECT_FALSE(fileExists(path));
  EXPECT_EQ(readFile(path + ".bak2"), old_);
  EXPECT_EQ(readFile(path + ".tmpabc"), canonicalCount(2));
  EXPECT_EQ(
      linesAt(TROVE_TRACE_ERROR),
      (std::vector<std::string>{
          "trove\tcannot move temporary file to " + path + " : " + formatResult(errUnspecified),
          "trove\tFile " + path + " does not exist: " + formatResult(3),
      }));
  EXPECT_EQ(store->changed(), 1u);

  // A later save of the same object installs the new store after all.
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(readFile(path), canonicalCount(2));
  EXPECT_EQ(store->changed(), 0u);
}

TEST_F(StoreSave, UnwritableTemporaryFileLeavesEverythingAsItWas) {
  const std::string path = scratch_.file("profiles.xml");
  auto store = changedStore("profiles.xml", 2, &old_, 2);
  fault_.failOnPath(Op::OpenExclusive, ".tmpabc", trove::platform::kAccessDenied);
  EXPECT_EQ(store->flush(), errAccessDenied);
  EXPECT_EQ(store->changed(), 1u);
  EXPECT_EQ(store->map().backupMode, 2) << "the mode changes only past the temporary file";
  EXPECT_EQ(scratch_.entries(), std::set<std::string>{"profiles.xml"});
  EXPECT_EQ(linesAt(TROVE_TRACE_ERROR),
            std::vector<std::string>{"trove\tcannot write file " + path + " : " +
                                     formatResult(errAccessDenied)});
}

TEST_F(StoreSave, StoreIoReceivesTheWholeTextAtOffsetZero) {
  trove::host::MemoryStoreIo io("<propertiesmap></propertiesmap>  trailing bytes stay");
  InProcessStore store(host_);
  store.map().storeIo = io.get();
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(4), 0);
  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(store.changed(), 0u);
  EXPECT_EQ(io.contents().substr(0, canonicalCount(4).size()), canonicalCount(4));
  EXPECT_EQ(io.calls(trove::host::StoreIo::kWrite), 1u);
  EXPECT_EQ(io.calls(trove::host::StoreIo::kComplete), 1u);
  EXPECT_EQ(fault_.count(Op::OpenExclusive), 0u) << "no file is involved";
}

TEST_F(StoreSave, StoreIoWriteFailureKeepsTheChange) {
  trove::host::MemoryStoreIo io;
  InProcessStore store(host_);
  store.map().storeIo = io.get();
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(4), 0);
  io.setFailure(trove::host::StoreIo::kWrite, errMediaError);
  EXPECT_EQ(store.flush(), errMediaError);
  EXPECT_EQ(store.changed(), 1u);
  EXPECT_EQ(io.calls(trove::host::StoreIo::kComplete), 1u);
}

TEST_F(StoreSave, NoNameAndNoIoClearsTheChangeWithoutWriting) {
  InProcessStore store(host_);
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(4), 0);
  fault_.clearCalls();
  EXPECT_EQ(store.flush(), errOk);
  EXPECT_EQ(store.changed(), 0u);
  EXPECT_TRUE(fault_.calls().empty());
}

TEST_F(StoreSave, SavingUnderTheLockLeavesItFree) {
  auto store = changedStore("data.xml", 0, &old_, 2);
  store->map().useLocking = 1;
  store->map().lock.create();
  ASSERT_TRUE(store->map().lock.exists());
  EXPECT_EQ(store->flush(), errOk);
  EXPECT_EQ(store->map().lock.state, 0);
  EXPECT_EQ(readFile(scratch_.file("data.xml")), canonicalCount(2));
}

TEST_F(StoreSave, HandWrittenStoreComesBackInTheCanonicalLayoutAndSurvivesReload) {
  const std::string path = scratch_.file("data.xml");
  const std::string handWritten = storeWithCount(41);
  auto store = changedStore("data.xml", 0, &handWritten, 42);
  EXPECT_EQ(store->close(), errOk);
  const std::string saved = readFile(path);
  EXPECT_EQ(saved, canonicalCount(42));

  // Reloaded, changed and changed back: the same bytes again.
  InProcessStore again(host_);
  again.setName(path);
  again.map().saveOnClose = 1;
  ASSERT_EQ(again.load(), errOk);
  EXPECT_EQ(again.count(), 42u);
  ASSERT_GE(again.setCount(43), 0);
  ASSERT_GE(again.setCount(42), 0);
  EXPECT_EQ(again.close(), errOk);
  EXPECT_EQ(readFile(path), saved);
}

// The same through the module file, as a host runs it: close saves only when
// asked to.
TEST(StoreSaveThroughModule, CloseSavesOnlyWithSaveOnClose) {
  trove::host::Host host;
  host.captureTrace();
  ASSERT_TRUE(host.loadModule(TROVE_MODULE_PATH).ok());
  ScratchDirectory scratch;
  for (uint32_t saveOnClose : {0u, 1u}) {
    const std::string path = scratch.file("store" + std::to_string(saveOnClose) + ".xml");
    writeFile(path, storeWithCount(1));
    trove::host::Object object = host.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object.setName(utf16(path)).ok());
    ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, saveOnClose).ok());
    ASSERT_EQ(object.initDone().code(), errOk);
    TroveKey key = TROVE_INVALID_KEY;
    ASSERT_GE(object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, TroveKey{0}, "app", 0u), 0);
    const uint32_t value = 9;
    ASSERT_GE(object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "count", uint32_t{TROVE_TDWORD},
                                         &value, 4u, 1u),
              0);
    EXPECT_EQ(object.close().code(), errOk);
    EXPECT_EQ(readFile(path), saveOnClose ? canonicalCount(9) : storeWithCount(1));
  }
}

}  // namespace
