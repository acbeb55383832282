// UTF-8 to UTF-16 for the client: file names and wide values given as text.
#pragma once

#include <string>
#include <string_view>

namespace trove::client_detail {

std::u16string utf16FromUtf8(std::string_view text);

}  // namespace trove::client_detail
