// The key methods of the Registry interface: opening, enumerating, naming,
// counting and deleting keys, and moving the root key.
#include "registry/method_frame.h"
#include "registry/registry_methods.h"
#include "services/host_services.h"
#include "types/copy_out.h"

namespace trove {

namespace {

constexpr uint32_t kCall = TROVE_TRACE_CALL;

void storeHandle(uint64_t* out, const XmlNode* node) {
  if (out != nullptr) {
    *out = node != nullptr ? handleOf(node) : TROVE_INVALID_KEY;
  }
}

}  // namespace

int32_t OpenKey(void* obj, uint64_t* out, uint64_t parent, const char* path, uint32_t create) {
  XmlNode* found = nullptr;
  auto mode = create != 0 ? LockGuard::Exclusive : LockGuard::Shared;
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* start = resolveHandle(map, parent);
    if (start == nullptr) {
      return errInvalidKey;
    }
    if (path == nullptr) {
      found = start;
      return errOk;
    }
    found = start->findPath(path, nullptr);
    if (found != nullptr) {
      return errOk;
    }
    if (create == 0) {
      return errEntryNotFound;
    }
    if (map->readOnly != 0) {
      return errReadOnly;
    }
    found = start->createPath(path, false);
    if (found == nullptr) {
      return errOutOfMemory;
    }
    map->markChanged();
    return errKeyCreated;
  };
  auto report = [&](int32_t result) {
    storeHandle(out, result >= 0 ? found : nullptr);
    trace(obj, kCall, "trove\tOpening key %s\\%s: %terr", "?", printable(path), result);
  };
  return runMethod(obj, mode, work, report);
}

int32_t OpenKeyByIndex(void* obj, uint64_t* out, uint64_t key, uint32_t index) {
  XmlNode* found = nullptr;
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errEntryNotFound;
    }
    found = node->childAt(index);
    return found != nullptr ? errOk : errEntryNotFound;
  };
  auto report = [&](int32_t result) {
    storeHandle(out, result >= 0 ? found : nullptr);
    trace(obj, kCall, "trove\t%s %d: %terr", "PropertiesMap::OpenKeyByIndex",
          static_cast<int32_t>(index), result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t OpenNextKey(void* obj, uint64_t* out, uint64_t key) {
  XmlNode* found = nullptr;
  auto work = [&](PropertiesMap* map) -> int32_t {
    // Handle 0 is the root key, which has no sibling within its own subtree.
    if (key == 0) {
      return errInvalidKey;
    }
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errInvalidKey;
    }
    found = map->document.nextSibling(node);
    return found != nullptr ? errOk : errInvalidKey;
  };
  auto report = [&](int32_t result) {
    storeHandle(out, result >= 0 ? found : nullptr);
    trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::OpenNextKey", result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t CloseKey(void* obj, uint64_t key) {
  auto work = [](PropertiesMap*) -> int32_t { return errOk; };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\tClosing key %x: %terr", low32(key), result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

namespace {

// The short name through copyStringOut, or the full name from the root key,
// whose required size counts no NUL.
int32_t copyKeyName(PropertiesMap* map, const XmlNode* node, uint32_t* required, char* buffer,
                    uint32_t size, uint32_t full) {
  if (full == 0) {
    return copyStringOut(buffer, size, required, node->name);
  }
  uint32_t length = 0;
  int32_t result = map->document.keyPath(node, buffer, size, &length);
  if (required != nullptr) {
    *required = length;
  }
  return result;
}

}  // namespace

int32_t GetKeyName(void* obj, uint32_t* required, uint64_t key, char* buffer, uint32_t size,
                   uint32_t full) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errInvalidKey;
    }
    return copyKeyName(map, node, required, buffer, size, full);
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\tGetting key name %d: %terr", static_cast<int32_t>(low32(key)),
          result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t GetKeyNameByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index, char* buffer,
                          uint32_t size, uint32_t full) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (node == nullptr) {
      return errEntryNotFound;
    }
    XmlNode* child = node->childAt(index);
    if (child == nullptr) {
      return errEntryNotFound;
    }
    return copyKeyName(map, child, required, buffer, size, full);
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\tGetting key name by index %d: %terr", static_cast<int32_t>(index),
          result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t GetKeyCount(void* obj, uint32_t* count, uint64_t key) {
  auto work = [&](PropertiesMap* map) -> int32_t {
    XmlNode* node = resolveHandle(map, key);
    if (count != nullptr) {
      *count = node != nullptr ? node->childCount() : 0;
    }
    return node != nullptr ? errOk : errInvalidKey;
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::GetKeyCount", result);
  };
  return runMethod(obj, LockGuard::Shared, work, report);
}

int32_t DeleteKey(void* obj, uint64_t key, const char* path) {
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    // A path that designates the key itself names no list to take it out
    // of; refusing it also keeps the root key alive.
    if (path == nullptr) {
      return errInvalidArgument;
    }
    XmlNode* holder = nullptr;
    XmlNode* target = node->findPath(path, &holder);
    if (target == nullptr) {
      return errEntryNotFound;
    }
    if (target == node || holder == nullptr) {
      return errInvalidArgument;
    }
    return changedOn(map, node->removePath(path));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s %s: %terr", "PropertiesMap::DeleteKey", printable(path), result);
  };
  return runWriteOnKey(obj, key, work, report);
}

int32_t DeleteKeyByInd(void* obj, uint64_t key, uint32_t index) {
  auto work = [&](PropertiesMap* map, XmlNode* node) -> int32_t {
    return changedOn(map, node->removeChildAt(index));
  };
  auto report = [&](int32_t result) {
    trace(obj, kCall, "trove\t%s %d : %terr", "PropertiesMap::DeleteKeyByInd",
          static_cast<int32_t>(index), result);
  };
  return runWriteOnKey(obj, key, work, report);
}

// The root key moves without the lock: callers must not move it while other
// threads use the object.
int32_t SetRootKey(void* obj, uint64_t key) {
  PropertiesMap* map = PropertiesMap::from(obj);
  int32_t result = errWrongState;
  if (map->loaded()) {
    // Searched from the document root, so the root key may move anywhere;
    // the handle is only compared with the nodes found.
    result = map->document.selectRootKey(reinterpret_cast<XmlNode*>(static_cast<uintptr_t>(key)));
  }
  trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::SetRootKey", result);
  return result;
}

int32_t SetRootStr(void* obj, const char* path) {
  PropertiesMap* map = PropertiesMap::from(obj);
  int32_t result = errWrongState;
  if (map->loaded()) {
    result = path == nullptr ? errInvalidArgument : map->document.setRootPath(path);
  }
  trace(obj, kCall, "trove\t%s : %terr", "PropertiesMap::SetRootStr", result);
  return result;
}

}  // namespace trove
