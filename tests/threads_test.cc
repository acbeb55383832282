// One object with locking on, driven from eight threads at once: readers share
// the lock, writers hold it alone. Each thread owns one key and must find there
// exactly what it left; the shared key that every thread reads and copies into
// a second locked object must come through unchanged.
#include <string>
#include <thread>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

constexpr int kThreads = 8;
constexpr uint32_t kRounds = 60;

class ThreadsTest : public RegistryTest {
 protected:
  void work(int id, uint64_t shared, const Registry& copies) {
    const std::string mine = "T" + std::to_string(id);
    const uint64_t own = makeKey(mine.c_str());
    for (uint32_t j = 0; j < kRounds; ++j) {
      const std::string name = "k" + std::to_string(j);
      const uint64_t key = makeKey(name.c_str(), own);
      EXPECT_EQ(setDword(key, "v", j), errOk);
      EXPECT_EQ(setValue(key, "s", TROVE_TSTRING, "x", 2u, 1u), errOk);
      // Written as text into the stored tDWORD, read back as text: v is 2j.
      const std::string twice = std::to_string(2 * j);
      EXPECT_EQ(setValueByIndex(key, 0u, TROVE_TSTRING, twice.c_str(), uint32_t(twice.size()), 0u),
                errOk);
      EXPECT_EQ(bytes(key, "v", TROVE_TSTRING), twice + '\0');
      EXPECT_EQ(keyName(key, 1), mine + "\\" + name);
      EXPECT_EQ(deleteValueByInd(key, 1u), errOk);
      // Odd rounds leave no key: by name, or by index as the last subkey.
      int32_t gone = j % 4 == 1   ? deleteKey(own, name.c_str())
                     : j % 4 == 3 ? deleteKeyByInd(own, keyCount(own) - 1)
                                  : errOk;
      EXPECT_EQ(gone, errOk);
      uint32_t found = 0;
      uint64_t child = TROVE_INVALID_KEY;
      for (int32_t r = openKeyByIndex(&child, own, 0u); r == errOk;
           r = openNextKey(&child, child)) {
        ++found;
      }
      EXPECT_EQ(found, j / 2 + 1);
      EXPECT_STREQ(bytes(shared, "greeting").c_str(), "hello");
      const std::string copy = mine + "/c" + std::to_string(j);
      EXPECT_EQ(copyKey(shared, copies.obj(), copies.makeKey(copy.c_str())), errOk);
    }
  }
};

TEST_F(ThreadsTest, EightThreadsOnOneLockedObjectLeaveAnExactState) {
  setField(TROVE_PROP_USE_LOCKING, 1);
  load();
  Registry copies = another(1);
  const uint64_t shared = makeKey("Shared");
  ASSERT_EQ(setValue(shared, "greeting", TROVE_TSTRING, "hello", 5u, 1u), errOk);
  ASSERT_EQ(setDword(makeKey("Shared/inner"), "n", 7), errOk);
  std::vector<std::thread> threads;
  for (int id = 0; id < kThreads; ++id) threads.emplace_back([&, id] { work(id, shared, copies); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(keyCount(0), uint32_t{kThreads} + 1);
  for (int id = 0; id < kThreads; ++id) {
    const std::string mine = "T" + std::to_string(id);
    const uint64_t own = makeKey(mine.c_str());
    ASSERT_EQ(keyCount(own), kRounds / 2);
    for (uint32_t i = 0; i < kRounds / 2; ++i) {
      uint64_t key = TROVE_INVALID_KEY;
      ASSERT_EQ(openKeyByIndex(&key, own, i), errOk);
      EXPECT_EQ(keyName(key), "k" + std::to_string(2 * i));
      EXPECT_EQ(valueCount(key), 1u);
      EXPECT_EQ(dword(key, "v"), 4 * i);
    }
    for (uint32_t j = 0; j < kRounds; ++j) {
      const std::string inner = mine + "/c" + std::to_string(j) + "/inner";
      EXPECT_EQ(copies.dword(copies.makeKey(inner.c_str()), "n"), 7u);
    }
  }
  EXPECT_EQ(map()->lock.state, 0);
}

}  // namespace
}  // namespace registry_test
