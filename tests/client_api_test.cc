// The client API end to end: typed values through a saved and reloaded
// store, defaults, enumeration order, errors, stale keys, memory stores.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <sstream>

#include "trove/client.h"

namespace fs = std::filesystem;

namespace {

class ClientApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("trove-client-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string file(const std::string& name) const { return (dir_ / name).string(); }
  static std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  fs::path dir_;
};

TEST_F(ClientApiTest, EveryTypeMappingSurvivesSaveAndReload) {
  const std::string path = file("types.xml");
  const trove::Bytes blob = {0x00, 0xFF, 0x10, 0xAB};
  const std::u16string wide = u"gr\u00FC\u00DFe \u20AC";
  {
    auto store = trove::Store::openFile(path, {.createIfMissing = true});
    auto key = store.createKey("types");
    key.set<uint8_t>("u8", 255);
    key.set<uint16_t>("u16", 65535);
    key.set<uint32_t>("u32", 4294967295u);
    key.set<uint64_t>("u64", std::numeric_limits<uint64_t>::max());
    key.set<int8_t>("i8", -128);
    key.set<int16_t>("i16", -32768);
    key.set<int32_t>("i32", std::numeric_limits<int32_t>::min());
    key.set<int64_t>("i64", std::numeric_limits<int64_t>::min());
    key.set("flag", true);
    key.set("letter", 'x');
    key.set("ratio", 2.5);
    key.set<std::string>("text", "a <b> & \"c\"\ttab");
    key.set("wide", wide);
    key.set("blob", blob);
    store.close();
  }
  auto store = trove::Store::openFile(path);
  auto key = store.key("types");
  EXPECT_EQ(key.get<uint8_t>("u8"), 255);
  EXPECT_EQ(key.get<uint16_t>("u16"), 65535);
  EXPECT_EQ(key.get<uint32_t>("u32"), 4294967295u);
  EXPECT_EQ(key.get<uint64_t>("u64"), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(key.get<int8_t>("i8"), -128);
  EXPECT_EQ(key.get<int16_t>("i16"), -32768);
  EXPECT_EQ(key.get<int32_t>("i32"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(key.get<int64_t>("i64"), std::numeric_limits<int64_t>::min());
  EXPECT_TRUE(key.get<bool>("flag"));
  EXPECT_EQ(key.get<char>("letter"), 'x');
  EXPECT_DOUBLE_EQ(key.get<double>("ratio"), 2.5);
  EXPECT_EQ(key.get<std::string>("text"), "a <b> & \"c\"\ttab");
  EXPECT_EQ(key.get<trove::Bytes>("blob"), blob);
  // Wide text is stored as UTF-8 text and comes back through the module's conversion.
  EXPECT_EQ(key.type("wide"), TROVE_TSTRING);
  EXPECT_EQ(key.get<std::u16string>("wide"), wide);
  EXPECT_EQ(key.type("u32"), TROVE_TDWORD);
  EXPECT_EQ(key.type("i64"), TROVE_TLONGLONG);
}

TEST_F(ClientApiTest, DefaultsConversionsAndMissingValues) {
  auto store = trove::Store::openMemory("<propertiesmap></propertiesmap>");
  auto key = store.createKey("a");
  EXPECT_EQ(key.get<uint32_t>("missing", 7u), 7u);
  EXPECT_EQ(key.get<std::string>("missing", "none"), "none");
  key.set<std::string>("number", "12");
  EXPECT_EQ(key.get<uint32_t>("number", 0u), 12u);  // converted through its text
  EXPECT_EQ(key.text("number"), "12");
  try {
    key.get<uint32_t>("missing");
    FAIL() << "a missing value must throw";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errEntryNotFound);
    EXPECT_NE(std::string(error.what()).find("get value missing"), std::string::npos);
  }
  key.set<std::string>("word", "not a number");
  EXPECT_THROW(key.get<uint32_t>("word"), trove::Error);
  // Writing another type into an existing value converts into the stored type.
  key.set<uint32_t>("number", 99);
  EXPECT_EQ(key.type("number"), TROVE_TSTRING);
  EXPECT_EQ(key.get<std::string>("number"), "99");
}

TEST_F(ClientApiTest, EnumerationFollowsInsertionOrder) {
  auto store = trove::Store::openMemory("");
  auto root = store.root();
  for (const char* name : {"zeta", "alpha", "Mid"}) root.create(name);
  auto key = root.open("alpha");
  key.set<uint32_t>("second", 2);
  key.set<std::string>("first", "1");
  key.set("third", 3.0);

  std::vector<std::string> keys;
  for (const trove::Key& child : root.subkeys()) keys.push_back(child.name());
  EXPECT_EQ(keys, (std::vector<std::string>{"zeta", "alpha", "Mid"}));

  std::vector<std::pair<std::string, TroveTypeId>> values;
  for (const trove::ValueInfo& value : key.values()) values.emplace_back(value.name, value.type);
  EXPECT_EQ(values,
            (std::vector<std::pair<std::string, TroveTypeId>>{
                {"second", TROVE_TDWORD}, {"first", TROVE_TSTRING}, {"third", TROVE_TDOUBLE}}));
  EXPECT_EQ(root.open("ALPHA").path(), "alpha");  // names compare without case
  EXPECT_EQ(root.open("alpha").create("x/y").path(), "alpha\\x\\y");
}

TEST_F(ClientApiTest, DeleteCopyAndSetText) {
  auto source = trove::Store::openMemory("");
  auto settings = source.createKey("Settings");
  settings.setText("Width", TROVE_TDWORD, "0x320");
  settings.setText("Key", TROVE_TBINARY, "00ff10");
  settings.create("Layout").set<std::string>("Mode", "grid");
  EXPECT_EQ(settings.get<uint32_t>("Width"), 800u);
  EXPECT_EQ(settings.text("Key"), "00FF10");
  // A text the type refuses changes nothing.
  EXPECT_THROW(settings.setText("Width", TROVE_TDWORD, "FFFFFFFF"), trove::Error);
  EXPECT_THROW(settings.setText("Fresh", TROVE_TBYTE, "256"), trove::Error);
  EXPECT_FALSE(settings.has("Fresh"));
  EXPECT_EQ(settings.get<uint32_t>("Width"), 800u);

  auto destination = trove::Store::openMemory("");
  settings.copyTo(destination.createKey("Copy"));
  auto copied = destination.key("Copy");
  EXPECT_EQ(copied.get<uint32_t>("Width"), 800u);
  EXPECT_EQ(copied.open("Layout").get<std::string>("Mode"), "grid");

  settings.remove("Width");
  EXPECT_FALSE(settings.has("Width"));
  EXPECT_THROW(settings.remove("Width"), trove::Error);
  source.root().removeKey("Settings");
  EXPECT_FALSE(source.root().find("Settings").has_value());
}

TEST_F(ClientApiTest, StrictTextsRefuseWhatTheStoreRulesBend) {
  auto store = trove::Store::openMemory("");
  auto key = store.createKey("K");
  struct Case {
    TroveTypeId type;
    const char* text;
    const char* stored;  // nullptr: refused
  };
  for (const Case& c : std::initializer_list<Case>{
           {TROVE_TDWORD, "4294967295", "4294967295"},
           {TROVE_TDWORD, "0x1F", "31"},
           {TROVE_TDWORD, "12abc", nullptr},
           {TROVE_TDWORD, "1F", nullptr},
           {TROVE_TDWORD, "-1", nullptr},
           {TROVE_TDWORD, "4294967296", nullptr},
           {TROVE_TDWORD, " 7", nullptr},
           {TROVE_TDWORD, "10e3", nullptr},
           {TROVE_TBYTE, "256", nullptr},
           {TROVE_TSBYTE, "-128", "-128"},
           {TROVE_TSBYTE, "-129", nullptr},
           {TROVE_TINT, "-0x80000000", "-2147483648"},
           {TROVE_TLONGLONG, "-9223372036854775808", "-9223372036854775808"},
           {TROVE_TQWORD, "18446744073709551615", "18446744073709551615"},
           {TROVE_TDOUBLE, "2.5e3", "2500.000000"},
           {TROVE_TDOUBLE, "1,5", nullptr},
           {TROVE_TBOOL, "true", "1"},
           {TROVE_TBOOL, "yes", nullptr},
           {TROVE_TCHAR, "xy", nullptr},
           {TROVE_TBINARY, "00ff", "00FF"},
           {TROVE_TBINARY, "0g", nullptr},
           {TROVE_TWSTRING, "\xff", nullptr},
           {TROVE_TWCHAR, "a", nullptr}}) {
    SCOPED_TRACE(std::string(trove::typeName(c.type)) + " " + c.text);
    if (key.has("v")) key.remove("v");
    if (c.stored) {
      key.setText("v", c.type, c.text, trove::TextRules::strict);
      EXPECT_EQ(key.text("v"), c.stored);
    } else {
      try {
        key.setText("v", c.type, c.text, trove::TextRules::strict);
        ADD_FAILURE() << "accepted";
      } catch (const trove::Error& error) {
        EXPECT_EQ(error.code(), errInvalidArgument);
        EXPECT_NE(error.context().find("expected "), std::string::npos) << error.what();
      }
      EXPECT_FALSE(key.has("v"));
    }
  }

  // Strict reads: the store's rules read "12abc" as hexadecimal, strict ones refuse it.
  key.set<std::string>("Lenient", "12abc");
  key.set<std::string>("Exact", "0x10");
  EXPECT_EQ(key.get<uint32_t>("Lenient"), 0x12ABCu);
  EXPECT_THROW(key.get<uint32_t>("Lenient", trove::TextRules::strict), trove::Error);
  EXPECT_EQ(key.get<uint32_t>("Exact", trove::TextRules::strict), 16u);
  EXPECT_EQ(key.get<int8_t>("Exact", trove::TextRules::strict), 16);
  EXPECT_THROW(key.get<double>("Lenient", trove::TextRules::strict), trove::Error);

  EXPECT_TRUE(trove::storedTextLoss(TROVE_TDOUBLE, "1e-9").has_value());
  EXPECT_FALSE(trove::storedTextLoss(TROVE_TDOUBLE, "0.25").has_value());
  EXPECT_TRUE(trove::storedTextLoss(TROVE_TWSTRING, "\xf0\x9f\x98\x80").has_value());
  EXPECT_FALSE(trove::storedTextLoss(TROVE_TWSTRING, "\xc3\xa9").has_value());
}

TEST_F(ClientApiTest, SaveWritesOnceAndInvalidatesOldKeys) {
  const std::string path = file("profiles.xml");
  auto store = trove::Store::openFile(path, {.saveOnClose = false, .createIfMissing = true});
  auto key = store.createKey("a");
  key.set<uint32_t>("n", 1);
  EXPECT_EQ(slurp(path), "");  // nothing is written before a save
  store.save();
  EXPECT_NE(slurp(path).find("<tDWORD name=\"n\">1</tDWORD>"), std::string::npos);
  try {
    key.get<uint32_t>("n");
    FAIL() << "a key taken before the save must be refused";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errInvalidKey);
  }
  EXPECT_EQ(store.key("a").get<uint32_t>("n"), 1u);
  store.key("a").set<uint32_t>("n", 2);
  store.close();  // saveOnClose is off: the change is dropped
  EXPECT_EQ(trove::Store::openFile(path).key("a").get<uint32_t>("n"), 1u);
}

TEST_F(ClientApiTest, OpenFailuresAndReadOnlyStores) {
  try {
    trove::Store::openFile("");
    FAIL() << "an empty file name must be refused";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errInvalidArgument);
  }
  try {
    trove::Store::openFile(file("missing/dir/store.xml"));
    FAIL() << "opening a missing store must throw";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errFileNotFound);
    EXPECT_NE(std::string(error.what()).find("missing/dir/store.xml"), std::string::npos);
  }
  const std::string damaged = file("damaged.xml");
  std::ofstream(damaged) << "<propertiesmap><key name='a'>";
  EXPECT_THROW(trove::Store::openFile(damaged), trove::Error);
  EXPECT_EQ(slurp(damaged), "<propertiesmap><key name='a'>");  // a failed load writes nothing

  const std::string path = file("ro.xml");
  std::ofstream(path) << "<propertiesmap><key name='a'><tDWORD name='n'>5</tDWORD></key>"
                         "</propertiesmap>";
  auto store = trove::Store::openFile(path, {.readOnly = true});
  EXPECT_EQ(store.key("a").get<uint32_t>("n"), 5u);
  try {
    store.key("a").set<uint32_t>("n", 6);
    FAIL() << "a read-only store must refuse writes";
  } catch (const trove::Error& error) {
    EXPECT_EQ(error.code(), errReadOnly);
  }
}

TEST_F(ClientApiTest, MemoryStoreContentsAndRootPoint) {
  auto store = trove::Store::openMemory(
      "<propertiesmap><key name='app'><key name='ui'><tDWORD name='w'>3</tDWORD></key></key>"
      "</propertiesmap>");
  store.key("app/ui").set<uint32_t>("w", 4);
  store.save();
  EXPECT_EQ(store.contents(),
            "<propertiesmap>\r\n    <key name=\"app\">\r\n        <key name=\"ui\">\r\n"
            "            <tDWORD name=\"w\">4</tDWORD>\r\n        </key>\r\n    </key>\r\n"
            "</propertiesmap>\r\n");

  const std::string path = file("rooted.xml");
  std::ofstream(path) << store.contents();
  auto rooted = trove::Store::openFile(path, {.rootPoint = "app"});
  EXPECT_EQ(rooted.root().name(), "app");
  EXPECT_EQ(rooted.key("ui").get<uint32_t>("w"), 4u);
  EXPECT_THROW(trove::Store::openFile(path, {.rootPoint = "nowhere"}), trove::Error);
}

TEST(ClientErrors, MessagesNameTheCode) {
  EXPECT_EQ(trove::resultName(errEntryNotFound), "errEntryNotFound");
  EXPECT_EQ(trove::resultMessage(errInvalidArgument), "Invalid argument (0x80000046)");
  EXPECT_EQ(trove::resultMessage(errReadOnly), "the store is read-only (0x800000c1)");
  trove::Error error(errXmlFormat, "open /tmp/x.xml");
  EXPECT_STREQ(error.what(), "open /tmp/x.xml: the store is not well-formed XML (0x800000c0)");
  EXPECT_EQ(trove::check(errKeyCreated, "x"), errKeyCreated);
  EXPECT_EQ(trove::typeName(TROVE_TDWORD), "tDWORD");
  EXPECT_EQ(trove::typeFromName("tBINARY"), static_cast<TroveTypeId>(TROVE_TBINARY));
  EXPECT_EQ(trove::typeFromName("tdword"), 0u);
}

}  // namespace
