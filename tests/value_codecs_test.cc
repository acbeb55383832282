// The type table, the codec factory and the binary side of every codec family.
#include <cmath>
#include <cstring>
#include <set>
#include <string>

#include "codec_fixture.h"

using namespace trove;
using trove::testing::binaryOf;
using trove::testing::le;

namespace {

using CodecTest = trove::testing::HeapTest;

const std::set<TypeId> kCodecTypes = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                      12, 13, 14, 15, 17, 18, 19, 20, 21, 22, 23,
                                      24, 25, 26, 27, 28, 29, 30, 31, 32, 48, 54};

TEST(TypeNames, EveryNamedEntryAndNothingElseIsFound) {
  int named = 0;
  for (TypeId id = 0; id < 64; ++id) {
    const bool empty = id == 0 || id == 16 || (id >= 33 && id <= 47);
    ASSERT_EQ(typeNameTable[id][0] == '\0', empty) << id;
    if (empty) continue;
    ++named;
    EXPECT_EQ(typeIdFromName(typeNameTable[id], std::strlen(typeNameTable[id])), int32_t(id));
  }
  EXPECT_EQ(named, 47);
  // Exact, case-sensitive and counted (the name need not be terminated).
  EXPECT_EQ(typeIdFromName("tDWORDxyz", 6), 4);
  EXPECT_EQ(typeIdFromName("tSTRING_OBJ", 7), 9);
  for (auto [name, length] : {std::pair<const char*, uint32_t>{"tdword", 6},
                              {"tDWORD", 5},
                              {"tSTRING", 8},
                              {"", 0},
                              {nullptr, 0}}) {
    EXPECT_EQ(typeIdFromName(name, length), errInvalidArgument) << (name ? name : "null");
  }
}

TEST_F(CodecTest, FactoryMakesExactlyTheCodecTypesOnTheOwnersHeap) {
  for (TypeId id = 0; id < 80; ++id) {
    ValueCodec* codec = make(id);
    ASSERT_EQ(codec != nullptr, kCodecTypes.count(id) == 1) << id;
    if (codec == nullptr) continue;
    EXPECT_EQ(codec->GetType(), id);
    EXPECT_EQ(host::HostHeap::instance().holderOfBlock(dynamic_cast<void*>(codec)),
              object.holder());
    const std::string bytes = binaryOf(codec);  // nothing held yet: zeros or no bytes
    EXPECT_EQ(bytes, std::string(bytes.size(), '\0')) << id;
  }
  EXPECT_EQ(object.liveBlocks(), kCodecTypes.size());
  EXPECT_EQ(createValueCodec(owner(), 0xFFFFFFFF), nullptr);
  EXPECT_EQ(createValueCodec(nullptr, TROVE_TDWORD), nullptr);
  failAfter(0);
  EXPECT_EQ(make(TROVE_TDWORD), nullptr);
}

TEST(CodecRelease, OwnedMemoryGoesBackThroughTheCodecsOwner) {
  host::HostHeap& heap = host::HostHeap::instance();
  host::HeapObject maker, releaser;
  ValueCodec* codec = createValueCodec(static_cast<PropertiesMap*>(maker.get()), TROVE_TSTRING);
  ASSERT_EQ(codec->SetBinary("abc", 3), errOk);
  // The text goes back through the maker, the codec's block through the
  // owner passed in (here a stranger to it).
  heap.clearViolations();
  releaseValueCodec(static_cast<PropertiesMap*>(releaser.get()), codec);
  ASSERT_EQ(heap.violationCount(), 1u);
  EXPECT_EQ(heap.violations()[0].holder, releaser.holder());
  EXPECT_EQ(heap.violations()[0].expectedHolder, maker.holder());
  heap.clearViolations();
  releaseValueCodec(nullptr, nullptr);  // ignored
}

TEST_F(CodecTest, ScalarsCopyOutAndCompareOnlyTheirWidth) {
  const std::pair<TypeId, uint32_t> scalars[] = {
      {2, 1},  {3, 2},  {4, 4},  {5, 8},  {6, 4},  {7, 1},  {8, 2},
      {11, 4}, {13, 4}, {14, 4}, {15, 1}, {17, 2}, {18, 4}, {19, 8},
      {20, 4}, {27, 4}, {29, 8}, {30, 8}, {31, 8}, {32, 8}, {54, 4}};
  const std::string first = "\x11\x22\x33\x44\x55\x66\x77\x88\x99";
  const std::string last = "\x11\x22\x33\x44\x55\x66\x77\x99";  // differs in byte 8 only
  for (auto [type, width] : scalars) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    uint32_t required = 0;
    EXPECT_EQ(codec->GetBinary(nullptr, 0, &required), errOk);
    EXPECT_EQ(required, width);
    EXPECT_EQ(codec->SetBinary(first.data(), width), errOk);
    EXPECT_EQ(codec->SetBinary(first.data(), 9), errUnchanged);  // only the width is read
    EXPECT_EQ(codec->SetBinary(first.data(), width - 1), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary(nullptr, 8), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary(last.data(), 8), width == 8 ? errOk : errUnchanged);
    EXPECT_EQ(codec->GetBinary(nullptr, width, &required), errInvalidArgument);
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    required = 0;
    EXPECT_EQ(codec->GetBinary(buffer, width - 1, &required), errBufferTooSmall);
    EXPECT_EQ(required, width);
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(codec->GetBinary(buffer, sizeof buffer, nullptr), errOk);
    EXPECT_EQ(std::string(buffer, 16), last.substr(0, width) + std::string(16 - width, 'x'));
  }
  // A double is compared by its bits: -0.0 replaces 0.0, a NaN equals itself.
  ValueCodec* real = make(TROVE_TDOUBLE);
  EXPECT_EQ(real->SetBinary(trove::testing::bits(-0.0).data(), 8), errOk);
  EXPECT_EQ(real->SetBinary(trove::testing::bits(NAN).data(), 8), errOk);
  EXPECT_EQ(real->SetBinary(trove::testing::bits(NAN).data(), 8), errUnchanged);
  // A bool keeps the bits it was given.
  ValueCodec* flag = make(TROVE_TBOOL);
  EXPECT_EQ(flag->SetBinary(le(7, 4).data(), 4), errOk);
  EXPECT_EQ(flag->SetBinary(le(1, 4).data(), 4), errOk);
  EXPECT_EQ(binaryOf(flag), le(1, 4));
}

TEST_F(CodecTest, VoidHasNothingToGiveOrTake) {
  ValueCodec* codec = make(TROVE_TVOID);
  char buffer[4] = {'x', 'x', 'x', 'x'};
  uint32_t required = 9;
  EXPECT_EQ(codec->GetBinary(buffer, 4, &required), errOk);
  EXPECT_EQ(required, 0u);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(codec->SetBinary("abc", 3), errUnchanged);
}

TEST_F(CodecTest, StringBinaryEndsAtTheFirstNul) {
  ValueCodec* codec = make(TROVE_TSTRING);
  EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
  EXPECT_EQ(codec->SetBinary("abc", 3), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("abc", 4));
  EXPECT_EQ(codec->SetBinary("abc\0zz", 6), errUnchanged);
  EXPECT_EQ(object.liveBlocks(), 2u);  // the equal copy was freed
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(codec->GetBinary(buffer, 3, nullptr), errBufferTooSmall);
  EXPECT_EQ(buffer[0], 'x');
  // An empty text yields no bytes at all, not a lone NUL.
  EXPECT_EQ(codec->SetBinary("", 0), errOk);
  EXPECT_EQ(binaryOf(codec), "");
  EXPECT_EQ(codec->SetBinary("", 0), errUnchanged);
}

TEST_F(CodecTest, WideStringBinaryEndsOnAWholeZeroUnit) {
  ValueCodec* codec = make(TROVE_TWSTRING);
  EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
  EXPECT_EQ(codec->SetBinary(u"AB\0C", 8), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("A\0B\0\0\0", 6));
  EXPECT_EQ(codec->SetBinary(u"AB", 4), errUnchanged);
  EXPECT_EQ(codec->SetBinary(u"ABD", 6), errOk);
  EXPECT_EQ(codec->SetBinary(u"AB", 2), errOk);  // a prefix is a change
  EXPECT_EQ(binaryOf(codec), std::string("A\0\0\0", 4));
  // An odd byte count: 'A', 0x0042, then a zero unit.
  EXPECT_EQ(codec->SetBinary("A\0B", 3), errOk);
  EXPECT_EQ(binaryOf(codec), std::string("A\0B\0\0\0", 6));
  EXPECT_EQ(codec->SetBinary("A\0B", 3), errUnchanged);
  EXPECT_EQ(object.liveBlocks(), 2u);
  EXPECT_EQ(codec->SetBinary("", 0), errOk);
  EXPECT_EQ(binaryOf(codec), "");
}

TEST_F(CodecTest, BlockBinaryForBinaryAndPtr) {
  for (TypeId type : {TROVE_TBINARY, TROVE_TPTR}) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    EXPECT_EQ(codec->SetBinary(nullptr, 0), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary("\x01\0\x02", 3), errOk);
    EXPECT_EQ(codec->SetBinary("\x01\0\x02", 3), errUnchanged);
    EXPECT_EQ(codec->SetBinary("\x01\0\x03", 3), errOk);
    EXPECT_EQ(codec->SetBinary("\x01\0", 2), errOk);
    EXPECT_EQ(binaryOf(codec), std::string("\x01\0", 2));
    uint8_t buffer[4] = {9, 9, 9, 9};
    uint32_t required = 0;
    EXPECT_EQ(codec->GetBinary(buffer, 1, &required), errBufferTooSmall);
    EXPECT_EQ(required, 2u);
    EXPECT_EQ(buffer[0], 9);
    // Size 0 empties it without taking a block, and is never unchanged.
    const size_t before = allocations();
    EXPECT_EQ(codec->SetBinary("\x01", 0), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(codec->SetBinary("", 0), errOk);
    EXPECT_EQ(codec->FromText(""), errOk);
    EXPECT_EQ(binaryOf(codec), "");
    EXPECT_EQ(allocations(), before);
  }
}

TEST_F(CodecTest, FailedOrImpossibleSetsKeepTheValue) {
  const std::pair<TypeId, std::string> kept[] = {{TROVE_TSTRING, std::string("keep", 5)},
                                                 {TROVE_TWSTRING, std::string("k\0\0\0", 4)},
                                                 {TROVE_TBINARY, "keep"},
                                                 {TROVE_TPTR, "keep"}};
  for (const auto& [type, bytes] : kept) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    ASSERT_EQ(codec->SetBinary(bytes.data(), static_cast<uint32_t>(bytes.size())), errOk);
    failAfter(0);
    EXPECT_EQ(codec->SetBinary("other", 5), errOutOfMemory);
    EXPECT_EQ(codec->FromText("4142"), errOutOfMemory);
    stopFailing();
    EXPECT_EQ(binaryOf(codec), bytes);
  }
  // No 32-bit room for the terminator: refused before anything is taken.
  const size_t before = allocations();
  EXPECT_EQ(make(TROVE_TSTRING)->SetBinary("x", 0xFFFFFFFF), errInvalidArgument);
  ValueCodec* wide = make(TROVE_TWSTRING);
  EXPECT_EQ(wide->SetBinary(u"x", 0xFFFFFFFE), errInvalidArgument);
  EXPECT_EQ(wide->SetBinary(u"x", 0xFFFFFFFD), errInvalidArgument);
  EXPECT_EQ(allocations(), before + 2);  // the two codecs themselves
}

}  // namespace
