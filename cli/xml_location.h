// Where an XML text stops being well-formed, for messages about damaged
// stores. Located with pugixml; whether a store loads is still decided by
// the module's own reader alone.
#pragma once

#include <string>

namespace trove::cli {

// "line 3, column 7: <reason>", or "" when pugixml finds no fault.
std::string xmlErrorLocation(const std::string& text);

}  // namespace trove::cli
