#include "json_export.h"

#include <nlohmann/json.hpp>

#include "value_text.h"

namespace trove::cli {

namespace {

using nlohmann::ordered_json;

ordered_json keyJson(const Store& store, const Key& key) {
  ordered_json values = ordered_json::array();
  uint32_t index = 0;
  for (const ValueInfo& value : key.values()) {
    const auto text = valueTextAt(store, key, index++);
    const std::string type(typeName(value.type));
    values.push_back({{"name", value.name},
                      {"type", type.empty() ? ordered_json(value.type) : ordered_json(type)},
                      {"value", text ? ordered_json(*text) : ordered_json(nullptr)}});
  }
  ordered_json keys = ordered_json::array();
  for (const Key& subkey : key.subkeys()) keys.push_back(keyJson(store, subkey));
  return {{"name", key.name()}, {"values", std::move(values)}, {"keys", std::move(keys)}};
}

}  // namespace

std::string exportJson(const Store& store, const Key& key) {
  return keyJson(store, key).dump(2, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace trove::cli
