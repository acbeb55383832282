// Conversions between 8-bit text and UTF-16.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/oru_string.h"

namespace trove {

// Decodes UTF-8 into UTF-16 units of the Basic Multilingual Plane; what a
// unit cannot represent becomes '?'. `out` has room for `count` units. A
// three-byte sequence cut by the end gives one '?' and ends the decoding;
// continuation bytes are not checked. Writes no NUL; returns the units written.
std::size_t utf8ToUtf16(const char* bytes, std::size_t count, char16_t* out);

// Converts [first, last) in the current locale, one character at a time
// with a fresh conversion state, each character stored as one unit (cut to
// 16 bits). Replaces target's content. errInvalidArgument, with the target
// untouched, when a character does not convert; errOutOfMemory when the
// target cannot grow.
int32_t narrowToWide(const char* first, const char* last, oru::wstring_t& target);

// A new string from narrow text in the current locale: std::bad_alloc when
// memory runs out, std::bad_cast ("bad cast") when the text does not convert.
oru::wstring_t wideFromNarrow(const char* first, const char* last);
// The same for NUL-terminated text; null counts as empty.
oru::wstring_t wideFromNarrow(const char* text);

// UTF-16 to UTF-8 for naming files: surrogate pairs combine. False for text
// that cannot name a file: an unpaired surrogate or a NUL unit.
bool utf16ToUtf8Path(const char16_t* text, std::size_t length, std::string& out);

// Widens ASCII text unit by unit (bytes above 0x7F keep their value).
oru::wstring_t widenAscii(std::string_view text);
std::u16string widenAsciiToU16(std::string_view text);

}  // namespace trove
