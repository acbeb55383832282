// The type table, the codec factory and every codec family's binary and
// text forms, one table per direction.
#include <algorithm>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>

#include <locale.h>

#include "codec_fixture.h"

using namespace trove;
using trove::testing::binaryOf;
using trove::testing::bits;
using trove::testing::le;
using trove::testing::textOf;

namespace {

using CodecTest = trove::testing::HeapTest;

const std::set<TypeId> kCodecTypes = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                      12, 13, 14, 15, 17, 18, 19, 20, 21, 22, 23,
                                      24, 25, 26, 27, 28, 29, 30, 31, 32, 48, 54};

TEST_F(CodecTest, FactoryMakesExactlyTheCodecTypesOnTheOwnersHeap) {
  for (TypeId id = 0; id < 80; ++id) {
    ValueCodec* codec = make(id);
    ASSERT_EQ(codec != nullptr, kCodecTypes.count(id) == 1) << id;
    if (codec == nullptr) continue;
    EXPECT_EQ(codec->GetType(), id);
    const std::string bytes = binaryOf(codec);  // nothing held yet: zeros or no bytes
    EXPECT_EQ(bytes, std::string(bytes.size(), '\0')) << id;
  }
  EXPECT_EQ(object.liveBlocks(), kCodecTypes.size());
  failAfter(0);
  EXPECT_EQ(make(TROVE_TDWORD), nullptr);
}

TEST_F(CodecTest, ScalarsCopyOutAndCompareOnlyTheirWidth) {
  const std::string first = "\x11\x22\x33\x44\x55\x66\x77\x88\x99";
  const std::string last = "\x11\x22\x33\x44\x55\x66\x77\x99";  // differs in byte 8 only
  // clang-format off
  const std::pair<TypeId, uint32_t> scalars[] = {
      {2, 1}, {3, 2}, {4, 4}, {5, 8}, {6, 4}, {7, 1}, {8, 2}, {11, 4}, {13, 4}, {14, 4}, {15, 1},
      {17, 2}, {18, 4}, {19, 8}, {20, 4}, {27, 4}, {29, 8}, {30, 8}, {31, 8}, {32, 8}, {54, 4}};
  // clang-format on
  for (auto [type, width] : scalars) {
    SCOPED_TRACE(typeNameTable[type]);
    ValueCodec* codec = make(type);
    EXPECT_EQ(binaryOf(codec), std::string(width, '\0'));
    EXPECT_EQ(codec->SetBinary(first.data(), width), errOk);
    EXPECT_EQ(codec->SetBinary(first.data(), 9), errUnchanged);  // only the width is read
    EXPECT_EQ(codec->SetBinary(first.data(), width - 1), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary(nullptr, 8), errInvalidArgument);
    EXPECT_EQ(codec->SetBinary(last.data(), 8), width == 8 ? errOk : errUnchanged);
    std::string buffer(16, 'x');
    EXPECT_EQ(codec->GetBinary(buffer.data(), width - 1, nullptr), errBufferTooSmall);
    EXPECT_EQ(codec->GetBinary(buffer.data(), 16, nullptr), errOk);
    EXPECT_EQ(buffer, last.substr(0, width) + std::string(16 - width, 'x'));
  }
  // A double is compared by its bits: -0.0 replaces 0.0, a NaN equals itself;
  // a bool keeps the bits it was given.
  ValueCodec* real = make(TROVE_TDOUBLE);
  EXPECT_EQ(real->SetBinary(bits(-0.0).data(), 8), errOk);
  EXPECT_EQ(real->SetBinary(bits(NAN).data(), 8), errOk);
  EXPECT_EQ(real->SetBinary(bits(NAN).data(), 8), errUnchanged);
  ValueCodec* flag = make(TROVE_TBOOL);
  EXPECT_EQ(flag->SetBinary(le(7, 4).data(), 4), errOk);
  EXPECT_EQ(binaryOf(flag), le(7, 4));
  EXPECT_EQ(make(TROVE_TVOID)->SetBinary("abc", 3), errUnchanged);
}

TEST_F(CodecTest, VariableSizeBinaryForms) {
  // A string ends at its first NUL; an empty one has no bytes at all.
  ValueCodec* text = make(TROVE_TSTRING);
  EXPECT_EQ(text->SetBinary("abc", 3), errOk);
  EXPECT_EQ(binaryOf(text), std::string("abc", 4));
  EXPECT_EQ(text->SetBinary("abc\0zz", 6), errUnchanged);
  EXPECT_EQ(text->SetBinary("", 0), errOk);
  EXPECT_EQ(binaryOf(text), "");
  // A wide string ends on a whole zero unit, even from an odd byte count.
  ValueCodec* wide = make(TROVE_TWSTRING);
  EXPECT_EQ(wide->SetBinary(u"AB\0C", 8), errOk);
  EXPECT_EQ(wide->SetBinary(u"A", 2), errOk);  // a prefix is a change
  EXPECT_EQ(wide->SetBinary("A\0B", 3), errOk);
  EXPECT_EQ(binaryOf(wide), std::string("A\0B\0\0\0", 6));
  EXPECT_EQ(wide->SetBinary("A\0B", 3), errUnchanged);
  EXPECT_EQ(object.liveBlocks(), 4u) << "equal copies are freed";
  // A block is bytes as they come; size 0 empties it without taking a block.
  for (TypeId type : {TROVE_TBINARY, TROVE_TPTR}) {
    ValueCodec* block = make(type);
    EXPECT_EQ(block->SetBinary("\x01\0\x02", 3), errOk);
    EXPECT_EQ(block->SetBinary("\x01\0\x02", 3), errUnchanged);
    EXPECT_EQ(block->SetBinary("\x01\0", 2), errOk);
    EXPECT_EQ(binaryOf(block), std::string("\x01\0", 2));
    const size_t before = allocations();
    EXPECT_EQ(block->SetBinary("\x01", 0), errOk);
    EXPECT_EQ(block->SetBinary("", 0), errOk);  // never unchanged
    EXPECT_EQ(block->FromText(""), errOk);
    EXPECT_EQ(binaryOf(block), "");
    EXPECT_EQ(allocations(), before);
  }
  for (TypeId type : {TROVE_TSTRING, TROVE_TWSTRING, TROVE_TBINARY, TROVE_TPTR}) {
    EXPECT_EQ(make(type)->SetBinary(nullptr, 0), errInvalidArgument) << type;
  }
}

TEST_F(CodecTest, FailedOrImpossibleSetsKeepTheValue) {
  // clang-format off
  const std::pair<TypeId, std::string> kept[] = {{TROVE_TSTRING, std::string("keep", 5)},
      {TROVE_TWSTRING, std::string("k\0\0\0", 4)}, {TROVE_TBINARY, "keep"}, {TROVE_TPTR, "keep"}};
  // clang-format on
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
  ValueCodec* text = make(TROVE_TSTRING);
  ValueCodec* wide = make(TROVE_TWSTRING);
  const size_t before = allocations();
  EXPECT_EQ(text->SetBinary("x", 0xFFFFFFFF), errInvalidArgument);
  EXPECT_EQ(wide->SetBinary(u"x", 0xFFFFFFFE), errInvalidArgument);
  EXPECT_EQ(wide->SetBinary(u"x", 0xFFFFFFFD), errInvalidArgument);
  EXPECT_EQ(allocations(), before);
}

std::string u16(std::u16string_view units) {
  return std::string(reinterpret_cast<const char*>(units.data()), 2 * units.size());
}

TEST_F(CodecTest, WritesText) {
  // clang-format off
  const struct {
    TypeId type;
    std::string binary;
    uint32_t required;
    std::string written;  // into a buffer of required + 1 bytes
  } cases[] = {
      {TROVE_TDWORD, le(4294967295), 10, "4294967295"},  // numbers: no terminator
      {TROVE_TINT, le(-1), 2, "-1"}, {TROVE_TSBYTE, le(0x80), 4, "-128"},
      {TROVE_TBYTE, le(255), 3, "255"}, {TROVE_TSHORT, le(0x8000), 6, "-32768"},
      {TROVE_TQWORD, le(-1), 20, "18446744073709551615"},
      {TROVE_TLONGLONG, le(uint64_t{1} << 63), 20, "-9223372036854775808"},
      {TROVE_TERROR, le(0x80000000), 11, "-2147483648"},
      {TROVE_TBOOL, le(7), 2, std::string("1\0", 2)},
      {TROVE_TBOOL, le(0), 2, std::string("0\0", 2)}, {TROVE_TCHAR, "A", 1, "A"},
      {TROVE_TDOUBLE, bits(0.1), 8, "0.100000"}, {TROVE_TDOUBLE, bits(0.0000004), 8, "0.000000"},
      {TROVE_TDOUBLE, bits(-INFINITY), 4, "-inf"}, {TROVE_TDOUBLE, bits(NAN), 3, "nan"},
      {TROVE_TSTRING, "h\xC3\xA9llo", 7, std::string("h\xC3\xA9llo\0", 7)},
      {TROVE_TSTRING, "", 0, ""},
      // UTF-8 one unit at a time: a surrogate pair gives two 3-byte forms.
      {TROVE_TWSTRING, u16(u"\u00E9\u20AC"), 6, std::string("\xC3\xA9\xE2\x82\xAC\0", 6)},
      {TROVE_TWSTRING, u16(u"\U0001F600"), 7, std::string("\xED\xA0\xBD\xED\xB8\x80\0", 7)},
      {TROVE_TWSTRING, "", 0, std::string("\0", 1)},  // a NUL when there is room
      {TROVE_TBINARY, "\x01\xAB", 5, "01AB"},  // room for a NUL never written
      {TROVE_TPTR, "\x01\xAB", 5, "01AB"}, {TROVE_TBINARY, "", 1, ""},
      {TROVE_TFUNC_PTR, le(0x12345678), 0, ""}, {TROVE_TVOID, "", 0, ""}};
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " " + c.written);
    ValueCodec* codec = make(c.type);
    ASSERT_GE(codec->SetBinary(c.binary.data(), static_cast<uint32_t>(c.binary.size())), 0);
    uint32_t required = 0xDEAD;
    EXPECT_EQ(codec->ToText(nullptr, 0, &required), errOk);
    EXPECT_EQ(required, c.required);
    std::string buffer(c.required + 1, 'X');
    EXPECT_EQ(codec->ToText(buffer.data(), c.required + 1, nullptr), errOk);
    EXPECT_EQ(buffer, c.written + std::string(c.required + 1 - c.written.size(), 'X'));
    buffer.assign(c.required + 1, 'X');  // one short (or none at all): nothing written
    EXPECT_EQ(codec->ToText(buffer.data(), std::max(c.required, 1u) - 1, nullptr),
              c.required == 0 ? errOk : errBufferTooSmall);
    EXPECT_EQ(buffer, std::string(c.required + 1, 'X'));
    if (c.required == 0) continue;
    EXPECT_EQ(codec->ToText(nullptr, 1, &required), errInvalidArgument);
  }
  EXPECT_EQ(make(TROVE_TWCHAR)->ToText(nullptr, 0, nullptr), errUnspecified);  // no text at all
}

TEST_F(CodecTest, ReadsText) {
  constexpr int32_t ok = errOk, no = errInvalidArgument;
  // clang-format off
  const struct {
    TypeId type;
    const char* text;
    int32_t result;
    std::string binary;  // afterwards; a failure keeps the value before (42)
  } cases[] = {
      // Integers: decimal, else the whole text in base 16; a minus wraps,
      // a decimal beyond the width saturates, a hexadecimal one is refused.
      {TROVE_TDWORD, "200", ok, le(200)}, {TROVE_TDWORD, "0x1F", ok, le(31)},
      {TROVE_TDWORD, "12abc", ok, le(0x12abc)}, {TROVE_TDWORD, "", ok, le(0)},
      {TROVE_TDWORD, "\t\n 0x10", ok, le(16)}, {TROVE_TDWORD, "-1", ok, le(0xFFFFFFFF)},
      {TROVE_TDWORD, "99999999999", ok, le(0xFFFFFFFF)}, {TROVE_TDWORD, "7 ", no},
      {TROVE_TDWORD, "0x", no}, {TROVE_TDWORD, "g", no}, {TROVE_TDWORD, "FFFFFFFF", no},
      {TROVE_TDWORD, "-0x1", no}, {TROVE_TBYTE, "ff", ok, le(255)}, {TROVE_TBYTE, "256", no},
      {TROVE_TBYTE, "-1", no}, {TROVE_TBYTE, "12abc", no}, {TROVE_TWORD, "1ffff", no},
      {TROVE_TQWORD, "99999999999999999999", ok, le(UINT64_MAX)},
      {TROVE_TQWORD, "-1", ok, le(UINT64_MAX)}, {TROVE_TQWORD, "FFFFFFFFF", ok, le(0xFFFFFFFFF)},
      {TROVE_TQWORD, "0x10000000000000000", no},
      {TROVE_TINT, "-0x10", ok, le(-16)}, {TROVE_TINT, "FF", ok, le(255)},
      {TROVE_TINT, "-2147483648", ok, le(0x80000000)},
      {TROVE_TINT, "99999999999", ok, le(INT32_MAX)},
      {TROVE_TINT, "-99999999999", ok, le(0x80000000)}, {TROVE_TINT, "7FFFFFFF", no},
      {TROVE_TINT, "-0x80000000", no}, {TROVE_TSBYTE, "-128", ok, le(0x80)},
      {TROVE_TSBYTE, "128", no}, {TROVE_TSBYTE, "-129", no}, {TROVE_TSBYTE, "FF", no},
      {TROVE_TSHORT, "-32768", ok, le(0x8000)}, {TROVE_TSHORT, "32768", no},
      {TROVE_TLONGLONG, "99999999999999999999", ok, le(INT64_MAX)},
      {TROVE_TLONGLONG, "-99999999999999999999", ok, le(uint64_t{1} << 63)},
      {TROVE_TLONGLONG, "7FFFFFFFFFFFFFFF", no}, {TROVE_TLONGLONG, "-0x8000000000000000", no},
      // Bool: a whole "true"/"false" token, else a C number at the start; never unchanged.
      {TROVE_TBOOL, "42", ok, le(42)}, {TROVE_TBOOL, "\ttrue\n", ok, le(1)},
      {TROVE_TBOOL, "false true", ok, le(0)}, {TROVE_TBOOL, "010", ok, le(8)},
      {TROVE_TBOOL, "0x10", ok, le(16)}, {TROVE_TBOOL, "12abc", ok, le(12)},
      {TROVE_TBOOL, "99999999999", ok, le(0xFFFFFFFF)}, {TROVE_TBOOL, "TRUE", no},
      {TROVE_TBOOL, "truex", no}, {TROVE_TBOOL, " 1", no}, {TROVE_TBOOL, "", no},
      {TROVE_TBOOL, "+1", no}, {TROVE_TCHAR, "xyz", ok, "x"}, {TROVE_TCHAR, "", ok, le(0)},
      // Double: sscanf's rules with a point; no number at the start keeps the value.
      {TROVE_TDOUBLE, "2.5e3", ok, bits(2500)}, {TROVE_TDOUBLE, "  -1.5xyz", ok, bits(-1.5)},
      {TROVE_TDOUBLE, "0x1.8p3", ok, bits(12)}, {TROVE_TDOUBLE, "1,5", ok, bits(1)},
      {TROVE_TDOUBLE, "-infinity", ok, bits(-INFINITY)}, {TROVE_TDOUBLE, "abc", ok, le(42)},
      {TROVE_TDOUBLE, "", no}, {TROVE_TDOUBLE, " \t\n", no},
      {TROVE_TSTRING, "h\xC3\xA9llo", ok, std::string("h\xC3\xA9llo\0", 7)},
      {TROVE_TSTRING, "*", errUnchanged, std::string("*\0", 2)},
      // Wide string: hexadecimal UTF-16 bytes; a bad text gives an empty one.
      {TROVE_TWSTRING, "e900ac20", ok, u16(u"\u00E9\u20AC") + le(0, 2)},
      {TROVE_TWSTRING, "414243", ok, u16(u"\u4241\u0043") + le(0, 2)},
      {TROVE_TWSTRING, "2A00", ok, u16(u"*") + le(0, 2)},  // never unchanged
      {TROVE_TWSTRING, "410", ok, ""}, {TROVE_TWSTRING, "4100zz00", ok, ""},
      // Blocks: hexadecimal bytes of either case, nothing else.
      {TROVE_TBINARY, "00FF10", ok, std::string("\x00\xFF\x10", 3)},
      {TROVE_TBINARY, "2A00000000000000", ok, le(42)},  // never unchanged
      {TROVE_TPTR, "a0", ok, "\xA0"}, {TROVE_TPTR, "", ok, ""}, {TROVE_TBINARY, "abc", no},
      {TROVE_TBINARY, "0g", no}, {TROVE_TPTR, "+1", no}, {TROVE_TFUNC_PTR, "7", ok, le(42)},
      {TROVE_TVOID, "7", ok, ""}, {TROVE_TWCHAR, "a", errUnspecified}};
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(typeNameTable[c.type]) + " '" + c.text + "'");
    ValueCodec* codec = make(c.type);
    const size_t width = binaryOf(codec).size();  // 0 for the variable-size families
    ASSERT_GE(codec->SetBinary(le(42).data(), 8), 0);
    const std::string before = binaryOf(codec);
    const int32_t result = codec->FromText(c.text);
    EXPECT_EQ(result, c.result);
    const std::string expected = result < 0 ? before : width ? c.binary.substr(0, width) : c.binary;
    EXPECT_EQ(binaryOf(codec), expected);
  }
  for (TypeId type : kCodecTypes) {  // no text at all: refused but by those without a text
    const bool none = type == TROVE_TFUNC_PTR || type == TROVE_TVOID || type == TROVE_TWCHAR;
    EXPECT_EQ(make(type)->FromText(nullptr) == errInvalidArgument, !none) << type;
  }
}

TEST_F(CodecTest, DoubleTextKeepsEveryDoubleAndThePointUnderAnyLocale) {
  // The largest magnitudes need 317 characters, all of them kept.
  ValueCodec* codec = make(TROVE_TDOUBLE);
  ASSERT_EQ(codec->SetBinary(bits(-DBL_MAX).data(), 8), errOk);
  const std::string huge = textOf(codec);
  EXPECT_EQ(huge.size(), 317u);
  EXPECT_EQ(huge.substr(0, 8) + huge.substr(310), "-1797693.000000");
  ASSERT_EQ(codec->FromText("0"), errOk);
  EXPECT_EQ(codec->FromText(huge.c_str()), errOk);
  EXPECT_EQ(binaryOf(codec), bits(-DBL_MAX));

  locale_t german = newlocale(LC_ALL_MASK, "de_DE.UTF-8", static_cast<locale_t>(0));
  if (german == static_cast<locale_t>(0)) GTEST_SKIP() << "locale de_DE.UTF-8 is not installed";
  char probe[32];
  // Process-wide, as a host might set it, then for this thread only (the
  // codec must give the thread its own locale back).
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  EXPECT_EQ(codec->FromText("2.5"), errOk);
  EXPECT_EQ(textOf(codec), "2.500000");
  std::setlocale(LC_ALL, "C");
  const locale_t previous = uselocale(german);
  EXPECT_EQ(codec->FromText("0.25"), errOk);
  EXPECT_EQ(textOf(codec), "0.250000");
  std::snprintf(probe, sizeof probe, "%lf", 0.5);
  EXPECT_STREQ(probe, "0,500000");
  uselocale(previous);
  freelocale(german);
}

}  // namespace
