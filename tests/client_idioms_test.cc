// The client API as programs use it: optional reads and defaults, changing a
// value's type, enumeration as ranges, moving stores, the module file, and
// saves that fail where nothing can throw.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <ranges>
#include <string>
#include <vector>

#include "trove/client.h"
#include "trove/host/trace.h"

namespace fs = std::filesystem;

namespace {

static_assert(std::ranges::forward_range<trove::SubkeyRange>);
static_assert(std::ranges::view<trove::ValueRange>);

fs::path scratchDir() {
  fs::path dir =
      fs::temp_directory_path() / ("trove-idioms-" + std::to_string(::getpid()) + "-" +
                                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

TEST(ClientIdioms, OptionalReadsAndDefaults) {
  auto store = trove::Store::openMemory("");
  auto key = store.createKey("a");
  key.set<uint32_t>("n", 7);
  key.set<std::string>("word", "not a number");

  EXPECT_EQ(key.getOptional<uint32_t>("n"), 7u);
  EXPECT_EQ(key.getOptional<std::string>("N"), "7");  // any type; names ignore case
  EXPECT_EQ(key.getOptional<uint32_t>("missing"), std::nullopt);
  EXPECT_THROW(key.getOptional<uint32_t>("word"), trove::Error);  // there, but not a number
  EXPECT_EQ(key.get("missing", "fallback"), "fallback");
  EXPECT_EQ(key.get("word", "fallback"), "not a number");
  EXPECT_EQ(key.get("n", 0.5), 7.0);
}

TEST(ClientIdioms, ReplaceChangesTheStoredType) {
  struct Case {
    const char* name;
    std::function<void(const trove::Key&)> replace;
    TroveTypeId type;
    const char* text;
    bool keepsPlace;
  };
  const std::vector<Case> cases = {
      {"dword", [](const trove::Key& k) { k.replace("dword", "text"); }, TROVE_TSTRING, "text",
       false},
      {"string", [](const trove::Key& k) { k.replace<uint32_t>("string", 9); }, TROVE_TDWORD, "9",
       false},
      {"dword", [](const trove::Key& k) { k.replace<uint32_t>("dword", 6); }, TROVE_TDWORD, "6",
       true},
      {"new", [](const trove::Key& k) { k.replace("new", true); }, TROVE_TBOOL, "1", false},
      {"string", [](const trove::Key& k) { k.replaceText("string", TROVE_TQWORD, "0x10"); },
       TROVE_TQWORD, "16", false},
  };
  for (const Case& c : cases) {
    auto store = trove::Store::openMemory("");
    auto key = store.createKey("k");
    key.set<uint32_t>("dword", 5);
    key.set<std::string>("string", "abc");
    key.set<std::string>("last", "z");
    c.replace(key);
    EXPECT_EQ(key.type(c.name), c.type) << c.name;
    EXPECT_EQ(key.text(c.name), c.text) << c.name;
    std::vector<std::string> order;
    for (const auto& value : key.values()) order.push_back(value.name);
    EXPECT_EQ(order.back() != c.name, c.keepsPlace) << c.name;
  }

  // Text the new type refuses leaves the old value alone.
  auto store = trove::Store::openMemory("");
  auto key = store.createKey("k");
  key.set<std::string>("v", "abc");
  EXPECT_THROW(key.replaceText("v", TROVE_TBINARY, "not hex"), trove::Error);
  EXPECT_EQ(key.type("v"), TROVE_TSTRING);
  EXPECT_EQ(key.text("v"), "abc");
}

TEST(ClientIdioms, EnumerationWorksWithRangeAlgorithmsAndViews) {
  auto store = trove::Store::openMemory("");
  auto root = store.root();
  for (const char* name : {"b", "a", "c"}) root.create(name).set<uint32_t>("size", 1);
  root.set<uint32_t>("one", 1);
  root.set<std::string>("two", "2");
  root.set<uint32_t>("three", 3);

  auto names = root.subkeys() | std::views::transform(&trove::Key::name);
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.end()),
            (std::vector<std::string>{"b", "a", "c"}));
  auto dwords = root.values() | std::views::filter([](const trove::ValueInfo& value) {
                  return value.type == TROVE_TDWORD;
                });
  EXPECT_EQ(std::ranges::distance(dwords), 2);
  const trove::ValueRange values = root.values();
  EXPECT_EQ((*std::ranges::find(values, "two", &trove::ValueInfo::name)).type, TROVE_TSTRING);
  EXPECT_TRUE(root.open("a").subkeys().empty());
  EXPECT_EQ(values.size(), 3u);
}

TEST(ClientIdioms, StoresMoveAndMovedFromStoresRefuseCalls) {
  const fs::path dir = scratchDir();
  const std::string first = (dir / "first.xml").string(), second = (dir / "second.xml").string();
  std::vector<trove::Store> stores;
  stores.push_back(trove::Store::openFile(first, {.createIfMissing = true}));
  stores.front().createKey("k").set<uint32_t>("n", 1);
  trove::Store moved = std::move(stores.front());
  EXPECT_FALSE(stores.front().isOpen());
  EXPECT_EQ(stores.front().path(), "");
  try {
    stores.front().root();
    FAIL() << "a moved-from store must refuse calls";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errWrongState);
  }
  EXPECT_EQ(moved.key("k").get<uint32_t>("n"), 1u);

  // Assigning over an open store closes it, saving its changes.
  moved = trove::Store::openFile(second, {.createIfMissing = true});
  EXPECT_EQ(moved.path(), second);
  EXPECT_EQ(trove::Store::openFile(first).key("k").get<uint32_t>("n"), 1u);
  fs::remove_all(dir);
}

// A store whose directory has gone cannot be saved.
void changeAndLoseDirectory(trove::Store& store, const fs::path& dir) {
  store.createKey("k").set<uint32_t>("n", 1);
  fs::remove_all(dir);
}

TEST(ClientIdioms, AFailedSaveInADestructorReachesTheHandler) {
  const fs::path dir = scratchDir() / "gone";
  fs::create_directories(dir);
  const std::string path = (dir / "store.xml").string();
  trove::setTraceSink(
      std::make_shared<trove::host::CallbackTraceSink>([](const trove::host::TraceLine&) {}));

  std::vector<std::string> reported;
  trove::setCloseErrorHandler([&](const trove::Error& error) { reported.push_back(error.what()); });
  {
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    changeAndLoseDirectory(store, dir);
  }
  {
    fs::create_directories(dir);
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    changeAndLoseDirectory(store, dir);
    store = trove::Store::openMemory("");  // a move assignment closes the old store
  }
  ASSERT_EQ(reported.size(), 2u);
  for (const std::string& message : reported) {
    EXPECT_NE(message.find("save " + path), std::string::npos) << message;
  }

  // By default the failure goes to standard error; close() throws it instead.
  trove::setCloseErrorHandler(nullptr);
  fs::create_directories(dir);
  testing::internal::CaptureStderr();
  {
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    changeAndLoseDirectory(store, dir);
  }
  const std::string stderrText = testing::internal::GetCapturedStderr();
  EXPECT_NE(stderrText.find("changes lost"), std::string::npos) << stderrText;
  EXPECT_NE(stderrText.find(path), std::string::npos) << stderrText;

  fs::create_directories(dir);
  auto store = trove::Store::openFile(path, {.createIfMissing = true});
  changeAndLoseDirectory(store, dir);
  EXPECT_THROW(store.close(), trove::Error);
  trove::setTraceSink(nullptr);
}

TEST(ClientIdioms, TheModuleIsFoundBesideTheLibraryAndLoadedOnce) {
  // Built and tested in one tree, libtrove and the module share a directory.
  EXPECT_EQ(trove::modulePath(), TROVE_MODULE_PATH);
  EXPECT_NO_THROW(trove::loadModule(TROVE_MODULE_PATH));
  try {
    trove::loadModule("/elsewhere/libtrove_registry.so");
    FAIL() << "a second module file must be refused";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errAlreadyDone);
    EXPECT_NE(std::string(error.what()).find(TROVE_MODULE_PATH), std::string::npos);
  }
  EXPECT_EQ(std::to_string(TROVE_VERSION_MAJOR) + "." + std::to_string(TROVE_VERSION_MINOR) + "." +
                std::to_string(TROVE_VERSION_PATCH),
            TROVE_VERSION_STRING);
}

}  // namespace
