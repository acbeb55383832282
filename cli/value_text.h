// Value texts as the tool shows them, read through the module's own
// conversions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "trove/client/key.h"
#include "trove/client/store.h"

namespace trove::cli {

// The text of the value at `index` of `key` in its stored type, or nothing
// for a type without a text form (tWCHAR). Reading by index also reaches a
// second value of a repeated name.
std::optional<std::string> valueTextAt(const Store& store, const Key& key, uint32_t index);

// The value `name` read in `type` (the module converts it through its
// text), given in that type's text form.
std::string valueTextAs(const Store& store, const Key& key, const std::string& name,
                        TroveTypeId type);

// Whether values of `type` can exist at all (tOBJECT and the other types
// without a codec cannot).
bool typeHoldsValues(TroveTypeId type);

}  // namespace trove::cli
