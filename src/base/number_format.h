// A small formatter that appends numbers and narrow strings to a framework
// string, padded to a width with a fill unit and an alignment.
#pragma once

#include <cstdint>

#include "base/oru_string.h"

namespace trove {

struct FormatSpec {
  int32_t width = 0;       // minimum units the item occupies; negative counts as 0
  uint32_t radix = 10;     // 2 to 36
  int32_t precision = -1;  // strings: at most this many bytes; negative for no limit
  // Positive: pad before the item; 0: pad between sign or prefix and digits;
  // negative: pad after the item.
  int32_t alignment = 1;
  uint32_t fill = 0x20;   // padding unit; 0x10000 or more means no padding
  uint8_t alternate = 0;  // numbers get "0x" in radix 16 and "0" in radix 8
};

// Appends value in `radix` ("-" before it when negative is set); returns the
// number of units appended, padding included. A radix outside 2..36 is
// refused: nothing is appended and the result is 0.
uint64_t formatUnsigned(oru::wstring_t& out, const FormatSpec& spec, uint32_t value, uint32_t radix,
                        bool negative);

// Appends value in the FormatSpec radix: signed in radix 10, its 32 bits otherwise.
uint64_t formatSigned(oru::wstring_t& out, const FormatSpec& spec, int32_t value);

// Appends the bytes of text up to its NUL (at most spec.precision of them),
// each converted alone in the current locale; the conversion stops at the
// first byte that is not a character by itself. A null text is empty.
uint64_t formatNarrow(oru::wstring_t& out, const FormatSpec& spec, const char* text);

}  // namespace trove
