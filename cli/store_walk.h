// Walking a key tree for the flat listings (list, find, diff, watch).
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "trove/client/key.h"
#include "trove/client/store.h"

namespace trove::cli {

// A value as the flat listings show it. `path` is its key's path from the
// root ("/" for the root key itself).
struct ValueRow {
  std::string path;
  std::string name;
  std::string type;                 // "tDWORD", or "type N" for an id without a name
  std::optional<std::string> text;  // nothing for a type without a text form
};

// The path of subkey `name` of the key at `path`.
std::string childPath(const std::string& path, const std::string& name);

// The rows of the values of `key` itself, in store order.
std::vector<ValueRow> valueRows(const Store& store, const Key& key, const std::string& path);

// Calls onKey for every key below `key` and onValue for every value of `key`
// and below, depth first in store order: a key's values, then its subkeys.
void walk(const Store& store, const Key& key, const std::string& path,
          const std::function<void(const std::string& path)>& onKey,
          const std::function<void(const ValueRow&)>& onValue);

// "path<TAB>name<TAB>type<TAB>text" with control characters escaped.
std::string listLine(const ValueRow& row);

}  // namespace trove::cli
