// What every Registry method shares: the lock for the call, key handle
// resolution, and the guarantee that nothing thrown reaches the host.
#pragma once

#include <cstdint>

#include "object/properties_map.h"
#include "object/rw_lock.h"
#include "trove/abi.h"
#include "trove/result_codes.h"
#include "xml/xml_tree.h"

namespace trove {

// The node a handle designates below the current root key (0: the root key
// itself), or null. The handle is only compared with the nodes of the tree,
// never followed.
inline XmlNode* resolveHandle(const PropertiesMap* map, uint64_t handle) {
  const XmlNode* node = reinterpret_cast<const XmlNode*>(static_cast<uintptr_t>(handle));
  return map->document.resolveKey(node);
}

inline uint64_t handleOf(const XmlNode* node) {
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node));
}

// Texts passed to "%s" must not be null.
inline const char* printable(const char* text) {
  return text != nullptr ? text : "(null)";
}

// The low 32 bits of an address or handle, for a "%x" or "%d" conversion.
inline uint32_t low32(uint64_t value) {
  return static_cast<uint32_t>(value);
}
inline uint32_t low32(const void* address) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
}

int32_t resultFromAnyException() noexcept;

// Runs `work` under the object's lock in `mode`, then `report` with its
// result before the lock is released. An exception from `work` becomes a
// result code; a lock that cannot be taken is the call's failure.
template <class Work, class Report>
int32_t runMethod(void* object, LockGuard::Mode mode, Work&& work, Report&& report) noexcept {
  PropertiesMap* map = PropertiesMap::from(object);
  LockGuard guard(map->lock, map->useLocking, mode);
  int32_t result = guard.result();
  if (result >= 0) {
    try {
      result = work(map);
    } catch (...) {
      result = resultFromAnyException();
    }
  }
  report(result);
  return result;
}

// The frame of the methods that change a key: under the exclusive lock a
// read-only object is refused, then the handle is resolved (`resolved`, when
// given, tells whether it was), and `work` runs on the key.
template <class Work, class Report>
int32_t runWriteOnKey(void* object, uint64_t key, Work&& work, Report&& report,
                      bool* resolved = nullptr) noexcept {
  auto frame = [&](PropertiesMap* map) -> int32_t {
    if (map->readOnly != 0) return errReadOnly;
    XmlNode* node = resolveHandle(map, key);
    if (resolved != nullptr) *resolved = node != nullptr;
    if (node == nullptr) return errInvalidKey;
    return work(map, node);
  };
  return runMethod(object, LockGuard::Exclusive, frame, report);
}

// A tree change's result, marking the store changed when it succeeded.
inline int32_t changedOn(PropertiesMap* map, int32_t result) {
  if (result >= 0) map->markChanged();
  return result;
}

}  // namespace trove
