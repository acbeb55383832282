// The value methods of the Registry interface: reading and writing values in
// any type, enumerating, counting and deleting them, and emptying the root key.
#include "registry/method_frame.h"
#include "registry/registry_methods.h"
#include "registry/value_transfer.h"
#include "services/host_services.h"
#include "types/copy_out.h"

namespace trove {

namespace {

constexpr uint32_t kCall = TROVE_TRACE_CALL;

}  // namespace

int32_t GetValue(void* obj, uint32_t* required, uint64_t key, const char* name, uint32_t* type,
                 void* buffer, uint32_t size) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errInvalidKey;
    }
    if (name == nullptr) {
      return errInvalidArgument;
    }
    ValueCodec* codec = node->findValue(name);
    if (codec == nullptr) {
      return errEntryNotFound;
    }
    return readValue(map, codec, required, type, buffer, size);
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\tGetting value %s\\%s: %terr", "?", printable(name), result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t GetValueByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index, uint32_t* type,
                        void* buffer, uint32_t size) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errInvalidKey;
    }
    ValueCodec* codec = node->valueAt(index);
    if (codec == nullptr) {
      return errEntryNotFound;
    }
    return readValue(map, codec, required, type, buffer, size);
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\tGetting value by index %d: %terr", static_cast<int32_t>(index),
          result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t GetValueNameByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index,
                            char* buffer, uint32_t size) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      if (required != nullptr) {
        *required = 0;
      }
      return errInvalidKey;
    }
    // Past the last value there is no name: required 0, and no error.
    return copyStringOut(buffer, size, required, node->valueNameAt(index));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::GetValueNameByIndex", result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t SetValue(void* obj, uint64_t key, const char* name, uint32_t type, const void* buffer,
                 uint32_t size, uint32_t create) {
  bool resolved = true;
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    if (name == nullptr) {
      return errInvalidArgument;
    }
    ValueCodec* codec = node->findValue(name);
    if (codec != nullptr) {
      return writeValue(map, codec, type, buffer, size);
    }
    if (create == 0) {
      return errEntryNotFound;
    }
    return changedOn(map, node->addValue(name, type, buffer, size));
  };
  auto report = [&](int32_t result) {
    if (resolved) {
      trace(obj, kCall, "trove\t%s %s (0x%x:%d): %terr", "PropertiesMap::SetValue", printable(name),
            low32(buffer), static_cast<int32_t>(size), result);
    }
  };
  return runWriteOnKey(obj, key, work, report, &resolved);
}

int32_t SetValueByIndex(void* obj, uint64_t key, uint32_t index, uint32_t type, const void* buffer,
                        uint32_t size, uint32_t create) {
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    ValueCodec* codec = node->valueAt(index);
    if (codec != nullptr) {
      return writeValue(map, codec, type, buffer, size);
    }
    if (create == 0) {
      return errEntryNotFound;
    }
    return changedOn(map, node->addValueAt(index, type, buffer, size));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s %d (0x%x:%d): %terr", "PropertiesMap::SetValueByIndex",
          static_cast<int32_t>(index), low32(buffer), static_cast<int32_t>(size), result);
  };
  return runWriteOnKey(obj, key, work, report);
}

int32_t GetValueCount(void* obj, uint32_t* count, uint64_t key) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (count != nullptr) {
      *count = node != nullptr ? node->valueCount() : 0;
    }
    return node != nullptr ? errOk : errInvalidKey;
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::GetValueCount", result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t DeleteValue(void* obj, uint64_t key, const char* name) {
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    if (name == nullptr) {
      return errInvalidArgument;
    }
    return changedOn(map, node->removeValue(name));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s %s: %terr", "PropertiesMap::DeleteValue", printable(name), result);
  };
  return runWriteOnKey(obj, key, work, report);
}

int32_t DeleteValueByInd(void* obj, uint64_t key, uint32_t index) {
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    return changedOn(map, node->removeValueAt(index));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s %d: %terr", "PropertiesMap::DeleteValueByInd",
          static_cast<int32_t>(index), result);
  };
  return runWriteOnKey(obj, key, work, report);
}

int32_t Clean(void* obj) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    if (map->readOnly != 0) {
      return errReadOnly;
    }
    // Without a document there is nothing to clean, and nothing to save.
    if (!map->loaded()) {
      return errOk;
    }
    map->document.clearRootKey();
    map->markChanged();
    return errOk;
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::Clean", result);
  };
  return runMethod(obj, LockGuard::Exclusive, work, report);
}

}  // namespace trove
