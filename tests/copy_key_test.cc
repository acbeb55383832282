// Copying key trees: between two Registry objects of the module, into a
// recording destination of another implementation, and the refusals.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "object/properties_map.h"  // only to look at the source's lock and flag
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::formatResult;
using trove::host::HostHeap;
using trove::host::MemoryStoreIo;
using trove::host::Object;
using trove::host::StoreIo;

// A Registry object with the calls the tests need.
struct Store {
  Object object;

  void* get() const { return object.get(); }
  trove::PropertiesMap* map() const { return trove::PropertiesMap::from(object.get()); }
  uint64_t open(const char* path, uint32_t create = 1) const {
    uint64_t key = TROVE_INVALID_KEY;
    int32_t result =
        object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, uint64_t{0}, path, create);
    EXPECT_GE(result, 0) << path;
    return key;
  }
  int32_t set(uint64_t key, const char* name, uint32_t type, const void* data, uint32_t size) {
    return object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, name, type, data, size, 1u);
  }
  void setDword(uint64_t key, const char* name, uint32_t value) {
    EXPECT_EQ(set(key, name, TROVE_TDWORD, &value, 4), errOk);
  }
  void setString(uint64_t key, const char* name, const std::string& text) {
    EXPECT_EQ(set(key, name, TROVE_TSTRING, text.c_str(), static_cast<uint32_t>(text.size())),
              errOk);
  }
  uint32_t count(uint32_t slot, uint64_t key) const {
    uint32_t n = 0xDEAD;
    EXPECT_EQ(object.call<TroveGetKeyCount>(slot, &n, key), errOk);
    return n;
  }
  uint32_t keys(uint64_t key) const { return count(TROVE_SLOT_GET_KEY_COUNT, key); }
  uint32_t values(uint64_t key) const { return count(TROVE_SLOT_GET_VALUE_COUNT, key); }
  std::string keyName(uint64_t key, uint32_t index) const {
    char name[64] = "?";
    EXPECT_EQ(object.call<TroveGetKeyNameByIndex>(TROVE_SLOT_GET_KEY_NAME_BY_INDEX, nullptr, key,
                                                  index, name, 64u, 0u),
              errOk);
    return name;
  }
  // "name:type:bytes" of the value at index, read in its stored type.
  std::string value(uint64_t key, uint32_t index) const {
    char name[64] = "?";
    EXPECT_EQ(object.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, nullptr,
                                                    key, index, name, 64u),
              errOk);
    std::string bytes(512, '\0');
    uint32_t type = 0;
    uint32_t size = 0;
    EXPECT_EQ(object.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &size, key, index,
                                                &type, bytes.data(), 512u),
              errOk);
    bytes.resize(size);
    return std::string(name) + ":" + std::to_string(type) + ":" + bytes;
  }
  int32_t copyKey(uint64_t from, void* destination, uint64_t to) const {
    return object.call<TroveCopyKey>(TROVE_SLOT_COPY_KEY, from, destination, to);
  }
  int32_t copyKeyByPath(const char* path, void* destination) const {
    return object.call<TroveCopyKeyByPath>(TROVE_SLOT_COPY_KEY_BY_PATH, path, destination);
  }
};

// `text` with what follows `marker` up to `end` replaced by "?".
std::string mask(std::string text, const std::string& marker, char end) {
  size_t at = text.find(marker);
  if (at != std::string::npos) {
    at += marker.size();
    text.replace(at, text.find(end, at) - at, "?");
  }
  return text;
}

std::string dwordBytes(uint32_t value) {
  return std::string(reinterpret_cast<const char*>(&value), 4);
}

// A destination of another implementation: a host object whose word 0 is a
// 23-slot table of functions that record every call.
struct Recorder {
  void** methods;
  void** services = nullptr;
  void* hostWord = nullptr;
  std::vector<std::string> calls;
  std::map<size_t, int32_t> failures;  // call number -> result
  uint64_t nextHandle = 100;
  const void* sourceObject = nullptr;
  std::vector<size_t> blockSizes;        // heap block size of each SetValue buffer
  std::vector<int32_t> sourceLockState;  // the source's lock state at each SetValue

  static Recorder* from(void* object) { return static_cast<Recorder*>(object); }
  int32_t record(std::string call) {
    calls.push_back(std::move(call));
    auto failure = failures.find(calls.size() - 1);
    return failure == failures.end() ? errOk : failure->second;
  }
  static int32_t openKey(void* obj, uint64_t* out, uint64_t parent, const char* path,
                         uint32_t create) {
    Recorder* self = from(obj);
    int32_t result =
        self->record("open " + std::to_string(parent) + " " + path + " " + std::to_string(create));
    *out = result < 0 ? TROVE_INVALID_KEY : self->nextHandle++;
    return result < 0 ? result : errKeyCreated;
  }
  static int32_t closeKey(void* obj, uint64_t key) {
    return from(obj)->record("close " + std::to_string(key));
  }
  static int32_t setValue(void* obj, uint64_t key, const char* name, uint32_t type,
                          const void* data, uint32_t size, uint32_t create) {
    Recorder* self = from(obj);
    self->blockSizes.push_back(HostHeap::instance().blockSize(data));
    if (self->sourceObject != nullptr) {
      auto* source = trove::PropertiesMap::from(const_cast<void*>(self->sourceObject));
      self->sourceLockState.push_back(source->lock.state);
    }
    std::string bytes(static_cast<const char*>(data), size);
    return self->record("set " + std::to_string(key) + " " + name + " " + std::to_string(type) +
                        " " + std::to_string(size) + " " + std::to_string(create) + " " + bytes);
  }
  template <int Slot, class... Args>
  static int32_t unexpected(void* obj, Args...) {
    return from(obj)->record("unexpected slot " + std::to_string(Slot));
  }
  template <int Slot, class... Args>
  static void* entry(int32_t (*)(void*, Args...)) {
    return reinterpret_cast<void*>(&unexpected<Slot, Args...>);
  }

  Recorder() : methods(table()) {}
  static void** table() {
    static void* slots[TROVE_METHOD_COUNT] = {
        reinterpret_cast<void*>(&openKey),
        entry<1>(TroveOpenKeyByIndex{}),
        entry<2>(TroveOpenNextKey{}),
        reinterpret_cast<void*>(&closeKey),
        entry<4>(TroveGetKeyName{}),
        entry<5>(TroveGetKeyNameByIndex{}),
        entry<6>(TroveGetValue{}),
        entry<7>(TroveGetValueByIndex{}),
        entry<8>(TroveGetValueNameByIndex{}),
        reinterpret_cast<void*>(&setValue),
        entry<10>(TroveSetValueByIndex{}),
        entry<11>(TroveGetKeyCount{}),
        entry<12>(TroveGetValueCount{}),
        entry<13>(TroveDeleteKey{}),
        entry<14>(TroveDeleteKeyByInd{}),
        entry<15>(TroveDeleteValue{}),
        entry<16>(TroveDeleteValueByInd{}),
        entry<17>(TroveClean{}),
        entry<18>(TroveCopyKey{}),
        entry<19>(TroveCopyKeyByPath{}),
        entry<20>(TroveSetRootKey{}),
        entry<21>(TroveSetRootStr{}),
        entry<22>(TroveFlush{}),
    };
    return slots;
  }
};

class CopyKeyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    trace_ = &host_.captureTrace();
    ASSERT_TRUE(host_.loadModule(TROVE_MODULE_PATH).ok());
  }
  void TearDown() override {
    source_.object.destroy();
    destination_.object.destroy();
    EXPECT_EQ(host_.reclaimedBlocks(), 0u) << "an object left blocks on its heap";
    EXPECT_EQ(host_.heap().violationCount(), 0u) << "a block went back through a wrong holder";
  }

  // A loaded object with locking in force, its store read from `io` if given.
  Store make(MemoryStoreIo* io = nullptr) {
    Store store{host_.createObject(TROVE_IID_REGISTRY)};
    EXPECT_TRUE(store.object.ok());
    if (io != nullptr) {
      EXPECT_TRUE(store.object.setStoreIo(*io).ok());
    }
    EXPECT_TRUE(store.object.setField<uint32_t>(TROVE_PROP_USE_LOCKING, 1).ok());
    EXPECT_TRUE(store.object.initDone().ok());
    return store;
  }
  void makeBoth(MemoryStoreIo* sourceIo = nullptr) {
    source_ = make(sourceIo);
    destination_ = make();
  }
  // Source key 'k': 'a' tDWORD 7, 'b' tSTRING "hello", subkey 'c' with 'd' tDWORD 9.
  uint64_t fillSample() {
    uint64_t k = source_.open("k");
    source_.setDword(k, "a", 7);
    source_.setString(k, "b", "hello");
    source_.setDword(source_.open("k/c"), "d", 9);
    return k;
  }
  size_t sourceAllocations() const {
    return host_.heap().stats(source_.object.holder()).allocations;
  }
  // Trace lines since `from`, as "S " or "D " plus the text, addresses masked.
  std::vector<std::string> linesSince(size_t from) const {
    std::vector<std::string> out;
    auto lines = trace_->lines();
    for (size_t i = from; i < lines.size(); ++i) {
      std::string text = mask(mask(lines[i].text, "(0x", ':'), "Closing key ", ':');
      out.push_back((lines[i].object == source_.get() ? "S " : "D ") + text);
    }
    return out;
  }

  trove::host::Host host_;
  trove::host::CapturingTraceSink* trace_ = nullptr;
  Store source_;
  Store destination_;
};

std::string line(const std::string& side, const std::string& what, int32_t result = errOk) {
  return side + " trove\t" + what + ": " + formatResult(result);
}

TEST_F(CopyKeyTest, CopiesValuesThenSubkeysDepthFirstWithTypesAndData) {
  makeBoth();
  uint64_t k = fillSample();
  uint64_t target = destination_.open("target");
  size_t allocations = sourceAllocations();
  size_t from = trace_->count();

  ASSERT_EQ(source_.copyKey(k, destination_.get(), target), errOk);
  const std::vector<std::string> lines = linesSince(from);

  EXPECT_EQ(destination_.values(target), 2u);
  EXPECT_EQ(destination_.value(target, 0), "a:4:" + dwordBytes(7));
  EXPECT_EQ(destination_.value(target, 1), std::string("b:9:hello", 9) + std::string(1, '\0'));
  ASSERT_EQ(destination_.keys(target), 1u);
  EXPECT_EQ(destination_.keyName(target, 0), "c");
  uint64_t c = destination_.open("target/c", 0);
  EXPECT_EQ(destination_.value(c, 0), "d:4:" + dwordBytes(9));
  EXPECT_EQ(sourceAllocations(), allocations) << "short names and values stay inline";

  // Every source element is sized, then read; the copy adds no line of its own.
  const std::string nameByIndex = "PropertiesMap::GetValueNameByIndex ";
  std::vector<std::string> expected = {line("S", "PropertiesMap::GetValueCount ")};
  for (const char* value : {"a (0x?:4)", "b (0x?:6)"}) {
    const std::string index = value[0] == 'a' ? "0" : "1";
    for (int i = 0; i < 2; ++i) expected.push_back(line("S", nameByIndex));
    for (int i = 0; i < 2; ++i) expected.push_back(line("S", "Getting value by index " + index));
    expected.push_back(line("D", std::string("PropertiesMap::SetValue ") + value));
  }
  expected.push_back(line("S", "PropertiesMap::GetKeyCount "));
  for (int i = 0; i < 2; ++i) expected.push_back(line("S", "Getting key name by index 0"));
  expected.push_back(line("S", "Opening key ?\\c"));
  expected.push_back(line("D", "Opening key ?\\c", errKeyCreated));
  expected.push_back(line("S", "PropertiesMap::GetValueCount "));
  for (int i = 0; i < 2; ++i) expected.push_back(line("S", nameByIndex));
  for (int i = 0; i < 2; ++i) expected.push_back(line("S", "Getting value by index 0"));
  expected.push_back(line("D", "PropertiesMap::SetValue d (0x?:4)"));
  expected.push_back(line("S", "PropertiesMap::GetKeyCount "));
  expected.push_back(line("D", "Closing key ?"));
  expected.push_back(line("S", "Closing key ?"));
  EXPECT_EQ(lines, expected);
}

TEST_F(CopyKeyTest, ExistingValuesKeepTheirTypeAndEmptyStringsCopyWithSizeZero) {
  makeBoth();
  uint64_t k = fillSample();
  source_.setString(k, "e", "");
  uint64_t target = destination_.open("target");
  destination_.setString(target, "a", "old");
  destination_.setDword(destination_.open("target/c"), "x", 1);

  ASSERT_EQ(source_.copyKey(k, destination_.get(), target), errOk);
  EXPECT_EQ(destination_.value(target, 0), std::string("a:9:7", 5) + std::string(1, '\0'));
  EXPECT_EQ(destination_.values(target), 3u);
  EXPECT_EQ(destination_.value(target, 2), "e:9:");
  EXPECT_EQ(destination_.keys(target), 1u) << "the existing subkey is reused";
  EXPECT_EQ(destination_.values(destination_.open("target/c", 0)), 2u);

  Recorder recorder;
  ASSERT_EQ(source_.copyKey(k, &recorder, 5), errOk);
  EXPECT_EQ(recorder.calls[2], "set 5 e 9 0 1 ");
}

TEST_F(CopyKeyTest, ForeignDestinationSeesOnlyOpenSetAndCloseInOrder) {
  makeBoth();
  uint64_t k = fillSample();
  source_.setDword(source_.open("k/c/deep"), "z", 3);
  source_.setDword(source_.open("k/f"), "y", 2);
  Recorder recorder;
  recorder.sourceObject = source_.get();

  ASSERT_EQ(source_.copyKey(k, &recorder, 42), errOk);
  const std::vector<std::string> expected = {
      "set 42 a 4 4 1 " + dwordBytes(7),
      std::string("set 42 b 9 6 1 hello") + std::string(1, '\0'),
      "open 42 c 1",
      "set 100 d 4 4 1 " + dwordBytes(9),
      "open 100 deep 1",
      "set 101 z 4 4 1 " + dwordBytes(3),
      "close 101",
      "close 100",
      "open 42 f 1",
      "set 102 y 4 4 1 " + dwordBytes(2),
      "close 102",
  };
  EXPECT_EQ(recorder.calls, expected);
  // The source is held shared for the whole copy, and no more than that.
  for (int32_t state : recorder.sourceLockState) EXPECT_EQ(state, 1);

  // A failure ends the copy with its code; the opened keys are still closed.
  Recorder failing;
  failing.failures[5] = errAccessDenied;  // the write of 'z'
  source_.map()->changed.store(0);
  EXPECT_EQ(source_.copyKey(k, &failing, 42), errAccessDenied);
  EXPECT_EQ(std::vector<std::string>(failing.calls.begin() + 5, failing.calls.end()),
            (std::vector<std::string>{expected[5], "close 101", "close 100"}));
  EXPECT_EQ(source_.map()->changed.load(), 0u) << "only a complete copy marks the source";

  // A failed open is not closed on the destination side.
  Recorder refusing;
  refusing.failures[2] = errReadOnly;
  EXPECT_EQ(source_.copyKey(k, &refusing, 42), errReadOnly);
  EXPECT_EQ(refusing.calls.size(), 3u);
}

TEST_F(CopyKeyTest, ReadOnlyDestinationFailsAtTheFirstWriteAndKeepsNothing) {
  makeBoth();
  uint64_t k = fillSample();
  ASSERT_TRUE(destination_.object.setField<uint32_t>(TROVE_PROP_READ_ONLY, 1).ok());
  EXPECT_EQ(source_.copyKey(k, destination_.get(), 0), errReadOnly);
  EXPECT_EQ(destination_.values(0), 0u);

  // Keys only: the creating open is the first write.
  source_.open("bare/sub");
  EXPECT_EQ(source_.copyKey(source_.open("bare", 0), destination_.get(), 0), errReadOnly);
  EXPECT_EQ(destination_.keys(0), 0u);
}

TEST_F(CopyKeyTest, LongValuesAndNamesUseSourceHeapBlocksOfExactlyTheirSize) {
  makeBoth();
  uint64_t k = source_.open("k");
  std::string inlineMax(256, 'i');
  std::string large(300, 'L');
  std::string longName(299, 'n');  // 300 bytes with its NUL
  ASSERT_EQ(source_.set(k, "edge", TROVE_TBINARY, inlineMax.data(), 256), errOk);
  ASSERT_EQ(source_.set(k, "big", TROVE_TBINARY, large.data(), 300), errOk);
  ASSERT_EQ(source_.set(k, longName.c_str(), TROVE_TDWORD, "\1\0\0\0", 4), errOk);
  Recorder recorder;
  size_t allocations = sourceAllocations();
  size_t live = source_.object.liveBlocks();

  ASSERT_EQ(source_.copyKey(k, &recorder, 0), errOk);
  // The data block, once grown, serves the later values of the key.
  EXPECT_EQ(recorder.blockSizes, (std::vector<size_t>{0, 300, 300}));
  EXPECT_EQ(recorder.calls[1], "set 0 big 48 300 1 " + large);
  EXPECT_EQ(sourceAllocations(), allocations + 2) << "one block for 'big', one for the name";
  EXPECT_EQ(source_.object.liveBlocks(), live) << "scratch blocks are given back";

  // Out of memory on the source's heap: what was copied before stays.
  host_.heap().failAllocationsAfter(0, source_.object.holder());
  EXPECT_EQ(source_.copyKey(k, destination_.get(), 0), errOutOfMemory);
  host_.heap().stopFailing();
  EXPECT_EQ(destination_.values(0), 1u);
  EXPECT_EQ(destination_.value(0, 0), "edge:48:" + inlineMax);
}

TEST_F(CopyKeyTest, SubkeysAreReopenedByNameTwinsAndSeparatorsIncluded) {
  // Imported XML makes twins; a backslash inside a name takes a "/" after it.
  MemoryStoreIo io("<app><t first=\"1\"/><T second=\"2\"/></app>");
  makeBoth(&io);
  source_.setString(source_.open("app/a\\b/"), "literal", "3");
  source_.setString(source_.open("app/a/b"), "nested", "4");
  source_.open("lonely/p\\q/");
  uint64_t app = source_.open("app", 0);
  ASSERT_EQ(source_.keys(app), 4u);
  ASSERT_EQ(source_.keyName(app, 2), "a\\b");

  Recorder recorder;
  ASSERT_EQ(source_.copyKey(app, &recorder, 0), errOk);
  const std::string one("1\0", 2);
  const std::string four("4\0", 2);
  const std::vector<std::string> expected = {
      "open 0 t 1",
      "set 100 first 9 2 1 " + one,
      "close 100",
      "open 0 T 1",
      "set 101 first 9 2 1 " + one,
      "close 101",
      "open 0 a\\b 1",
      "set 102 nested 9 2 1 " + four,
      "close 102",
      "open 0 a 1",
      "open 103 b 1",
      "set 104 nested 9 2 1 " + four,
      "close 104",
      "close 103",
  };
  EXPECT_EQ(recorder.calls, expected);

  // A name read as a path that leads nowhere ends the copy.
  EXPECT_EQ(source_.copyKeyByPath("lonely", destination_.get()), errEntryNotFound);
  EXPECT_EQ(destination_.keys(0), 0u);
}

TEST_F(CopyKeyTest, CopyKeyByPathCopiesFromTheSourceRootKeyIntoTheDestinationRoot) {
  makeBoth();
  fillSample();
  uint32_t top = 11;
  source_.setDword(0, "top", top);
  size_t from = trace_->count();
  EXPECT_EQ(source_.copyKeyByPath("nope", destination_.get()), errEntryNotFound);
  EXPECT_EQ(linesSince(from),
            (std::vector<std::string>{line("S", "Opening key ?\\nope", errEntryNotFound)}));

  ASSERT_EQ(source_.copyKeyByPath("", destination_.get()), errOk);
  EXPECT_EQ(destination_.value(0, 0), "top:4:" + dwordBytes(11));
  EXPECT_EQ(destination_.keyName(0, 0), "k");
  EXPECT_EQ(destination_.value(destination_.open("k/c", 0), 0), "d:4:" + dwordBytes(9));

  Recorder recorder;
  ASSERT_EQ(source_.copyKeyByPath("K\\C", &recorder), errOk);
  EXPECT_EQ(recorder.calls, (std::vector<std::string>{"set 0 d 4 4 1 " + dwordBytes(9)}));
  // Copying the root key by handle 0 works alike.
  Recorder whole;
  ASSERT_EQ(source_.copyKey(0, &whole, 0), errOk);
  EXPECT_EQ(whole.calls.size(), 8u);
}

TEST_F(CopyKeyTest, RefusesItselfNullAndIncompleteDestinationsAndBadSourceKeys) {
  makeBoth();
  uint64_t k = fillSample();
  size_t from = trace_->count();
  // With locking in force, a copy into itself would wait for itself forever.
  EXPECT_EQ(source_.copyKey(k, source_.get(), 0), errInvalidArgument);
  EXPECT_EQ(source_.copyKeyByPath("k", source_.get()), errInvalidArgument);
  EXPECT_EQ(source_.copyKey(k, nullptr, 0), errInvalidArgument);
  Recorder incomplete;
  void* slots[TROVE_METHOD_COUNT] = {};
  incomplete.methods = slots;
  EXPECT_EQ(source_.copyKey(k, &incomplete, 0), errInvalidArgument);
  EXPECT_EQ(trace_->count(), from) << "refused before any call";
  EXPECT_EQ(source_.keys(0), 1u);

  Recorder recorder;
  EXPECT_EQ(source_.copyKey(0xABCDEF, &recorder, 0), errInvalidKey);
  EXPECT_TRUE(recorder.calls.empty());
  EXPECT_EQ(trace_->last().text,
            "trove\tPropertiesMap::GetValueCount : " + formatResult(errInvalidKey));
  EXPECT_EQ(source_.copyKey(k, destination_.get(), 0xABCDEF), errInvalidKey);
}

TEST_F(CopyKeyTest, OnlyASuccessfulCopyMarksTheSourceForSaving) {
  const char* xml =
      "<propertiesmap><key name=\"k\"><tDWORD name=\"a\">1</tDWORD></key>"
      "</propertiesmap>";
  MemoryStoreIo io(xml);
  makeBoth(&io);
  uint64_t k = source_.open("k", 0);
  ASSERT_TRUE(destination_.object.setField<uint32_t>(TROVE_PROP_READ_ONLY, 1).ok());
  EXPECT_EQ(source_.copyKey(k, destination_.get(), 0), errReadOnly);
  EXPECT_EQ(source_.object.flush(), errOk);
  EXPECT_EQ(io.calls(StoreIo::kWrite), 0u) << "a failed copy leaves the source unchanged";

  ASSERT_TRUE(destination_.object.setField<uint32_t>(TROVE_PROP_READ_ONLY, 0).ok());
  EXPECT_EQ(source_.copyKey(k, destination_.get(), 0), errOk);
  EXPECT_EQ(source_.object.flush(), errOk);
  EXPECT_GT(io.calls(StoreIo::kWrite), 0u);
  EXPECT_NE(io.contents().find("<tDWORD name=\"a\">1</tDWORD>"), std::string::npos);
}

// Runs a copy on a thread with a small stack.
struct SmallStackCopy {
  const Store* source;
  void* destination;
  int32_t result = errUnexpected;
  static void* run(void* self) {
    auto* copy = static_cast<SmallStackCopy*>(self);
    copy->result = copy->source->copyKey(0, copy->destination, 0);
    return nullptr;
  }
};

TEST_F(CopyKeyTest, DeepTreesCopyWithoutExhaustingTheStack) {
  makeBoth();
  constexpr int kDepth = 2000;
  std::string path = "k";
  for (int i = 1; i < kDepth; ++i) path += "/k";
  source_.setDword(source_.open(path.c_str()), "leaf", 5);

  SmallStackCopy copy{&source_, destination_.get()};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 * 1024);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, &SmallStackCopy::run, &copy), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(copy.result, errOk);
  EXPECT_EQ(destination_.value(destination_.open(path.c_str(), 0), 0), "leaf:4:" + dwordBytes(5));
}

}  // namespace
