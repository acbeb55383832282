#include "trove/client/value_types.h"

#include "trove/type_names.h"

namespace trove {

std::string_view typeName(TroveTypeId type) {
  return type < 64 ? kTypeNames[type] : "";
}

TroveTypeId typeFromName(std::string_view name) {
  if (name.empty()) return 0;
  for (TroveTypeId id = 1; id < 64; ++id) {
    if (name == kTypeNames[id]) return id;
  }
  return 0;
}

}  // namespace trove
