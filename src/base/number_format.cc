#include "base/number_format.h"

#include <cwchar>
#include <string_view>

namespace trove {
namespace {

constexpr char16_t kDigits[] = u"0123456789abcdefghijklmnopqrstuvwxyz";
constexpr uint32_t kMaxRadix = 36;
constexpr uint32_t kNoPadding = 0x10000;

enum class PadPlace { None, Before, Between, After };

struct Padding {
  uint64_t count;
  PadPlace place;
};

// A negative width would ask for an enormous padding; it counts as 0.
Padding paddingFor(const FormatSpec& spec, uint64_t itemLength) {
  uint64_t width = spec.width > 0 ? static_cast<uint64_t>(spec.width) : 0;
  if (width <= itemLength || spec.fill >= kNoPadding) {
    return {0, PadPlace::None};
  }
  PadPlace place = spec.alignment > 0    ? PadPlace::Before
                   : spec.alignment == 0 ? PadPlace::Between
                                         : PadPlace::After;
  return {width - itemLength, place};
}

// Appends prefix, body and padding in one go; the room is made first, so a
// failure leaves `out` as it was.
uint64_t appendPadded(oru::wstring_t& out, const FormatSpec& spec, std::u16string_view prefix,
                      std::u16string_view body) {
  Padding padding = paddingFor(spec, prefix.size() + body.size());
  uint64_t total = padding.count + prefix.size() + body.size();
  out.reserve_extra(total, nullptr);
  char16_t fill = static_cast<char16_t>(spec.fill);
  auto pad = [&](PadPlace place) {
    if (padding.place == place) {
      for (uint64_t i = 0; i < padding.count; ++i) {
        out.push_back(fill);
      }
    }
  };
  pad(PadPlace::Before);
  out.append(prefix);
  pad(PadPlace::Between);
  out.append(body);
  pad(PadPlace::After);
  return total;
}

}  // namespace

uint64_t formatUnsigned(oru::wstring_t& out, const FormatSpec& spec, uint32_t value, uint32_t radix,
                        bool negative) {
  if (radix < 2 || radix > kMaxRadix) {
    return 0;
  }
  std::u16string_view prefix;
  if (negative) {
    prefix = u"-";
  } else if (spec.alternate != 0) {
    if (radix == 16) {
      prefix = u"0x";
    } else if (radix == 8) {
      prefix = u"0";
    }
  }
  char16_t digits[32];  // radix 2 needs at most 32
  std::size_t first = sizeof(digits) / sizeof(digits[0]);
  do {
    digits[--first] = kDigits[value % radix];
    value /= radix;
  } while (value != 0);
  std::u16string_view body(digits + first, sizeof(digits) / sizeof(digits[0]) - first);
  return appendPadded(out, spec, prefix, body);
}

uint64_t formatSigned(oru::wstring_t& out, const FormatSpec& spec, int32_t value) {
  if (spec.radix == 10 && value < 0) {
    uint32_t magnitude = 0u - static_cast<uint32_t>(value);
    return formatUnsigned(out, spec, magnitude, spec.radix, true);
  }
  return formatUnsigned(out, spec, static_cast<uint32_t>(value), spec.radix, false);
}

uint64_t formatNarrow(oru::wstring_t& out, const FormatSpec& spec, const char* text) {
  if (text == nullptr) {
    text = "";
  }
  std::size_t length = 0;
  while (text[length] != '\0' &&
         (spec.precision < 0 || length < static_cast<std::size_t>(spec.precision))) {
    ++length;
  }
  oru::wstring_t converted;
  for (std::size_t i = 0; i < length; ++i) {
    std::mbstate_t state{};
    wchar_t character = 0;
    std::size_t used = std::mbrtowc(&character, text + i, 1, &state);
    if (used != 1) {
      break;  // not a character by itself: the rest is dropped
    }
    converted.push_back(static_cast<char16_t>(character));
  }
  return appendPadded(out, spec, std::u16string_view(), converted.view());
}

}  // namespace trove
