#include "base/text_conversion.h"

#include "base/utf8.h"

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

}  // namespace trove
