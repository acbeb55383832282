#include "types/scalar_codecs.h"

#include <limits>

#include "types/number_text.h"

namespace trove {
namespace {

// 8-, 16- and 32-bit values are read as 32-bit numbers, 64-bit ones as 64-bit.
template <typename T>
constexpr unsigned readWidth() {
  return sizeof(T) == 8 ? 64 : 32;
}

}  // namespace

template <TypeId Id, typename T>
int32_t UnsignedCodec<Id, T>::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  char digits[24];
  const uint32_t length = writeUnsignedDecimal(this->value, digits);
  return copyValueOut(digits, length, buffer, size, required);
}

template <TypeId Id, typename T>
int32_t UnsignedCodec<Id, T>::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  uint64_t number = 0;
  if (!readUnsignedText(text, readWidth<T>(), &number)) return errInvalidArgument;
  if (number > std::numeric_limits<T>::max()) return errInvalidArgument;
  this->value = static_cast<T>(number);
  return errOk;
}

template <TypeId Id, typename T>
int32_t SignedCodec<Id, T>::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  char digits[24];
  const uint32_t length = writeSignedDecimal(this->value, digits);
  return copyValueOut(digits, length, buffer, size, required);
}

template <TypeId Id, typename T>
int32_t SignedCodec<Id, T>::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  int64_t number = 0;
  if (!readSignedText(text, readWidth<T>(), &number)) return errInvalidArgument;
  // tSBYTE and tSHORT refuse numbers below their range as well as above it:
  // cutting -200 to 8 bits would silently store 56.
  if (number > std::numeric_limits<T>::max() || number < std::numeric_limits<T>::min()) {
    return errInvalidArgument;
  }
  this->value = static_cast<T>(number);
  return errOk;
}

int32_t BoolCodec::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  const char* text = value != 0 ? "1" : "0";
  return copyValueOut(text, 2, buffer, size, required);
}

int32_t BoolCodec::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  const char* token = text;
  while (isCSpace(*token)) ++token;
  const char* tokenEnd = token;
  while (*tokenEnd != '\0' && !isCSpace(*tokenEnd)) ++tokenEnd;
  const auto tokenIs = [&](const char* word) {
    const std::size_t length = std::strlen(word);
    return static_cast<std::size_t>(tokenEnd - token) == length &&
           std::memcmp(token, word, length) == 0;
  };
  if (tokenIs("true")) {
    value = 1;
    return errOk;
  }
  if (tokenIs("false")) {
    value = 0;
    return errOk;
  }
  if (text[0] < '0' || text[0] > '9') return errInvalidArgument;
  const char* end = nullptr;
  value = static_cast<uint32_t>(scanUnsigned(text, 0, 32, &end));
  return errOk;
}

int32_t CharCodec::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  return copyValueOut(&value, 1, buffer, size, required);
}

int32_t CharCodec::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  value = static_cast<uint8_t>(text[0]);
  return errOk;
}

// Huge magnitudes give texts longer than 256 bytes (up to 317); the scratch
// holds any double and the whole text is reported and copied, so that every
// value survives its text form.
int32_t DoubleCodec::ToText(char* buffer, uint32_t size, uint32_t* required) const {
  char scratch[kDoubleTextCapacity] = {};
  const uint32_t length = formatDouble(value, scratch);
  return copyValueOut(scratch, length, buffer, size, required);
}

int32_t DoubleCodec::FromText(const char* text) {
  if (text == nullptr) return errInvalidArgument;
  double number = 0;
  const int scanned = scanDouble(text, &number);
  if (scanned < 0) return errInvalidArgument;  // empty or only white space
  if (scanned == 1) value = number;
  return errOk;  // no number at the start leaves the value as it was
}

template class UnsignedCodec<TROVE_TBYTE, uint8_t>;
template class UnsignedCodec<TROVE_TWORD, uint16_t>;
template class UnsignedCodec<TROVE_TDWORD, uint32_t>;
template class UnsignedCodec<TROVE_TQWORD, uint64_t>;
template class UnsignedCodec<TROVE_TUINT, uint32_t>;
template class UnsignedCodec<TROVE_TIID, uint32_t>;
template class UnsignedCodec<TROVE_TPID, uint32_t>;
template class UnsignedCodec<TROVE_TORIG_ID, uint32_t>;
template class UnsignedCodec<TROVE_TOS_ID, uint32_t>;
template class UnsignedCodec<TROVE_TVID, uint32_t>;
template class UnsignedCodec<TROVE_TPROPID, uint32_t>;
template class UnsignedCodec<TROVE_TVERSION, uint32_t>;
template class UnsignedCodec<TROVE_TCODEPAGE, uint32_t>;
template class UnsignedCodec<TROVE_TLCID, uint32_t>;
template class UnsignedCodec<TROVE_TDATA, uint64_t>;
template class UnsignedCodec<TROVE_TDATETIME, uint64_t>;
template class UnsignedCodec<TROVE_TTYPE_ID, uint32_t>;

template class SignedCodec<TROVE_TERROR, int32_t>;
template class SignedCodec<TROVE_TINT, int32_t>;
template class SignedCodec<TROVE_TSBYTE, int8_t>;
template class SignedCodec<TROVE_TSHORT, int16_t>;
template class SignedCodec<TROVE_TLONG, int32_t>;
template class SignedCodec<TROVE_TLONGLONG, int64_t>;

}  // namespace trove
