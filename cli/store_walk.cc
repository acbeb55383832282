#include "store_walk.h"

#include "progress.h"
#include "tree_printer.h"
#include "value_text.h"

namespace trove::cli {

std::string childPath(const std::string& path, const std::string& name) {
  return path == "/" ? name : path + "/" + name;
}

std::vector<ValueRow> valueRows(const Store& store, const Key& key, const std::string& path) {
  std::vector<ValueRow> rows;
  uint32_t index = 0;
  for (const ValueInfo& value : key.values()) {
    const std::string type(typeName(value.type));
    rows.push_back({path, value.name, type.empty() ? "type " + std::to_string(value.type) : type,
                    valueTextAt(store, key, index++)});
    countProgress();
  }
  return rows;
}

void walk(const Store& store, const Key& key, const std::string& path,
          const std::function<void(const std::string& path)>& onKey,
          const std::function<void(const ValueRow&)>& onValue) {
  for (const ValueRow& row : valueRows(store, key, path)) onValue(row);
  for (const Key& subkey : key.subkeys()) {
    const std::string below = childPath(path, subkey.name());
    onKey(below);
    countProgress();
    walk(store, subkey, below, onKey, onValue);
  }
}

std::string listLine(const ValueRow& row) {
  return escapeControls(row.path) + '\t' + escapeControls(row.name) + '\t' + row.type + '\t' +
         escapeControls(row.text.value_or(""));
}

}  // namespace trove::cli
