// Reading and writing the text of numbers, independent of the process locale
// and of the width of `long`: the integer readers behave like the C library's
// strtoul/strtol/strtoull/strtoll with a result of the requested width.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trove {

// White space as the C locale's isspace knows it.
inline bool isCSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The value of a hexadecimal digit of either case, or 16 for anything else.
inline unsigned hexDigitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return 16;
}

// strtoul/strtoull with a `bits`-wide (32 or 64) result: white space, a sign
// (a minus negates modulo 2^bits), for base 16 an optional 0x, for base 0 the
// C prefixes. Beyond the width the result is the width's maximum. `*end`
// receives where the number ended, the text's start when none was read.
uint64_t scanUnsigned(const char* text, int base, unsigned bits, const char** end);

// strtol/strtoll with a `bits`-wide result: beyond the range the result is the
// width's minimum or maximum.
int64_t scanSigned(const char* text, int base, unsigned bits, const char** end);

// The integer codecs' reading: decimal first; when that does not end at the
// terminator, the whole text again in base 16, refused unless it ends at the
// terminator and stays below the width's limit(s). False when refused.
bool readUnsignedText(const char* text, unsigned bits, uint64_t* value);
bool readSignedText(const char* text, unsigned bits, int64_t* value);

// One byte from two hexadecimal digits of either case.
inline bool readHexByte(char high, char low, uint8_t* byte) {
  const unsigned h = hexDigitValue(high);
  const unsigned l = hexDigitValue(low);
  if (h > 15 || l > 15) return false;
  *byte = static_cast<uint8_t>(h << 4 | l);
  return true;
}

// Decimal digits of a number without terminator; `out` holds at least 20
// bytes. Returns the count written.
uint32_t writeUnsignedDecimal(uint64_t value, char* out);
uint32_t writeSignedDecimal(int64_t value, char* out);

// Room for any double in fixed notation with six decimals ("%lf"): up to 309
// integer digits, a sign, a point, six decimals and a terminator.
inline constexpr std::size_t kDoubleTextCapacity = 328;

// "%lf" with a point as the decimal separator whatever the locale. `out` has
// kDoubleTextCapacity bytes; returns the length, the text is NUL-terminated.
uint32_t formatDouble(double value, char* out);

// sscanf(text, "%lf") with a point as the decimal separator: 1 when a number
// was read into `*value`, 0 when the text does not begin with one (nothing
// stored), -1 when the text is empty or only white space.
int scanDouble(const char* text, double* value);

}  // namespace trove
