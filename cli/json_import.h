// The `import --json` form: the inverse of export --json.
#pragma once

#include <string>

namespace trove::cli {

// A store document (XML) holding the content (values and subkeys, not the
// key itself) of the key that `json` describes in the export --json form,
// in the same order, with the same types and repeated names. Throws Refusal
// (usage) saying what is wrong and where ("keys[2].values[0]: ...").
std::string storeXmlFromJson(const std::string& json);

}  // namespace trove::cli
