// One object with locking on, driven from eight threads at once through every
// method that works inside a key: creations, writes in the stored and in other
// types, reads, names, counts, enumerations, deletions by name and by index,
// and copies out of it into a second locked object. Each thread owns one key
// and must find there exactly what it left; the shared key that every thread
// reads and copies must come through unchanged. (The root-key moves and Clean
// act on the whole object and have no place among concurrent callers.)
#include <string>
#include <thread>
#include <vector>

#include "registry_fixture.h"

namespace {

using registry_test::RegistryTest;

constexpr int kThreads = 8;
constexpr uint32_t kRounds = 60;

class ThreadsTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    setField(TROVE_PROP_USE_LOCKING, 1);
    load();
    copies_ = host_.createObject(TROVE_IID_REGISTRY);
    ASSERT_TRUE(copies_.setField<uint32_t>(TROVE_PROP_USE_LOCKING, 1).ok());
    ASSERT_TRUE(copies_.initDone().ok());
  }
  void TearDown() override {
    EXPECT_TRUE(copies_.destroy().ok());
    RegistryTest::TearDown();
  }

  std::string stringValue(uint64_t key, const char* name) {
    uint32_t required = 0, type = TROVE_TSTRING;
    char text[64] = {};
    EXPECT_EQ(getValue(&required, key, name, &type, text, sizeof text), errOk) << name;
    return text;
  }

  // Every subkey found by index then by OpenNextKey; each must match its index.
  uint32_t enumerate(uint64_t key) {
    uint64_t child = TROVE_INVALID_KEY;
    uint32_t found = 0;
    for (int32_t result = openKeyByIndex(&child, key, 0); result == errOk;
         result = openNextKey(&child, child)) {
      uint64_t byIndex = TROVE_INVALID_KEY;
      EXPECT_EQ(openKeyByIndex(&byIndex, key, found), errOk);
      EXPECT_EQ(byIndex, child);
      ++found;
    }
    return found;
  }

  // One thread's work in its key "T<id>".
  void work(int id) {
    const std::string mine = "T" + std::to_string(id);
    const uint64_t own = makeKey(mine.c_str());
    for (uint32_t j = 0; j < kRounds; ++j) {
      const std::string name = "k" + std::to_string(j);
      const uint64_t key = makeKey((mine + "/" + name).c_str());
      EXPECT_EQ(setDword(key, "v", j), errOk);
      EXPECT_EQ(setValue(key, "s", TROVE_TSTRING, "x", 2, 1), errOk);
      EXPECT_EQ(setValue(key, "t", TROVE_TSTRING, "y", 2, 1), errOk);
      EXPECT_EQ(stringValue(key, "v"), std::to_string(j));  // read in another type
      EXPECT_EQ(keyName(key, 1), mine + "\\" + name);
      // Written as text into the stored tDWORD: v becomes 2j.
      const std::string doubled = std::to_string(2 * j);
      EXPECT_EQ(setValueByIndex(key, 0, TROVE_TSTRING, doubled.c_str(),
                                static_cast<uint32_t>(doubled.size() + 1), 0),
                errOk);
      uint32_t value = 0, type = TROVE_TDWORD, required = 0;
      EXPECT_EQ(getValueByIndex(&required, key, 0, &type, &value, 4), errOk);
      EXPECT_EQ(value, 2 * j);
      char valueName[8] = {};
      EXPECT_EQ(getValueNameByIndex(&required, key, 1, valueName, sizeof valueName), errOk);
      EXPECT_STREQ(valueName, "s");
      EXPECT_EQ(valueCount(key), 3u);
      EXPECT_EQ(deleteValue(key, "s"), errOk);
      EXPECT_EQ(deleteValueByInd(key, 1), errOk);  // "t"
      // Odd rounds leave no key: by name, or by index as the last subkey.
      if (j % 4 == 1) {
        EXPECT_EQ(deleteKey(own, name.c_str()), errOk);
      } else if (j % 4 == 3) {
        EXPECT_EQ(deleteKeyByInd(own, keyCount(own) - 1), errOk);
      }
      EXPECT_EQ(closeKey(key), errOk);
      EXPECT_EQ(enumerate(own), j / 2 + 1);
      enumerate(0);  // the root's keys come and go with the other threads
      EXPECT_EQ(stringValue(shared_, "greeting"), "hello");
      uint64_t copy = TROVE_INVALID_KEY;
      const std::string copyPath = mine + "/c" + std::to_string(j);
      ASSERT_GE(
          copies_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &copy, uint64_t{0}, copyPath.c_str(), 1u),
          0);
      EXPECT_EQ(object_.call<TroveCopyKey>(TROVE_SLOT_COPY_KEY, shared_, copies_.get(), copy),
                errOk);
    }
  }

  trove::host::Object copies_;
  uint64_t shared_ = 0;
};

TEST_F(ThreadsTest, EightThreadsOnOneLockedObjectLeaveAnExactState) {
  shared_ = makeKey("Shared");
  ASSERT_EQ(setValue(shared_, "greeting", TROVE_TSTRING, "hello", 6, 1), errOk);
  ASSERT_EQ(setDword(makeKey("Shared/inner"), "n", 7), errOk);

  std::vector<std::thread> threads;
  for (int id = 0; id < kThreads; ++id) threads.emplace_back([this, id] { work(id); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(keyCount(0), uint32_t{kThreads} + 1);
  for (int id = 0; id < kThreads; ++id) {
    const std::string mine = "T" + std::to_string(id);
    uint64_t own = TROVE_INVALID_KEY;
    ASSERT_EQ(openKey(&own, 0, mine.c_str(), 0), errOk);
    ASSERT_EQ(keyCount(own), kRounds / 2);
    for (uint32_t i = 0; i < kRounds / 2; ++i) {
      uint32_t required = 0;
      char name[8] = {};
      ASSERT_EQ(getKeyNameByIndex(&required, own, i, name, sizeof name, 0), errOk);
      EXPECT_EQ(name, "k" + std::to_string(2 * i));
      uint64_t key = TROVE_INVALID_KEY;
      ASSERT_EQ(openKeyByIndex(&key, own, i), errOk);
      EXPECT_EQ(valueCount(key), 1u);
      EXPECT_EQ(dword(key, "v"), 4 * i);
      EXPECT_EQ(keyCount(key), 0u);
    }
    for (uint32_t j = 0; j < kRounds; ++j) {
      const std::string path = mine + "/c" + std::to_string(j);
      uint64_t copy = TROVE_INVALID_KEY, inner = TROVE_INVALID_KEY;
      ASSERT_EQ(
          copies_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &copy, uint64_t{0}, path.c_str(), 0u),
          errOk);
      ASSERT_EQ(copies_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &inner, copy, "inner", 0u), errOk);
      uint32_t n = 0, type = TROVE_TDWORD, required = 0;
      EXPECT_EQ(
          copies_.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, inner, "n", &type, &n, 4u),
          errOk);
      EXPECT_EQ(n, 7u);
    }
  }
  EXPECT_EQ(stringValue(shared_, "greeting"), "hello");
  EXPECT_EQ(changed(), 1u);
}

}  // namespace
