// The `export --json` form of a key tree.
#pragma once

#include <string>

#include "trove/client/key.h"
#include "trove/client/store.h"

namespace trove::cli {

// A JSON object for `key` and everything below it, indented:
//   {"name": "Window",
//    "values": [{"name": "Width", "type": "tDWORD", "value": "800"}, ...],
//    "keys": [{"name": ..., "values": [...], "keys": [...]}, ...]}
// Lists keep the store's order and its repeated names. A value is given in
// its text form (exact for every type, also 64-bit numbers), or null for a
// type without one. Bytes that are not UTF-8 become U+FFFD.
std::string exportJson(const Store& store, const Key& key);

}  // namespace trove::cli
