// The module's entry point and the tables it registers, seen from a host.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::formatResult;
using trove::host::Host;
using trove::host::HostOptions;
using trove::host::Module;

// A private copy of the module file loads as a library of its own, with its
// module-wide cells still empty.
class ModuleCopy {
 public:
  ModuleCopy() {
    static std::atomic<int> counter{0};
    path_ = testing::TempDir() + "trove_module_copy_" + std::to_string(::getpid()) + "_" +
            std::to_string(counter++) + ".so";
    std::filesystem::copy_file(TROVE_MODULE_PATH, path_,
                               std::filesystem::copy_options::overwrite_existing);
  }
  ~ModuleCopy() { std::filesystem::remove(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

TEST(ModuleEntry, OrdinaryReasonsRegisterNothing) {
  Host host;
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  for (uint32_t reason : {0u, 1u, 2u, 3u}) {
    int32_t cell = 0x1234;
    EXPECT_EQ(module.callEntry(host.root(), reason, &cell), 1) << "reason " << reason;
    EXPECT_EQ(cell, 0x1234) << "reason " << reason << " touched the result cell";
    EXPECT_EQ(module.callEntry(nullptr, reason, nullptr), 1);
  }
  EXPECT_EQ(host.counters().registerInterface, 0u);
  EXPECT_EQ(host.findInterface(TROVE_IID_REGISTRY), nullptr);
}

struct ExpectedProperty {
  uint64_t id;
  uint64_t value;
  uint64_t size;
  uint64_t mode;
};

// Written out with literal numbers, so that a wrong shared constant shows.
const ExpectedProperty kExpectedProperties[] = {
    {0x21A00082, 1, 4, 4},   {0x20900083, 0, 15, 12},  {0x20601000, 24, 4, 3},
    {0x20401002, 28, 4, 35}, {0x20401003, 32, 4, 1},   {0x20601004, 36, 4, 3},
    {0x2040004A, 96, 4, 35}, {0x20901005, 0, 0, 0},    {0x20C01006, 0, 0, 0},
    {0x20900040, 0, 0, 0},   {0x33201000, 104, 8, 35}, {0x30601001, 112, 4, 3},
    {0x30201002, 116, 1, 3}, {0x21B00040, 1200, 4, 4},
};

TEST(ModuleEntry, RegistersTheRegistryInterfaceWithItsTables) {
  Host host;
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  int32_t cell = 0x5555;
  EXPECT_EQ(module.callEntry(host.root(), 100, &cell), 1);
  EXPECT_EQ(cell, errOk);
  EXPECT_EQ(host.counters().registerInterface, 1u);
  EXPECT_EQ(trace.count(), 0u) << "a successful registration writes no trace line";

  auto registry = host.findInterface(13);
  ASSERT_NE(registry, nullptr);
  EXPECT_EQ(registry->pluginId, 43003u);
  EXPECT_EQ(registry->subtype, 0u);
  EXPECT_EQ(registry->version, 1u);
  EXPECT_EQ(registry->vendorId, 85u);
  EXPECT_EQ(registry->dataSize, 200u);
  EXPECT_EQ(registry->flags, 0u);
  ASSERT_EQ(registry->internalCount, 12u);
  ASSERT_EQ(registry->methodCount, 23u);
  ASSERT_EQ(registry->propertyCount, 14u);

  std::set<void*> hooks;
  for (uint32_t slot = 0; slot < 12; ++slot) {
    bool hook = slot == 1 || slot == 3 || slot == 5;
    EXPECT_EQ(registry->internalTable[slot] != nullptr, hook) << "internal slot " << slot;
    if (hook) hooks.insert(registry->internalTable[slot]);
  }
  EXPECT_EQ(hooks.size(), 3u) << "the three hooks are different functions";

  std::set<void*> forwarders;
  for (uint32_t slot = 0; slot < 22; ++slot) {
    EXPECT_NE(registry->methodTable[slot], nullptr) << "method slot " << slot;
    forwarders.insert(registry->methodTable[slot]);
  }
  EXPECT_EQ(forwarders.size(), 22u);
  EXPECT_EQ(registry->methodTable[22], nullptr);

  std::set<void*> accessors;
  for (uint32_t i = 0; i < 14; ++i) {
    const TrovePropertyDescriptor& actual = registry->propertyTable[i];
    const ExpectedProperty& expected = kExpectedProperties[i];
    SCOPED_TRACE("property #" + std::to_string(i));
    EXPECT_EQ(actual.id, expected.id);
    if (i != 1) {
      EXPECT_EQ(actual.value, expected.value);
    }
    EXPECT_EQ(actual.size, expected.size);
    EXPECT_EQ(actual.mode, expected.mode);
    bool hasAccessors = i >= 7 && i <= 9;
    EXPECT_EQ(actual.get != nullptr, hasAccessors);
    EXPECT_EQ(actual.set != nullptr, hasAccessors);
    if (hasAccessors) {
      accessors.insert(reinterpret_cast<void*>(actual.get));
      accessors.insert(reinterpret_cast<void*>(actual.set));
    }
  }
  EXPECT_EQ(accessors.size(), 6u) << "six different accessors";
  const char* description = reinterpret_cast<const char*>(registry->propertyTable[1].value);
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(std::memcmp(description, "properties map", 15), 0);

  // The accessor pairs sit at the properties they serve.
  trove::host::Object object = host.createObject(13);
  ASSERT_TRUE(object) << object.status();
  EXPECT_TRUE(object.setName(u"entry.xml"));
  EXPECT_EQ(object.name(), u"entry.xml");
  EXPECT_TRUE(object.setRootPoint("k1"));
  char pending[8] = {};
  uint32_t used = 0;
  EXPECT_TRUE(object.getProperty(0x20C01006, pending, sizeof pending, &used));
  EXPECT_EQ(used, 3u) << "before load the root key hands out the pending root point";
  EXPECT_STREQ(pending, "k1");
}

TEST(ModuleEntry, RefusedRegistrationTracesTwoLinesAndReturnsFalse) {
  HostOptions options;
  options.root.registerResult = errNotSupported;
  Host host(options);
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();

  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(host.root(), 100, &cell), 0);
  EXPECT_EQ(cell, errNotSupported);
  auto lines = trace.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, 200u);
  EXPECT_EQ(lines[0].text, "Registry(IID_REGISTRY)registered [0x80000042 (Not supported)]");
  EXPECT_EQ(lines[0].object, host.root());
  EXPECT_EQ(lines[1].level, 300u);
  EXPECT_EQ(lines[1].text, "cannot register \"Registry\" interface");
  EXPECT_EQ(lines[1].object, host.root());
  EXPECT_EQ(host.findInterface(13), nullptr);

  // Through the host's own registration the code comes back as the status.
  trace.clear();
  trove::host::Status status = host.registerModule(module);
  EXPECT_EQ(status, errNotSupported);
  EXPECT_NE(status.message().find(TROVE_MODULE_PATH), std::string::npos) << status;
  EXPECT_EQ(trace.count(), 2u);

  host.rootOptions().registerResult = errOk;
  EXPECT_TRUE(host.registerModule(module)) << "a later registration may succeed";
  EXPECT_NE(host.findInterface(13), nullptr);
  EXPECT_EQ(host.counters().registerInterface, 3u);
}

TEST(ModuleEntry, SecondRegistrationRewritesPropertiesButKeepsTheMethodTable) {
  Host host;
  Module module = host.loadModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  auto first = host.findInterface(13);
  ASSERT_NE(first, nullptr);

  // Spoil both module tables between the registrations: the property table
  // must come back, the method table must not be built again.
  auto* properties = const_cast<TrovePropertyDescriptor*>(first->propertyTable);
  properties[0].id = 0;
  properties[5].value = 4000;
  properties[9].get = nullptr;
  void* savedForwarder = first->methodTable[3];
  first->methodTable[3] = nullptr;

  ASSERT_TRUE(host.registerModule(module));
  auto second = host.findInterface(13);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(host.counters().registerInterface, 2u);
  EXPECT_EQ(second->methodTable, first->methodTable) << "the same method table";
  EXPECT_EQ(second->methodTable[3], nullptr) << "the method table was built again";
  second->methodTable[3] = savedForwarder;
  for (uint32_t slot = 0; slot < 23; ++slot) {
    EXPECT_EQ(second->methodTable[slot], first->methodEntries[slot]) << "slot " << slot;
  }
  ASSERT_EQ(second->propertyCount, 14u);
  EXPECT_EQ(second->propertyTable[0].id, 0x21A00082u);
  EXPECT_EQ(second->propertyTable[5].value, 36u);
  EXPECT_NE(second->propertyTable[9].get, nullptr);
  for (uint32_t i = 0; i < 14; ++i) {
    EXPECT_EQ(std::memcmp(&second->propertyTable[i], &first->properties[i],
                          sizeof(TrovePropertyDescriptor)),
              0)
        << "property #" << i;
  }
  EXPECT_EQ(second->internalEntries, first->internalEntries);
}

// ---- Forwarding: entry i of the method table reaches slot i of the object's
// own table with the same arguments and gives back its result.

struct Recorded {
  int slot = -1;
  void* object = nullptr;
  std::vector<uint64_t> args;
};
Recorded gRecorded;

template <typename T>
uint64_t asWord(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}

// A distinct value of each argument's type; pointers are never followed.
template <typename T>
T sample(size_t position) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(uintptr_t{0x5A0000} + 0x100 * position);
  } else if constexpr (sizeof(T) == 8) {
    return static_cast<T>(0xC0FFEE0000000000ull + position);
  } else {
    return static_cast<T>(0x7A000000u + position);
  }
}

template <int Slot, typename Fn>
struct Recorder;
template <int Slot, typename... Args>
struct Recorder<Slot, int32_t (*)(void*, Args...)> {
  static int32_t call(void* object, Args... args) {
    gRecorded = {Slot, object, {asWord(args)...}};
    return 1000 + Slot;
  }
};

using MethodTypes =
    std::tuple<TroveOpenKey, TroveOpenKeyByIndex, TroveOpenNextKey, TroveCloseKey, TroveGetKeyName,
               TroveGetKeyNameByIndex, TroveGetValue, TroveGetValueByIndex,
               TroveGetValueNameByIndex, TroveSetValue, TroveSetValueByIndex, TroveGetKeyCount,
               TroveGetValueCount, TroveDeleteKey, TroveDeleteKeyByInd, TroveDeleteValue,
               TroveDeleteValueByInd, TroveClean, TroveCopyKey, TroveCopyKeyByPath, TroveSetRootKey,
               TroveSetRootStr, TroveFlush>;

template <int Slot, typename... Args, size_t... I>
void checkForwarding(void* entry, void* fake, int32_t (*)(void*, Args...),
                     std::index_sequence<I...>) {
  SCOPED_TRACE("method slot " + std::to_string(Slot));
  using Fn = int32_t (*)(void*, Args...);
  std::tuple<Args...> args{sample<Args>(I + 1)...};
  gRecorded = {};
  int32_t result = reinterpret_cast<Fn>(entry)(fake, std::get<I>(args)...);
  EXPECT_EQ(result, 1000 + Slot);
  EXPECT_EQ(gRecorded.slot, Slot);
  EXPECT_EQ(gRecorded.object, fake);
  EXPECT_EQ(gRecorded.args, (std::vector<uint64_t>{asWord(std::get<I>(args))...}));
}

template <int Slot, typename... Args>
void checkSlot(void** methodTable, void* fake, int32_t (*type)(void*, Args...)) {
  checkForwarding<Slot>(methodTable[Slot], fake, type, std::index_sequence_for<Args...>{});
}

template <size_t... Slot>
void checkEverySlot(void** methodTable, std::index_sequence<Slot...>) {
  void* ownTable[] = {reinterpret_cast<void*>(
      &Recorder<static_cast<int>(Slot), std::tuple_element_t<Slot, MethodTypes>>::call)...};
  TroveHostObject fake{ownTable, nullptr, nullptr};
  (checkSlot<static_cast<int>(Slot)>(methodTable, &fake, std::tuple_element_t<Slot, MethodTypes>{}),
   ...);
}

TEST(ModuleEntry, EveryMethodEntryForwardsToTheSameSlotOfTheObject) {
  Host host;
  Module module = host.loadModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  auto registry = host.findInterface(13);
  ASSERT_NE(registry, nullptr);
  checkEverySlot(registry->methodTable, std::make_index_sequence<22>{});
  EXPECT_EQ(registry->methodTable[22], nullptr) << "flush is not reachable by the host";
}

// ---- Trace function lookup, on a fresh copy of the module.

TEST(ModuleEntry, FirstTraceLineLooksTheTraceFunctionUpOnce) {
  ModuleCopy copy;
  Host host;
  auto& trace = host.captureTrace();
  Module module = host.loadModule(copy.path());
  ASSERT_TRUE(module.ok()) << module.status();
  EXPECT_EQ(host.counters().resolveTrace, 0u) << "nothing traced yet";

  trove::host::Object object = host.createObject(13);
  ASSERT_TRUE(object) << object.status();
  EXPECT_TRUE(object.setName(u"once.xml"));
  EXPECT_EQ(host.counters().resolveTrace, 1u);
  ASSERT_EQ(trace.count(), 1u);
  EXPECT_EQ(trace.last().level, 600u);
  EXPECT_EQ(trace.last().text, "trove\tPropertiesMap::setName : 0x00000000 (No error)");
  EXPECT_EQ(trace.last().object, object.get());

  EXPECT_TRUE(object.setName(u"twice.xml"));
  EXPECT_EQ(object.name(), u"twice.xml");
  EXPECT_GE(trace.count(), 3u);
  EXPECT_EQ(host.counters().resolveTrace, 1u) << "later lines use the filled cell";
}

TEST(ModuleEntry, WithoutTraceFunctionTheModuleWorksSilently) {
  ModuleCopy copy;
  HostOptions options;
  options.root.provideTrace = false;
  Host host(options);
  auto& trace = host.captureTrace();
  Module module = host.loadModule(copy.path());
  ASSERT_TRUE(module.ok()) << module.status();
  trove::host::Object object = host.createObject(13);
  ASSERT_TRUE(object) << object.status();

  EXPECT_TRUE(object.setName(u""));
  EXPECT_TRUE(object.initDone());
  uint64_t key = TROVE_INVALID_KEY;
  int32_t opened = object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "a/b", 1);
  EXPECT_TRUE(opened == errOk || opened == errKeyCreated) << formatResult(opened);
  EXPECT_NE(key, TROVE_INVALID_KEY);
  uint32_t count = 99;
  EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errOk);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(trace.count(), 0u);
  uint32_t asked = host.counters().resolveTrace;
  EXPECT_GE(asked, 3u) << "every line asks again while the cell is empty";

  // Once the host gives the function, lines appear and the lookups stop.
  host.rootOptions().provideTrace = true;
  EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errOk);
  EXPECT_EQ(trace.count(), 1u);
  EXPECT_EQ(object.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, 0), errOk);
  EXPECT_EQ(trace.count(), 2u);
  EXPECT_EQ(host.counters().resolveTrace, asked + 1);
}

TEST(ModuleEntry, RootWithoutMethodsIsRefusedWithoutCrash) {
  ModuleCopy copy;
  Host host;
  host.captureTrace();
  Module module = host.openModule(copy.path());
  ASSERT_TRUE(module.ok()) << module.status();
  TroveHostObject bare{nullptr, nullptr, nullptr};
  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(&bare, 100, &cell), 0);
  EXPECT_LT(cell, 0);
  EXPECT_EQ(module.callEntry(nullptr, 100, nullptr), 0);
}

// ---- The module file exports its entry point and nothing else.

TEST(ModuleEntry, ExportsOnlyModuleEntry) {
  if (std::system("command -v nm > /dev/null 2>&1") != 0) {
    GTEST_SKIP() << "nm is not installed; cannot list the module's dynamic symbols";
  }
  std::string command = std::string("nm -D --defined-only '") + TROVE_MODULE_PATH + "' 2>&1";
  FILE* pipe = ::popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::string> symbols;
  char line[1024];
  while (std::fgets(line, sizeof line, pipe)) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    size_t blank = text.find_last_of(' ');
    symbols.push_back(blank == std::string::npos ? text : text.substr(blank + 1));
  }
  EXPECT_EQ(::pclose(pipe), 0);
  EXPECT_EQ(symbols, std::vector<std::string>{"ModuleEntry"});
}

}  // namespace
