// Copying key trees out of a Registry object: into another object of the
// module, into a recording destination of another implementation, and the
// refusals.
#include <gtest/gtest.h>
#include <pthread.h>

#include <map>
#include <string>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

// A destination of another implementation: word 0 is a method table with
// only the three entries a copy needs, each recording its call.
struct Recorder {
  void** methods = table();
  std::vector<std::string> calls;
  std::map<size_t, int32_t> failures;  // call number -> result
  uint64_t nextHandle = 100;
  const trove::PropertiesMap* source = nullptr;
  std::vector<int32_t> sourceLock;  // the source's lock state at each call
  static Recorder& of(void* object) { return *static_cast<Recorder*>(object); }
  int32_t record(std::string call) {
    if (source != nullptr) sourceLock.push_back(source->lock.state);
    calls.push_back(std::move(call));
    auto failure = failures.find(calls.size() - 1);
    return failure == failures.end() ? errOk : failure->second;
  }
  static int32_t openKey(void* o, uint64_t* out, uint64_t parent, const char* path, uint32_t) {
    int32_t result = of(o).record("open " + std::to_string(parent) + " " + path);
    *out = result < 0 ? TROVE_INVALID_KEY : of(o).nextHandle++;
    return result < 0 ? result : errKeyCreated;
  }
  static int32_t closeKey(void* o, uint64_t key) {
    return of(o).record("close " + std::to_string(key));
  }
  static int32_t setValue(void* o, uint64_t key, const char* name, uint32_t type, const void* data,
                          uint32_t size, uint32_t create) {
    return of(o).record("set " + std::to_string(key) + " " + name + " " + std::to_string(type) +
                        " " + std::to_string(create) + " " +
                        std::string(static_cast<const char*>(data), size));
  }
  static void** table() {
    static void* slots[TROVE_METHOD_COUNT] = {};
    slots[TROVE_SLOT_OPEN_KEY] = reinterpret_cast<void*>(&openKey);
    slots[TROVE_SLOT_CLOSE_KEY] = reinterpret_cast<void*>(&closeKey);
    slots[TROVE_SLOT_SET_VALUE] = reinterpret_cast<void*>(&setValue);
    return slots;
  }
};

class CopyKeyTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    setField(TROVE_PROP_USE_LOCKING, 1);
    load();
    // Source key 'k': 'a' tDWORD 7, 'b' tSTRING "hi", subkey 'c' with 'd' tDWORD 9.
    k_ = makeKey("k");
    ASSERT_EQ(setDword(k_, "a", 7), errOk);
    ASSERT_EQ(setValue(k_, "b", TROVE_TSTRING, "hi", 2u, 1u), errOk);
    ASSERT_EQ(setDword(makeKey("k/c"), "d", 9), errOk);
  }
  uint64_t k_ = 0;
};

std::string le4(uint32_t value) {
  return std::string(reinterpret_cast<char*>(&value), 4);
}

TEST_F(CopyKeyTest, CopiesDeeplyAndMergesWithWhatTheDestinationHas) {
  Registry to = another(1);
  uint64_t target = to.makeKey("target");
  ASSERT_EQ(to.setValue(target, "a", TROVE_TSTRING, "old", 3u, 1u), errOk);  // clashes with 'a'
  ASSERT_EQ(to.setDword(to.makeKey("target/c"), "x", 1), errOk);             // and with 'c'
  ASSERT_EQ(setValue(k_, "e", TROVE_TSTRING, "", 0u, 1u), errOk);
  ASSERT_EQ(setDword(makeKey("k/c/deep/er"), "z", 3), errOk);
  clearChanged();
  ASSERT_EQ(copyKey(k_, to.obj(), target), errOk);
  EXPECT_EQ(changed(), 1u) << "a copy marks its source for saving";
  EXPECT_EQ(to.valueCount(target), 3u);
  EXPECT_EQ(to.bytes(target, "a"), std::string("7\0", 2)) << "an existing value keeps its type";
  EXPECT_EQ(to.bytes(target, "b"), std::string("hi\0", 3));
  EXPECT_EQ(to.bytes(target, "e"), "");
  EXPECT_EQ(to.keyCount(target), 1u) << "an existing subkey is reused";
  uint64_t c = to.makeKey("target/c");
  EXPECT_EQ(to.valueCount(c), 2u);
  EXPECT_EQ(to.dword(c, "d"), 9u);
  EXPECT_EQ(to.dword(to.makeKey("target/c/deep/er"), "z"), 3u);
  EXPECT_EQ(valueCount(k_), 3u) << "the source is unchanged";

  // By path: from the source's root key into the destination's.
  Registry whole = another();
  EXPECT_EQ(copyKeyByPath("nope", whole.obj()), errEntryNotFound);
  EXPECT_EQ(copyKeyByPath("K\\C", whole.obj()), errOk);
  EXPECT_EQ(whole.dword(0, "d"), 9u);
  EXPECT_EQ(whole.keyCount(0), 1u);
  ASSERT_EQ(copyKeyByPath("", whole.obj()), errOk);
  EXPECT_EQ(whole.dword(whole.makeKey("k"), "a"), 7u);
  EXPECT_EQ(whole.keyCount(0), 2u);
}

TEST_F(CopyKeyTest, RefusalsAndFailuresLeaveTheSourceUnmarked) {
  Registry to = another();
  Recorder incomplete;
  void* slots[TROVE_METHOD_COUNT] = {};
  incomplete.methods = slots;
  clearChanged();
  // With locking in force a copy into itself would wait for itself forever.
  EXPECT_EQ(copyKey(k_, obj(), 0), errInvalidArgument);
  EXPECT_EQ(copyKeyByPath("k", obj()), errInvalidArgument);
  EXPECT_EQ(copyKey(k_, nullptr, 0), errInvalidArgument);
  EXPECT_EQ(copyKey(k_, &incomplete, 0), errInvalidArgument);
  EXPECT_EQ(copyKey(0xABCDEF, to.obj(), 0), errInvalidKey);
  EXPECT_EQ(copyKey(k_, to.obj(), 0xABCDEF), errInvalidKey);
  to.setField(TROVE_PROP_READ_ONLY, 1);
  EXPECT_EQ(copyKey(k_, to.obj(), 0), errReadOnly);
  EXPECT_TRUE(incomplete.calls.empty());
  EXPECT_EQ(to.valueCount(0), 0u);
  EXPECT_EQ(to.keyCount(0), 0u);
  EXPECT_EQ(changed(), 0u);
}

TEST_F(CopyKeyTest, AForeignDestinationSeesOpenSetAndCloseDepthFirst) {
  ASSERT_EQ(setDword(makeKey("k/c/deep"), "z", 3), errOk);
  ASSERT_EQ(setDword(makeKey("k/f"), "y", 2), errOk);
  Recorder recorder;
  recorder.source = map();
  ASSERT_EQ(copyKey(k_, &recorder, 42), errOk);
  const std::vector<std::string> expected = {
      "set 42 a 4 1 " + le4(7),
      std::string("set 42 b 9 1 hi\0", 16),
      "open 42 c",
      "set 100 d 4 1 " + le4(9),
      "open 100 deep",
      "set 101 z 4 1 " + le4(3),
      "close 101",
      "close 100",
      "open 42 f",
      "set 102 y 4 1 " + le4(2),
      "close 102",
  };
  EXPECT_EQ(recorder.calls, expected);
  // The source is held shared for the whole copy, and no more than that.
  EXPECT_EQ(recorder.sourceLock, std::vector<int32_t>(expected.size(), 1));

  // A failure ends the copy with its code; the keys opened are still closed,
  // except one whose open failed.
  Recorder failing;
  failing.failures[5] = errAccessDenied;  // the write of 'z'
  EXPECT_EQ(copyKey(k_, &failing, 42), errAccessDenied);
  EXPECT_EQ(std::vector<std::string>(failing.calls.begin() + 5, failing.calls.end()),
            (std::vector<std::string>{expected[5], "close 101", "close 100"}));
  Recorder refusing;
  refusing.failures[2] = errReadOnly;
  EXPECT_EQ(copyKey(k_, &refusing, 42), errReadOnly);
  EXPECT_EQ(refusing.calls.size(), 3u);
}

TEST_F(CopyKeyTest, DeepTreesCopyWithoutExhaustingASmallStack) {
  std::string path = "k";
  for (int i = 1; i < 2000; ++i) path += "/k";
  ASSERT_EQ(setDword(makeKey(path.c_str()), "leaf", 5), errOk);
  Registry to = another();
  struct Run {
    CopyKeyTest* test;
    void* to;
    int32_t result = errUnexpected;
  } run{this, to.obj()};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 * 1024);
  pthread_t thread;
  auto body = [](void* r) -> void* {
    auto* run = static_cast<Run*>(r);
    run->result = run->test->copyKey(0, run->to, 0);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, body, &run), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(run.result, errOk);
  EXPECT_EQ(to.dword(to.makeKey(path.c_str()), "leaf"), 5u);
}

}  // namespace
}  // namespace registry_test
