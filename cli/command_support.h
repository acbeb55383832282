// Pieces that several command families share.
#pragma once

#include <string>

#include "commands.h"
#include "trove/client/key.h"

namespace trove::cli {

// "get Settings/Width", or the command alone.
std::string operation(const std::string& command, const std::string& what);

// A type name from the command line ("tDWORD"). Throws Failure (usage) for
// an unknown name or a type without values, listing the valid names.
TroveTypeId typeArgument(const std::string& name, const std::string& file, const std::string& op);

// "tBYTE, tWORD, ...": every type that holds values.
std::string valueTypeNames();

// The store text of a key's content, in the writer's canonical layout.
std::string storeText(const Key& key);

// Adds a warning line about what a copy of `key` cannot carry.
void warnAboutCopyLoss(const Key& key, const std::string& file, const std::string& op,
                       Output& output);

// "warning: FILE: OPERATION: TEXT".
std::string warningLine(const std::string& file, const std::string& op, const std::string& text);

}  // namespace trove::cli
