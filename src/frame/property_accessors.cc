// The accessors behind propRootPoint, propRootKey and propName. They take no
// lock: the host sets properties before load and while nobody else uses the
// object.
#include "frame/property_accessors.h"

#include <cstring>
#include <string>

#include "base/exceptions.h"
#include "base/result_messages.h"
#include "object/properties_map.h"
#include "services/host_services.h"
#include "trove/result_codes.h"
#include "types/copy_out.h"

namespace trove {

namespace {

void clearOut(uint32_t* outSize) {
  if (outSize != nullptr) {
    *outSize = 0;
  }
}

void traceAccessor(PropertiesMap* map, const char* name, int32_t result) {
  trace(map, TROVE_TRACE_CALL, "trove\t%s : %terr", name, result);
}

XmlNode* nodeFromHandle(uint64_t handle) {
  return reinterpret_cast<XmlNode*>(static_cast<uintptr_t>(handle));
}

int32_t readRootPoint(PropertiesMap* map, uint32_t* outSize, char* buffer, uint32_t size) {
  XmlDocument& document = map->document;
  uint32_t length = 0;
  int32_t result = document.rootKeyPath(document.currentRootKey(), nullptr, 0, &length);
  if (result < 0) {
    return result;
  }
  uint32_t needed = length + 1;  // with the NUL
  if (outSize != nullptr) {
    *outSize = needed;
  }
  if (buffer == nullptr) {
    return size == 0 ? errOk : errInvalidArgument;
  }
  if (size < needed) {
    return errBufferTooSmall;
  }
  length = 0;
  return document.rootKeyPath(document.currentRootKey(), buffer, size, &length);
}

int32_t storePendingRootPoint(PropertiesMap* map, const char* text, uint32_t size) {
  if (size == UINT32_MAX) {
    return errInvalidArgument;  // no room for the NUL in a 32-bit size
  }
  void* block = nullptr;
  int32_t result = hostAlloc(map, &block, size + 1);
  if (result < 0) {
    return result;
  }
  if (block == nullptr) {
    return errOutOfMemory;
  }
  char* copy = static_cast<char*>(block);
  std::memcpy(copy, text, size);
  copy[size] = '\0';
  if (map->pendingRootPoint != nullptr) {
    hostFree(map, map->pendingRootPoint);
  }
  map->pendingRootPoint = copy;
  return errOk;
}

}  // namespace

int32_t getRootPoint(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  clearOut(outSize);
  int32_t result = readRootPoint(map, outSize, static_cast<char*>(buffer), size);
  traceAccessor(map, "PropertiesMap::getRootPoint", result);
  return result;
}

int32_t setRootPoint(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  clearOut(outSize);
  int32_t result = errOk;
  if (buffer == nullptr) {
    result = errInvalidArgument;
  } else if (map->loaded()) {
    try {
      // The text need not be NUL-terminated within its size.
      std::string path(static_cast<const char*>(buffer), size);
      result = map->document.setRootPath(path.c_str());
      trace(map, TROVE_TRACE_CALL, "Setting root to %s: %terr", path.c_str(), result);
    } catch (...) {
      result = errOutOfMemory;
    }
  } else {
    result = storePendingRootPoint(map, static_cast<const char*>(buffer), size);
  }
  traceAccessor(map, "PropertiesMap::setRootPoint", result);
  return result;
}

int32_t getRootKey(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  clearOut(outSize);
  int32_t result = errOk;
  if (map->loaded()) {
    uint64_t handle = reinterpret_cast<uintptr_t>(map->document.currentRootKey());
    if (outSize != nullptr) {
      *outSize = sizeof(handle);
    }
    if (buffer == nullptr) {
      result = size == 0 ? errOk : errInvalidArgument;
    } else if (size < sizeof(handle)) {
      result = errBufferTooSmall;
    } else {
      std::memcpy(buffer, &handle, sizeof(handle));
    }
  } else {
    result = copyStringOut(static_cast<char*>(buffer), size, outSize, map->pendingRootPoint);
  }
  trace(map, TROVE_TRACE_CALL, "%s : %terr", "PropertiesMap::getRootKey", result);
  return result;
}

int32_t setRootKey(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  clearOut(outSize);
  int32_t result = errInvalidArgument;
  if (buffer != nullptr && size >= sizeof(uint64_t)) {
    uint64_t handle = 0;
    std::memcpy(&handle, buffer, sizeof(handle));
    // selectRootKey only compares the handle with the nodes it finds.
    result = map->document.selectRootKey(nodeFromHandle(handle));
  }
  traceAccessor(map, "PropertiesMap::setRootKey", result);
  return result;
}

int32_t getName(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  uint64_t needed = 2 * map->name.size() + 2;
  if (outSize != nullptr) {
    *outSize = static_cast<uint32_t>(needed);
  }
  int32_t result = errOk;
  if (needed > size) {
    result = errBufferTooSmall;
  } else if (buffer != nullptr) {
    std::memcpy(buffer, map->name.c_str(), needed);
  }
  traceAccessor(map, "PropertiesMap::getName", result);
  return result;
}

int32_t setName(void* obj, uint32_t* outSize, uint32_t, void* buffer, uint32_t size) {
  PropertiesMap* map = PropertiesMap::from(obj);
  if (buffer == nullptr || size % 2 != 0) {
    return errInvalidArgument;
  }
  clearOut(outSize);
  int32_t result = errOk;
  try {
    // The last unit is the terminator; size 0 leaves no room even for it, and
    // the count wraps to a length the string refuses.
    oru::wstring_t::size_type count = static_cast<oru::wstring_t::size_type>(size / 2) - 1;
    oru::wstring_t replacement(static_cast<const char16_t*>(buffer), count);
    map->name = std::move(replacement);
  } catch (...) {
    result = toModuleResult(resultFromCurrentException());
  }
  traceAccessor(map, "PropertiesMap::setName", result);
  return result;
}

}  // namespace trove
