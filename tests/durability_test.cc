// Saving a store, and what a save leaves on disk when a step of it fails or
// the machine stops in the middle: the store's name holds the old store or
// the new one, or the old one is in ".bak2" where the sequence has moved it
// for a moment; never a mix, never nothing.
//
// The Registry object here is run by the module code linked into the test,
// not by the module file: only this copy sees the platform a test installs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "frame/lifecycle.h"
#include "frame/property_accessors.h"
#include "object/properties_map.h"
#include "registry/registry_methods.h"
#include "services/host_services.h"
#include "storage/store_file.h"
#include "store_files.h"
#include "support/fault_injecting_platform.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::platform::Call;
using trove::platform::Fault;
using trove::platform::FaultInjectingPlatform;
using trove::platform::InstalledPlatform;
using trove::platform::Op;
namespace os = trove::platform;

// An object on the host heap like one the host made, its trace lines going
// to the host's sink.
class InProcessStore {
 public:
  explicit InProcessStore(trove::host::Host& host) : memory_(TROVE_DATA_SIZE) {
    trove::setRootObject(host.root());
    trove::onDataInit(get(), 1);
    static_cast<void**>(get())[1] = trove::host::servicesTable();  // the host's services
  }
  ~InProcessStore() { trove::onDataInit(get(), 0); }
  void* get() const { return memory_.get(); }
  trove::PropertiesMap& map() const { return *trove::PropertiesMap::from(get()); }
  void setName(const std::string& path) {
    std::u16string name = utf16(path) + u'\0';
    uint32_t outSize = 0;
    trove::setName(get(), &outSize, TROVE_PROP_NAME, name.data(),
                   static_cast<uint32_t>(name.size() * 2));
  }
  int32_t load() { return trove::onInitDone(get()); }
  int32_t flush() { return trove::flush(get()); }
  uint32_t changed() const { return map().changed.load(); }
  int32_t setCount(uint32_t value) {  // app/count
    uint64_t key = TROVE_INVALID_KEY;
    const int32_t opened = trove::OpenKey(get(), &key, 0, "app", 1);
    return opened < 0 ? opened : trove::SetValue(get(), key, "count", TROVE_TDWORD, &value, 4, 1);
  }
  uint32_t count() {  // 0 when absent
    uint64_t key = TROVE_INVALID_KEY;
    uint32_t value = 0, type = TROVE_TDWORD, required = 0;
    if (trove::OpenKey(get(), &key, 0, "app", 0) < 0) return 0;
    trove::GetValue(get(), &required, key, "count", &type, &value, 4);
    return value;
  }

 private:
  trove::host::HeapObject memory_;
};

// The canonical text of a store holding app/count = n, as a save writes it.
std::string canonicalCount(uint32_t n) {
  return "<propertiesmap>\r\n    <key name=\"app\">\r\n        <tDWORD name=\"count\">" +
         std::to_string(n) + "</tDWORD>\r\n    </key>\r\n</propertiesmap>\r\n";
}
const std::string kOld = canonicalCount(1);
const std::string kNew = canonicalCount(2);

// The files beside a store, suffix ("" the store itself) -> content, from a
// description "=old .bak=first .tmpabc=new" ("old" and "new" are kOld and kNew).
using Files = std::map<std::string, std::string>;
Files files(const std::string& spec) {
  Files result;
  std::istringstream words(spec);
  for (std::string word; words >> word;) {
    const size_t equals = word.find('=');
    const std::string text = word.substr(equals + 1);
    result[word.substr(0, equals)] = text == "old" ? kOld : text == "new" ? kNew : text;
  }
  return result;
}
Files filesIn(const ScratchDirectory& scratch, const std::string& name) {
  Files found;
  for (const std::string& entry : scratch.entries()) {
    found[entry.substr(name.size())] = readFile(scratch.file(entry));
  }
  return found;
}

class Durability : public ::testing::Test {
 protected:
  // A store `name` in `scratch` made of `before`, loaded and changed to hold 2.
  std::unique_ptr<InProcessStore> changed(const ScratchDirectory& scratch, const char* name,
                                          uint8_t mode, const Files& before) {
    for (const auto& [suffix, text] : before) writeFile(scratch.file(name) + suffix, text);
    auto store = std::make_unique<InProcessStore>(host_);
    store->setName(scratch.file(name));
    store->map().backupMode = mode;
    store->map().useLocking = 1;
    store->load();
    EXPECT_GE(store->setCount(2), 0);
    trace_.clear();
    return store;
  }
  trove::host::Host host_;
  trove::host::CapturingTraceSink& trace_ = host_.captureTrace();
};

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
    {"data.xml", 2, "=old .bak=first .bak2=older", "=new .bak=first .bak2=old", 1},
    {"data.xml", 2, "", "=new", 1},
    // An empty store is what creating it anew leaves after a crash left only
    // ".bak2": it must not push out the backup of the last real store.
    {"profiles.xml", 0, "= .bak2=old", "=new .bak2=old", 0},
    // Leftovers of an interrupted save by a thread of the same number.
    {"profiles.xml", 0, "=old .bak2=older .tmpabc=torn<prop .bak2abc=stale", "=new .bak2=old", 0},
};

TEST_F(Durability, EveryBackupModeSurvivesACrashAtAnyStep) {
  for (const BackupCase& c : kBackupCases) {
    const Files before = files(c.before);
    const auto old = before.find("");
    uint32_t total = 0;
    for (uint32_t crashAt = 0; crashAt <= total + 1; ++crashAt) {
      const bool crash = crashAt > 0;  // 0: no crash, then at step crashAt - 1
      const std::string context = std::string(c.name) + " mode " + std::to_string(c.mode) +
                                  " crash at " + std::to_string(crashAt);
      ScratchDirectory scratch;
      const std::string path = scratch.file(c.name);
      auto store = changed(scratch, c.name, c.mode, before);
      FaultInjectingPlatform fault;
      fault.setThreadId(0xabc);
      if (crash) fault.crashAt(crashAt - 1);
      int32_t result;
      {
        InstalledPlatform installed(fault);
        result = store->flush();
      }
      if (!crash) {
        total = fault.steps();
        EXPECT_EQ(result, errOk) << context;
        EXPECT_EQ(store->changed(), 0u) << context;
        EXPECT_EQ(store->map().backupMode, c.modeAfter) << context;
        EXPECT_EQ(store->map().lock.state, 0) << context << ": the save still holds the lock";
        EXPECT_EQ(filesIn(scratch, c.name), files(c.after)) << context;
        // Nothing old moves before the new store is on disk.
        const auto calls = fault.calls();
        auto first = [&](Op op) {
          return std::find_if(calls.begin(), calls.end(),
                              [op](const Call& x) { return x.op == op; });
        };
        EXPECT_LT(first(Op::Flush), std::min(first(Op::ReplaceMove), first(Op::CopyNoReplace)))
            << context;
      }
      store.reset();
      if (fileExists(path)) {
        const std::string found = readFile(path);
        EXPECT_TRUE(found == kNew || (old != before.end() && found == old->second)) << context;
        InProcessStore restarted(host_);
        restarted.setName(path);
        EXPECT_EQ(restarted.load(), errOk) << context;
        EXPECT_EQ(restarted.count(), found == kNew ? 2u : found == kOld ? 1u : 0u) << context;
      } else {
        EXPECT_TRUE(old == before.end() || readFile(path + ".bak2") == old->second)
            << context << ": the store is nowhere";
      }
      if (before.count(".bak") != 0) {
        EXPECT_EQ(readFile(path + ".bak"), before.at(".bak")) << context;
      }
    }
    EXPECT_GE(total, 4u) << c.name << ": create, write, flush and install at least";
  }
}

Fault fail(Op op, os::WinError error, uint32_t times = 1, uint32_t skip = 0, const char* path = "",
           std::optional<uint32_t> byteLimit = {}) {
  return Fault{op, error, times, skip, path, byteLimit};
}
struct FailureCase {
  const char* name;  // the store's file name
  uint8_t mode;
  Fault fault;
  int32_t result;
  const char* after;   // files(...)
  uint64_t slept;      // milliseconds between attempts to install
  const char* traced;  // part of the error trace
};
// Every case starts from the store with a ".bak" and a ".bak2" beside it.
constexpr char kBefore[] = "=old .bak=first .bak2=previous";

const FailureCase kFailures[] = {
    // A failure while the temporary file is made or written touches nothing
    // else and leaves no temporary file.
    {"profiles.xml", 2, fail(Op::OpenExclusive, os::kDiskFull), errOutOfSpace, kBefore, 0, "write"},
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

TEST_F(Durability, FailedStepsLeaveTheseFiles) {
  int row = 0;
  for (const FailureCase& c : kFailures) {
    const std::string context = "row " + std::to_string(row++);
    ScratchDirectory scratch;
    FaultInjectingPlatform fault;
    fault.setThreadId(0xabc);
    InstalledPlatform installed(fault);
    auto store = changed(scratch, c.name, c.mode, files(kBefore));
    fault.inject(c.fault);
    EXPECT_EQ(store->flush(), c.result) << context;
    EXPECT_EQ(filesIn(scratch, c.name), files(c.after)) << context;
    EXPECT_EQ(store->map().backupMode, c.mode) << context << ": the mode changed";
    uint64_t slept = 0;  // requested; none is real
    for (const Call& call : fault.calls()) slept += call.op == Op::Sleep ? call.amount : 0;
    EXPECT_EQ(slept, c.slept) << context;
    std::string errors;
    for (const auto& line : trace_.linesAt(TROVE_TRACE_ERROR)) errors += line.text + "\n";
    EXPECT_EQ(errors.find(c.traced ? c.traced : "\n") != std::string::npos, c.traced != nullptr)
        << context << ": " << errors;
    // A failed save keeps the change, and the next one installs it.
    EXPECT_EQ(store->changed(), c.result < 0 ? 1u : 0u) << context;
    if (c.result < 0) {
      EXPECT_EQ(store->flush(), errOk) << context;
      EXPECT_EQ(readFile(scratch.file(c.name)), kNew) << context;
    }
  }
}

TEST_F(Durability, NothingIsWrittenWithoutAChangeOrWithoutAPlace) {
  ScratchDirectory scratch;
  FaultInjectingPlatform fault;
  InstalledPlatform installed(fault);
  auto unchanged = changed(scratch, "data.xml", 0, files("=old"));
  ASSERT_EQ(unchanged->flush(), errOk);
  auto nowhere = std::make_unique<InProcessStore>(host_);  // no name, no store I/O
  ASSERT_EQ(nowhere->load(), errOk);
  ASSERT_GE(nowhere->setCount(4), 0);
  fault.clearCalls();
  EXPECT_EQ(unchanged->flush(), errOk);
  EXPECT_EQ(nowhere->flush(), errOk);
  EXPECT_EQ(nowhere->changed(), 0u);
  EXPECT_TRUE(fault.calls().empty());
}

TEST_F(Durability, AFailedStoreIoWriteKeepsTheChange) {
  using trove::host::StoreIo;
  trove::host::MemoryStoreIo io;
  InProcessStore store(host_);
  store.map().storeIo = io.get();
  ASSERT_EQ(store.load(), errOk);
  ASSERT_GE(store.setCount(4), 0);
  io.setFailure(StoreIo::kWrite, errMediaError);
  EXPECT_EQ(store.flush(), errMediaError);
  EXPECT_EQ(store.changed(), 1u);
  EXPECT_EQ(io.calls(StoreIo::kComplete), 1u) << "completed after a failed write too";
}

}  // namespace
