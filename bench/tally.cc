#include "tally.h"

#include <cstdlib>
#include <cstring>

#include "trove/abi.h"

namespace trove_bench {

namespace {

uint64_t hashBytes(const void* data, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  uint64_t hash = 0xCBF29CE484222325ull;  // FNV-1a
  for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 0x100000001B3ull;
  return hash;
}

uint64_t mix(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

uint64_t entry(std::string_view name, uint32_t type, uint64_t content) {
  return mix(hashBytes(name.data(), name.size()) ^ (uint64_t{type} << 56) ^
             (content * 0x9E3779B97F4A7C15ull));
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// FNV-1a over the bytes that a text of hexadecimal pairs stands for.
uint64_t hashHexBytes(const char* text) {
  uint64_t hash = 0xCBF29CE484222325ull;
  for (; text[0] && text[1]; text += 2) {
    const int high = hexDigit(text[0]), low = hexDigit(text[1]);
    if (high < 0 || low < 0) break;
    hash = (hash ^ static_cast<unsigned>(high << 4 | low)) * 0x100000001B3ull;
  }
  return hash;
}

uint64_t doubleBits(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

}  // namespace

uint32_t typeOfElement(const char* element) {
  if (element[0] != 't') return 0;
  switch (element[1]) {
    case 'S':
      return std::strcmp(element, "tSTRING") == 0 ? TROVE_TSTRING : 0;
    case 'D':
      if (std::strcmp(element, "tDWORD") == 0) return TROVE_TDWORD;
      return std::strcmp(element, "tDOUBLE") == 0 ? TROVE_TDOUBLE : 0;
    case 'B':
      if (std::strcmp(element, "tBOOL") == 0) return TROVE_TBOOL;
      return std::strcmp(element, "tBINARY") == 0 ? TROVE_TBINARY : 0;
    case 'Q':
      return std::strcmp(element, "tQWORD") == 0 ? TROVE_TQWORD : 0;
    case 'I':
      return std::strcmp(element, "tINT") == 0 ? TROVE_TINT : 0;
    case 'W':
      return std::strcmp(element, "tWORD") == 0 ? TROVE_TWORD : 0;
    default:
      return 0;
  }
}

void Tally::key(std::string_view name) {
  ++keys;
  sum += mix(hashBytes(name.data(), name.size()));
}

void Tally::number(std::string_view name, uint32_t type, uint64_t bits) {
  ++values;
  sum += entry(name, type, bits);
}

void Tally::bytes(std::string_view name, uint32_t type, const void* data, size_t size) {
  ++values;
  sum += entry(name, type, hashBytes(data, size));
}

void Tally::binary(std::string_view name, uint32_t type, const void* data, size_t size) {
  uint64_t bits = 0;
  switch (type) {
    case TROVE_TWORD: {
      uint16_t value;
      std::memcpy(&value, data, sizeof value);
      return number(name, type, value);
    }
    case TROVE_TDWORD:
    case TROVE_TBOOL: {
      uint32_t value;
      std::memcpy(&value, data, sizeof value);
      return number(name, type, type == TROVE_TBOOL ? value != 0 : value);
    }
    case TROVE_TINT: {
      int32_t value;
      std::memcpy(&value, data, sizeof value);
      return number(name, type, static_cast<uint64_t>(static_cast<int64_t>(value)));
    }
    case TROVE_TQWORD:
    case TROVE_TDOUBLE:
      std::memcpy(&bits, data, sizeof bits);
      return number(name, type, bits);
    default:
      return bytes(name, type, data, size);
  }
}

void Tally::text(std::string_view name, const char* element, const char* content) {
  if (!content) content = "";
  const uint32_t type = typeOfElement(element);
  switch (type) {
    case TROVE_TWORD:
    case TROVE_TDWORD:
    case TROVE_TQWORD:
      return number(name, type, std::strtoull(content, nullptr, 10));
    case TROVE_TINT:
      return number(name, type, static_cast<uint64_t>(std::strtoll(content, nullptr, 10)));
    case TROVE_TBOOL:
      return number(name, type,
                    std::strcmp(content, "true") == 0 || std::strtoul(content, nullptr, 0) != 0);
    case TROVE_TDOUBLE:
      return number(name, type, doubleBits(std::strtod(content, nullptr)));
    case TROVE_TBINARY:
      ++values;
      sum += entry(name, type, hashHexBytes(content));
      return;
    default:
      return bytes(name, type, content, std::strlen(content));
  }
}

}  // namespace trove_bench
