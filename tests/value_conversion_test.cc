// Every supported type read as every other supported type. A stored value is
// written out as text by its own type and read back by the wanted one, so the
// expectation for each pair follows from the source's text and the reading
// rules of the wanted type, which this file states independently.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "registry_fixture.h"

namespace registry_test {
namespace {

std::string le(uint64_t value, size_t width) {
  std::string bytes(width, '\0');
  std::memcpy(bytes.data(), &value, width);
  return bytes;
}

struct Source {
  uint32_t type;
  std::string binary;  // what is stored
  std::string text;    // how the type writes it
};

// One sample per supported type.
std::vector<Source> sources() {
  double twoAndAHalf = 2.5;
  std::string doubleBytes(8, '\0');
  std::memcpy(doubleBytes.data(), &twoAndAHalf, 8);
  return {
      {TROVE_TVOID, "", ""},
      {TROVE_TBYTE, le(200, 1), "200"},
      {TROVE_TWORD, le(300, 2), "300"},
      {TROVE_TDWORD, le(70000, 4), "70000"},
      {TROVE_TQWORD, le(5000000000ull, 8), "5000000000"},
      {TROVE_TBOOL, le(1, 4), "1"},
      {TROVE_TCHAR, "Z", "Z"},
      {TROVE_TWCHAR, le(u'W', 2), ""},  // has no text form
      {TROVE_TSTRING, std::string("12") + '\0', "12"},
      {TROVE_TWSTRING,
       std::string("1\0"
                   "2\0"
                   "\0\0",
                   6),
       "12"},
      {TROVE_TERROR, le(static_cast<uint32_t>(-5), 4), "-5"},
      {TROVE_TPTR, "\xAB\x01", "AB01"},
      {TROVE_TINT, le(static_cast<uint32_t>(-5), 4), "-5"},
      {TROVE_TUINT, le(7, 4), "7"},
      {TROVE_TSBYTE, le(static_cast<uint8_t>(-3), 1), "-3"},
      {TROVE_TSHORT, le(1000, 2), "1000"},
      {TROVE_TLONG, le(static_cast<uint32_t>(-5), 4), "-5"},
      {TROVE_TLONGLONG, le(static_cast<uint64_t>(-7), 8), "-7"},
      {TROVE_TIID, le(7, 4), "7"},
      {TROVE_TPID, le(7, 4), "7"},
      {TROVE_TORIG_ID, le(7, 4), "7"},
      {TROVE_TOS_ID, le(7, 4), "7"},
      {TROVE_TVID, le(7, 4), "7"},
      {TROVE_TPROPID, le(7, 4), "7"},
      {TROVE_TVERSION, le(7, 4), "7"},
      {TROVE_TCODEPAGE, le(1200, 4), "1200"},
      {TROVE_TLCID, le(7, 4), "7"},
      {TROVE_TDATA, le(9, 8), "9"},
      {TROVE_TDATETIME, le(9, 8), "9"},
      {TROVE_TFUNC_PTR, le(0x1122334455667788ull, 8), ""},
      {TROVE_TDOUBLE, doubleBytes, "2.500000"},
      {TROVE_TBINARY, "\xAB\x01", "AB01"},
      {TROVE_TTYPE_ID, le(54, 4), "54"},
  };
}

struct Expected {
  int32_t result = errOk;
  std::string binary;
};

Expected refused() {
  return {errInvalidArgument, {}};
}

bool isHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// Digits of `text` in `base` up to its end; nullopt when something else follows.
std::optional<unsigned long long> wholeNumber(const std::string& text, int base, bool* negative,
                                              bool* overflow) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  *negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    *negative = text[i] == '-';
    ++i;
  }
  if (base == 16 && i + 1 < text.size() && text[i] == '0' && (text[i + 1] | 0x20) == 'x' &&
      i + 2 < text.size() && isHex(text[i + 2])) {
    i += 2;
  }
  unsigned long long magnitude = 0;
  *overflow = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0'
                : (base == 16 && isHex(c))                  ? (c | 0x20) - 'a' + 10
                                                            : -1;
    if (digit < 0) return std::nullopt;
    if (magnitude > (~0ull - digit) / base) *overflow = true;
    magnitude = magnitude * base + digit;
  }
  return magnitude;
}

// The 32-bit unsigned reading: decimal, else hexadecimal; a negative number
// wraps, one beyond 32 bits gives the maximum.
std::optional<uint32_t> unsigned32(const std::string& text) {
  for (int base : {10, 16}) {
    bool negative = false;
    bool overflow = false;
    std::optional<unsigned long long> magnitude = wholeNumber(text, base, &negative, &overflow);
    if (!magnitude) continue;
    uint32_t value = overflow || *magnitude > 0xFFFFFFFFull
                         ? 0xFFFFFFFFu
                         : static_cast<uint32_t>(negative ? 0 - *magnitude : *magnitude);
    if (base == 16 && value == 0xFFFFFFFFu) return std::nullopt;
    return value;
  }
  return std::nullopt;
}

std::optional<uint64_t> unsigned64(const std::string& text) {
  for (int base : {10, 16}) {
    bool negative = false;
    bool overflow = false;
    std::optional<unsigned long long> magnitude = wholeNumber(text, base, &negative, &overflow);
    if (!magnitude) continue;
    uint64_t value = overflow ? ~0ull : negative ? 0 - *magnitude : *magnitude;
    if (base == 16 && value == ~0ull) return std::nullopt;
    return value;
  }
  return std::nullopt;
}

std::optional<int64_t> signedReading(const std::string& text, int64_t low, int64_t high) {
  for (int base : {10, 16}) {
    bool negative = false;
    bool overflow = false;
    std::optional<unsigned long long> magnitude = wholeNumber(text, base, &negative, &overflow);
    if (!magnitude) continue;
    int64_t value;
    if (overflow || *magnitude > static_cast<unsigned long long>(high)) {
      value = negative ? low : high;
    } else {
      value = negative ? -static_cast<int64_t>(*magnitude) : static_cast<int64_t>(*magnitude);
    }
    if (base == 16 && (value == low || value == high)) return std::nullopt;
    return value;
  }
  return std::nullopt;
}

Expected readAs(uint32_t type, const std::string& text) {
  switch (type) {
    case TROVE_TVOID:
      return {errOk, ""};
    case TROVE_TFUNC_PTR:
      return {errOk, le(0, 8)};
    case TROVE_TWCHAR:
      return {errUnspecified, {}};
    case TROVE_TCHAR:
      return {errOk, std::string(1, text.empty() ? '\0' : text[0])};
    case TROVE_TSTRING:
      return {errOk, text.empty() ? "" : text + '\0'};
    case TROVE_TWSTRING: {
      std::string wide;
      for (char c : text) wide += std::string{c, '\0'};
      return {errOk, text.empty() ? "" : wide + std::string(2, '\0')};
    }
    case TROVE_TBINARY:
    case TROVE_TPTR: {
      if (text.size() % 2 != 0) return refused();
      std::string bytes;
      for (size_t i = 0; i < text.size(); i += 2) {
        if (!isHex(text[i]) || !isHex(text[i + 1])) return refused();
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
      }
      return {errOk, bytes};
    }
    case TROVE_TBOOL: {
      size_t start = text.find_first_not_of(" \t\n\v\f\r");
      std::string token =
          start == std::string::npos
              ? ""
              : text.substr(start, text.find_first_of(" \t\n\v\f\r", start) - start);
      if (token == "true") return {errOk, le(1, 4)};
      if (token == "false") return {errOk, le(0, 4)};
      if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return refused();
      unsigned long long value = std::strtoull(text.c_str(), nullptr, 0);
      return {errOk, le(value > 0xFFFFFFFFull ? 0xFFFFFFFFull : value, 4)};
    }
    case TROVE_TDOUBLE: {
      if (text.find_first_not_of(" \t\n\v\f\r") == std::string::npos) return refused();
      double value = 0.0;
      std::sscanf(text.c_str(), "%lf", &value);
      std::string bytes(8, '\0');
      std::memcpy(bytes.data(), &value, 8);
      return {errOk, bytes};
    }
    case TROVE_TQWORD:
    case TROVE_TDATA:
    case TROVE_TDATETIME: {
      std::optional<uint64_t> value = unsigned64(text);
      return value ? Expected{errOk, le(*value, 8)} : refused();
    }
    case TROVE_TBYTE:
    case TROVE_TWORD: {
      std::optional<uint32_t> value = unsigned32(text);
      uint32_t limit = type == TROVE_TBYTE ? 255 : 65535;
      if (!value || *value > limit) return refused();
      return {errOk, le(*value, type == TROVE_TBYTE ? 1 : 2)};
    }
    case TROVE_TSBYTE:
    case TROVE_TSHORT:
    case TROVE_TERROR:
    case TROVE_TINT:
    case TROVE_TLONG: {
      std::optional<int64_t> value = signedReading(text, INT32_MIN, INT32_MAX);
      size_t width = type == TROVE_TSBYTE ? 1 : type == TROVE_TSHORT ? 2 : 4;
      int64_t limit = type == TROVE_TSBYTE ? 127 : type == TROVE_TSHORT ? 32767 : INT32_MAX;
      if (!value || *value > limit) return refused();
      return {errOk, le(static_cast<uint64_t>(*value), width)};
    }
    case TROVE_TLONGLONG: {
      std::optional<int64_t> value = signedReading(text, INT64_MIN, INT64_MAX);
      return value ? Expected{errOk, le(static_cast<uint64_t>(*value), 8)} : refused();
    }
    default: {  // the other 32-bit unsigned types
      std::optional<uint32_t> value = unsigned32(text);
      return value ? Expected{errOk, le(*value, 4)} : refused();
    }
  }
}

class ValueConversionTest : public RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    load();
  }
};

TEST_F(ValueConversionTest, EveryTypeReadsAsEveryOtherThroughItsText) {
  std::vector<Source> all = sources();
  ASSERT_EQ(all.size(), 33u);
  for (const Source& source : all) {
    std::string name = "v" + std::to_string(source.type);
    ASSERT_EQ(setValue(0, name.c_str(), source.type, source.binary.data(),
                       static_cast<uint32_t>(source.binary.size()), 1),
              errOk)
        << name;
  }

  for (const Source& source : all) {
    std::string name = "v" + std::to_string(source.type);
    for (const Source& target : all) {
      SCOPED_TRACE("type " + std::to_string(source.type) + " read as " +
                   std::to_string(target.type));
      Expected expected;
      if (target.type == source.type) {
        expected = {errOk, source.binary};
      } else if (source.type == TROVE_TWCHAR) {
        expected = {errUnspecified, {}};  // no text to carry the value over
      } else {
        expected = readAs(target.type, source.text);
      }

      unsigned char buffer[64];
      std::memset(buffer, 0xEE, sizeof(buffer));
      uint32_t required = 0xFFFFFFFF;
      uint32_t type = target.type;
      int32_t result = getValue(&required, 0, name.c_str(), &type, buffer, sizeof(buffer));
      ASSERT_EQ(result, expected.result);
      EXPECT_EQ(type, target.type);
      if (result < 0) {
        continue;
      }
      ASSERT_EQ(required, expected.binary.size());
      EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), required), expected.binary);
      EXPECT_EQ(buffer[required], 0xEE) << "written beyond the value";
    }
  }
}

TEST_F(ValueConversionTest, SizeQueriesWorkThroughTheConversionToo) {
  ASSERT_EQ(setValue(0, "s", TROVE_TSTRING, "4000000000", 10, 1), errOk);
  for (uint32_t type : {TROVE_TQWORD, TROVE_TDWORD, TROVE_TWSTRING, TROVE_TBINARY}) {
    SCOPED_TRACE(type);
    uint32_t required = 0;
    uint32_t asked = type;
    EXPECT_EQ(getValue(&required, 0, "s", &asked, nullptr, 0), errOk);
    Expected expected = readAs(type, "4000000000");
    EXPECT_EQ(required, expected.binary.size());
    std::string small(required, '\0');
    if (required > 0) {
      EXPECT_EQ(getValue(&required, 0, "s", &asked, small.data(), required - 1), errBufferTooSmall);
    }
    EXPECT_EQ(getValue(&required, 0, "s", &asked, nullptr, 1), errInvalidArgument);
  }
}

TEST_F(ValueConversionTest, WritingInAnotherTypeStoresInTheStoredType) {
  struct Case {
    uint32_t stored;
    std::string initial;
    uint32_t written;
    std::string data;
    int32_t result;
    std::string after;  // the stored binary afterwards
  };
  const std::vector<Case> cases = {
      {TROVE_TDWORD, le(1, 4), TROVE_TSTRING, "0x1F", errOk, le(31, 4)},
      {TROVE_TDWORD, le(1, 4), TROVE_TBOOL, le(7, 4), errOk, le(1, 4)},
      {TROVE_TSTRING, "x" + std::string(1, '\0'), TROVE_TDWORD, le(42, 4), errOk,
       "42" + std::string(1, '\0')},
      {TROVE_TSTRING, "x" + std::string(1, '\0'), TROVE_TDOUBLE, le(0, 8), errOk,
       "0.000000" + std::string(1, '\0')},
      {TROVE_TBYTE, le(1, 1), TROVE_TDWORD, le(256, 4), errInvalidArgument, le(1, 1)},
      {TROVE_TBOOL, le(0, 4), TROVE_TSTRING, "true", errOk, le(1, 4)},
      // 4660 is the text "4660", read as the two bytes 0x46 0x60.
      {TROVE_TBINARY, "\x01", TROVE_TWORD, le(4660, 2), errOk, "\x46\x60"},
      {TROVE_TINT, le(3, 4), TROVE_TWCHAR, le(u'x', 2), errUnspecified, le(3, 4)},
      {TROVE_TCHAR, "a", TROVE_TSTRING, "bcd", errOk, "b"},
      {TROVE_TDOUBLE, le(0, 8), TROVE_TSTRING, "", errInvalidArgument, le(0, 8)},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE("case " + std::to_string(i));
    std::string name = "w" + std::to_string(i);
    ASSERT_EQ(setValue(0, name.c_str(), c.stored, c.initial.data(),
                       static_cast<uint32_t>(c.initial.size()), 1),
              errOk);
    clearChanged();
    EXPECT_EQ(setValue(0, name.c_str(), c.written, c.data.data(),
                       static_cast<uint32_t>(c.data.size()), 0),
              c.result);
    EXPECT_EQ(changed(), c.result >= 0 ? 1u : 0u);
    unsigned char buffer[32];
    uint32_t required = 0;
    uint32_t type = 0;
    ASSERT_EQ(getValue(&required, 0, name.c_str(), &type, buffer, sizeof(buffer)), errOk);
    EXPECT_EQ(type, c.stored);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), required), c.after);
  }
}

}  // namespace
}  // namespace registry_test
