// How C++ types map to the store's value types. get<T> and set<T> accept
// exactly these types; every other conversion goes through the module's own
// text rules (a tSTRING "12" read as uint32_t gives 12).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "trove/abi.h"

namespace trove {

using Bytes = std::vector<std::uint8_t>;

template <typename T>
struct ValueType;  // undefined for unsupported types

template <>
struct ValueType<std::uint8_t> {
  static constexpr TroveTypeId id = TROVE_TBYTE;
};
template <>
struct ValueType<std::uint16_t> {
  static constexpr TroveTypeId id = TROVE_TWORD;
};
template <>
struct ValueType<std::uint32_t> {
  static constexpr TroveTypeId id = TROVE_TDWORD;
};
template <>
struct ValueType<std::uint64_t> {
  static constexpr TroveTypeId id = TROVE_TQWORD;
};
template <>
struct ValueType<std::int8_t> {
  static constexpr TroveTypeId id = TROVE_TSBYTE;
};
template <>
struct ValueType<std::int16_t> {
  static constexpr TroveTypeId id = TROVE_TSHORT;
};
template <>
struct ValueType<std::int32_t> {
  static constexpr TroveTypeId id = TROVE_TINT;
};
template <>
struct ValueType<std::int64_t> {
  static constexpr TroveTypeId id = TROVE_TLONGLONG;
};
template <>
struct ValueType<bool> {
  static constexpr TroveTypeId id = TROVE_TBOOL;
};
template <>
struct ValueType<char> {
  static constexpr TroveTypeId id = TROVE_TCHAR;
};
template <>
struct ValueType<double> {
  static constexpr TroveTypeId id = TROVE_TDOUBLE;
};
template <>
struct ValueType<std::string> {
  static constexpr TroveTypeId id = TROVE_TSTRING;
};
template <>
struct ValueType<std::u16string> {
  static constexpr TroveTypeId id = TROVE_TWSTRING;
};
template <>
struct ValueType<Bytes> {
  static constexpr TroveTypeId id = TROVE_TBINARY;
};

template <typename T>
inline constexpr bool isScalarValue = std::is_arithmetic_v<T>;

// The type's name as it stands in the store file ("tDWORD"); "" for ids
// without a name.
std::string_view typeName(TroveTypeId type);
// The id of a type name, or 0 when there is none. Case-sensitive, as in the file.
TroveTypeId typeFromName(std::string_view name);

}  // namespace trove
