// Creating a missing store file on request of the open flags.
#pragma once

#include <cstdint>

namespace trove {

class PropertiesMap;

// Creates the missing directories of the store name and an empty store file
// under it. Returns 0, or the creation's failure as the load reports it.
int32_t createStoreFile(PropertiesMap* map);

}  // namespace trove
