// Key paths as the tool takes them: names separated by "/" or "\". "/" and
// "" name the root key; one leading separator is allowed ("/a/b", as dconf
// and kdb write paths) and so is one trailing one ("a/b/"), but an empty
// name inside a path ("a//b") is refused: the store would stop its walk there
// and act on a parent key.
#pragma once

#include <string>
#include <vector>

#include "trove/client/key.h"

namespace trove::cli {

// The names of `path`. Throws Refusal (usage) for an empty name inside.
std::vector<std::string> pathNames(const std::string& path);

// `path` checked and written as the tool shows it: names joined by "/", "/"
// for the root key. Throws Refusal (usage) as pathNames.
std::string normalizedPath(const std::string& path);

// For messages, never throwing: "/" for the root key, else `path` as given.
std::string shownPath(const std::string& path);

// "Settings/Window" and "Width" give "Settings/Window/Width" (for messages).
std::string joined(const std::string& path, const std::string& name);

// The key at `path`. Throws Refusal naming the first name that is missing.
Key keyAt(const Key& root, const std::string& path);
// The key at `path`, created with its missing ancestors.
Key createdKeyAt(const Key& root, const std::string& path);

// Refusal (not found) for a missing value `name` of the key at `path`.
[[noreturn]] void throwMissingValue(const std::string& path, const std::string& name);

}  // namespace trove::cli
