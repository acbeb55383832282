// Store I/O objects and string objects of the host, called through their
// tables as a module calls them, and used by the Registry module.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::FileStoreIo;
using trove::host::Host;
using trove::host::MemoryStoreIo;
using trove::host::Object;
using trove::host::StoreIo;
using trove::host::StringObject;

// The operations as a module reaches them: through word 0 of the object.
struct IoCalls {
  explicit IoCalls(void* io) : io(io), methods(*static_cast<void***>(io)) {}
  int32_t read(uint32_t* count, uint64_t offset, void* buffer, uint32_t size) const {
    return reinterpret_cast<TroveIoRead>(methods[TROVE_IO_SLOT_READ])(io, count, offset, buffer,
                                                                      size);
  }
  int32_t write(uint32_t* count, uint64_t offset, const void* buffer, uint32_t size) const {
    return reinterpret_cast<TroveIoWrite>(methods[TROVE_IO_SLOT_WRITE])(io, count, offset, buffer,
                                                                        size);
  }
  int32_t size(uint64_t* size) const {
    return reinterpret_cast<TroveIoSize>(methods[TROVE_IO_SLOT_SIZE])(io, size, 0);
  }
  int32_t complete() const {
    return reinterpret_cast<TroveIoComplete>(methods[TROVE_IO_SLOT_COMPLETE])(io);
  }
  void* io;
  void** methods;
};

TEST(MemoryStoreIo, ReadsWritesAndSizesAtOffsets) {
  MemoryStoreIo store("0123456789");
  IoCalls calls(store.get());
  uint64_t size = 0;
  EXPECT_EQ(calls.size(&size), errOk);
  EXPECT_EQ(size, 10u);

  char buffer[8] = {};
  uint32_t count = 99;
  EXPECT_EQ(calls.read(&count, 6, buffer, sizeof buffer), errOk);
  EXPECT_EQ(count, 4u) << "a read stops at the end";
  EXPECT_EQ(std::string(buffer, count), "6789");
  EXPECT_EQ(calls.read(&count, 50, buffer, sizeof buffer), errOk);
  EXPECT_EQ(count, 0u);

  // Writing shorter text at 0 does not truncate; writing past the end fills
  // the gap with zeros.
  EXPECT_EQ(calls.write(nullptr, 0, "ab", 2), errOk);
  EXPECT_EQ(store.contents(), "ab23456789");
  EXPECT_EQ(calls.write(&count, 12, "z", 1), errOk);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(store.contents(), std::string("ab23456789\0\0z", 13));
  EXPECT_EQ(calls.complete(), errOk);

  EXPECT_EQ(store.calls(StoreIo::kRead), 2u);
  EXPECT_EQ(store.calls(StoreIo::kWrite), 2u);
  EXPECT_EQ(store.calls(StoreIo::kSize), 1u);
  EXPECT_EQ(store.calls(StoreIo::kComplete), 1u);
  EXPECT_EQ(calls.read(&count, 0, nullptr, 4), errInvalidArgument);
}

TEST(MemoryStoreIo, FailuresAndReportedSizesCanBeArranged) {
  MemoryStoreIo store("abc");
  IoCalls calls(store.get());
  store.setFailure(StoreIo::kRead, errMediaError);
  char buffer[4];
  uint32_t count = 7;
  EXPECT_EQ(calls.read(&count, 0, buffer, 3), errMediaError);
  EXPECT_EQ(count, 0u);
  store.setFailure(StoreIo::kRead, errOk);
  EXPECT_EQ(calls.read(&count, 0, buffer, 3), errOk);
  EXPECT_EQ(count, 3u);

  store.setFailure(StoreIo::kWrite, errAccessDenied);
  EXPECT_EQ(calls.write(nullptr, 0, "x", 1), errAccessDenied);
  EXPECT_EQ(store.contents(), "abc") << "a failed write changes nothing";

  uint64_t size = 0;
  store.setReportedSize(0xFFFFFFFFu);
  EXPECT_EQ(calls.size(&size), errOk);
  EXPECT_EQ(size, 0xFFFFFFFFu);
  store.setReportedSize(std::nullopt);
  store.setFailure(StoreIo::kSize, errNotReady);
  EXPECT_EQ(calls.size(&size), errNotReady);
  store.setFailure(StoreIo::kComplete, errUnexpected);
  EXPECT_EQ(calls.complete(), errUnexpected);
}

class FileStoreIoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testing::TempDir() + "trove_store_io_" + std::to_string(::getpid());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string dir_;
};

TEST_F(FileStoreIoTest, OpensReadsAndWritesAFile) {
  FileStoreIo store;
  std::string path = dir_ + "/io.xml";
  trove::host::Status missing = store.open(path, false);
  EXPECT_EQ(missing, errSysFileNotFound);
  EXPECT_NE(missing.message().find(path), std::string::npos) << missing;
  EXPECT_FALSE(store.isOpen());
  IoCalls calls(store.get());
  uint32_t count = 0;
  char buffer[16] = {};
  EXPECT_EQ(calls.read(&count, 0, buffer, 4), errWrongState) << "no file open";

  ASSERT_TRUE(store.open(path));
  EXPECT_EQ(store.path(), path);
  uint64_t size = 99;
  EXPECT_EQ(calls.size(&size), errOk);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(calls.write(&count, 3, "data", 4), errOk);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(calls.size(&size), errOk);
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(calls.read(&count, 0, buffer, sizeof buffer), errOk);
  EXPECT_EQ(count, 7u);
  EXPECT_EQ(std::string(buffer, 7), std::string("\0\0\0data", 7));
  EXPECT_EQ(calls.complete(), errOk);
  store.close();

  std::ifstream file(path, std::ios::binary);
  std::stringstream contents;
  contents << file.rdbuf();
  EXPECT_EQ(contents.str(), std::string("\0\0\0data", 7));

  EXPECT_EQ(store.open(dir_, false), errAccessDenied) << "a directory is no store file";
}

TEST(StringObject, AssignTakesUtf16UpToTheFirstNul) {
  StringObject text(u"old");
  EXPECT_EQ(text.text(), u"old");
  const char16_t data[] = {u'n', u'e', u'w', 0, u'x'};
  EXPECT_EQ(trove::host::assignStringObject(text.get(), 0, 0xFFFF, data, sizeof data, 1200), errOk);
  EXPECT_EQ(text.text(), u"new");
  EXPECT_EQ(text.assignCount(), 1u);
  auto* view = static_cast<TroveStringObject*>(text.get());
  EXPECT_EQ(view->length, 3u) << "the object's own count follows the text";
  EXPECT_EQ(view->chars[3], u'\0');

  EXPECT_EQ(trove::host::assignStringObject(text.get(), 0, 0xFFFF, data, 5, 1200), errOk);
  EXPECT_EQ(text.text(), u"ne") << "an odd last byte is no unit";
  EXPECT_EQ(trove::host::assignStringObject(text.get(), 0, 0xFFFF, nullptr, 0, 1200), errOk);
  EXPECT_EQ(text.text(), u"");
  EXPECT_EQ(trove::host::assignStringObject(text.get(), 0, 0xFFFF, data, 6, 65001),
            errNotSupported);
  EXPECT_EQ(trove::host::assignStringObject(text.get(), 0, 0xFFFF, nullptr, 6, 1200),
            errInvalidArgument);

  TroveStringObject stranger{nullptr, 0};
  EXPECT_EQ(trove::host::assignStringObject(&stranger, 0, 0xFFFF, data, 6, 1200),
            errInvalidArgument);
  EXPECT_EQ(stranger.chars, nullptr);
  void* gone = nullptr;
  {
    StringObject brief;
    gone = brief.get();
  }
  EXPECT_EQ(trove::host::assignStringObject(gone, 0, 0xFFFF, data, 6, 1200), errInvalidArgument);
}

// ---- The Registry module with a store held by an I/O object.

const char kStore[] =
    "<propertiesmap>\n"
    "    <key name=\"Application\">\n"
    "        <tDWORD name=\"Width\">1280</tDWORD>\n"
    "        <tSTRING name=\"Title\">Sample</tSTRING>\n"
    "    </key>\n"
    "</propertiesmap>\n";

class RegistryWithStoreIo : public ::testing::Test {
 protected:
  void SetUp() override {
    host_.captureTrace();
    module_ = host_.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module_) << module_.status();
    violations_ = host_.heap().violationCount();
  }
  void TearDown() override {
    EXPECT_EQ(host_.heap().violationCount(), violations_);
    EXPECT_EQ(host_.reclaimedBlocks(), 0u);
  }

  Host host_;
  trove::host::Module module_;
  size_t violations_ = 0;
};

TEST_F(RegistryWithStoreIo, LoadsThroughARootHeapBufferAndSavesBack) {
  MemoryStoreIo store(kStore);
  void** rootHolder = trove::host::holderOf(host_.root());
  auto rootBefore = host_.heap().stats(rootHolder);
  {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
    ASSERT_TRUE(object.setStoreIo(store));
    ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1));
    ASSERT_TRUE(object.initDone());
    EXPECT_EQ(store.calls(StoreIo::kSize), 1u);
    EXPECT_EQ(store.calls(StoreIo::kRead), 1u);

    // The read buffer came from the root object's heap and went back to it.
    auto rootAfter = host_.heap().stats(rootHolder);
    EXPECT_EQ(rootAfter.allocations, rootBefore.allocations + 1);
    EXPECT_EQ(rootAfter.frees, rootBefore.frees + 1);
    EXPECT_EQ(rootAfter.liveBlocks, rootBefore.liveBlocks);

    uint64_t key = TROVE_INVALID_KEY;
    ASSERT_EQ(object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "Application", 0), errOk);
    StringObject title;
    uint32_t type = TROVE_TSTRING_OBJ;
    uint32_t required = 0;
    EXPECT_EQ(object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key, "Title", &type,
                                         title.get(), 0),
              errOk);
    EXPECT_EQ(title.text(), u"Sample") << "handed out through the host's string function";
    EXPECT_EQ(title.assignCount(), 1u);

    uint32_t height = 800;
    ASSERT_GE(object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "Height", TROVE_TDWORD, &height,
                                         4, 1),
              0);
  }
  EXPECT_EQ(store.calls(StoreIo::kWrite), 1u);
  EXPECT_EQ(store.calls(StoreIo::kComplete), 1u);
  EXPECT_NE(store.contents().find("<tDWORD name=\"Height\">800</tDWORD>"), std::string::npos)
      << store.contents();
  EXPECT_NE(store.contents().find("<tDWORD name=\"Width\">1280</tDWORD>"), std::string::npos);
}

TEST_F(RegistryWithStoreIo, AFailingReadIsTheLoadResult) {
  MemoryStoreIo store(kStore);
  store.setFailure(StoreIo::kRead, errMediaError);
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object);
  ASSERT_TRUE(object.setStoreIo(store));
  EXPECT_EQ(object.initDone(), errMediaError);
  EXPECT_EQ(host_.heap().liveBlocks(trove::host::holderOf(host_.root())), 0u)
      << "the read buffer is freed on failure too";
}

TEST_F(RegistryWithStoreIo, FileBackedStoreIoWorksAsWell) {
  std::string dir = testing::TempDir() + "trove_store_io_module_" + std::to_string(::getpid());
  std::filesystem::create_directories(dir);
  std::string path = dir + "/held.xml";
  std::ofstream(path) << kStore;
  {
    FileStoreIo store;
    ASSERT_TRUE(store.open(path, false));
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object);
    ASSERT_TRUE(object.setStoreIo(store));
    ASSERT_TRUE(object.initDone());
    uint32_t count = 0;
    EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errOk);
    EXPECT_EQ(count, 1u);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
