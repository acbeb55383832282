// Construction and destruction of the PropertiesMap inside a host object, its
// life-cycle hooks, its own method table and the placeholder services table.
#include "object/properties_map.h"

#include <new>

#include "frame/lifecycle.h"
#include "registry/registry_methods.h"
#include "services/host_services.h"
#include "storage/store_file.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

// Entries of the placeholder services table: none does any work.
int32_t placeholderWrongState() {
  return errWrongState;
}
int32_t placeholderZero() {
  return 0;
}
bool placeholderFalse() {
  return false;
}

template <class Function>
void* entry(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

void** objectMethodTable() {
  static void* table[TROVE_METHOD_COUNT] = {
      entry(&OpenKey),
      entry(&OpenKeyByIndex),
      entry(&OpenNextKey),
      entry(&CloseKey),
      entry(&GetKeyName),
      entry(&GetKeyNameByIndex),
      entry(&GetValue),
      entry(&GetValueByIndex),
      entry(&GetValueNameByIndex),
      entry(&SetValue),
      entry(&SetValueByIndex),
      entry(&GetKeyCount),
      entry(&GetValueCount),
      entry(&DeleteKey),
      entry(&DeleteKeyByInd),
      entry(&DeleteValue),
      entry(&DeleteValueByInd),
      entry(&Clean),
      entry(&CopyKey),
      entry(&CopyKeyByPath),
      entry(&SetRootKey),
      entry(&SetRootStr),
      entry(&flush),
  };
  return table;
}

void** placeholderServicesTable() {
  static void** table = [] {
    static void* entries[TROVE_SERVICES_COUNT];
    for (int i = 0; i < TROVE_SERVICES_COUNT; ++i) {
      bool zero = (i >= 1 && i <= 5) || (i >= 13 && i <= 15) || i == 27 || i == 62 || i == 63 ||
                  i == 80 || i == 81;
      entries[i] = zero ? entry(&placeholderZero) : entry(&placeholderWrongState);
    }
    entries[68] = entry(&placeholderFalse);
    return entries;
  }();
  return table;
}

int32_t onDataInit(void* object, uint32_t create) {
  if (object == nullptr) {
    return 0;
  }
  if (create != 0) {
    // Default-initialisation leaves the property fields, pendingRootPoint and
    // word 2 as the host's zero-filled allocation made them.
    PropertiesMap* map = new (object) PropertiesMap;
    map->methods = objectMethodTable();
    map->services = placeholderServicesTable();
    return 0;
  }
  PropertiesMap* map = PropertiesMap::from(object);
  map->lock.destroy();
  map->document.release();
  // The pending root point outlives a load that never happened; give it back
  // with the object rather than leave it to the host's heap.
  if (map->pendingRootPoint != nullptr) {
    hostFree(map, map->pendingRootPoint);
    map->pendingRootPoint = nullptr;
  }
  map->~PropertiesMap();  // frees the name and the mutex
  return 0;
}

int32_t onInitDone(void* object) {
  if (object == nullptr) {
    return errInvalidArgument;
  }
  return loadStore(PropertiesMap::from(object));
}

int32_t onClose(void* object) {
  if (object == nullptr) {
    return 0;
  }
  if (PropertiesMap::from(object)->saveOnClose != 0) {
    flush(object);
  }
  return 0;
}

}  // namespace trove
