// PropertiesMap: the object behind the Registry interface, constructed in
// place over the host's object (three header words, then the 200-byte data
// area). The fields the host reaches through the property table sit at fixed
// offsets of the data area; the static_asserts below pin them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/oru_string.h"
#include "object/rw_lock.h"
#include "xml/xml_tree.h"

namespace trove {

class PropertiesMap {
 public:
  // Header words.
  void** methods;
  void** services;
  void* hostWord;

  // Data area.
  XmlDocument document;
  uint32_t readOnly;
  uint32_t reserved1002;
  uint32_t reserved1003;
  uint32_t saveOnClose;
  oru::wstring_t name;     // the store file path, UTF-16
  char* pendingRootPoint;  // root point to apply once loaded
  uint32_t openFlags;
  void* storeIo;
  uint32_t useLocking;
  uint8_t backupMode;
  RwLock lock;
  std::atomic<uint32_t> changed;  // whether flush has anything to write

  static PropertiesMap* from(void* object) { return static_cast<PropertiesMap*>(object); }
  bool loaded() const { return document.root() != nullptr; }
  void markChanged() { changed.store(1, std::memory_order_release); }
};

inline constexpr std::size_t kDataAreaOffset = TROVE_HOST_HEADER_SIZE;
#define TROVE_DATA_OFFSET(member) \
  (offsetof(::trove::PropertiesMap, member) - ::trove::kDataAreaOffset)
static_assert(TROVE_DATA_OFFSET(readOnly) == 24);
static_assert(TROVE_DATA_OFFSET(reserved1002) == 28);
static_assert(TROVE_DATA_OFFSET(reserved1003) == 32);
static_assert(TROVE_DATA_OFFSET(saveOnClose) == 36);
static_assert(TROVE_DATA_OFFSET(openFlags) == 96);
static_assert(TROVE_DATA_OFFSET(storeIo) == 104);
static_assert(TROVE_DATA_OFFSET(useLocking) == 112);
static_assert(TROVE_DATA_OFFSET(backupMode) == 116);
static_assert(sizeof(PropertiesMap) - kDataAreaOffset <= TROVE_DATA_SIZE);
static_assert(sizeof(std::atomic<uint32_t>) == 4 && std::atomic<uint32_t>::is_always_lock_free);

}  // namespace trove
