// Copies a key with its values and all its subkeys from one Registry object
// into a key of another, through the public methods of both.
#pragma once

#include <cstdint>

#include "registry/registry_table.h"

namespace trove {

// Values first, in index order, then the subkeys in index order, each one
// completely before the next. The first failure of any call ends the copy
// with its code; what was copied before stays. Scratch memory comes from the
// source object's heap.
int32_t copyKeyTree(const RegistryTable& source, uint64_t sourceKey,
                    const RegistryTable& destination, uint64_t destinationKey);

// The slots the copy calls on either side.
bool offersCopySource(const RegistryTable& source);
bool offersCopyDestination(const RegistryTable& destination);

}  // namespace trove
