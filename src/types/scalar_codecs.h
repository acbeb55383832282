// The codec families that hold one fixed-width value: numbers, bool, the two
// characters, double, function pointer, and the empty tVOID.
#pragma once

#include <cstdint>
#include <cstring>

#include "types/copy_out.h"
#include "types/value_codec.h"

namespace trove {

// Binary side of every fixed-width family: `value` holds the bytes exactly as
// the caller gave them (little-endian, as in memory).
template <typename T>
class ScalarCodec : public ValueCodec {
 public:
  int32_t GetBinary(void* buffer, uint32_t size, uint32_t* required) const override {
    return copyValueOut(&value, sizeof(T), buffer, size, required);
  }

  // Compared byte for byte, so that a double's -0.0 replaces 0.0 and a NaN
  // equals the same NaN.
  int32_t SetBinary(const void* data, uint32_t size) override {
    if (data == nullptr || size < sizeof(T)) return errInvalidArgument;
    if (std::memcmp(&value, data, sizeof(T)) == 0) return errUnchanged;
    std::memcpy(&value, data, sizeof(T));
    return errOk;
  }

 protected:
  T value{};
};

// tBYTE, tWORD, the 32-bit unsigned ids and the 64-bit ones.
template <TypeId Id, typename T>
class UnsignedCodec final : public ScalarCodec<T> {
 public:
  TypeId GetType() const override { return Id; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

// tSBYTE, tSHORT, tERROR, tINT, tLONG, tLONGLONG.
template <TypeId Id, typename T>
class SignedCodec final : public ScalarCodec<T> {
 public:
  TypeId GetType() const override { return Id; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

// tBOOL: 32 bits, 0 is false and anything else true.
class BoolCodec final : public ScalarCodec<uint32_t> {
 public:
  TypeId GetType() const override { return TROVE_TBOOL; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

// tCHAR: one 8-bit character.
class CharCodec final : public ScalarCodec<uint8_t> {
 public:
  TypeId GetType() const override { return TROVE_TCHAR; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

// tWCHAR: one 16-bit character, without a text form.
class WideCharCodec final : public ScalarCodec<uint16_t> {
 public:
  TypeId GetType() const override { return TROVE_TWCHAR; }
  int32_t ToText(char*, uint32_t, uint32_t*) const override { return errUnspecified; }
  int32_t FromText(const char*) override { return errUnspecified; }
};

// tDOUBLE.
class DoubleCodec final : public ScalarCodec<double> {
 public:
  TypeId GetType() const override { return TROVE_TDOUBLE; }
  int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const override;
  int32_t FromText(const char* text) override;
};

// tFUNC_PTR: 64 bits that mean nothing outside the process; no text.
class FuncPtrCodec final : public ScalarCodec<uint64_t> {
 public:
  TypeId GetType() const override { return TROVE_TFUNC_PTR; }
  int32_t ToText(char*, uint32_t, uint32_t* required) const override {
    if (required != nullptr) *required = 0;
    return errOk;
  }
  int32_t FromText(const char*) override { return errOk; }
};

// tVOID: no value at all.
class VoidCodec final : public ValueCodec {
 public:
  TypeId GetType() const override { return TROVE_TVOID; }
  int32_t GetBinary(void*, uint32_t, uint32_t* required) const override {
    if (required != nullptr) *required = 0;
    return errOk;
  }
  int32_t SetBinary(const void*, uint32_t) override { return errUnchanged; }
  int32_t ToText(char*, uint32_t, uint32_t* required) const override {
    if (required != nullptr) *required = 0;
    return errOk;
  }
  int32_t FromText(const char*) override { return errOk; }
};

}  // namespace trove
