// trove's host library: loading and registering modules, objects of a
// registered interface, the trace formatter, store I/O and string objects.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "store_files.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/host/trace.h"
#include "trove/result_codes.h"

namespace {

using store_test::has;
using store_test::ScratchDirectory;
using trove::host::formatTrace;
using trove::host::Host;
using trove::host::MemoryStoreIo;
using trove::host::Module;
using trove::host::Object;
using trove::host::Status;
using trove::host::StoreIo;
using trove::host::StringObject;
namespace fs = std::filesystem;

// ---- A hand-made interface, registered through the root as a module would.

std::vector<std::string> gEvents;
int32_t gConstructResult = errOk;

int32_t dataInit(void* object, uint32_t create) {
  gEvents.push_back(create ? "construct" : "destroy");
  auto* data = static_cast<TroveHostObject*>(object)->data;
  if (create && std::any_of(data, data + 40, [](auto b) { return b != 0; })) return errUnexpected;
  return create ? gConstructResult : errOk;
}
// Takes two blocks through word 1 and gives one back: the host reclaims the other.
int32_t initDone(void* object) {
  gEvents.push_back("initDone");
  void** holder = trove::host::holderOf(object);
  auto services = static_cast<void**>(*holder);
  void* blocks[2] = {};
  for (void*& block : blocks) {
    reinterpret_cast<TroveHostAlloc>(services[TROVE_SERVICE_ALLOC])(holder, &block, 10);
  }
  reinterpret_cast<TroveHostFree>(services[TROVE_SERVICE_FREE])(holder, blocks[0]);
  return 5;  // a success code other than 0
}
int32_t onClose(void*) {
  gEvents.push_back("close");
  return errOk;
}

TEST(HostObjects, LiveThroughTheirLifeCycleInOrder) {
  Host host;
  void* internal[12] = {};
  internal[1] = reinterpret_cast<void*>(&dataInit);
  internal[3] = reinterpret_cast<void*>(&initDone);
  internal[5] = reinterpret_cast<void*>(&onClose);
  void* methods[3] = {};
  const TrovePropertyDescriptor property = {1, 7, 4, 4, nullptr, nullptr};
  auto registerInterface = reinterpret_cast<TroveRegisterInterface>(
      (*static_cast<void***>(host.root()))[TROVE_ROOT_SLOT_REGISTER_INTERFACE]);
  EXPECT_EQ(
      registerInterface(host.root(), 77, 1, 2, 3, 4, internal, 12, nullptr, 3, &property, 1, 40, 9),
      errInvalidArgument);
  EXPECT_EQ(host.findInterface(77), nullptr) << "a table missing: nothing recorded";
  ASSERT_EQ(
      registerInterface(host.root(), 77, 1, 2, 3, 4, internal, 12, methods, 3, &property, 1, 40, 9),
      errOk);
  {
    Object object = host.createObject(77);
    ASSERT_TRUE(object) << object.status() << " (the data area must arrive zero-filled)";
    EXPECT_EQ(object.initDone().code(), 5);
    EXPECT_EQ(object.liveBlocks(), 1u);
    EXPECT_TRUE(object.close());
    EXPECT_TRUE(object.close());
    Object moved = std::move(object);  // only one of the two ends its life
  }
  EXPECT_EQ(gEvents, (std::vector<std::string>{"construct", "initDone", "close", "destroy"}));
  EXPECT_EQ(host.reclaimedBlocks(), 1u);
  gEvents.clear();
  Object object = host.createObject(77);
  EXPECT_TRUE(object.destroy());
  EXPECT_TRUE(object.destroy()) << "destroying twice does nothing";
  EXPECT_EQ(gEvents, (std::vector<std::string>{"construct", "close", "destroy"}));
  gEvents.clear();
  gConstructResult = errOutOfMemory;
  Object failed = host.createObject(77);
  EXPECT_EQ(failed.status(), errOutOfMemory);
  EXPECT_EQ(failed.initDone(), errWrongState);
  EXPECT_EQ(gEvents, std::vector<std::string>{"construct"}) << "no close, no destruction";
  EXPECT_EQ(host.createObject(99).status(), errNoInterface);
}

// ---- Module files.

// A module built here whose entry answers what FAKE_ACCEPT and FAKE_CELL say.
std::string buildFakeModule(const ScratchDirectory& dir) {
  store_test::writeFile(dir.file("fake.c"),
                        "#include <stdlib.h>\n"
                        "int ModuleEntry(void* r, unsigned why, int* cell) {\n"
                        "  *cell = (int)strtol(getenv(\"FAKE_CELL\"), 0, 0);\n"
                        "  return atoi(getenv(\"FAKE_ACCEPT\"));\n}\n");
  const std::string so = dir.file("libfake.so");
  const std::string command =
      "cc -shared -fPIC -o " + so + " " + dir.file("fake.c") + " 2>/dev/null";
  return std::system(command.c_str()) == 0 ? so : "";
}

TEST(HostModules, ARefusedRegistrationIsNoLoadedModule) {
  ScratchDirectory dir;
  const std::string fake = buildFakeModule(dir);
  if (fake.empty()) GTEST_SKIP() << "no C compiler to build a module with";
  struct Case {
    const char *accept, *cell;
    int32_t status;
  };
  for (const Case& c : {Case{"0", "0", errUnexpected}, Case{"0", "-2147483582", errNotSupported},
                        Case{"1", "-2147483582", errNotSupported}, Case{"1", "0", errOk}}) {
    ::setenv("FAKE_ACCEPT", c.accept, 1);
    ::setenv("FAKE_CELL", c.cell, 1);
    Host host;
    Module module = host.loadModule(fake);
    EXPECT_EQ(module.ok(), c.status == errOk) << c.accept << " " << c.cell;
    EXPECT_EQ(module.status(), c.status) << module.status();
  }
  Host host;
  store_test::writeFile(dir.file("text.so"), "just some text\n");
  EXPECT_EQ(host.loadModule(dir.file("text.so")).status(), errSysBadImageSignature);
  EXPECT_EQ(host.loadModule(dir.file("none.so")).status(), errSysModuleNotFound);
  Module noEntry = host.loadModule("libm.so.6");
  EXPECT_EQ(noEntry.status(), errSysSymbolNotFound) << noEntry.status();
  EXPECT_FALSE(host.registerModule(noEntry));
  EXPECT_EQ(noEntry.callEntry(host.root(), 100, nullptr), 0);
}

// This program holds the host itself: beside it comes first, then each entry
// of TROVE_MODULE_PATH (a directory stands for the module file in it).
TEST(HostModules, SearchLooksBesideTheProgramThenThroughTheVariable) {
  const char* saved = std::getenv("TROVE_MODULE_PATH");
  const std::string restore = saved ? saved : "";
  const std::string moduleDir = fs::path(TROVE_MODULE_PATH).parent_path().string();
  const fs::path programDir = fs::read_symlink("/proc/self/exe").parent_path();
  const std::string beside = (programDir / "libtrove_registry.so").string(),
                    inTrove = (programDir / "trove/libtrove_registry.so").string(),
                    inLib = (programDir.parent_path() / "lib/trove/libtrove_registry.so").string();
  ScratchDirectory decoy;
  store_test::writeFile(decoy.file("libtrove_registry.so"), "");

  ::unsetenv("TROVE_MODULE_PATH");
  const std::string missing = Host().loadModule().status().message();
  EXPECT_TRUE(has(missing, "cannot find the trove module libtrove_registry.so; looked at " +
                               beside + ", " + inTrove + ", " + inLib +
                               "; TROVE_MODULE_PATH is not set"))
      << missing;

  ::setenv("TROVE_MODULE_PATH", ("/none::" + moduleDir + ":" + decoy.path().string()).c_str(), 1);
  trove::host::ModuleSearch search = trove::host::findModule();
  EXPECT_EQ(search.found, moduleDir + "/libtrove_registry.so");
  EXPECT_EQ(search.tried,
            (std::vector<std::string>{beside, inTrove, inLib, "/none", search.found}));
  Host host;
  EXPECT_EQ(host.loadModule().path(), search.found);
  EXPECT_NE(host.findInterface(TROVE_IID_REGISTRY), nullptr);
  saved ? ::setenv("TROVE_MODULE_PATH", restore.c_str(), 1) : ::unsetenv("TROVE_MODULE_PATH");
}

// Objects keep the module loaded, and outlive the host that made them.
TEST(HostModules, ObjectsOutliveTheirModuleAndHost) {
  Host later;
  auto& trace = later.captureTrace();
  Object object;
  {
    Host first;
    first.captureTrace();
    Module module = first.loadModule(TROVE_MODULE_PATH);
    ASSERT_TRUE(module) << module.status();
    object = first.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
  }
  EXPECT_TRUE(object.setName(u"orphan.xml"));
  EXPECT_EQ(object.name(), u"orphan.xml");
  EXPECT_TRUE(trace.contains("PropertiesMap::setName"));
  EXPECT_TRUE(object.destroy());
}

// ---- The Registry object of the real module, with its store held by an I/O object.

const char kStore[] =
    "<propertiesmap>\n    <key name=\"Application\">\n        <tDWORD "
    "name=\"Width\">1280</tDWORD>\n"
    "        <tSTRING name=\"Title\">Sample</tSTRING>\n    </key>\n</propertiesmap>\n";

TEST(RegistryObject, PropertiesAndAStoreHeldByAnIoObject) {
  Host host_;
  host_.captureTrace();
  Module module = host_.loadModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module) << module.status();
  const size_t violations = host_.heap().violationCount();
  MemoryStoreIo store(kStore);
  void** rootHolder = trove::host::holderOf(host_.root());
  const auto rootBefore = host_.heap().stats(rootHolder);
  {
    Object object = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(object) << object.status();
    // Properties follow the registered table: constants, the copy-out rule,
    // sizes and what the host may only read.
    EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_VERSION), 1u);
    EXPECT_EQ(object.setField<uint32_t>(TROVE_PROP_VERSION, 2), errAccessDenied);
    uint32_t needed = 0;
    EXPECT_EQ(object.getProperty(TROVE_PROP_DESCRIPTION, nullptr, 0, &needed), errOk);
    EXPECT_EQ(needed, 15u) << "a size query";
    EXPECT_EQ(object.getProperty(TROVE_PROP_DESCRIPTION, nullptr, 15, &needed), errInvalidArgument);
    char description[15] = {'x'};
    EXPECT_EQ(object.getProperty(TROVE_PROP_DESCRIPTION, description, 14), errBufferTooSmall);
    EXPECT_EQ(description[0], 'x') << "a short buffer receives nothing";
    EXPECT_TRUE(object.getProperty(TROVE_PROP_DESCRIPTION, description, sizeof description));
    EXPECT_STREQ(description, "properties map");
    EXPECT_EQ(object.setField<uint32_t>(TROVE_PROP_RESERVED_1003, 1), errAccessDenied);
    const Status wrongSize = object.setField<uint64_t>(TROVE_PROP_READ_ONLY, 1);
    EXPECT_EQ(wrongSize, errInvalidSize);
    EXPECT_TRUE(has(wrongSize.message(), "0x20601000")) << wrongSize;
    EXPECT_EQ(object.setProperty(TROVE_PROP_READ_ONLY, nullptr, 4), errInvalidArgument);
    EXPECT_EQ(object.setField<uint32_t>(0xDEAD, 1), errPropertyNotFound);
    EXPECT_EQ(object.call<TroveClean>(TROVE_SLOT_FLUSH), errMethodNotFound) << "a null entry";
    EXPECT_EQ(object.call<TroveClean>(99), errMethodNotFound) << "past the table";
    ASSERT_TRUE(object.setStoreIo(store));
    EXPECT_EQ(object.field<void*>(TROVE_PROP_STORE_IO), store.get());
    ASSERT_TRUE(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1));
    ASSERT_TRUE(object.initDone());
    EXPECT_EQ(store.calls(StoreIo::kRead), 1u);
    const auto rootAfter = host_.heap().stats(rootHolder);
    EXPECT_EQ(rootAfter.allocations, rootBefore.allocations + 1);
    EXPECT_EQ(rootAfter.liveBlocks, rootBefore.liveBlocks);

    uint64_t key = TROVE_INVALID_KEY;
    ASSERT_EQ(object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "Application", 0), errOk);
    StringObject title;
    uint32_t type = TROVE_TSTRING_OBJ, required = 0;
    EXPECT_EQ(object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key, "Title", &type,
                                         title.get(), 0),
              errOk);
    EXPECT_EQ(title.text(), u"Sample") << "handed out through the host's string function";
    uint32_t height = 800;
    ASSERT_GE(object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "Height", TROVE_TDWORD, &height,
                                         4, 1),
              0);
  }
  EXPECT_EQ(store.calls(StoreIo::kComplete), 1u);
  EXPECT_TRUE(has(store.contents(), "<tDWORD name=\"Height\">800</tDWORD>")) << store.contents();
  EXPECT_TRUE(has(store.contents(), "<tDWORD name=\"Width\">1280</tDWORD>"));

  // A failing read is the load's result, and the read buffer goes back.
  MemoryStoreIo failing(kStore);
  failing.setFailure(StoreIo::kRead, errMediaError);
  Object object = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.setStoreIo(failing));
  EXPECT_EQ(object.initDone(), errMediaError);
  EXPECT_EQ(host_.heap().liveBlocks(rootHolder), rootBefore.liveBlocks);

  ScratchDirectory dir;
  trove::host::FileStoreIo io;
  const std::string path = dir.file("held.xml");
  Status missing = io.open(path, false);
  EXPECT_EQ(missing, errSysFileNotFound);
  EXPECT_TRUE(has(missing.message(), path)) << missing;
  EXPECT_EQ(io.open(dir.path().string(), false), errAccessDenied) << "a directory is no store";
  store_test::writeFile(path, kStore);
  ASSERT_TRUE(io.open(path, false));
  Object held = host_.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(held.setStoreIo(io));
  ASSERT_TRUE(held.initDone());
  uint32_t count = 0;
  EXPECT_EQ(held.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errOk);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(host_.heap().violationCount(), violations);
  EXPECT_EQ(host_.reclaimedBlocks(), 0u) << "the module frees everything it takes";
}

TEST(StringObject, AssignTakesUtf16UpToTheFirstNul) {
  StringObject text(u"old");
  const char16_t data[] = {u'n', u'e', u'w', 0, u'x'};
  auto assign = [&](void* object, const void* units, uint32_t bytes, uint32_t codePage = 1200) {
    return trove::host::assignStringObject(object, 0, 0xFFFF, units, bytes, codePage);
  };
  EXPECT_EQ(assign(text.get(), data, sizeof data), errOk);
  EXPECT_EQ(text.text(), u"new");
  EXPECT_EQ(assign(text.get(), data, 5), errOk);
  EXPECT_EQ(text.text(), u"ne") << "an odd last byte is no unit";
  EXPECT_EQ(assign(text.get(), data, 6, 65001), errNotSupported);
  EXPECT_EQ(assign(text.get(), nullptr, 6), errInvalidArgument);
  void* gone = StringObject().get();
  EXPECT_EQ(assign(gone, data, 6), errInvalidArgument) << "an object no longer there";
}

// ---- The trace formatter: what a module's trace line turns into.

TEST(TraceFormat, ConversionsTakeTheirArgumentsAtTheirOwnSizes) {
  const char16_t unpaired[] = {0xDC00, 0xD800, 0xE000, 0};
  const std::pair<std::string, std::string> cases[] = {
      // 64-bit conversions consume 64-bit arguments; the %d after shows the step.
      {formatTrace("%ld|%d|%lx|%lu|%.08lX", int64_t{-1}, 42, uint64_t{0x1234567890},
                   uint64_t{18446744073709551615u}, uint64_t{0xABCDEF}),
       "-1|42|1234567890|18446744073709551615|00ABCDEF"},
      {formatTrace("%hhd|%hhu|%hx|%lld|%llu|%jd|%zu|%td|%d", 0x1FF, 0x1FF, 0x12345,
                   int64_t{-9000000000}, uint64_t{18446744073709551615u}, int64_t{-7}, size_t{9},
                   std::ptrdiff_t{-3}, 42),
       "-1|255|2345|-9000000000|18446744073709551615|-7|9|-3|42"},
      {formatTrace("%5d|%-5d|%05d|%+d|% d|%#x|%#o|%.3d|%X", 42, 42, 42, 42, 42, 255u, 8u, 7,
                   0xABCu),
       "   42|42   |00042|+42| 42|0xff|010|007|ABC"},
      {formatTrace("%*d|%*d|%.*s|%.*s|", 4, 1, -3, 1, 2, "abc", -1, "abc"), "   1|1  |ab|abc|"},
      {formatTrace("%.2f|%Lg|%p|%c%c|%d", 1.5, 2.5L, reinterpret_cast<void*>(0x10), 'o', 'k', 7),
       "1.50|2.5|0x10|ok|7"},
      {formatTrace("[%s|%.3s|%-4s|%s]", "trove", "abcdef", "ab", static_cast<const char*>(nullptr)),
       "[trove|abc|ab  |(null)]"},
      {formatTrace("%S|%S|%S", u"h\u00e9llo\u20AC", u"\u0080\U00010000\U0010FFFF",
                   static_cast<const char16_t*>(nullptr)),
       "h\xC3\xA9llo\xE2\x82\xAC|\xC2\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF|(null)"},
      // A high surrogate pairs only with a low one; precision counts UTF-16 units.
      {formatTrace("%S|%.1S|%.2S|%.3S|%6S|", unpaired, u"\U0001F600x", u"\U0001F600x",
                   u"\U0001F600x", u"ab"),
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEE\x80\x80|\xEF\xBF\xBD|\xF0\x9F\x98\x80|\xF0\x9F\x98\x80x|    "
       "ab|"},
      {formatTrace("%terr|%-22terr|%terr!%d", errInvalidArgument, errOk,
                   static_cast<int32_t>(0x8123ABCDu), 4),
       "0x80000046 (Invalid argument)|0x00000000 (No error) |0x8123abcd (Unknown result code)!4"},
      // An unknown conversion is copied and consumes nothing.
      {formatTrace("100%% %q %n%d cut %-5", 6), "100% %q %n6 cut %-5"},
      {formatTrace(nullptr), ""},
      {formatTrace("%300d", 1), std::string(299, ' ') + "1"},
  };
  for (const auto& [formatted, expected] : cases) EXPECT_EQ(formatted, expected);
  EXPECT_NE(formatTrace("%terr", errSysSharingViolation), "0x80010104 (Unknown result code)");
  EXPECT_EQ(Status(errInvalidArgument, "cannot open x").message(),
            "cannot open x [0x80000046 (Invalid argument)]");
  EXPECT_TRUE(Status(errKeyCreated)) << "success codes other than 0 are success";
}

// The root answers a lookup only for the exact numbers of a function it
// provides, and leaves the cell alone otherwise.
TEST(HostRoot, ResolvesOnlyTheFunctionsItProvides) {
  struct Numbers {
    uint32_t first, function, second;
  };
  const Numbers trace{TROVE_HOST_TRACE_FIRST, TROVE_HOST_TRACE_FUNCTION, TROVE_HOST_TRACE_SECOND};
  const Numbers assign{TROVE_HOST_STRING_ASSIGN_FIRST, TROVE_HOST_STRING_ASSIGN_FUNCTION,
                       TROVE_HOST_STRING_ASSIGN_SECOND};
  for (const auto& [withTrace, withAssign] :
       {std::pair{true, true}, {false, true}, {true, false}}) {
    Host host({.root = {.provideTrace = withTrace, .provideStringAssign = withAssign}});
    auto resolve = reinterpret_cast<TroveResolveHostFunction>(
        (*static_cast<void***>(host.root()))[TROVE_ROOT_SLOT_RESOLVE_FUNCTION]);
    auto found = [&](Numbers n) {
      void* cell = nullptr;
      const int32_t result = resolve(host.root(), &cell, n.first, n.function, n.second);
      EXPECT_EQ(result == errOk, cell != nullptr) << result;
      return cell != nullptr;
    };
    EXPECT_EQ(found(trace), withTrace);
    EXPECT_EQ(found(assign), withAssign);
    EXPECT_FALSE(found({assign.first, assign.function, 1}));
    EXPECT_FALSE(found({assign.first, trace.function, assign.second}));
    EXPECT_FALSE(found({trace.first, trace.function, assign.second}));
    EXPECT_EQ(host.counters().resolveHostFunction, 5u);
    host.resetCounters();
    EXPECT_EQ(host.counters().resolveHostFunction, 0u);
  }
}

}  // namespace
