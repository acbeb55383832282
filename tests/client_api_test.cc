// The client API as a program uses it: typed values through a saved and
// reloaded store, text in and out, errors with their codes, enumeration,
// moving stores and saves that fail where nothing can throw.
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <ranges>

#include "store_files.h"
#include "trove/client.h"
#include "trove/host/object.h"
#include "trove/host/trace.h"

namespace {

using store_test::has;
using store_test::readFile;
using store_test::ScratchDirectory;

// Runs `action`, which must throw a trove::Error with `code`; returns its message.
template <typename Action>
std::string errorOf(Action action, int32_t code) {
  try {
    action();
    ADD_FAILURE() << "no error thrown";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), code) << error.what();
    return error.what();
  }
  return "";
}

TEST(ClientApi, EveryTypeSurvivesSaveAndReload) {
  ScratchDirectory dir;
  const std::string path = dir.file("types.xml");
  const auto values = std::make_tuple(
      uint8_t{255}, uint16_t{65535}, std::numeric_limits<uint64_t>::max(), int8_t{-128},
      std::numeric_limits<int32_t>::min(), std::numeric_limits<int64_t>::min(), true, 'x', 2.5,
      std::string("a <b> & \"c\"\ttab"), std::u16string(u"gr\u00FC\u00DFe \u20AC"),
      trove::Bytes{0x00, 0xFF, 0x10, 0xAB});
  {
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    auto key = store.createKey("types");
    std::apply(
        [&](auto... v) {
          int i = 0;
          (key.set("v" + std::to_string(i++), v), ...);
        },
        values);
    key.setText("hex", TROVE_TDWORD, "0x320");
  }  // saved on close
  auto store = trove::Store::openFile(path);
  auto key = store.key("TYPES");
  int i = 0;
  auto expectStored = [&](const auto& value) {
    EXPECT_EQ(key.get<std::decay_t<decltype(value)>>("v" + std::to_string(i++)), value);
  };
  std::apply([&](const auto&... v) { (expectStored(v), ...); }, values);
  EXPECT_EQ(key.type("v5"), TROVE_TLONGLONG);
  EXPECT_EQ(key.type("v10"), TROVE_TSTRING) << "wide text is stored as text";
  EXPECT_EQ(key.get<uint32_t>("hex"), 800u);
  EXPECT_EQ(key.text("v11"), "00FF10AB");
}

TEST(ClientApi, ConversionsDefaultsAndErrors) {
  auto store = trove::Store::openMemory("");
  auto key = store.createKey("a");
  key.set<std::string>("number", "12");
  key.set<std::string>("word", "not a number");
  EXPECT_EQ(key.get<uint32_t>("number"), 12u);  // through its text
  key.set<uint32_t>("number", 99);              // into the stored type
  EXPECT_EQ(key.type("number"), TROVE_TSTRING);
  EXPECT_EQ(key.get<std::string>("number"), "99");
  EXPECT_EQ(key.get<uint32_t>("missing", 7u), 7u);
  EXPECT_EQ(key.get("missing", "fallback"), "fallback");
  EXPECT_EQ(key.get("word", "fallback"), "not a number");
  EXPECT_EQ(key.get("number", 0.5), 99.0);
  EXPECT_EQ(key.getOptional<uint32_t>("NUMBER"), 99u);  // names ignore case
  EXPECT_EQ(key.getOptional<uint32_t>("missing"), std::nullopt);
  EXPECT_THROW(key.getOptional<uint32_t>("word"), trove::Error);
  EXPECT_TRUE(has(errorOf([&] { key.get<uint32_t>("missing"); }, errEntryNotFound), "missing"));
  errorOf([&] { key.remove("missing"); }, errEntryNotFound);

  // setText on a value that holds wide text really writes it.
  key.set("wide", std::u16string(u"old"));
  key.setText("wide", TROVE_TWSTRING, "new \u00e9");
  EXPECT_EQ(key.get<std::u16string>("wide"), u"new \u00e9");
  key.replace<uint32_t>("word", 9);
  EXPECT_EQ(key.type("word"), TROVE_TDWORD);
  errorOf([&] { key.replaceText("word", TROVE_TBINARY, "not hex"); }, errInvalidArgument);
  EXPECT_EQ(key.text("word"), "9") << "a refused text leaves the value alone";
}

TEST(ClientApi, StrictTextsRefuseWhatTheStoreRulesBend) {
  auto store = trove::Store::openMemory("");
  auto key = store.createKey("K");
  struct Case {
    TroveTypeId type;
    const char* text;
    const char* stored;  // nullptr: refused
  };
  for (const Case& c : std::initializer_list<Case>{
           {TROVE_TDWORD, "0x1F", "31"},
           {TROVE_TDWORD, "12abc", nullptr},
           {TROVE_TDWORD, " 7", nullptr},
           {TROVE_TSBYTE, "-128", "-128"},
           {TROVE_TSBYTE, "-129", nullptr},
           {TROVE_TINT, "-0x80000000", "-2147483648"},
           {TROVE_TLONGLONG, "-9223372036854775808", "-9223372036854775808"},
           {TROVE_TDOUBLE, "2.5e3", "2500.000000"},
           {TROVE_TBOOL, "true", "1"},
           {TROVE_TCHAR, "xy", nullptr},
           {TROVE_TBINARY, "00ff", "00FF"},
           {TROVE_TBINARY, "0g", nullptr},
           {TROVE_TWSTRING, "\xff", nullptr},
           {TROVE_TWSTRING, "\xf0\x90\x80\x80",
            "\xed\xa0\x80\xed\xb0\x80"},  // U+10000: a pair, each half its own text
           {TROVE_TWSTRING, "\xf0\x8f\xbf\xbf", nullptr}}) {  // overlong
    SCOPED_TRACE(std::string(trove::typeName(c.type)) + " " + c.text);
    if (key.has("v")) key.remove("v");
    if (c.stored) {
      key.setText("v", c.type, c.text, trove::TextRules::strict);
      EXPECT_EQ(key.text("v"), c.stored);
    } else {
      errorOf([&] { key.setText("v", c.type, c.text, trove::TextRules::strict); },
              errInvalidArgument);
      EXPECT_FALSE(key.has("v"));
    }
  }
  key.set<std::string>("Lenient", "12abc");  // the store's rules read it as hexadecimal
  EXPECT_EQ(key.get<uint32_t>("Lenient"), 0x12ABCu);
  EXPECT_THROW(key.get<uint32_t>("Lenient", trove::TextRules::strict), trove::Error);
  EXPECT_TRUE(trove::storedTextLoss(TROVE_TDOUBLE, "1e-9").has_value());
  EXPECT_FALSE(trove::storedTextLoss(TROVE_TDOUBLE, "0.25").has_value());
  EXPECT_TRUE(trove::storedTextLoss(TROVE_TWSTRING, "\xf0\x9f\x98\x80").has_value());
}

TEST(ClientApi, EnumerationCopyAndDelete) {
  auto store = trove::Store::openMemory("");
  auto root = store.root();
  for (const char* name : {"zeta", "alpha", "Mid"}) root.create(name);
  auto key = root.open("ALPHA");
  key.create("x/y").set<uint32_t>("deep", 3);
  EXPECT_EQ(key.open("x/y").path(), "alpha\\x\\y");
  auto names = root.subkeys() | std::views::transform(&trove::Key::name);
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.end()),
            (std::vector<std::string>{"zeta", "alpha", "Mid"}));
  auto destination = trove::Store::openMemory("");
  key.copyTo(destination.createKey("Copy"));
  EXPECT_EQ(destination.key("Copy/x/y").get<uint32_t>("deep"), 3u);
  root.removeKey("alpha");
  EXPECT_FALSE(root.find("alpha").has_value());
  EXPECT_EQ(root.subkeys().size(), 2u);
}

TEST(ClientApi, SavesOpenFailuresAndReadOnlyStores) {
  ScratchDirectory dir;
  const std::string path = dir.file("profiles.xml");
  auto store = trove::Store::openFile(path, {.saveOnClose = false, .createIfMissing = true});
  auto key = store.createKey("a");
  key.set<uint32_t>("n", 1);
  EXPECT_EQ(readFile(path), "");  // nothing is written before a save
  store.save();
  EXPECT_TRUE(has(readFile(path), "<tDWORD name=\"n\">1</tDWORD>"));
  errorOf([&] { key.get<uint32_t>("n"); }, errInvalidKey);  // keys before a save are stale
  store.key("a").set<uint32_t>("n", 2);
  store.close();  // saveOnClose is off: the change is dropped
  EXPECT_EQ(trove::Store::openFile(path, {.rootPoint = "a"}).root().get<uint32_t>("n"), 1u);
  {  // A change made through the object itself is saved too.
    auto raw = trove::Store::openFile(path);
    const uint32_t three = 3;
    raw.object().call<TroveSetValue>(TROVE_SLOT_SET_VALUE, raw.key("a").handle(), "n",
                                     uint32_t{TROVE_TDWORD}, &three, 4u, 0u);
  }
  EXPECT_EQ(trove::Store::openFile(path).key("a").get<uint32_t>("n"), 3u);

  errorOf([] { trove::Store::openFile(""); }, errInvalidArgument);
  EXPECT_TRUE(has(errorOf([&] { trove::Store::openFile(dir.file("no/s.xml")); }, errFileNotFound),
                  dir.file("no/s.xml")));
  errorOf([&] { trove::Store::openFile(path, {.rootPoint = "nowhere"}); }, errEntryNotFound);
  store_test::writeFile(dir.file("damaged.xml"), "<propertiesmap><key name='a'>");
  errorOf([&] { trove::Store::openFile(dir.file("damaged.xml")); }, errXmlFormat);
  EXPECT_EQ(readFile(dir.file("damaged.xml")), "<propertiesmap><key name='a'>");

  auto readOnly = trove::Store::openFile(path, {.readOnly = true});
  EXPECT_TRUE(has(errorOf([&] { readOnly.key("a").set<uint32_t>("n", 6); }, errReadOnly),
                  "read-only (0x800000c1)"));

  // A moved-from store refuses calls; assigning over an open store closes it.
  trove::Store moved = std::move(store);
  errorOf([&] { store.root(); }, errWrongState);
  moved = trove::Store::openMemory("<propertiesmap><tDWORD name='w'>3</tDWORD></propertiesmap>");
  moved.root().set<uint32_t>("w", 4);
  moved.save();
  EXPECT_EQ(moved.contents(),
            "<propertiesmap>\r\n    <tDWORD name=\"w\">4</tDWORD>\r\n</propertiesmap>\r\n");
}

// A store whose directory has gone cannot be saved: the failure reaches the
// handler, or standard error, or the caller of close().
// Every save opens the store's directory to make the rename durable; none
// of what it opens may stay open.
TEST(ClientApi, SavesLeaveNoDescriptorOpen) {
  auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
  };
  ScratchDirectory dir;
  const auto before = openDescriptors();
  {
    auto store = trove::Store::openFile(dir.file("fd.xml"), {.createIfMissing = true});
    for (uint32_t i = 0; i < 3; ++i) {
      store.createKey("a").set<uint32_t>("n", i);
      store.save();
    }
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(ClientApi, AFailedSaveWhereNothingCanThrowIsReported) {
  ScratchDirectory scratch;
  const std::string dir = scratch.file("gone"), path = dir + "/store.xml";
  auto changedAndLost = [&] {
    std::filesystem::create_directories(dir);
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    store.createKey("k").set<uint32_t>("n", 1);
    std::filesystem::remove_all(dir);
    return store;
  };
  trove::setTraceSink(
      std::make_shared<trove::host::CallbackTraceSink>([](const trove::host::TraceLine&) {}));
  std::vector<std::string> reported;
  trove::setCloseErrorHandler([&](const trove::Error& error) { reported.push_back(error.what()); });
  { auto store = changedAndLost(); }
  {
    auto store = changedAndLost();
    store = trove::Store::openMemory("");
  }
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_TRUE(has(reported[1], "save " + path)) << reported[1];

  trove::setCloseErrorHandler(nullptr);
  testing::internal::CaptureStderr();
  { auto store = changedAndLost(); }
  const std::string stderrText = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(has(stderrText, "changes lost")) << stderrText;
  auto store = changedAndLost();
  EXPECT_THROW(store.close(), trove::Error);
  trove::setTraceSink(nullptr);

  EXPECT_EQ(trove::modulePath(), TROVE_MODULE_PATH);
  EXPECT_TRUE(
      has(errorOf([] { trove::loadModule("/elsewhere/libtrove_registry.so"); }, errAlreadyDone),
          TROVE_MODULE_PATH));
}

}  // namespace
