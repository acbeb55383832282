// Copying a key tree into another Registry object. Neither method writes a
// trace line of its own: the methods they call write theirs.
#include "object/properties_map.h"
#include "object/rw_lock.h"
#include "registry/key_tree_copy.h"
#include "registry/method_frame.h"  // resultFromAnyException
#include "registry/registry_methods.h"
#include "registry/registry_table.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

// A copy into the source object itself is refused: with locking the first
// write would wait forever for the lock the copy holds shared, and without
// it a destination inside the source key would grow while it is walked.
int32_t checkObjects(void* source, void* destination) {
  if (source == nullptr || destination == nullptr || destination == source) {
    return errInvalidArgument;
  }
  if (!offersCopySource(RegistryTable(source)) ||
      !offersCopyDestination(RegistryTable(destination))) {
    return errInvalidArgument;
  }
  return errOk;
}

// Runs `open` (which gives the source key), then the copy, under the source's
// lock held shared throughout; success marks the source as changed.
template <class OpenSource>
int32_t copyUnderLock(void* object, void* destination, uint64_t destinationKey,
                      OpenSource&& open) noexcept {
  int32_t result = checkObjects(object, destination);
  if (result < 0) {
    return result;
  }
  PropertiesMap* map = PropertiesMap::from(object);
  LockGuard guard(map->lock, map->useLocking, LockGuard::Shared);
  result = guard.result();
  if (result < 0) {
    return result;
  }
  try {
    const RegistryTable source(object);
    uint64_t sourceKey = 0;
    result = open(source, &sourceKey);
    if (result >= 0) {
      result = copyKeyTree(source, sourceKey, RegistryTable(destination), destinationKey);
    }
  } catch (...) {
    result = resultFromAnyException();
  }
  if (result >= 0) {
    map->markChanged();
  }
  return result;
}

}  // namespace

int32_t CopyKey(void* obj, uint64_t sourceKey, void* destination, uint64_t destinationKey) {
  return copyUnderLock(obj, destination, destinationKey,
                       [sourceKey](const RegistryTable&, uint64_t* key) {
                         *key = sourceKey;
                         return errOk;
                       });
}

// The key opened by path is not closed: closing releases nothing.
int32_t CopyKeyByPath(void* obj, const char* path, void* destination) {
  return copyUnderLock(obj, destination, 0, [path](const RegistryTable& source, uint64_t* key) {
    return source.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, key, uint64_t{0}, path, 0u);
  });
}

}  // namespace trove
