#include "json_import.h"

#include <nlohmann/json.hpp>

#include <cstdio>

#include "failure.h"
#include "trove/client/error.h"
#include "trove/client/strict_text.h"
#include "trove/client/value_types.h"
#include "trove/result_codes.h"

namespace trove::cli {

namespace {

using nlohmann::ordered_json;

[[noreturn]] void refuse(const std::string& where, const std::string& what) {
  throw Refusal(errInvalidArgument, (where.empty() ? "the document" : where) + ": " + what,
                kExitUsage);
}

std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        if (byte < 0x20) {
          out += "&#" + std::to_string(byte) + ";";  // kept exactly, also CR and TAB
        } else {
          out += c;
        }
    }
  }
  return out;
}

const std::string& stringField(const ordered_json& object, const char* field,
                               const std::string& where) {
  const auto found = object.find(field);
  if (found == object.end() || !found->is_string()) {
    refuse(where, std::string("\"") + field + "\" must be a string");
  }
  return found->get_ref<const std::string&>();
}

const ordered_json& arrayField(const ordered_json& object, const char* field,
                               const std::string& where) {
  static const ordered_json none = ordered_json::array();
  const auto found = object.find(field);
  if (found == object.end()) return none;
  if (!found->is_array()) refuse(where, std::string("\"") + field + "\" must be a list");
  return *found;
}

std::string valueElement(const ordered_json& value, const std::string& where) {
  if (!value.is_object()) refuse(where, "a value must be an object");
  const std::string& name = stringField(value, "name", where);
  const std::string& typeText = stringField(value, "type", where);
  const TroveTypeId type = typeFromName(typeText);
  if (type == 0) refuse(where, "unknown type \"" + typeText + "\"");
  const auto text = value.find("value");
  if (text == value.end() || !text->is_string()) {
    refuse(where, "\"value\" must be a string (a " + typeText + " value has no text to import)");
  }
  std::string content = text->get<std::string>();
  if (type == TROVE_TWSTRING) {
    // In a store document a tWSTRING element holds its UTF-16 bytes in hexadecimal.
    std::string hex;
    for (uint8_t byte : parseStrictText(type, content)) {
      char pair[3];
      std::snprintf(pair, sizeof pair, "%02X", byte);
      hex += pair;
    }
    content = hex;
  }
  return "<" + typeText + " name=\"" + escaped(name) + "\">" + escaped(content) + "</" + typeText +
         ">\n";
}

std::string contentOf(const ordered_json& key, const std::string& where) {
  if (!key.is_object()) refuse(where, "a key must be an object");
  std::string xml;
  const ordered_json& keys = arrayField(key, "keys", where);
  for (size_t i = 0; i < keys.size(); ++i) {
    const std::string at = (where.empty() ? "" : where + ".") + "keys[" + std::to_string(i) + "]";
    xml += "<key name=\"" + escaped(stringField(keys[i], "name", at)) + "\">\n" +
           contentOf(keys[i], at) + "</key>\n";
  }
  const ordered_json& values = arrayField(key, "values", where);
  for (size_t i = 0; i < values.size(); ++i) {
    xml += valueElement(values[i],
                        (where.empty() ? "" : where + ".") + "values[" + std::to_string(i) + "]");
  }
  return xml;
}

}  // namespace

std::string storeXmlFromJson(const std::string& json) {
  ordered_json document;
  try {
    document = ordered_json::parse(json);
  } catch (const ordered_json::parse_error& error) {
    refuse("", std::string("not JSON: ") + error.what());
  }
  try {
    return "<propertiesmap>\n" + contentOf(document, "") + "</propertiesmap>\n";
  } catch (const Error& error) {
    refuse("", error.context());
  }
}

}  // namespace trove::cli
