// trove's host library: module loading, objects of a registered interface,
// their properties, methods and life cycle.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::Host;
using trove::host::Module;
using trove::host::Object;
using trove::host::Status;

// ---- A hand-made interface, registered through the root object as a module
// would register it.

constexpr uint32_t kFakeIid = 77;
constexpr uint32_t kConst = 0x1001, kConstBytes = 0x1002, kReadField = 0x1003, kWideField = 0x1004,
                   kByteField = 0x1005, kText = 0x1006, kTextReadOnly = 0x1007, kOutside = 0x1008;

std::vector<std::string> gEvents;
int32_t gConstructResult = errOk;
bool gDataWasZero = false;
void* gServicesDuringConstruction = nullptr;
void* gPlaceholder[TROVE_SERVICES_COUNT];

int32_t sum(void*, uint32_t a, uint32_t b) {
  return static_cast<int32_t>(a + b);
}
int32_t ownSlot1(void*) {
  return 4242;
}
void* gOwnTable[] = {nullptr, reinterpret_cast<void*>(&ownSlot1)};
void* gMethods[] = {reinterpret_cast<void*>(&sum), nullptr, nullptr};

int32_t fakeDataInit(void* object, uint32_t create) {
  auto* header = static_cast<TroveHostObject*>(object);
  gEvents.push_back(create ? "construct" : "destroy");
  if (create) {
    gServicesDuringConstruction = header->services;
    gDataWasZero = true;
    for (int i = 0; i < 40; ++i) gDataWasZero &= header->data[i] == 0;
    header->methods = gOwnTable;
    header->services = gPlaceholder;
    uint32_t readOnly = 0x11223344;
    std::memcpy(header->data, &readOnly, 4);
  }
  return create ? gConstructResult : errOk;
}

// During initDone the object takes two blocks through word 1 and gives one back.
int32_t fakeInitDone(void* object) {
  gEvents.push_back("initDone");
  void** holder = trove::host::holderOf(object);
  auto services = static_cast<void**>(*holder);
  auto alloc = reinterpret_cast<TroveHostAlloc>(services[TROVE_SERVICE_ALLOC]);
  auto release = reinterpret_cast<TroveHostFree>(services[TROVE_SERVICE_FREE]);
  void* first = nullptr;
  void* second = nullptr;
  if (alloc(holder, &first, 10) < 0 || alloc(holder, &second, 20) < 0) return errOutOfMemory;
  release(holder, first);
  return 5;  // a success code other than 0
}

int32_t fakeClose(void*) {
  gEvents.push_back("close");
  return errOk;
}

// The text property keeps up to 15 bytes at offset 24 of the data area.
int32_t getText(void* object, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  const char* text =
      reinterpret_cast<const char*>(static_cast<TroveHostObject*>(object)->data + 24);
  *outSize = static_cast<uint32_t>(std::strlen(text) + 1);
  if (size < *outSize) return errBufferTooSmall;
  std::memcpy(buffer, text, *outSize);
  return errOk;
}
int32_t setText(void* object, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  *outSize = 0;
  if (!buffer || size > 15) return errInvalidArgument;
  char* text = reinterpret_cast<char*>(static_cast<TroveHostObject*>(object)->data + 24);
  std::memset(text, 0, 16);
  std::memcpy(text, buffer, size);
  return errOk;
}

const char kHello[] = "hello";
const TrovePropertyDescriptor kProperties[] = {
    {kConst, 7, 4, 4, nullptr, nullptr},
    {kConstBytes, reinterpret_cast<uint64_t>(kHello), 6, 12, nullptr, nullptr},
    {kReadField, 0, 4, 1, nullptr, nullptr},
    {kWideField, 8, 8, 3, nullptr, nullptr},
    {kByteField, 16, 1, 35, nullptr, nullptr},
    {kText, 0, 0, 0, &getText, &setText},
    {kTextReadOnly, 0, 0, 0, &getText, nullptr},
    {kOutside, 38, 4, 3, nullptr, nullptr},
};

class FakeInterface : public ::testing::Test {
 protected:
  void SetUp() override {
    gEvents.clear();
    gConstructResult = errOk;
    internal_[1] = reinterpret_cast<void*>(&fakeDataInit);
    internal_[3] = reinterpret_cast<void*>(&fakeInitDone);
    internal_[5] = reinterpret_cast<void*>(&fakeClose);
    void** rootMethods = *static_cast<void***>(host_.root());
    auto registerInterface =
        reinterpret_cast<TroveRegisterInterface>(rootMethods[TROVE_ROOT_SLOT_REGISTER_INTERFACE]);
    ASSERT_EQ(registerInterface(host_.root(), kFakeIid, 1, 2, 3, 4, internal_, 12, gMethods, 3,
                                kProperties, std::size(kProperties), 40, 9),
              errOk);
  }

  Host host_;
  void* internal_[12] = {};
};

TEST_F(FakeInterface, RegistrationIsRecorded) {
  auto record = host_.findInterface(kFakeIid);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->pluginId, 1u);
  EXPECT_EQ(record->subtype, 2u);
  EXPECT_EQ(record->version, 3u);
  EXPECT_EQ(record->vendorId, 4u);
  EXPECT_EQ(record->internalTable, internal_);
  EXPECT_EQ(record->methodTable, gMethods);
  EXPECT_EQ(record->propertyTable, kProperties);
  EXPECT_EQ(record->dataSize, 40u);
  EXPECT_EQ(record->flags, 9u);
  EXPECT_EQ(record->internalEntries.size(), 12u);
  EXPECT_EQ(record->internalEntries[3], reinterpret_cast<void*>(&fakeInitDone));
  EXPECT_EQ(record->properties.size(), std::size(kProperties));
  EXPECT_EQ(record->findProperty(kText), &kProperties[5]);
  EXPECT_EQ(record->findProperty(0xDEAD), nullptr);
  EXPECT_EQ(host_.counters().registerInterface, 1u);
}

TEST_F(FakeInterface, ObjectLivesThroughItsLifeCycleInOrder) {
  size_t reclaimedBefore = host_.reclaimedBlocks();
  {
    Object object = host_.createObject(kFakeIid);
    ASSERT_TRUE(object) << object.status();
    EXPECT_TRUE(gDataWasZero) << "the data area arrives zero-filled";
    EXPECT_EQ(gServicesDuringConstruction, trove::host::servicesTable());
    EXPECT_EQ(object.constructedServices(), gPlaceholder);
    EXPECT_EQ(*object.holder(), trove::host::servicesTable())
        << "after construction word 1 holds the working services";
    EXPECT_EQ(reinterpret_cast<uintptr_t>(object.data()) % 8, 0u);
    EXPECT_EQ(object.data(), static_cast<unsigned char*>(object.get()) + 24);
    EXPECT_EQ(object.dataSize(), 40u);

    Status loaded = object.initDone();
    EXPECT_TRUE(loaded);
    EXPECT_EQ(loaded.code(), 5);
    EXPECT_EQ(object.liveBlocks(), 1u);
    EXPECT_TRUE(object.close());
    EXPECT_TRUE(object.close());
    EXPECT_TRUE(object.closed());

    // Moving hands the object over; only one of the two ends its life.
    Object moved = std::move(object);
    EXPECT_FALSE(object.ok());
    EXPECT_TRUE(moved.ok());
  }
  EXPECT_EQ(gEvents, (std::vector<std::string>{"construct", "initDone", "close", "destroy"}));
  EXPECT_EQ(host_.reclaimedBlocks(), reclaimedBefore + 1) << "the block left behind was reclaimed";
}

TEST_F(FakeInterface, DestructorClosesBeforeDestroying) {
  { Object object = host_.createObject(kFakeIid); }
  EXPECT_EQ(gEvents, (std::vector<std::string>{"construct", "close", "destroy"}));
  gEvents.clear();
  Object object = host_.createObject(kFakeIid);
  EXPECT_TRUE(object.destroy());
  EXPECT_FALSE(object.ok());
  EXPECT_TRUE(object.destroy()) << "destroying twice does nothing";
  EXPECT_EQ(gEvents, (std::vector<std::string>{"construct", "close", "destroy"}));
}

TEST_F(FakeInterface, FailedConstructionGivesAFailedObject) {
  gConstructResult = errOutOfMemory;
  Object object = host_.createObject(kFakeIid);
  EXPECT_FALSE(object);
  EXPECT_EQ(object.status(), errOutOfMemory);
  EXPECT_EQ(gEvents, std::vector<std::string>{"construct"}) << "no close, no destruction";
  EXPECT_EQ(object.initDone(), errWrongState);

  Object unknown = host_.createObject(99);
  EXPECT_FALSE(unknown);
  EXPECT_EQ(unknown.status(), errNoInterface);
  EXPECT_NE(unknown.status().message().find("99"), std::string::npos) << unknown.status();
}

TEST_F(FakeInterface, ConstantsAreReadOnlyAndFollowTheCopyOutRule) {
  Object object = host_.createObject(kFakeIid);
  ASSERT_TRUE(object);
  EXPECT_EQ(object.field<uint32_t>(kConst), 7u);
  EXPECT_EQ(object.setField<uint32_t>(kConst, 8), errAccessDenied);

  uint32_t needed = 0;
  EXPECT_EQ(object.getProperty(kConstBytes, nullptr, 0, &needed), errOk);
  EXPECT_EQ(needed, 6u);
  EXPECT_EQ(object.getProperty(kConstBytes, nullptr, 6, &needed), errInvalidArgument);
  char small[5] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(object.getProperty(kConstBytes, small, sizeof small, &needed), errBufferTooSmall);
  EXPECT_EQ(needed, 6u);
  EXPECT_EQ(small[0], 'x') << "a short buffer receives nothing";
  char text[8] = {};
  EXPECT_EQ(object.getProperty(kConstBytes, text, sizeof text, &needed), errOk);
  EXPECT_STREQ(text, "hello");
  EXPECT_EQ(object.setProperty(kConstBytes, "world", 6), errAccessDenied);
}

TEST_F(FakeInterface, FieldsLiveAtTheirOffsetsWithTheirSizes) {
  Object object = host_.createObject(kFakeIid);
  ASSERT_TRUE(object);
  EXPECT_EQ(object.field<uint32_t>(kReadField), 0x11223344u);
  EXPECT_EQ(object.setField<uint32_t>(kReadField, 1), errAccessDenied) << "mode 1: host reads only";

  EXPECT_TRUE(object.setField<uint64_t>(kWideField, 0x0102030405060708ull));
  uint64_t stored = 0;
  std::memcpy(&stored, object.data() + 8, 8);
  EXPECT_EQ(stored, 0x0102030405060708ull);
  EXPECT_EQ(object.field<uint64_t>(kWideField), 0x0102030405060708ull);
  Status wrongSize = object.setField<uint32_t>(kWideField, 5);
  EXPECT_EQ(wrongSize, errInvalidSize);
  EXPECT_NE(wrongSize.message().find("0x00001004"), std::string::npos) << wrongSize;
  EXPECT_EQ(object.field<uint64_t>(kWideField), 0x0102030405060708ull);
  EXPECT_EQ(object.setProperty(kWideField, nullptr, 8), errInvalidArgument);

  EXPECT_TRUE(object.setField<uint8_t>(kByteField, 2));
  EXPECT_EQ(object.data()[16], 2);
  EXPECT_EQ(object.data()[17], 0) << "a one-byte field writes one byte";
  EXPECT_EQ(object.field<uint8_t>(kByteField), 2);

  EXPECT_EQ(object.setField<uint32_t>(kOutside, 1), errInvalidArgument);
  EXPECT_EQ(object.setField<uint32_t>(0xDEAD, 1), errPropertyNotFound);
  uint32_t value = 0;
  EXPECT_EQ(object.getField(0xDEAD, &value), errPropertyNotFound);
}

TEST_F(FakeInterface, AccessorPropertiesCallTheModule) {
  Object object = host_.createObject(kFakeIid);
  ASSERT_TRUE(object);
  EXPECT_TRUE(object.setProperty(kText, "abc", 3));
  char text[16] = {};
  uint32_t used = 0;
  EXPECT_TRUE(object.getProperty(kText, text, sizeof text, &used));
  EXPECT_EQ(used, 4u);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(object.setProperty(kText, "much too long text", 18), errInvalidArgument)
      << "the setter's own result comes back";
  EXPECT_EQ(object.setProperty(kTextReadOnly, "x", 1), errAccessDenied);
  EXPECT_TRUE(object.getProperty(kTextReadOnly, text, sizeof text, &used));
}

TEST_F(FakeInterface, MethodsAreCalledThroughTheRegisteredTable) {
  Object object = host_.createObject(kFakeIid);
  ASSERT_TRUE(object);
  using Sum = int32_t (*)(void*, uint32_t, uint32_t);
  EXPECT_EQ(object.call<Sum>(0, 40u, 2u), 42);
  EXPECT_EQ(object.call<Sum>(1, 1u, 1u), errMethodNotFound) << "a null entry";
  EXPECT_EQ(object.call<Sum>(3, 1u, 1u), errMethodNotFound) << "past the table";
  EXPECT_EQ(object.callOwn<TroveClean>(1), 4242) << "the object's own table";
  EXPECT_EQ(object.callOwn<TroveClean>(0), errMethodNotFound);
}

TEST(HostRegistration, RootChecksTheTables) {
  Host host;
  void** rootMethods = *static_cast<void***>(host.root());
  auto registerInterface =
      reinterpret_cast<TroveRegisterInterface>(rootMethods[TROVE_ROOT_SLOT_REGISTER_INTERFACE]);
  EXPECT_EQ(
      registerInterface(host.root(), 5, 0, 0, 0, 0, nullptr, 12, nullptr, 0, nullptr, 0, 8, 0),
      errInvalidArgument);
  EXPECT_EQ(host.findInterface(5), nullptr);
  using Unused = int32_t (*)(void*);
  EXPECT_EQ(reinterpret_cast<Unused>(rootMethods[1])(host.root()), errNotSupported);
}

// ---- Loading module files.

std::string writeTempFile(const std::string& name, const std::string& contents) {
  std::string path = testing::TempDir() + name + "_" + std::to_string(::getpid());
  std::ofstream(path, std::ios::binary) << contents;
  return path;
}

// A shared library of this process that is surely not a trove module.
std::string someSystemLibrary() {
  std::string found;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        std::string name = info->dlpi_name ? info->dlpi_name : "";
        auto* out = static_cast<std::string*>(data);
        if (out->empty() && name.find("libc.so") != std::string::npos) *out = name;
        return 0;
      },
      &found);
  return found;
}

TEST(HostModules, FilesThatAreNoModulesGiveClearErrors) {
  Host host;
  std::string text = writeTempFile("not_a_module.so", "just some text\n");
  Module module = host.loadModule(text);
  EXPECT_FALSE(module);
  EXPECT_EQ(module.status(), errSysBadImageSignature);
  EXPECT_NE(module.status().message().find(text), std::string::npos) << module.status();
  EXPECT_NE(module.status().message().find("not a loadable module"), std::string::npos);
  EXPECT_EQ(module.callEntry(host.root(), 100, nullptr), 0);
  std::filesystem::remove(text);

  std::string missing = testing::TempDir() + "no_such_module.so";
  module = host.loadModule(missing);
  EXPECT_EQ(module.status(), errSysModuleNotFound);
  EXPECT_NE(module.status().message().find(missing), std::string::npos) << module.status();
  EXPECT_NE(module.status().message().find("no such file"), std::string::npos);

  std::string library = someSystemLibrary();
  if (library.empty()) GTEST_SKIP() << "no C library path found to load";
  module = host.loadModule(library);
  EXPECT_FALSE(module);
  EXPECT_EQ(module.status(), errSysSymbolNotFound);
  EXPECT_NE(module.status().message().find("has no ModuleEntry"), std::string::npos)
      << module.status();
  EXPECT_NE(module.status().message().find(library), std::string::npos);
  EXPECT_EQ(host.counters().registerInterface, 0u);
  EXPECT_FALSE(host.registerModule(module));
}

// This program holds the host itself, so without TROVE_MODULE_PATH nothing
// beside it is the module: the search names every place it looked at.
TEST(HostModules, SearchLooksBesideTheProgramThenThroughTheVariable) {
  const char* saved = std::getenv("TROVE_MODULE_PATH");
  const std::string restore = saved ? saved : "";
  const std::string moduleDir = std::filesystem::path(TROVE_MODULE_PATH).parent_path().string();
  const std::string programDir = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  struct Case {
    const char* variable;  // null: unset
    std::string loaded;    // empty: not found
    std::vector<std::string> named;
  };
  const std::vector<Case> cases = {
      {nullptr, "", {programDir + "/libtrove_registry.so", "TROVE_MODULE_PATH is not set"}},
      {TROVE_MODULE_PATH, TROVE_MODULE_PATH, {}},
      {"/no/such/dir:", "", {"/no/such/dir"}},
  };
  for (const Case& c : cases) {
    if (c.variable) {
      ::setenv("TROVE_MODULE_PATH", c.variable, 1);
    } else {
      ::unsetenv("TROVE_MODULE_PATH");
    }
    Host host;
    Module module = host.loadModule();
    EXPECT_EQ(module.ok(), !c.loaded.empty()) << module.status();
    if (module) {
      EXPECT_EQ(module.path(), c.loaded);
      EXPECT_NE(host.findInterface(TROVE_IID_REGISTRY), nullptr);
    } else {
      EXPECT_EQ(module.status(), errSysModuleNotFound);
      EXPECT_NE(module.status().message().find("cannot find the trove module"), std::string::npos);
    }
    for (const std::string& text : c.named) {
      EXPECT_NE(module.status().message().find(text), std::string::npos) << module.status();
    }
  }
  // A directory on the variable stands for the module file in it.
  ::setenv("TROVE_MODULE_PATH", ("/no/such/dir:" + moduleDir).c_str(), 1);
  trove::host::ModuleSearch search = trove::host::findModule();
  EXPECT_EQ(search.found, moduleDir + "/libtrove_registry.so");
  EXPECT_EQ(search.tried.back(), search.found);
  EXPECT_EQ(search.tried.front(), programDir + "/libtrove_registry.so");
  if (saved) {
    ::setenv("TROVE_MODULE_PATH", restore.c_str(), 1);
  } else {
    ::unsetenv("TROVE_MODULE_PATH");
  }
}

TEST(HostModules, ModuleStaysLoadedWhileItsObjectsLive) {
  Host host;
  host.captureTrace();
  Object object;
  {
    Module module = host.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module) << module.status();
    object = host.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
  }
  // The Module is gone; the object still calls into the module.
  EXPECT_TRUE(object.setName(u"still.xml"));
  EXPECT_EQ(object.name(), u"still.xml");
}

TEST(HostModules, ObjectMayOutliveItsHost) {
  Host later;
  auto& trace = later.captureTrace();
  Object object;
  {
    Host first;
    first.captureTrace();
    ASSERT_TRUE(first.loadModule(TROVE_MODULE_PATH));
    object = first.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
  }
  // Its lines go to the remaining host; its life cycle still ends in order.
  EXPECT_TRUE(object.setName(u"orphan.xml"));
  EXPECT_TRUE(trace.contains("PropertiesMap::setName"));
  EXPECT_TRUE(object.destroy());
}

// ---- The Registry object of the real module, end to end.

std::u16string widen(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}

class RegistryObject : public ::testing::Test {
 protected:
  void SetUp() override {
    trace_ = &host_.captureTrace();
    module_ = host_.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module_) << module_.status();
    dir_ = testing::TempDir() + "trove_host_library_" + std::to_string(::getpid());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    std::filesystem::remove_all(dir_);
    EXPECT_EQ(host_.heap().violationCount(), 0u);
  }

  Host host_;
  trove::host::CapturingTraceSink* trace_ = nullptr;
  Module module_;
  std::string dir_;
};

TEST_F(RegistryObject, PropertiesReadAndWriteThroughTheRegisteredTable) {
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object) << object.status();
  EXPECT_NE(object.constructedServices(), trove::host::servicesTable())
      << "the constructor leaves its own placeholder in word 1";
  EXPECT_EQ(*object.holder(), trove::host::servicesTable());

  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_VERSION), 1u);
  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_NAME_CODE_PAGE), 1200u);
  char description[15] = {};
  EXPECT_TRUE(object.getProperty(TROVE_PROP_DESCRIPTION, description, sizeof description));
  EXPECT_STREQ(description, "properties map");

  EXPECT_TRUE(object.setField<uint32_t>(TROVE_PROP_READ_ONLY, 1));
  uint32_t atOffset = 0;
  std::memcpy(&atOffset, object.data() + 24, 4);
  EXPECT_EQ(atOffset, 1u);
  EXPECT_EQ(object.setField<uint32_t>(TROVE_PROP_RESERVED_1003, 1), errAccessDenied);
  EXPECT_TRUE(object.setField<uint8_t>(TROVE_PROP_BACKUP_MODE, 2));
  EXPECT_EQ(object.data()[116], 2);
  trove::host::MemoryStoreIo io;
  EXPECT_TRUE(object.setStoreIo(io));
  EXPECT_EQ(object.field<void*>(TROVE_PROP_STORE_IO), io.get());

  EXPECT_EQ(object.name(), u"");
  EXPECT_TRUE(object.setName(u"\u00e9t\u00e9.xml"));
  EXPECT_EQ(object.name(), u"\u00e9t\u00e9.xml");
  EXPECT_TRUE(trace_->contains("trove\tPropertiesMap::setName : 0x00000000 (No error)"));
}

TEST_F(RegistryObject, StoreIsWrittenOnCloseAndReadBack) {
  std::string path = dir_ + "/store.xml";
  {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
    ASSERT_TRUE(object.setName(widen(path)));
    ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1));
    ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_OPEN_FLAGS, TROVE_OPEN_CREATE_IF_MISSING));
    Status loaded = object.initDone();
    ASSERT_TRUE(loaded) << loaded;
    uint64_t key = TROVE_INVALID_KEY;
    int32_t opened = object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "app/window", 1);
    ASSERT_GE(opened, 0) << trove::host::formatResult(opened);
    uint32_t width = 640;
    ASSERT_GE(
        object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "width", TROVE_TDWORD, &width, 4, 1),
        0);
  }  // closed (saved) and destroyed here
  EXPECT_EQ(host_.reclaimedBlocks(), 0u) << "the module freed everything it took";
  std::ifstream file(path);
  std::stringstream contents;
  contents << file.rdbuf();
  EXPECT_NE(contents.str().find("propertiesmap"), std::string::npos) << contents.str();
  EXPECT_NE(contents.str().find("width"), std::string::npos) << contents.str();

  Object again = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(again.setName(widen(path)));
  ASSERT_TRUE(again.initDone());
  uint64_t key = TROVE_INVALID_KEY;
  ASSERT_EQ(again.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "app/window", 0), errOk);
  uint32_t width = 0;
  uint32_t type = TROVE_TDWORD;
  uint32_t required = 0;
  EXPECT_EQ(
      again.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key, "width", &type, &width, 4),
      errOk);
  EXPECT_EQ(width, 640u);
}

}  // namespace
