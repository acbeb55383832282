// Conversions between UTF-8 and UTF-16.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace trove {

// Decodes UTF-8 into UTF-16 units of the Basic Multilingual Plane; what a
// unit cannot represent becomes '?'. `out` has room for `count` units. A
// three-byte sequence cut by the end gives one '?' and ends the decoding;
// continuation bytes are not checked. Writes no NUL; returns the units written.
std::size_t utf8ToUtf16(const char* bytes, std::size_t count, char16_t* out);

// UTF-16 to UTF-8 for naming files: surrogate pairs combine. False for text
// that cannot name a file: an unpaired surrogate or a NUL unit.
bool utf16ToUtf8Path(const char16_t* text, std::size_t length, std::string& out);

}  // namespace trove
