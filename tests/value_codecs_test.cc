// The type table, the codec factory and the binary side of every codec family.
#include <cstring>
#include <set>
#include <string>

#include "codec_fixture.h"
#include "trove/host/heap.h"

using namespace trove;
using codec_test::CodecTest;
using codec_test::TestHeapObject;
using codec_test::ZeroSize;

namespace {

const std::set<TypeId> kCodecTypes = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                      12, 13, 14, 15, 17, 18, 19, 20, 21, 22, 23,
                                      24, 25, 26, 27, 28, 29, 30, 31, 32, 48, 54};

struct Scalar {
  TypeId type;
  uint32_t width;
};
const Scalar kScalars[] = {{2, 1},  {3, 2},  {4, 4},  {5, 8},  {6, 4},  {7, 1},  {8, 2},
                           {11, 4}, {13, 4}, {14, 4}, {15, 1}, {17, 2}, {18, 4}, {19, 8},
                           {20, 4}, {27, 4}, {29, 8}, {30, 8}, {31, 8}, {32, 8}, {54, 4}};

}  // namespace

TEST(TypeNames, TableAndLookup) {
  int named = 0;
  for (TypeId id = 0; id < 64; ++id) {
    const bool empty = id == 0 || id == 16 || (id >= 33 && id <= 47);
    EXPECT_EQ(typeNameTable[id][0] == '\0', empty) << id;
    if (empty) continue;
    ++named;
    EXPECT_EQ(typeIdFromName(typeNameTable[id], std::strlen(typeNameTable[id])),
              static_cast<int32_t>(id));
  }
  EXPECT_EQ(named, 47);
  EXPECT_STREQ(typeNameTable[12], "tPTR");
  EXPECT_STREQ(typeNameTable[54], "tTYPE_ID");
  EXPECT_EQ(typeIdFromName("tDWORD", 6), 4);
  EXPECT_EQ(typeIdFromName("tdword", 6), errInvalidArgument);
  EXPECT_EQ(typeIdFromName("tDWORD", 5), errInvalidArgument);
  EXPECT_EQ(typeIdFromName("tMSGCLS_ID", 10), 63);
  EXPECT_EQ(typeIdFromName("tOBJECT", 7), 50);
  // The name need not be terminated, and must match the whole entry.
  EXPECT_EQ(typeIdFromName("tDWORDxyz", 6), 4);
  EXPECT_EQ(typeIdFromName("tSTRING_OBJ", 7), 9);
  EXPECT_EQ(typeIdFromName("tSTRING", 8), errInvalidArgument);
  // Empty entries never match, not even an empty name.
  EXPECT_EQ(typeIdFromName("", 0), errInvalidArgument);
  EXPECT_EQ(typeIdFromName(nullptr, 0), errInvalidArgument);
}

TEST_F(CodecTest, FactoryMakesExactlyTheCodecTypes) {
  for (TypeId id = 0; id < 80; ++id) {
    ValueCodec* codec = make(id);
    EXPECT_EQ(codec != nullptr, kCodecTypes.count(id) == 1) << id;
    if (codec == nullptr) continue;
    EXPECT_EQ(codec->GetType(), id);
    // Made on the owner's heap, holding nothing yet.
    EXPECT_TRUE(heap_.owns(dynamic_cast<void*>(codec))) << id;
    const std::string bytes = binaryOf(codec);
    EXPECT_EQ(bytes, std::string(bytes.size(), '\0')) << id;
  }
  for (TypeId id : {16u, 33u, 47u, 49u, 53u, 55u, 64u, 0xFFFFFFFFu}) {
    EXPECT_EQ(createValueCodec(heap_.owner(), id), nullptr) << id;
  }
  EXPECT_EQ(heap_.liveBlocks(), size_t{33});
  EXPECT_EQ(createValueCodec(nullptr, TROVE_TDWORD), nullptr);
}

TEST_F(CodecTest, FactoryGivesNoneWhenTheHeapFails) {
  heap_.failAfter(0);
  EXPECT_EQ(make(TROVE_TDWORD), nullptr);
  EXPECT_EQ(make(TROVE_TSTRING), nullptr);
  heap_.stopFailing();
  EXPECT_EQ(heap_.liveBlocks(), 0u);
}

TEST(CodecRelease, OwnedMemoryGoesBackThroughTheCodecsOwner) {
  TestHeapObject maker, releaser;
  ValueCodec* codec = createValueCodec(maker.owner(), TROVE_TSTRING);
  ASSERT_NE(codec, nullptr);
  ASSERT_EQ(codec->SetBinary("abc", 3), errOk);
  EXPECT_EQ(maker.liveBlocks(), 2u);
  // The text is freed through the maker, the codec's block through the owner
  // passed in (here a different one, which does not know the block).
  releaseValueCodec(releaser.owner(), codec);
  EXPECT_EQ(maker.liveBlocks(), 1u);
  EXPECT_EQ(releaser.foreignFrees(), 1u);
  EXPECT_EQ(maker.foreignFrees(), 0u);
  releaseValueCodec(maker.owner(), nullptr);  // ignored
}

TEST_F(CodecTest, ScalarCopyOutProtocol) {
  for (const Scalar& s : kScalars) {
    SCOPED_TRACE(typeNameTable[s.type]);
    ValueCodec* codec = make(s.type);
    ASSERT_NE(codec, nullptr);
    const uint8_t pattern[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    ASSERT_EQ(codec->SetBinary(pattern, 8), errOk);
    uint32_t required = 0;
    EXPECT_EQ(codec->GetBinary(nullptr, 0, &required), errOk);
    EXPECT_EQ(required, s.width);
    required = 0;
    EXPECT_EQ(codec->GetBinary(nullptr, s.width, &required), errInvalidArgument);
    EXPECT_EQ(required, s.width);
    uint8_t buffer[16];
    std::memset(buffer, 0xEE, sizeof buffer);
    required = 0;
    EXPECT_EQ(codec->GetBinary(buffer, s.width - 1, &required), errBufferTooSmall);
    EXPECT_EQ(required, s.width);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(codec->GetBinary(buffer, sizeof buffer, nullptr), errOk);
    EXPECT_EQ(std::memcmp(buffer, pattern, s.width), 0);
    for (uint32_t i = s.width; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], 0xEE) << i;
  }
}

TEST_F(CodecTest, ScalarSetReportsUnchangedAndRefusesShortData) {
  for (const Scalar& s : kScalars) {
    SCOPED_TRACE(typeNameTable[s.type]);
    ValueCodec* codec = make(s.type);
    const uint8_t first[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const uint8_t second[8] = {1, 2, 3, 4, 5, 6, 7, 9};
    EXPECT_EQ(codec->SetBinary(first, s.width), errOk);
    EXPECT_EQ(codec->SetBinary(first, s.width), errUnchanged);
    EXPECT_EQ(codec->SetBinary(first, 9), errUnchanged);  // only the width is read
    EXPECT_EQ(codec->SetBinary(second, s.width - 1), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary(nullptr, 8), errInvalidArgument);
    EXPECT_EQ(binaryOf(codec), std::string(reinterpret_cast<const char*>(first), s.width));
    // The last byte of the width differs, or only bytes beyond it do.
    const int32_t expected = s.width == 8 ? errOk : errUnchanged;
    EXPECT_EQ(codec->SetBinary(second, 8), expected);
  }
  ValueCodec* dword = make(TROVE_TDWORD);
  EXPECT_EQ(setScalar<uint64_t>(dword, 0x1111111122334455), errOk);
  EXPECT_EQ(scalarOf<uint32_t>(dword), 0x22334455u);
  // A double is compared by its bits: -0.0 replaces 0.0, a NaN equals itself.
  ValueCodec* real = make(TROVE_TDOUBLE);
  EXPECT_EQ(setScalar(real, -0.0), errOk);
  const double nan = __builtin_nan("");
  EXPECT_EQ(setScalar(real, nan), errOk);
  EXPECT_EQ(setScalar(real, nan), errUnchanged);
  // A bool keeps the bits it was given.
  ValueCodec* flag = make(TROVE_TBOOL);
  EXPECT_EQ(setScalar<uint32_t>(flag, 7), errOk);
  EXPECT_EQ(setScalar<uint32_t>(flag, 1), errOk);
  EXPECT_EQ(scalarOf<uint32_t>(flag), 1u);
}

TEST_F(CodecTest, VoidHasNothingToGiveOrTake) {
  ValueCodec* codec = make(TROVE_TVOID);
  char buffer[4] = {'x', 'x', 'x', 'x'};
  uint32_t required = 9;
  EXPECT_EQ(codec->GetBinary(buffer, 4, &required), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(codec->GetBinary(nullptr, 5, &required), errOk);
  EXPECT_EQ(codec->SetBinary("abc", 3), errUnchanged);
  EXPECT_EQ(codec->SetBinary(nullptr, 0), errUnchanged);
}

TEST_F(CodecTest, StringBinaryForm) {
  ValueCodec* codec = make(TROVE_TSTRING);
  EXPECT_EQ(binaryOf(codec), "");  // never set: no bytes
  EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
  EXPECT_EQ(codec->SetBinary("abc", 3), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("abc", 4));
  EXPECT_EQ(codec->SetBinary("abc", 4), errUnchanged);
  EXPECT_EQ(codec->SetBinary("abc\0zz", 6), errUnchanged);  // ends at the first NUL
  EXPECT_EQ(heap_.liveBlocks(), 2u);                        // the equal copies were freed

  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  uint32_t required = 0;
  EXPECT_EQ(codec->GetBinary(nullptr, 4, &required), errInvalidArgument);
  EXPECT_EQ(required, 4u);
  EXPECT_EQ(codec->GetBinary(buffer, 3, &required), errBufferTooSmall);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(codec->GetBinary(buffer, 8, &required), errOk);
  EXPECT_EQ(std::string(buffer, 8), std::string("abc\0xxxx", 8));

  // An empty text yields no bytes at all, not a lone NUL.
  EXPECT_EQ(codec->SetBinary("", 0), errOk);
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(codec->GetBinary(buffer, 8, &required), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(codec->SetBinary("", 0), errUnchanged);
}

TEST_F(CodecTest, StringSetKeepsTheValueWhenItCannotAllocate) {
  ValueCodec* codec = make(TROVE_TSTRING);
  ASSERT_EQ(codec->SetBinary("keep", 4), errOk);
  heap_.failAfter(0, errInsufficientResources);
  EXPECT_EQ(codec->SetBinary("other", 5), errInsufficientResources);
  heap_.stopFailing();
  EXPECT_EQ(binaryOf(codec), std::string("keep", 5));
  // No 32-bit room for the NUL: refused before anything is allocated.
  const size_t before = heap_.allocations();
  EXPECT_EQ(codec->SetBinary("x", 0xFFFFFFFF), errInvalidArgument);
  EXPECT_EQ(heap_.allocations(), before);
}

TEST_F(CodecTest, WideStringBinaryForm) {
  ValueCodec* codec = make(TROVE_TWSTRING);
  EXPECT_EQ(binaryOf(codec), "");
  EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
  const char16_t ab[] = u"AB\0C";
  EXPECT_EQ(codec->SetBinary(ab, 4), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("A\0B\0\0\0", 6));
  EXPECT_EQ(codec->SetBinary(ab, 8), errUnchanged);  // up to the terminator
  const char16_t abd[] = u"ABD";
  EXPECT_EQ(codec->SetBinary(abd, 6), errOk);
  EXPECT_EQ(codec->SetBinary(ab, 2), errOk);  // a prefix is a change
  EXPECT_EQ(binaryOf(codec), std::string("A\0\0\0", 4));
  EXPECT_EQ(heap_.liveBlocks(), 2u);

  // An odd byte count still ends on a whole zero unit: 'A' and 0x0042.
  EXPECT_EQ(codec->SetBinary("A\0B", 3), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("A\0B\0\0\0", 6));
  EXPECT_EQ(codec->SetBinary("A\0B", 3), errUnchanged);

  EXPECT_EQ(codec->SetBinary("", 0), errOk);
  EXPECT_EQ(binaryOf(codec), "");

  ASSERT_EQ(codec->SetBinary(ab, 4), errOk);
  heap_.failAfter(0);
  EXPECT_EQ(codec->SetBinary(abd, 6), errOutOfMemory);
  heap_.stopFailing();
  EXPECT_EQ(binaryOf(codec), std::string("A\0B\0\0\0", 6));
  const size_t before = heap_.allocations();
  EXPECT_EQ(codec->SetBinary(ab, 0xFFFFFFFE), errInvalidArgument);
  EXPECT_EQ(codec->SetBinary(ab, 0xFFFFFFFD), errInvalidArgument);
  EXPECT_EQ(heap_.allocations(), before);
}

TEST_F(CodecTest, BlockBinaryFormForBinaryAndPtr) {
  for (TypeId type : {TROVE_TBINARY, TROVE_TPTR}) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    EXPECT_EQ(codec->GetType(), type);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary("\x01\0\x02", 3), errOk);
    EXPECT_EQ(codec->SetBinary("\x01\0\x02", 3), errUnchanged);
    EXPECT_EQ(binaryOf(codec), std::string("\x01\0\x02", 3));
    EXPECT_EQ(codec->SetBinary("\x01\0\x03", 3), errOk);
    EXPECT_EQ(codec->SetBinary("\x01\0", 2), errOk);

    uint8_t buffer[4] = {9, 9, 9, 9};
    uint32_t required = 0;
    EXPECT_EQ(codec->GetBinary(buffer, 1, &required), errBufferTooSmall);
    EXPECT_EQ(required, 2u);
    EXPECT_EQ(codec->GetBinary(buffer, 4, nullptr), errOk);
    EXPECT_EQ(buffer[0], 1);
    EXPECT_EQ(buffer[1], 0);
    EXPECT_EQ(buffer[2], 9);

    // Size 0 empties it, and is never reported unchanged.
    EXPECT_EQ(codec->SetBinary("\x01\0", 0), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(codec->SetBinary("", 0), errOk);

    ASSERT_EQ(codec->SetBinary("kept", 4), errOk);
    heap_.failAfter(0, errInsufficientResources);
    EXPECT_EQ(codec->SetBinary("lost", 4), errInsufficientResources);
    heap_.stopFailing();
    EXPECT_EQ(binaryOf(codec), "kept");
  }
}

TEST_F(CodecTest, EmptyBlocksWorkWhateverTheHeapGivesForZeroBytes) {
  for (ZeroSize mode : {ZeroSize::null, ZeroSize::refuse, ZeroSize::block}) {
    heap_.setZeroSize(mode);
    ValueCodec* codec = make(TROVE_TBINARY);
    ASSERT_EQ(codec->SetBinary("ab", 2), errOk);
    EXPECT_EQ(codec->SetBinary("ab", 0), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(codec->FromText(""), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    release(codec);
    EXPECT_EQ(heap_.liveBlocks(), 0u);
  }
}

TEST(CodecsOnTheHostHeap, EveryCodecGivesAllItsMemoryBack) {
  host::HeapObject object;
  auto* owner = static_cast<PropertiesMap*>(object.get());
  const size_t violationsBefore = host::HostHeap::instance().violationCount();
  for (TypeId type : kCodecTypes) {
    ValueCodec* codec = createValueCodec(owner, type);
    ASSERT_NE(codec, nullptr) << type;
    // Results are checked elsewhere; here only the memory counts.
    codec->FromText("4142");
    codec->FromText("434445");
    EXPECT_GE(codec->SetBinary("12345678", 8), 0) << type;
    EXPECT_GE(codec->SetBinary("", 0), errInvalidArgument) << type;
    releaseValueCodec(owner, codec);
    EXPECT_EQ(object.liveBlocks(), 0u) << type;
  }
  EXPECT_EQ(host::HostHeap::instance().violationCount(), violationsBefore);
}
