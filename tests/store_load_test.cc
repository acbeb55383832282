// Loading a store when an object is initialised, through the module as a host
// loads it: named files on disk, store I/O objects, and what a failed load
// leaves behind.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "object/properties_map.h"  // only to see whether the load made the lock
#include "store_files.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::host::Object;
using trove::host::StoreIo;

constexpr uint32_t kAbsent = 0xDEAD;
constexpr uint64_t kTenMegabytes = 10485760;
const std::string kMark = "\xEF\xBB\xBF";

// A store of exactly `size` bytes holding app/count = 9, padded with blanks.
std::string paddedStore(size_t size) {
  const std::string head = "<propertiesmap>";
  const std::string tail =
      "<key name=\"app\"><tDWORD name=\"count\">9</tDWORD></key></propertiesmap>";
  return head + std::string(size - head.size() - tail.size(), ' ') + tail;
}

class StoreLoad : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(host_.loadModule(TROVE_MODULE_PATH).ok()); }

  // A new object saving on close and locking; mode 2 leaves a ".bak" behind any save.
  Object named(const std::u16string& name, uint32_t openFlags = 0) {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    EXPECT_TRUE(object.setName(name).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_OPEN_FLAGS, openFlags).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_USE_LOCKING, 1).ok());
    EXPECT_TRUE(object.setField<uint8_t>(TROVE_PROP_BACKUP_MODE, 2).ok());
    return object;
  }
  Object named(const std::string& path) { return named(utf16(path)); }
  static uint32_t saveOnClose(const Object& object) {
    return object.field<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE);
  }
  static TroveKey open(const Object& object, const char* path, uint32_t create = 0) {
    TroveKey key = TROVE_INVALID_KEY;
    object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, TroveKey{0}, path, create);
    return key;
  }
  // app/count; kAbsent when there is none.
  static uint32_t countOf(const Object& object) {
    uint32_t value = kAbsent, type = TROVE_TDWORD, required = 0;
    object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, open(object, "app"), "count", &type,
                               &value, 4u);
    return value;
  }
  static void setCount(const Object& object, uint32_t value) {
    object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, open(object, "app", 1), "count",
                               uint32_t{TROVE_TDWORD}, &value, 4u, 1u);
  }
  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = &host_.captureTrace();
};

struct LoadCase {
  const char16_t* name;  // below the scratch directory, which holds a plain file "blocker"
  std::optional<std::string> contents;  // none: no such file
  uint64_t sparseSize;                  // else a sparse file of this size, when not 0
  uint32_t flags;
  int32_t result;
  uint32_t count;       // app/count after the load
  const char* warning;  // part of the one warning, if any
};

constexpr uint32_t kCreate = TROVE_OPEN_CREATE_IF_MISSING;
const char16_t kUnpaired[] = {u'x', 0xD800, u'.', u'x', u'm', u'l', 0};

const LoadCase kLoadCases[] = {
    {u"store.xml", storeWithCount(41), 0, 0, errOk, 41, nullptr},
    {u"absent.xml", std::nullopt, 0, 0, errFileNotFound, kAbsent, nullptr},
    {u"no/such/store.xml", std::nullopt, 0, 0, errFileNotFound, kAbsent, nullptr},
    {u"empty.xml", "", 0, 0, errOk, kAbsent, nullptr},
    // A byte order mark is skipped at the start only; a mark alone is empty
    // text, which holds no root element.
    {u"mark.xml", kMark + storeWithCount(7), 0, 0, errOk, 7, nullptr},
    {u"mark-only.xml", kMark, 0, 0, errInvalidArgument, kAbsent, nullptr},
    {u"late-mark.xml", " " + kMark + storeWithCount(7), 0, 0, errInvalidArgument, kAbsent, nullptr},
    // A cut store keeps what was read so far, but is never saved over.
    {u"cut.xml", "<propertiesmap><key name=\"app\"><tDWORD name=\"count\">1", 0, 0, errXmlFormat, 1,
     nullptr},
    // The create flag makes what is missing, directories too, and nothing else.
    {u"a/b/store.xml", std::nullopt, 0, kCreate, errOk, kAbsent, nullptr},
    {u"bad.xml", "<propertiesmap><key name=\"a\"></wrong>", 0, kCreate, errXmlFormat, kAbsent,
     nullptr},
    {u"blocker/store.xml", std::nullopt, 0, kCreate, errFileNotFound, kAbsent, nullptr},
    {kUnpaired, std::nullopt, 0, kCreate, errSysInvalidPathName, kAbsent, nullptr},
    // '%' is no variable to expand.
    {u"%HOME%-%x.xml", storeWithCount(12), 0, 0, errOk, 12, "contains '%' symbol"},
    // Large stores are reported, and still read up to 4 GiB; from there on
    // they are refused rather than read in part (or taken for empty).
    {u"at-limit.xml", paddedStore(kTenMegabytes), 0, 0, errOk, 9, nullptr},
    {u"above.xml", paddedStore(kTenMegabytes + 1), 0, 0, errOk, 9, "(10485761 > 10Mb)"},
    {u"huge.xml", "", uint64_t{1} << 32, 0, errInvalidSize, kAbsent, "(2147483647 > 10Mb)"},
    {u"huge.xml", "", 0xFFFFFFFF, 0, errOutOfMemory, kAbsent, "(2147483647 > 10Mb)"},
};

// Name -> size and, for small files, content.
std::map<std::string, std::string> snapshot(const ScratchDirectory& scratch) {
  std::map<std::string, std::string> seen;
  for (const auto& entry : fs::recursive_directory_iterator(scratch.path())) {
    const std::string path = entry.path().string();
    seen[path] = entry.is_directory()        ? "<dir>"
                 : entry.file_size() < 65536 ? readFile(path)
                                             : std::to_string(entry.file_size());
  }
  return seen;
}

TEST_F(StoreLoad, NamedStoresLoadLikeThis) {
  for (const LoadCase& c : kLoadCases) {
    const std::u16string name(c.name);
    const std::string context(name.begin(), name.end());
    ScratchDirectory scratch;
    writeFile(scratch.file("blocker"), "not a directory");
    const std::string path = scratch.file(context);
    if (c.sparseSize != 0) {
      writeFile(path, "");
      if (::truncate(path.c_str(), static_cast<off_t>(c.sparseSize)) != 0) continue;
    } else if (c.contents) {
      writeFile(path, *c.contents);
    }
    const auto before = snapshot(scratch);
    trace_->clear();
    Object object = named(utf16(scratch.path().string() + "/") + name, c.flags);
    EXPECT_EQ(object.initDone().code(), c.result) << context;
    EXPECT_EQ(countOf(object), c.count) << context;
    EXPECT_EQ(saveOnClose(object), c.result >= 0 ? 1u : 0u) << context;
    EXPECT_TRUE(trove::PropertiesMap::from(object.get())->lock.exists()) << context;
    const auto warnings = trace_->linesAt(TROVE_TRACE_WARNING);
    if (c.warning == nullptr) {
      EXPECT_TRUE(warnings.empty()) << context << ": " << warnings.front().text;
    } else {
      ASSERT_EQ(warnings.size(), 1u) << context;
      EXPECT_NE(warnings[0].text.find(c.warning), std::string::npos) << warnings[0].text;
    }
    if (c.result < 0) {
      // Whatever is changed after a failed load never reaches the disk.
      setCount(object, 77);
      EXPECT_EQ(object.close().code(), errOk) << context;
      EXPECT_EQ(snapshot(scratch), before) << context;
    } else if (!c.contents) {
      EXPECT_EQ(readFile(path), "") << context << ": the created store";
    }
  }
}

TEST_F(StoreLoad, StoreHeldByAnotherOpenerIsASharingViolation) {
  ScratchDirectory scratch;
  const std::string path = scratch.file("locked.xml");
  writeFile(path, storeWithCount(3));
  const int fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
  Object blocked = named(path);
  EXPECT_EQ(blocked.initDone().code(), errSysSharingViolation);
  EXPECT_EQ(saveOnClose(blocked), 0u);
  ::close(fd);
  Object later = named(path);
  EXPECT_EQ(later.initDone().code(), errOk);
  EXPECT_EQ(countOf(later), 3u);
}

// Sizes whose low 32 bits are 0 must not pass for an empty store.
TEST_F(StoreLoad, StoreIoSizesThatFitNoBufferAreRefusedUnread) {
  trove::host::MemoryStoreIo io(storeWithCount(1));
  io.setReportedSize(uint64_t{1} << 32);
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.setStoreIo(io).ok());
  ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).ok());
  EXPECT_EQ(object.initDone().code(), errInvalidSize);
  EXPECT_EQ(io.calls(StoreIo::kRead), 0u);
  EXPECT_EQ(saveOnClose(object), 0u);
}

}  // namespace
