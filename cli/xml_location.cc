#include "xml_location.h"

#include <pugixml.hpp>

namespace trove::cli {

std::string xmlErrorLocation(const std::string& text) {
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  if (result) return "";
  const size_t offset = result.offset < 0 ? 0 : static_cast<size_t>(result.offset);
  size_t line = 1, column = 1;
  for (size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      ++column;  // columns count characters, not UTF-8 bytes
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
         result.description();
}

}  // namespace trove::cli
