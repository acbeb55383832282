#include "types/number_text.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdio>
#include <limits>

#include <locale.h>

namespace trove {
namespace {

// The parts of a C integer subject sequence.
struct Subject {
  bool negative = false;
  bool overflow = false;  // the magnitude exceeded `limit`
  uint64_t magnitude = 0;
  const char* end = nullptr;
};

// Reads white space, sign, prefix and digits like strtoul; the magnitude
// saturates above `limit`.
Subject scanSubject(const char* text, int base, uint64_t limit) {
  Subject s;
  s.end = text;
  const char* p = text;
  while (isCSpace(*p)) ++p;
  if (*p == '+' || *p == '-') {
    s.negative = *p == '-';
    ++p;
  }
  // A 0x prefix counts only when a hexadecimal digit follows it; otherwise the
  // number is the lone 0 and ends before the x.
  const bool hexPrefix = p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && hexDigitValue(p[2]) < 16;
  if (base == 0) {
    base = hexPrefix ? 16 : p[0] == '0' ? 8 : 10;
  }
  if (base == 16 && hexPrefix) p += 2;

  const char* digits = p;
  const uint64_t ubase = static_cast<uint64_t>(base);
  for (;; ++p) {
    const unsigned d = hexDigitValue(*p);
    if (d >= ubase) break;
    if (!s.overflow) {
      if (s.magnitude > (limit - d) / ubase) {
        s.overflow = true;
      } else {
        s.magnitude = s.magnitude * ubase + d;
      }
    }
  }
  if (p != digits)
    s.end = p;
  else
    s.magnitude = 0;
  return s;
}

uint64_t widthMax(unsigned bits) {
  return bits >= 64 ? std::numeric_limits<uint64_t>::max() : (uint64_t{1} << bits) - 1;
}

// A locale_t of the C locale, made once; null if the system cannot make one.
locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  return locale;
}

// Switches this thread to the C locale for the scope of one conversion; the
// process locale is never touched.
class CLocaleScope {
 public:
  CLocaleScope() : previous_(cLocale() ? uselocale(cLocale()) : static_cast<locale_t>(0)) {}
  ~CLocaleScope() {
    if (previous_) uselocale(previous_);
  }
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;

 private:
  locale_t previous_;
};

}  // namespace

uint64_t scanUnsigned(const char* text, int base, unsigned bits, const char** end) {
  const uint64_t max = widthMax(bits);
  const Subject s = scanSubject(text, base, max);
  *end = s.end;
  if (s.overflow) return max;
  return (s.negative ? 0 - s.magnitude : s.magnitude) & max;
}

int64_t scanSigned(const char* text, int base, unsigned bits, const char** end) {
  const uint64_t positiveLimit = widthMax(bits - 1);  // 2^(bits-1) - 1
  const Subject s = scanSubject(text, base, positiveLimit + 1);
  *end = s.end;
  const int64_t max = static_cast<int64_t>(positiveLimit);
  const int64_t min = -max - 1;
  if (s.negative) {
    if (s.overflow) return min;
    // The magnitude is at most 2^(bits-1); negate without overflowing.
    return s.magnitude == positiveLimit + 1 ? min : -static_cast<int64_t>(s.magnitude);
  }
  if (s.overflow || s.magnitude > positiveLimit) return max;
  return static_cast<int64_t>(s.magnitude);
}

bool readUnsignedText(const char* text, unsigned bits, uint64_t* value) {
  const char* end = nullptr;
  uint64_t result = scanUnsigned(text, 10, bits, &end);
  if (*end != '\0') {
    result = scanUnsigned(text, 16, bits, &end);
    if (*end != '\0' || result == widthMax(bits)) return false;
  }
  *value = result;
  return true;
}

bool readSignedText(const char* text, unsigned bits, int64_t* value) {
  const char* end = nullptr;
  int64_t result = scanSigned(text, 10, bits, &end);
  if (*end != '\0') {
    result = scanSigned(text, 16, bits, &end);
    const int64_t max = static_cast<int64_t>(widthMax(bits - 1));
    if (*end != '\0' || result == max || result == -max - 1) return false;
  }
  *value = result;
  return true;
}

uint32_t writeUnsignedDecimal(uint64_t value, char* out) {
  const auto r = std::to_chars(out, out + 20, value);
  return static_cast<uint32_t>(r.ptr - out);
}

uint32_t writeSignedDecimal(int64_t value, char* out) {
  const auto r = std::to_chars(out, out + 20, value);
  return static_cast<uint32_t>(r.ptr - out);
}

uint32_t formatDouble(double value, char* out) {
  // to_chars with a precision is printf's "%lf" in the C locale, without
  // switching locales around every value.
  const auto r =
      std::to_chars(out, out + kDoubleTextCapacity - 1, value, std::chars_format::fixed, 6);
  if (r.ec == std::errc()) {
    *r.ptr = '\0';
    return static_cast<uint32_t>(r.ptr - out);
  }
  CLocaleScope scope;
  const int n = std::snprintf(out, kDoubleTextCapacity, "%lf", value);
  if (n < 0) {
    out[0] = '\0';
    return 0;
  }
  // Cannot exceed the capacity for a double; bounded all the same.
  return static_cast<uint32_t>(
      std::min<std::size_t>(static_cast<std::size_t>(n), kDoubleTextCapacity - 1));
}

namespace {

// The form the store writes, "-123.456000": from_chars reads it exactly as
// scanf would, without a locale switch. Anything else goes to scanf.
bool isPlainDecimal(const char* text, const char** end) {
  const char* p = text;
  if (*p == '-') ++p;
  const char* digits = p;
  while (*p >= '0' && *p <= '9') ++p;
  if (p == digits) return false;
  if (*p == '.') {
    const char* fraction = ++p;
    while (*p >= '0' && *p <= '9') ++p;
    if (p == fraction) return false;
  }
  *end = p;
  return *p == '\0';
}

}  // namespace

int scanDouble(const char* text, double* value) {
  const char* end = nullptr;
  if (isPlainDecimal(text, &end)) {
    double number = 0;
    if (std::from_chars(text, end, number).ec == std::errc()) {
      *value = number;
      return 1;
    }
  }
  CLocaleScope scope;
  const int n = std::sscanf(text, "%lf", value);
  return n == EOF ? -1 : n;
}

}  // namespace trove
