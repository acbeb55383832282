#include "unicode_text.h"

namespace trove::client_detail {

// Invalid bytes become U+FFFD: as a file name it then names no existing file.
std::u16string utf16FromUtf8(std::string_view path) {
  std::u16string wide;
  wide.reserve(path.size());
  for (size_t i = 0; i < path.size();) {
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(path[k]); };
    const unsigned char lead = byte(i);
    size_t length = lead < 0x80                   ? 1
                    : lead >= 0xF0 && lead < 0xF8 ? 4
                    : lead >= 0xE0                ? 3
                    : lead >= 0xC0                ? 2
                                                  : 0;
    char32_t cp = 0xFFFD;
    if (length == 1) {
      cp = lead;
    } else if (length > 1 && i + length <= path.size()) {
      cp = lead & (0x7F >> length);
      for (size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) {
          cp = 0xFFFD;
          length = k;
          break;
        }
        cp = (cp << 6) | (byte(i + k) & 0x3F);
      }
    } else {
      length = 1;
    }
    if (cp >= 0x10000 && cp != 0xFFFD) {
      cp -= 0x10000;
      wide.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      wide.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      wide.push_back(static_cast<char16_t>(cp));
    }
    i += length;
  }
  return wide;
}

}  // namespace trove::client_detail
