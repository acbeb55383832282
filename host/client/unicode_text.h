// UTF-8 and UTF-16 conversions of the client: file names and wide values.
#pragma once

#include <string>
#include <string_view>

namespace trove::client_detail {

std::u16string utf16FromUtf8(std::string_view text);
// Unpaired surrogates are written as their own three-byte forms.
std::string utf8FromUtf16(std::u16string_view text);

}  // namespace trove::client_detail
