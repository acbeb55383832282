// The module's only exported symbol: the entry point through which the host
// hands over its root object and receives the Registry interface's tables.
#include <cstdint>

#include "frame/lifecycle.h"
#include "frame/property_accessors.h"
#include "object/properties_map.h"
#include "services/host_services.h"
#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {
namespace {

constexpr char kDescription[] = "properties map";
static_assert(sizeof(kDescription) == 15);

// Module-wide tables, never freed. The property and internal tables are
// rewritten on every registration; the method table is built once.
void* gInternalTable[TROVE_INTERNAL_COUNT];
TrovePropertyDescriptor gPropertyTable[TROVE_PROPERTY_COUNT];

template <typename T>
void* entry(T function) {
  return reinterpret_cast<void*>(function);
}

// Entry i of the method table passes the call unchanged to slot i of the
// method table that word 0 of the object designates.
template <typename Fn, int Slot>
struct Forward;

template <typename... Args, int Slot>
struct Forward<int32_t (*)(void*, Args...), Slot> {
  static int32_t call(void* object, Args... args) {
    void** own = *static_cast<void***>(object);
    return reinterpret_cast<int32_t (*)(void*, Args...)>(own[Slot])(object, args...);
  }
};

template <typename Fn, int Slot>
void* forwarder() {
  return entry(&Forward<Fn, Slot>::call);
}

void** methodTable() {
  // Built once per loaded module; the runtime's static initialisation makes
  // concurrent first registrations safe.
  static void** const table = [] {
    static void* slots[TROVE_METHOD_COUNT] = {
        forwarder<TroveOpenKey, TROVE_SLOT_OPEN_KEY>(),
        forwarder<TroveOpenKeyByIndex, TROVE_SLOT_OPEN_KEY_BY_INDEX>(),
        forwarder<TroveOpenNextKey, TROVE_SLOT_OPEN_NEXT_KEY>(),
        forwarder<TroveCloseKey, TROVE_SLOT_CLOSE_KEY>(),
        forwarder<TroveGetKeyName, TROVE_SLOT_GET_KEY_NAME>(),
        forwarder<TroveGetKeyNameByIndex, TROVE_SLOT_GET_KEY_NAME_BY_INDEX>(),
        forwarder<TroveGetValue, TROVE_SLOT_GET_VALUE>(),
        forwarder<TroveGetValueByIndex, TROVE_SLOT_GET_VALUE_BY_INDEX>(),
        forwarder<TroveGetValueNameByIndex, TROVE_SLOT_GET_VALUE_NAME_BY_INDEX>(),
        forwarder<TroveSetValue, TROVE_SLOT_SET_VALUE>(),
        forwarder<TroveSetValueByIndex, TROVE_SLOT_SET_VALUE_BY_INDEX>(),
        forwarder<TroveGetKeyCount, TROVE_SLOT_GET_KEY_COUNT>(),
        forwarder<TroveGetValueCount, TROVE_SLOT_GET_VALUE_COUNT>(),
        forwarder<TroveDeleteKey, TROVE_SLOT_DELETE_KEY>(),
        forwarder<TroveDeleteKeyByInd, TROVE_SLOT_DELETE_KEY_BY_IND>(),
        forwarder<TroveDeleteValue, TROVE_SLOT_DELETE_VALUE>(),
        forwarder<TroveDeleteValueByInd, TROVE_SLOT_DELETE_VALUE_BY_IND>(),
        forwarder<TroveClean, TROVE_SLOT_CLEAN>(),
        forwarder<TroveCopyKey, TROVE_SLOT_COPY_KEY>(),
        forwarder<TroveCopyKeyByPath, TROVE_SLOT_COPY_KEY_BY_PATH>(),
        forwarder<TroveSetRootKey, TROVE_SLOT_SET_ROOT_KEY>(),
        forwarder<TroveSetRootStr, TROVE_SLOT_SET_ROOT_STR>(),
        nullptr,  // flush has no public entry
    };
    return slots;
  }();
  return table;
}

TrovePropertyDescriptor constant(uint32_t id, uint64_t value, uint64_t size, uint64_t mode) {
  return {id, value, size, mode, nullptr, nullptr};
}

// A field of the data area, at the offset and with the size its member has:
// properties_map.h pins those offsets, so they are written only there.
#define TROVE_FIELD(id, member, mode)                                                    \
  TrovePropertyDescriptor {                                                              \
    id, TROVE_DATA_OFFSET(member), sizeof(PropertiesMap::member), mode, nullptr, nullptr \
  }

TrovePropertyDescriptor accessors(uint32_t id, TroveAccessor get, TroveAccessor set) {
  return {id, 0, 0, TROVE_MODE_ACCESSORS, get, set};
}

void fillPropertyTable() {
  TrovePropertyDescriptor* p = gPropertyTable;
  p[0] = constant(TROVE_PROP_VERSION, 1, 4, TROVE_MODE_CONSTANT);
  p[1] = constant(TROVE_PROP_DESCRIPTION, reinterpret_cast<uint64_t>(kDescription),
                  sizeof(kDescription), TROVE_MODE_CONSTANT_BYTES);
  p[2] = TROVE_FIELD(TROVE_PROP_READ_ONLY, readOnly, TROVE_MODE_FIELD_READ_WRITE);
  p[3] = TROVE_FIELD(TROVE_PROP_RESERVED_1002, reserved1002, TROVE_MODE_FIELD_HOST);
  p[4] = TROVE_FIELD(TROVE_PROP_RESERVED_1003, reserved1003, TROVE_MODE_FIELD_READ);
  p[5] = TROVE_FIELD(TROVE_PROP_SAVE_ON_CLOSE, saveOnClose, TROVE_MODE_FIELD_READ_WRITE);
  p[6] = TROVE_FIELD(TROVE_PROP_OPEN_FLAGS, openFlags, TROVE_MODE_FIELD_HOST);
  p[7] = accessors(TROVE_PROP_ROOT_POINT, &getRootPoint, &setRootPoint);
  p[8] = accessors(TROVE_PROP_ROOT_KEY, &getRootKey, &setRootKey);
  p[9] = accessors(TROVE_PROP_NAME, &getName, &setName);
  p[10] = TROVE_FIELD(TROVE_PROP_STORE_IO, storeIo, TROVE_MODE_FIELD_HOST);
  p[11] = TROVE_FIELD(TROVE_PROP_USE_LOCKING, useLocking, TROVE_MODE_FIELD_READ_WRITE);
  p[12] = TROVE_FIELD(TROVE_PROP_BACKUP_MODE, backupMode, TROVE_MODE_FIELD_READ_WRITE);
  p[13] = constant(TROVE_PROP_NAME_CODE_PAGE, 1200, 4, TROVE_MODE_CONSTANT);
}

void fillInternalTable() {
  gInternalTable[TROVE_INTERNAL_ON_DATA_INIT] = entry(&onDataInit);
  gInternalTable[TROVE_INTERNAL_ON_INIT_DONE] = entry(&onInitDone);
  gInternalTable[TROVE_INTERNAL_ON_CLOSE] = entry(&onClose);
}

int32_t registerRegistry(void* root) {
  fillPropertyTable();
  fillInternalTable();
  void** methods = methodTable();
  void** rootMethods = *static_cast<void***>(root);
  auto registerInterface =
      reinterpret_cast<TroveRegisterInterface>(rootMethods[TROVE_ROOT_SLOT_REGISTER_INTERFACE]);
  int32_t result = registerInterface(root, TROVE_IID_REGISTRY, TROVE_PLUGIN_ID, 0,
                                     TROVE_INTERFACE_VERSION, TROVE_VENDOR_ID, gInternalTable,
                                     TROVE_INTERNAL_COUNT, methods, TROVE_METHOD_COUNT,
                                     gPropertyTable, TROVE_PROPERTY_COUNT, TROVE_DATA_SIZE, 0);
  if (result < 0)
    trace(root, TROVE_TRACE_REGISTRATION, "Registry(IID_REGISTRY)registered [%terr]", result);
  return result;
}

// A root object without a method table cannot take a registration; refuse it
// rather than jump through a null pointer.
bool usableRoot(void* root) {
  if (!root) return false;
  void** methods = *static_cast<void***>(root);
  return methods && methods[TROVE_ROOT_SLOT_REGISTER_INTERFACE];
}

}  // namespace
}  // namespace trove

extern "C" __attribute__((visibility("default"))) int32_t ModuleEntry(void* first, uint32_t reason,
                                                                      void* third) {
  if (reason != TROVE_REASON_REGISTER) return 1;
  trove::setRootObject(first);
  int32_t* resultCell = static_cast<int32_t*>(third);
  if (resultCell) *resultCell = errOk;
  int32_t result = trove::usableRoot(first) ? trove::registerRegistry(first) : errInvalidArgument;
  if (resultCell) *resultCell = result;
  if (result < 0) {
    trove::trace(first, TROVE_TRACE_ERROR, "cannot register \"Registry\" interface");
    return 0;
  }
  return 1;
}
