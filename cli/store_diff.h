// What differs between two key trees: values added, removed or changed
// (in text or type) and keys added or removed, for diff and watch.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store_walk.h"

namespace trove::cli {

struct Change {
  std::string path;                       // the key's path ("/" for the root key)
  std::optional<std::string> name;        // the value's name; nothing for a key added or removed
  std::optional<ValueRow> before, after;  // for a key: only which one exists matters
};

// Compares the trees below `a` and `b`. Names match without regard to ASCII
// case, and repeated names pair up in order (the second "item" with the
// second "item"). A key that exists on one side only is reported with every
// value and key below it.
std::vector<Change> compareTrees(const Store& storeA, const Key& a, const Store& storeB,
                                 const Key& b, const std::string& path);

}  // namespace trove::cli
