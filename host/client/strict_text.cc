#include "trove/client/strict_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "trove/client/error.h"
#include "trove/result_codes.h"
#include "unicode_text.h"

namespace trove {

namespace {

struct IntegerRange {
  bool isSigned;
  unsigned width;  // bytes
};

std::optional<IntegerRange> integerRange(TroveTypeId type) {
  switch (type) {
    case TROVE_TBYTE:
      return IntegerRange{false, 1};
    case TROVE_TWORD:
      return IntegerRange{false, 2};
    case TROVE_TQWORD:
    case TROVE_TDATA:
    case TROVE_TDATETIME:
      return IntegerRange{false, 8};
    case TROVE_TSBYTE:
      return IntegerRange{true, 1};
    case TROVE_TSHORT:
      return IntegerRange{true, 2};
    case TROVE_TERROR:
    case TROVE_TINT:
    case TROVE_TLONG:
      return IntegerRange{true, 4};
    case TROVE_TLONGLONG:
      return IntegerRange{true, 8};
    case TROVE_TDWORD:
    case TROVE_TUINT:
    case TROVE_TIID:
    case TROVE_TPID:
    case TROVE_TORIG_ID:
    case TROVE_TOS_ID:
    case TROVE_TVID:
    case TROVE_TPROPID:
    case TROVE_TVERSION:
    case TROVE_TCODEPAGE:
    case TROVE_TLCID:
    case TROVE_TTYPE_ID:
      return IntegerRange{false, 4};
    default:
      return std::nullopt;
  }
}

uint64_t maximumOf(IntegerRange range) {
  const unsigned bits = range.width * 8 - (range.isSigned ? 1 : 0);
  return bits == 64 ? std::numeric_limits<uint64_t>::max() : (uint64_t{1} << bits) - 1;
}

int64_t minimumOf(IntegerRange range) {
  return range.isSigned ? -static_cast<int64_t>(maximumOf(range)) - 1 : 0;
}

[[noreturn]] void refuse(TroveTypeId type, std::string_view text) {
  throw Error(errInvalidArgument, "\"" + std::string(text) + "\" is not a " +
                                      std::string(typeName(type)) + " value: expected " +
                                      strictTextForm(type));
}

template <typename T>
Bytes binaryOf(T value) {
  Bytes bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

Bytes parseInteger(TroveTypeId type, IntegerRange range, std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) {
    if (!range.isSigned) refuse(type, text);
    digits.remove_prefix(1);
  }
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    base = 16;
    digits.remove_prefix(2);
  }
  // from_chars takes neither a sign nor a prefix here: both were consumed.
  uint64_t magnitude = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  if (digits.empty() || digits[0] == '+' || digits[0] == '-' || error != std::errc() ||
      end != digits.data() + digits.size()) {
    refuse(type, text);
  }
  const uint64_t limit = negative ? maximumOf(range) + 1 : maximumOf(range);
  if (magnitude > limit) refuse(type, text);
  const uint64_t bits = negative ? ~magnitude + 1 : magnitude;  // two's complement
  Bytes bytes = binaryOf(bits);
  bytes.resize(range.width);  // little-endian: the low bytes come first
  return bytes;
}

Bytes parseDouble(TroveTypeId type, std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || text[0] == '+' || error != std::errc() || end != text.data() + text.size()) {
    refuse(type, text);
  }
  return binaryOf(value);
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

Bytes parseHexBlock(TroveTypeId type, std::string_view text) {
  if (text.size() % 2) refuse(type, text);
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    const int high = hexDigit(text[i]), low = hexDigit(text[i + 1]);
    if (high < 0 || low < 0) refuse(type, text);
    bytes.push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return bytes;
}

// Whether `text` is well-formed UTF-8 (no overlong forms, no surrogates).
bool validUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    if (length == 0 || i + length > text.size()) return false;
    char32_t cp = lead & (0x7F >> length);
    for (size_t k = 1; k < length; ++k) {
      if ((byte(i + k) & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    if ((length == 3 && (cp < 0x800 || (cp >= 0xD800 && cp < 0xE000))) ||
        (length == 4 && (cp < 0x10000 || cp > 0x10FFFF))) {
      return false;
    }
    i += length;
  }
  return true;
}

}  // namespace

std::string strictTextForm(TroveTypeId type) {
  if (const auto range = integerRange(type)) {
    return "a whole number from " + std::to_string(minimumOf(*range)) + " to " +
           std::to_string(maximumOf(*range)) + ", in decimal or as 0x hexadecimal";
  }
  switch (type) {
    case TROVE_TDOUBLE:
      return "a decimal number such as 1.5, -2e-3, inf or nan";
    case TROVE_TBOOL:
      return "true, false, 1 or 0";
    case TROVE_TCHAR:
      return "exactly one character (byte)";
    case TROVE_TBINARY:
    case TROVE_TPTR:
      return "pairs of hexadecimal digits, such as 00FF10";
    case TROVE_TWSTRING:
      return "UTF-8 text";
    case TROVE_TSTRING:
      return "any text";
    case TROVE_TVOID:
    case TROVE_TFUNC_PTR:
      return "an empty text (the type holds nothing the file keeps)";
    default:
      return "nothing: the type has no text form";
  }
}

Bytes parseStrictText(TroveTypeId type, std::string_view text) {
  if (const auto range = integerRange(type)) return parseInteger(type, *range, text);
  switch (type) {
    case TROVE_TDOUBLE:
      return parseDouble(type, text);
    case TROVE_TBOOL:
      if (text == "true" || text == "1") return binaryOf(uint32_t{1});
      if (text == "false" || text == "0") return binaryOf(uint32_t{0});
      refuse(type, text);
    case TROVE_TCHAR:
      if (text.size() != 1) refuse(type, text);
      return Bytes{static_cast<uint8_t>(text[0])};
    case TROVE_TBINARY:
    case TROVE_TPTR:
      return parseHexBlock(type, text);
    case TROVE_TWSTRING: {
      if (!validUtf8(text)) refuse(type, text);
      const std::u16string wide = client_detail::utf16FromUtf8(text);
      Bytes bytes(wide.size() * 2);
      if (!wide.empty()) std::memcpy(bytes.data(), wide.data(), bytes.size());
      return bytes;
    }
    case TROVE_TSTRING:
      return Bytes(text.begin(), text.end());
    case TROVE_TVOID:
      if (!text.empty()) refuse(type, text);
      return {};
    case TROVE_TFUNC_PTR:
      if (!text.empty()) refuse(type, text);
      return Bytes(8, 0);
    default:
      refuse(type, text);
  }
}

std::optional<std::string> storedTextLoss(TroveTypeId type, std::string_view text) {
  if (type == TROVE_TDOUBLE) {
    double value = 0;
    std::memcpy(&value, parseStrictText(type, text).data(), sizeof value);
    if (std::isnan(value)) return std::nullopt;
    // The file keeps "%lf": six decimals. The point is pinned by the C locale
    // the tool and the module's default run in.
    char stored[400];
    std::snprintf(stored, sizeof stored, "%lf", value);
    if (std::strtod(stored, nullptr) == value) return std::nullopt;
    return "the store keeps six decimals: " + std::string(text) + " is kept as " + stored;
  }
  if (type == TROVE_TWSTRING) {
    for (char c : text) {
      if (static_cast<unsigned char>(c) >= 0xF0) {
        return "characters outside the Basic Multilingual Plane are kept as separate "
               "surrogates, which other XML readers refuse";
      }
    }
  }
  return std::nullopt;
}

}  // namespace trove
