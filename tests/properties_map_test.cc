// The PropertiesMap object as the host sees it: construction, the property
// accessors, locking switched on at load, and destruction.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "registry_fixture.h"

namespace registry_test {
namespace {

class PropertiesMapTest : public RegistryTest {
 protected:
  const TrovePropertyDescriptor& property(uint32_t id) {
    const TrovePropertyDescriptor* found = object_.interface().findProperty(id);
    EXPECT_NE(found, nullptr);
    return *found;
  }
  int32_t get(uint32_t id, uint32_t* outSize, void* buffer, uint32_t size) {
    return property(id).get(obj(), outSize, id, buffer, size);
  }
  int32_t set(uint32_t id, uint32_t* outSize, const void* buffer, uint32_t size) {
    return property(id).set(obj(), outSize, id, const_cast<void*>(buffer), size);
  }
  std::string accessorLine(const char* name, int32_t result) {
    return std::string("trove\tPropertiesMap::") + name + " : " + formatResult(result);
  }
  std::string rootPoint() {
    char buffer[64] = {};
    uint32_t outSize = 0;
    EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, &outSize, buffer, sizeof(buffer)), errOk);
    EXPECT_EQ(outSize, std::strlen(buffer) + 1);
    return buffer;
  }
  uint64_t rootKeyHandle() {
    uint64_t handle = 0;
    uint32_t outSize = 0;
    EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, &handle, sizeof(handle)), errOk);
    EXPECT_EQ(outSize, 8u);
    return handle;
  }
};

TEST_F(PropertiesMapTest, ConstructionInstallsTheMethodTableAndAPlaceholderServicesTable) {
  void** methods = *static_cast<void***>(obj());
  for (int slot = 0; slot < TROVE_METHOD_COUNT; ++slot) {
    EXPECT_NE(methods[slot], nullptr) << "slot " << slot;
  }
  EXPECT_NE(methods[TROVE_SLOT_FLUSH], methods[TROVE_SLOT_CLEAN]);

  // Word 1 as construction left it: 82 entries, none of which works.
  void** placeholder = static_cast<void**>(object_.constructedServices());
  ASSERT_NE(placeholder, nullptr);
  EXPECT_NE(placeholder, *object_.holder());
  for (int entry = 0; entry < TROVE_SERVICES_COUNT; ++entry) {
    ASSERT_NE(placeholder[entry], nullptr) << entry;
    if (entry == 68) {
      EXPECT_FALSE(reinterpret_cast<bool (*)()>(placeholder[entry])());
      continue;
    }
    bool zero = (entry >= 1 && entry <= 5) || (entry >= 13 && entry <= 15) || entry == 27 ||
                entry == 62 || entry == 63 || entry >= 80;
    int32_t expected = zero ? 0 : errWrongState;
    EXPECT_EQ(reinterpret_cast<int32_t (*)()>(placeholder[entry])(), expected) << entry;
  }

  // Fields arrive zero-filled and stay so; the name is empty.
  EXPECT_EQ(object_.field<uint32_t>(TROVE_PROP_READ_ONLY), 0u);
  EXPECT_EQ(object_.field<uint32_t>(TROVE_PROP_USE_LOCKING), 0u);
  EXPECT_EQ(object_.name(), u"");
  EXPECT_FALSE(map()->loaded());
  EXPECT_EQ(changed(), 0u);
}

TEST_F(PropertiesMapTest, GetNameReportsTheSizeWithTheTerminatorAndCopiesOnlyWhatFits) {
  uint32_t outSize = 0;
  EXPECT_EQ(get(TROVE_PROP_NAME, &outSize, nullptr, 0), errBufferTooSmall);
  EXPECT_EQ(outSize, 2u);
  EXPECT_EQ(lastTrace(), accessorLine("getName", errBufferTooSmall));
  EXPECT_EQ(lastTraceLevel(), TROVE_TRACE_CALL);

  const char16_t abcd[] = u"abcd";
  ASSERT_EQ(set(TROVE_PROP_NAME, &outSize, abcd, sizeof(abcd)), errOk);
  EXPECT_EQ(lastTrace(), accessorLine("setName", errOk));

  char16_t buffer[8];
  std::fill(std::begin(buffer), std::end(buffer), u'#');
  EXPECT_EQ(get(TROVE_PROP_NAME, &outSize, buffer, 9), errBufferTooSmall);
  EXPECT_EQ(outSize, 10u);
  EXPECT_EQ(buffer[0], u'#');  // nothing written

  EXPECT_EQ(get(TROVE_PROP_NAME, &outSize, buffer, sizeof(buffer)), errOk);
  EXPECT_EQ(outSize, 10u);
  EXPECT_EQ(std::u16string(buffer, 5), std::u16string(u"abcd\0", 5));
  EXPECT_EQ(buffer[5], u'#');  // only the needed bytes

  // A null buffer that would be large enough receives nothing and succeeds.
  EXPECT_EQ(get(TROVE_PROP_NAME, &outSize, nullptr, 10), errOk);
  EXPECT_EQ(object_.name(), u"abcd");
}

TEST_F(PropertiesMapTest, SetNameRefusesOddSizesAndKeepsTheOldNameOnFailure) {
  uint32_t outSize = 77;
  const char16_t abcd[] = u"abcd";
  ASSERT_EQ(set(TROVE_PROP_NAME, &outSize, abcd, sizeof(abcd)), errOk);
  EXPECT_EQ(outSize, 0u);

  size_t lines = traceCount();
  outSize = 77;
  EXPECT_EQ(set(TROVE_PROP_NAME, &outSize, abcd, 9), errInvalidArgument);
  EXPECT_EQ(set(TROVE_PROP_NAME, &outSize, nullptr, 10), errInvalidArgument);
  EXPECT_EQ(traceCount(), lines);  // no line for refused buffers
  EXPECT_EQ(outSize, 77u);         // nor any out size

  // Size 0 leaves no room for the terminator: the string refuses the length.
  const char16_t other[] = u"zz";
  EXPECT_EQ(set(TROVE_PROP_NAME, &outSize, other, 0), errOutOfMemory);
  EXPECT_EQ(outSize, 0u);
  EXPECT_EQ(lastTrace(), accessorLine("setName", errOutOfMemory));
  EXPECT_EQ(object_.name(), u"abcd");

  // The terminator unit itself is not read: a name of 2 units from 6 bytes.
  const char16_t unterminated[] = {u'x', u'y', u'!'};
  EXPECT_EQ(set(TROVE_PROP_NAME, &outSize, unterminated, 6), errOk);
  EXPECT_EQ(object_.name(), u"xy");
  // A long name moves to the heap and is given back at destruction.
  std::u16string longName(100, u'n');
  EXPECT_TRUE(object_.setName(longName).ok());
  EXPECT_EQ(object_.name(), longName);
}

TEST_F(PropertiesMapTest, RootPointBeforeLoadIsKeptAndHandedOutAsText) {
  uint32_t outSize = 99;
  char buffer[16];
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, &outSize, buffer, sizeof(buffer)), errWrongState);
  EXPECT_EQ(outSize, 0u);
  EXPECT_EQ(lastTrace(), accessorLine("getRootPoint", errWrongState));

  // No pending text yet: the root key property reports nothing.
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, nullptr, 0), errOk);
  EXPECT_EQ(outSize, 0u);

  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, "first", 5), errOk);
  EXPECT_EQ(lastTrace(), accessorLine("setRootPoint", errOk));
  // Only `size` bytes count; the rest of the buffer is not part of the text.
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, "a/bXYZ", 3), errOk);

  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, nullptr, 0), errOk);
  EXPECT_EQ(outSize, 4u);
  std::memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, buffer, 3), errBufferTooSmall);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, buffer, 4), errOk);
  EXPECT_STREQ(buffer, "a/b");
  EXPECT_EQ(lastTrace(), "PropertiesMap::getRootKey : " + formatResult(errOk));
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, nullptr, 4), errInvalidArgument);

  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, nullptr, 3), errInvalidArgument);
  EXPECT_EQ(lastTrace(), accessorLine("setRootPoint", errInvalidArgument));

  // A store without a name does not apply the pending root point.
  load();
  EXPECT_EQ(rootPoint(), "");
  uint64_t root = 0;
  ASSERT_EQ(openKey(&root, 0, nullptr, 0), errOk);
  EXPECT_EQ(rootKeyHandle(), root);
}

TEST_F(PropertiesMapTest, RootPointAfterLoadMovesTheRootKeyOrLeavesIt) {
  load();
  uint64_t b = makeKey("a/b");
  uint64_t root = 0;
  ASSERT_EQ(openKey(&root, 0, nullptr, 0), errOk);

  uint32_t outSize = 0;
  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, "a/missing", 9), errEntryNotFound);
  std::vector<std::string> texts = trace_->texts();
  ASSERT_GE(texts.size(), 2u);
  EXPECT_EQ(texts[texts.size() - 2],
            "Setting root to a/missing: " + formatResult(errEntryNotFound));
  EXPECT_EQ(texts.back(), accessorLine("setRootPoint", errEntryNotFound));
  EXPECT_EQ(rootKeyHandle(), root);

  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, "A\\B", 3), errOk);
  EXPECT_EQ(rootKeyHandle(), b);
  EXPECT_EQ(rootPoint(), "a\\b");

  // The size query reports the text with its terminator.
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, &outSize, nullptr, 0), errOk);
  EXPECT_EQ(outSize, 4u);
  char small[3];
  EXPECT_EQ(get(TROVE_PROP_ROOT_POINT, &outSize, small, sizeof(small)), errBufferTooSmall);

  EXPECT_EQ(set(TROVE_PROP_ROOT_POINT, &outSize, "", 0), errOk);
  EXPECT_EQ(rootKeyHandle(), root);
  EXPECT_EQ(rootPoint(), "");
  EXPECT_EQ(changed(), 1u);  // from creating the keys, not from moving the root
}

TEST_F(PropertiesMapTest, RootKeyPropertyTakesEightByteHandles) {
  uint32_t outSize = 0;
  uint64_t zero = 0;
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, &zero, 8), errWrongState);
  EXPECT_EQ(lastTrace(), accessorLine("setRootKey", errWrongState));

  load();
  uint64_t a = makeKey("a");
  uint64_t root = rootKeyHandle();
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, &a, 4), errInvalidArgument);
  EXPECT_EQ(lastTrace(), accessorLine("setRootKey", errInvalidArgument));
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, nullptr, 8), errInvalidArgument);
  EXPECT_EQ(rootKeyHandle(), root);

  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, &a, 8), errOk);
  EXPECT_EQ(rootKeyHandle(), a);
  EXPECT_EQ(rootPoint(), "a");

  uint64_t madeUp = a + 8;
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, &madeUp, 8), errEntryNotFound);
  EXPECT_EQ(rootKeyHandle(), a);
  EXPECT_EQ(set(TROVE_PROP_ROOT_KEY, &outSize, &zero, 8), errOk);
  EXPECT_EQ(rootKeyHandle(), root);

  uint64_t handle = 0;
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, &handle, 7), errBufferTooSmall);
  EXPECT_EQ(outSize, 8u);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(get(TROVE_PROP_ROOT_KEY, &outSize, nullptr, 8), errInvalidArgument);
}

TEST_F(PropertiesMapTest, WithLockingEveryMethodReleasesTheLockOnEveryPath) {
  setField(TROVE_PROP_USE_LOCKING, 1);
  load();
  ASSERT_TRUE(map()->lock.exists());
  uint64_t key = makeKey("a/b");
  EXPECT_EQ(setDword(key, "v", 5), errOk);
  EXPECT_EQ(dword(key, "v"), 5u);
  EXPECT_EQ(deleteKey(0, nullptr), errInvalidArgument);  // early failure, exclusive
  uint32_t four = 4;
  EXPECT_EQ(setValue(0x1234, "v", TROVE_TDWORD, &four, 4, 1), errInvalidKey);
  setField(TROVE_PROP_READ_ONLY, 1);
  EXPECT_EQ(clean(), errReadOnly);
  setField(TROVE_PROP_READ_ONLY, 0);
  EXPECT_EQ(keyCount(0), 1u);
  EXPECT_EQ(clean(), errOk);
  EXPECT_EQ(map()->lock.state, 0);
  EXPECT_EQ(map()->lock.waitingReaders + map()->lock.waitingWriters, 0u);
}

TEST_F(PropertiesMapTest, WithoutLockingAtLoadNoLockExists) {
  load();
  setField(TROVE_PROP_USE_LOCKING, 1);  // too late: the lock is made at load
  EXPECT_FALSE(map()->lock.exists());
  EXPECT_EQ(makeKey("a") != TROVE_INVALID_KEY, true);
  EXPECT_EQ(map()->lock.state, 0);
}

TEST_F(PropertiesMapTest, DestroyingALoadedObjectGivesEverythingBack) {
  setField(TROVE_PROP_USE_LOCKING, 1);
  EXPECT_TRUE(object_.setName(std::u16string(40, u'x')).ok());
  EXPECT_TRUE(object_.setRootPoint("never/applied").ok());
  EXPECT_TRUE(object_.setName(u"").ok());
  load();
  uint64_t key = makeKey("k/l/m");
  const char text[] = "some text that needs a block of its own";
  EXPECT_EQ(setValue(key, "s", TROVE_TSTRING, text, sizeof(text), 1), errOk);
  EXPECT_GT(object_.liveBlocks(), 5u);
  EXPECT_TRUE(object_.destroy().ok());
  EXPECT_EQ(host_.reclaimedBlocks(), 0u);
}

TEST_F(PropertiesMapTest, AbsentObjectsAreIgnoredByTheHooks) {
  auto onDataInit = reinterpret_cast<TroveOnDataInit>(
      object_.interface().internalEntry(TROVE_INTERNAL_ON_DATA_INIT));
  auto onClose =
      reinterpret_cast<TroveOnClose>(object_.interface().internalEntry(TROVE_INTERNAL_ON_CLOSE));
  ASSERT_NE(onDataInit, nullptr);
  EXPECT_EQ(onDataInit(nullptr, 1), 0);
  EXPECT_EQ(onDataInit(nullptr, 0), 0);
  EXPECT_EQ(onClose(nullptr), 0);
  // Closing without saveOnClose writes nothing and answers 0.
  load();
  makeKey("a");
  EXPECT_EQ(onClose(obj()), 0);
  EXPECT_EQ(changed(), 1u);
}

}  // namespace
}  // namespace registry_test
