// The `tree` listing: a key's values and subkeys, indented by depth.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "trove/client/key.h"
#include "trove/client/store.h"

namespace trove::cli {

// Prints the values of `key` first, one per line with name, type and text in
// columns aligned per key, then each subkey as "name/" followed by its own
// content indented two more blanks. Control characters in names and texts
// are shown escaped so that every entry stays on one line.
void printTree(const Store& store, const Key& key, std::ostream& out);

// Visible form of a name or text on one line: "\n", "\t", "\r", "\xNN".
std::string escapeControls(std::string_view text);

}  // namespace trove::cli
