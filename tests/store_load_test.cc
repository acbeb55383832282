// Loading a store when an object is initialised, through the module as a host
// loads it: named files on disk, store I/O objects, and what a failed load
// leaves behind.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "object/properties_map.h"  // only to look at the lock after a load
#include "store_files.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using namespace store_test;
using trove::host::Object;
using trove::host::TraceLine;

constexpr uint32_t kTenMegabytes = 10485760;

class StoreLoad : public ::testing::Test {
 protected:
  void SetUp() override {
    trace_ = &host_.captureTrace();
    module_ = host_.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module_.ok()) << module_.status();
  }

  // A new object named `name`, saving on close unless told otherwise.
  Object named(const std::u16string& name, uint32_t openFlags = 0) {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    EXPECT_TRUE(object.ok()) << object.status();
    EXPECT_TRUE(object.setName(name).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_OPEN_FLAGS, openFlags).ok());
    return object;
  }
  Object named(const std::string& path, uint32_t openFlags = 0) {
    return named(utf16(path), openFlags);
  }

  static uint32_t saveOnClose(const Object& object) {
    return object.field<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE);
  }

  static uint32_t keyCount(const Object& object) {
    uint32_t count = 0xDEAD;
    EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, TroveKey{0}), errOk);
    return count;
  }

  // The tDWORD "count" of key "app" below the root key; 0xDEAD when absent.
  static uint32_t countOf(const Object& object, const char* keyPath = "app") {
    TroveKey key = TROVE_INVALID_KEY;
    if (object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, TroveKey{0}, keyPath, 0u) < 0) {
      return 0xDEAD;
    }
    uint32_t value = 0xDEAD;
    uint32_t type = TROVE_TDWORD;
    uint32_t required = 0;
    if (object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key, "count", &type, &value,
                                   4u) < 0) {
      return 0xDEAD;
    }
    return value;
  }

  std::vector<TraceLine> warnings() const { return trace_->linesAt(TROVE_TRACE_WARNING); }

  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = nullptr;
  trove::host::Module module_;
  ScratchDirectory scratch_;
};

TEST_F(StoreLoad, ReadsANamedStoreAndKeepsSavingOnClose) {
  const std::string path = scratch_.file("store.xml");
  writeFile(path, storeWithCount(41));
  Object object = named(path);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(countOf(object), 41u);
  EXPECT_EQ(saveOnClose(object), 1u);
  EXPECT_TRUE(warnings().empty());
}

TEST_F(StoreLoad, MissingFileOrDirectoryIsFileNotFoundAndCreatesNothingWithoutTheFlag) {
  const std::string missingFile = scratch_.file("absent.xml");
  Object first = named(missingFile);
  EXPECT_EQ(first.initDone().code(), errFileNotFound);
  EXPECT_EQ(saveOnClose(first), 0u);
  EXPECT_EQ(keyCount(first), 0u) << "the document root exists even after a failed load";

  const std::string missingDirectory = scratch_.file("no/such/dir/store.xml");
  Object second = named(missingDirectory);
  EXPECT_EQ(second.initDone().code(), errFileNotFound);
  EXPECT_EQ(saveOnClose(second), 0u);

  first.close();
  second.close();
  EXPECT_TRUE(scratch_.entries().empty()) << "a failed load must not create or save anything";
}

TEST_F(StoreLoad, CreateFlagMakesMissingDirectoriesAndAnEmptyStore) {
  const std::string path = scratch_.file("a/b/store.xml");
  Object object = named(path, TROVE_OPEN_CREATE_IF_MISSING);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(saveOnClose(object), 1u);
  EXPECT_TRUE(fs::is_directory(scratch_.path() / "a" / "b"));
  ASSERT_TRUE(fileExists(path));
  EXPECT_EQ(fs::file_size(path), 0u);
  EXPECT_EQ(keyCount(object), 0u);

  // The empty file it made loads as an empty store.
  Object again = named(path);
  EXPECT_EQ(again.initDone().code(), errOk);
}

TEST_F(StoreLoad, CreateFlagDoesNotTouchAnExistingStoreThatFailsToParse) {
  const std::string path = scratch_.file("broken.xml");
  const std::string broken = "<propertiesmap><key name=\"a\">";
  writeFile(path, broken + "<tDWORD name=\"count\">5</tDWORD></wrong>");
  const std::string before = readFile(path);
  Object object = named(path, TROVE_OPEN_CREATE_IF_MISSING);
  const int32_t result = object.initDone().code();
  EXPECT_LT(result, 0);
  EXPECT_NE(result, errFileNotFound);
  EXPECT_EQ(saveOnClose(object), 0u);
  EXPECT_EQ(readFile(path), before);
}

TEST_F(StoreLoad, CreateFlagFailsWhenAFileBlocksTheDirectory) {
  writeFile(scratch_.file("blocker"), "not a directory");
  Object object = named(scratch_.file("blocker/store.xml"), TROVE_OPEN_CREATE_IF_MISSING);
  EXPECT_LT(object.initDone().code(), 0);
  EXPECT_EQ(saveOnClose(object), 0u);
  EXPECT_EQ(readFile(scratch_.file("blocker")), "not a directory");
}

TEST_F(StoreLoad, RelativeNameIsCreatedBelowTheCurrentDirectory) {
  const fs::path previous = fs::current_path();
  fs::current_path(scratch_.path());
  Object object = named(std::string("rel/dir/store.xml"), TROVE_OPEN_CREATE_IF_MISSING);
  const int32_t result = object.initDone().code();
  fs::current_path(previous);
  EXPECT_EQ(result, errOk);
  EXPECT_TRUE(fileExists(scratch_.file("rel/dir/store.xml")));
}

TEST_F(StoreLoad, ByteOrderMarkIsSkipped) {
  const std::string withMark = scratch_.file("mark.xml");
  writeFile(withMark, "\xEF\xBB\xBF" + storeWithCount(7));
  Object object = named(withMark);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(countOf(object), 7u);

  // Only the mark: the parser receives empty text, which holds no root
  // element; the store is refused, not saved over at close.
  const std::string onlyMark = scratch_.file("only-mark.xml");
  writeFile(onlyMark, "\xEF\xBB\xBF");
  Object empty = named(onlyMark);
  EXPECT_EQ(empty.initDone().code(), errInvalidArgument);
  EXPECT_EQ(keyCount(empty), 0u);
  EXPECT_EQ(saveOnClose(empty), 0u);

  // A mark anywhere but at the start is text, not something to skip.
  const std::string lateMark = scratch_.file("late-mark.xml");
  writeFile(lateMark, " \xEF\xBB\xBF" + storeWithCount(7));
  Object late = named(lateMark);
  EXPECT_NE(countOf(late), 7u);
}

TEST_F(StoreLoad, EmptyFileIsAnEmptyStore) {
  const std::string path = scratch_.file("empty.xml");
  writeFile(path, "");
  Object object = named(path);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(keyCount(object), 0u);
  EXPECT_EQ(saveOnClose(object), 1u);
}

// A store of exactly `size` bytes holding app/count = 9, padded with blanks.
std::string paddedStore(size_t size) {
  const std::string head = "<propertiesmap>";
  const std::string tail =
      "<key name=\"app\"><tDWORD name=\"count\">9</tDWORD></key></propertiesmap>";
  return head + std::string(size - head.size() - tail.size(), ' ') + tail;
}

TEST_F(StoreLoad, SizeWarningStartsOneByteAboveTenMegabytes) {
  const std::string atLimit = scratch_.file("at-limit.xml");
  writeFile(atLimit, paddedStore(kTenMegabytes));
  Object first = named(atLimit);
  EXPECT_EQ(first.initDone().code(), errOk);
  EXPECT_EQ(countOf(first), 9u);
  EXPECT_TRUE(warnings().empty()) << warnings().front().text;

  const std::string above = scratch_.file("above.xml");
  writeFile(above, paddedStore(kTenMegabytes + 1));
  Object second = named(above);
  EXPECT_EQ(second.initDone().code(), errOk);
  EXPECT_EQ(countOf(second), 9u) << "a large store is still read";
  const auto lines = warnings();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "trove\t" + above + " file size is too big (10485761 > 10Mb)");
}

TEST_F(StoreLoad, StoreLockedByAnotherOpenerIsASharingViolation) {
  const std::string path = scratch_.file("locked.xml");
  writeFile(path, storeWithCount(3));
  const int fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);

  Object blocked = named(path);
  EXPECT_EQ(blocked.initDone().code(), errSysSharingViolation);
  EXPECT_EQ(saveOnClose(blocked), 0u);
  EXPECT_EQ(keyCount(blocked), 0u);

  ::close(fd);
  Object later = named(path);
  EXPECT_EQ(later.initDone().code(), errOk);
  EXPECT_EQ(countOf(later), 3u);
}

TEST_F(StoreLoad, LoadDoesNotHoldTheFileOpen) {
  const std::string path = scratch_.file("released.xml");
  writeFile(path, storeWithCount(3));
  Object object = named(path);
  ASSERT_EQ(object.initDone().code(), errOk);
  const int fd = ::open(path.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0) << "the loaded object still locks its store";
  ::close(fd);
}

TEST_F(StoreLoad, PercentInTheNameWarnsOnceAndIsUsedAsItStands) {
  const std::string path = scratch_.file("%HOME%-%x.xml");
  writeFile(path, storeWithCount(12));
  Object object = named(path);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(countOf(object), 12u);
  const auto lines = warnings();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text,
            "trove\t" + path +
                " contains '%' symbol, but environment variable expansion is currently not "
                "supported");
}

TEST_F(StoreLoad, PendingRootPointIsAppliedAfterANamedLoad) {
  const std::string path = scratch_.file("rooted.xml");
  writeFile(path,
            "<propertiesmap><key name=\"outer\"><key name=\"app\"><tDWORD "
            "name=\"count\">5</tDWORD></key></key></propertiesmap>");
  Object object = named(path);
  ASSERT_TRUE(object.setRootPoint("outer").ok());
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(object.rootPoint(), "outer");
  EXPECT_EQ(countOf(object, "app"), 5u) << "paths resolve below the applied root point";
}

TEST_F(StoreLoad, PendingRootPointNamingNoKeyFailsTheLoad) {
  const std::string path = scratch_.file("rooted.xml");
  writeFile(path, storeWithCount(5));
  Object object = named(path);
  ASSERT_TRUE(object.setRootPoint("nowhere").ok());
  EXPECT_EQ(object.initDone().code(), errEntryNotFound);
  EXPECT_EQ(saveOnClose(object), 0u);
  EXPECT_EQ(object.rootPoint(), "") << "the root key stays the document root";
}

TEST_F(StoreLoad, PendingRootPointIsNotAppliedToAStoreIoLoad) {
  trove::host::MemoryStoreIo io(
      "<propertiesmap><key name=\"outer\"><key name=\"app\"><tDWORD "
      "name=\"count\">5</tDWORD></key></key></propertiesmap>");
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.setStoreIo(io).ok());
  ASSERT_TRUE(object.setRootPoint("outer").ok());
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(object.rootPoint(), "");
  EXPECT_EQ(countOf(object, "outer/app"), 5u);
}

TEST_F(StoreLoad, FailedLoadFollowedByCloseWritesNothing) {
  const std::string path = scratch_.file("profiles.xml");
  const std::string malformed = "<propertiesmap><key name=\"app\"><tDWORD name=\"count\">1";
  writeFile(path, malformed);
  Object object = named(path);
  ASSERT_TRUE(object.setField<uint8_t>(TROVE_PROP_BACKUP_MODE, 2).ok());
  EXPECT_EQ(object.initDone().code(), errXmlFormat);
  EXPECT_EQ(saveOnClose(object), 0u);

  // Changing the partial tree must still not reach the disk.
  TroveKey key = TROVE_INVALID_KEY;
  object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, TroveKey{0}, "new", 1u);
  const uint32_t value = 77;
  object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "v", uint32_t{TROVE_TDWORD}, &value, 4u,
                             1u);
  EXPECT_EQ(object.close().code(), errOk);
  EXPECT_EQ(readFile(path), malformed);
  EXPECT_EQ(scratch_.entries(), std::set<std::string>{"profiles.xml"});
}

TEST_F(StoreLoad, NameThatCannotNameAFileIsRefused) {
  std::u16string name = utf16(scratch_.file("x"));
  name += char16_t{0xD800};  // an unpaired surrogate
  name += u".xml";
  Object object = named(name, TROVE_OPEN_CREATE_IF_MISSING);
  EXPECT_EQ(object.initDone().code(), errSysInvalidPathName);
  EXPECT_EQ(saveOnClose(object), 0u);
  EXPECT_TRUE(scratch_.entries().empty());
}

TEST_F(StoreLoad, LockIsCreatedWhenAskedEvenAfterAFailedLoad) {
  Object locking = named(scratch_.file("absent.xml"));
  ASSERT_TRUE(locking.setField<uint32_t>(TROVE_PROP_USE_LOCKING, 1).ok());
  EXPECT_EQ(locking.initDone().code(), errFileNotFound);
  EXPECT_TRUE(trove::PropertiesMap::from(locking.get())->lock.exists());

  Object plain = named(scratch_.file("absent.xml"));
  EXPECT_EQ(plain.initDone().code(), errFileNotFound);
  EXPECT_FALSE(trove::PropertiesMap::from(plain.get())->lock.exists());
}

// Files of 4 GiB and more, made sparse so that they cost no disk space.
class HugeStore : public StoreLoad {
 protected:
  std::string sparseFile(uint64_t size) {
    const std::string path = scratch_.file("huge.xml");
    writeFile(path, "");
    if (::truncate(path.c_str(), static_cast<off_t>(size)) != 0) return {};
    return path;
  }
};

TEST_F(HugeStore, StoreOfFourGigabytesIsRefusedNotTakenForEmpty) {
  const std::string path = sparseFile(uint64_t{1} << 32);
  if (path.empty()) GTEST_SKIP() << "no sparse files of 4 GiB here";
  Object object = named(path);
  EXPECT_EQ(object.initDone().code(), errInvalidSize);
  EXPECT_EQ(saveOnClose(object), 0u);
  ASSERT_EQ(warnings().size(), 1u);
  EXPECT_NE(warnings()[0].text.find("file size is too big (2147483647 > 10Mb)"), std::string::npos);
  EXPECT_EQ(object.close().code(), errOk);
  EXPECT_EQ(fs::file_size(path), uint64_t{1} << 32) << "the store was written over";
}

TEST_F(HugeStore, StoreOfAllOnesSizeIsOutOfMemory) {
  const std::string path = sparseFile(0xFFFFFFFFu);
  if (path.empty()) GTEST_SKIP() << "no sparse files of 4 GiB here";
  Object object = named(path);
  EXPECT_EQ(object.initDone().code(), errOutOfMemory);
  EXPECT_EQ(saveOnClose(object), 0u);
}

class StoreIoLoad : public StoreLoad {
 protected:
  Object withIo(trove::host::StoreIo& io) {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    EXPECT_TRUE(object.setStoreIo(io).ok());
    EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).ok());
    return object;
  }
};

TEST_F(StoreIoLoad, ReadsTheWholeContentFromOffsetZero) {
  trove::host::MemoryStoreIo io("\xEF\xBB\xBF" + storeWithCount(21));
  Object object = withIo(io);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(countOf(object), 21u);
  EXPECT_EQ(io.calls(trove::host::StoreIo::kSize), 1u);
  EXPECT_EQ(io.calls(trove::host::StoreIo::kRead), 1u);
}

TEST_F(StoreIoLoad, NoNameAndNoIoIsAnEmptyStore) {
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).ok());
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(keyCount(object), 0u);
  EXPECT_EQ(saveOnClose(object), 1u);
}

TEST_F(StoreIoLoad, EmptyContentIsNotRead) {
  trove::host::MemoryStoreIo io;
  Object object = withIo(io);
  EXPECT_EQ(object.initDone().code(), errOk);
  EXPECT_EQ(io.calls(trove::host::StoreIo::kRead), 0u);
}

TEST_F(StoreIoLoad, FailuresOfTheIoObjectAreTheResultUnchanged) {
  trove::host::MemoryStoreIo sizeFails(storeWithCount(1));
  sizeFails.setFailure(trove::host::StoreIo::kSize, errSysFileNotFound);
  Object first = withIo(sizeFails);
  EXPECT_EQ(first.initDone().code(), errSysFileNotFound) << "no translation on this path";
  EXPECT_EQ(saveOnClose(first), 0u);

  trove::host::MemoryStoreIo readFails(storeWithCount(1));
  readFails.setFailure(trove::host::StoreIo::kRead, errAccessDenied);
  Object second = withIo(readFails);
  EXPECT_EQ(second.initDone().code(), errAccessDenied);
}

TEST_F(StoreIoLoad, SizesThatFitNoBufferAreRefused) {
  trove::host::MemoryStoreIo allOnes(storeWithCount(1));
  allOnes.setReportedSize(0xFFFFFFFFu);
  Object first = withIo(allOnes);
  EXPECT_EQ(first.initDone().code(), errOutOfMemory);
  EXPECT_EQ(allOnes.calls(trove::host::StoreIo::kRead), 0u);

  // Low 32 bits of zero, but not empty: refused, never taken for an empty store.
  trove::host::MemoryStoreIo fourGigabytes(storeWithCount(1));
  fourGigabytes.setReportedSize(uint64_t{1} << 32);
  Object second = withIo(fourGigabytes);
  EXPECT_EQ(second.initDone().code(), errInvalidSize);
  EXPECT_EQ(saveOnClose(second), 0u);
}

}  // namespace
