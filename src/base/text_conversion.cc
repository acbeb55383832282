#include "base/text_conversion.h"

#include <cwchar>
#include <stdexcept>

#include "base/standard_errors.h"
#include "base/utf8.h"
#include "trove/result_codes.h"

namespace trove {

std::size_t utf8ToUtf16(const char* bytes, std::size_t count, char16_t* out) {
  const auto* in = reinterpret_cast<const uint8_t*>(bytes);
  std::size_t i = 0;
  std::size_t written = 0;
  while (i < count) {
    uint8_t lead = in[i];
    char16_t unit;
    if (lead < 0x80) {
      unit = lead;
      i += 1;
    } else if (lead >= 0xC0 && lead <= 0xDF) {
      if (i + 1 < count) {
        unit = static_cast<char16_t>(((lead & 0x1F) << 6) | (in[i + 1] & 0x3F));
        i += 2;
      } else {
        unit = static_cast<char16_t>(((lead & 0x1F) << 6) | 0x3F);
        i += 1;
      }
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      if (count - i >= 3) {
        unit = static_cast<char16_t>(((lead & 0x0F) << 12) | ((in[i + 1] & 0x3F) << 6) |
                                     (in[i + 2] & 0x3F));
      } else {
        unit = u'?';
      }
      i += 3;  // a cut sequence thereby ends the decoding
    } else {
      unit = u'?';  // a lone continuation byte, or a lead beyond the BMP
      i += 1;
    }
    out[written++] = unit;
  }
  return written;
}

namespace {

// The length of the character at [p, p + remaining), or 0 when it does not
// convert; stores its value.
std::size_t measureCharacter(const char* p, std::size_t remaining, wchar_t* value) {
  if (*p == '\0') {
    *value = 0;
    return 1;
  }
  std::mbstate_t state{};
  std::size_t used = std::mbrtowc(value, p, remaining, &state);
  if (used == 0 || used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2) ||
      used > remaining) {
    return 0;
  }
  return used;
}

}  // namespace

int32_t narrowToWide(const char* first, const char* last, oru::wstring_t& target) {
  std::size_t units = 0;
  for (const char* p = first; p < last;) {
    wchar_t value;
    std::size_t used = measureCharacter(p, static_cast<std::size_t>(last - p), &value);
    if (used == 0) {
      return errInvalidArgument;
    }
    p += used;
    ++units;
  }
  try {
    target.resize(units, u'\0');
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  }
  std::size_t index = 0;
  for (const char* p = first; p < last;) {
    wchar_t value = 0;
    p += measureCharacter(p, static_cast<std::size_t>(last - p), &value);
    target[index++] = static_cast<char16_t>(value);
  }
  return errOk;
}

oru::wstring_t wideFromNarrow(const char* first, const char* last) {
  oru::wstring_t result;
  int32_t code = narrowToWide(first, last, result);
  if (code == errOutOfMemory) {
    oru::throwBadAlloc();
  }
  if (code < 0) {
    oru::throwBadCast();
  }
  return result;
}

oru::wstring_t wideFromNarrow(const char* text) {
  if (text == nullptr) {
    return oru::wstring_t();
  }
  return wideFromNarrow(text, text + std::char_traits<char>::length(text));
}

bool utf16ToUtf8Path(const char16_t* text, std::size_t length, std::string& out) {
  std::string result;
  result.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    uint32_t c = text[i];
    if (c == 0) {
      return false;
    }
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (i + 1 >= length || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF) {
        return false;
      }
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      return false;
    }
    char bytes[4];
    result.append(bytes, encodeUtf8(c, bytes));
  }
  out.swap(result);
  return true;
}

oru::wstring_t widenAscii(std::string_view text) {
  oru::wstring_t result;
  result.reserve_extra(text.size(), nullptr);
  for (char c : text) {
    result.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
  }
  return result;
}

std::u16string widenAsciiToU16(std::string_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (char c : text) {
    result.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
  }
  return result;
}

}  // namespace trove
