#include "registry/key_tree_copy.h"

#include <vector>

#include "registry/host_buffer.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

// A key being copied: its handles on both sides and its next subkey. The
// walk keeps these on a list of its own instead of recursing, so a source
// tree of any depth is copied without exhausting the stack.
struct Level {
  uint64_t source;
  uint64_t destination;
  uint32_t keyCount;
  uint32_t nextKey;
};

class TreeCopy {
 public:
  TreeCopy(const RegistryTable& source, const RegistryTable& destination)
      : source_(source),
        destination_(destination),
        name_(source.object()),
        data_(source.object()) {}

  int32_t run(uint64_t sourceKey, uint64_t destinationKey);

 private:
  // Copies the key's values and learns its subkey count; on success the key
  // becomes the deepest level.
  int32_t enterKey(uint64_t sourceKey, uint64_t destinationKey);
  int32_t copyValue(uint64_t sourceKey, uint64_t destinationKey, uint32_t index);
  // Reads the name of subkey `index` into the name buffer.
  int32_t readKeyName(uint64_t sourceKey, uint32_t index);
  void closePair(uint64_t sourceKey, uint64_t destinationKey);

  const RegistryTable& source_;
  const RegistryTable& destination_;
  // One pair of scratch buffers serves the whole walk: the data buffer is
  // only used while a key's values are copied and is reset afterwards, and
  // the name buffer is reset after every subkey is opened, so each key
  // starts in the inline areas as if it had buffers of its own.
  InlineHostBuffer name_;
  InlineHostBuffer data_;
  std::vector<Level> levels_;
};

int32_t TreeCopy::run(uint64_t sourceKey, uint64_t destinationKey) {
  int32_t result = enterKey(sourceKey, destinationKey);
  while (result >= 0 && !levels_.empty()) {
    Level& level = levels_.back();
    if (level.nextKey == level.keyCount) {
      Level done = level;
      levels_.pop_back();
      if (!levels_.empty()) {  // the starting keys are the caller's
        closePair(done.source, done.destination);
      }
      continue;
    }
    const uint32_t index = level.nextKey++;
    uint64_t s = TROVE_INVALID_KEY;
    uint64_t d = TROVE_INVALID_KEY;
    result = readKeyName(level.source, index);
    if (result >= 0) {
      // Reopened by name: of twins the first is found each time, and a name
      // holding a separator is read as a path. Every key name of a tree is a
      // non-empty segment, so such a path always leads further down.
      const char* name = reinterpret_cast<const char*>(name_.data);
      result = source_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &s, level.source, name, 0u);
      if (result >= 0) {
        result =
            destination_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &d, level.destination, name, 1u);
      }
    }
    name_.reset();
    if (result >= 0) {
      result = enterKey(s, d);
      if (result >= 0) {
        continue;  // closed when its level is done
      }
    }
    closePair(s, d);
  }
  // After a failure, close what the unfinished levels opened, deepest first.
  while (levels_.size() > 1) {
    closePair(levels_.back().source, levels_.back().destination);
    levels_.pop_back();
  }
  levels_.clear();
  return result;
}

int32_t TreeCopy::enterKey(uint64_t sourceKey, uint64_t destinationKey) {
  uint32_t count = 0;
  int32_t result = source_.call<TroveGetValueCount>(TROVE_SLOT_GET_VALUE_COUNT, &count, sourceKey);
  for (uint32_t i = 0; result >= 0 && i < count; ++i) {
    result = copyValue(sourceKey, destinationKey, i);
  }
  data_.reset();
  name_.reset();
  if (result < 0) {
    return result;
  }
  uint32_t keyCount = 0;
  result = source_.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &keyCount, sourceKey);
  if (result >= 0) {
    levels_.push_back(Level{sourceKey, destinationKey, keyCount, 0});
  }
  return result;
}

int32_t TreeCopy::copyValue(uint64_t sourceKey, uint64_t destinationKey, uint32_t index) {
  uint32_t nameSize = 0;
  int32_t result =
      source_.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &nameSize,
                                             sourceKey, index, static_cast<char*>(nullptr), 0u);
  if (result < 0) {
    return result;
  }
  if (nameSize == 0) {  // no value at this index any more
    return errEntryNotFound;
  }
  char* name = reinterpret_cast<char*>(name_.reserve(nameSize, false));
  if (name == nullptr) {
    return errOutOfMemory;
  }
  uint32_t required = 0;
  result = source_.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &required,
                                                  sourceKey, index, name, nameSize);
  if (result < 0) {
    return result;
  }

  uint32_t dataSize = 0;
  result = source_.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &dataSize, sourceKey,
                                              index, static_cast<uint32_t*>(nullptr),
                                              static_cast<void*>(nullptr), 0u);
  if (result < 0) {
    return result;
  }
  void* data = data_.reserve(dataSize, false);
  if (data == nullptr) {
    return errOutOfMemory;
  }
  uint32_t type = 0;  // asks for the stored type, and receives it
  result = source_.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &required, sourceKey,
                                              index, &type, data, dataSize);
  if (result < 0) {
    return result;
  }
  return destination_.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, destinationKey,
                                          static_cast<const char*>(name), type,
                                          static_cast<const void*>(data), dataSize, 1u);
}

int32_t TreeCopy::readKeyName(uint64_t sourceKey, uint32_t index) {
  uint32_t nameSize = 0;
  int32_t result =
      source_.call<TroveGetKeyNameByIndex>(TROVE_SLOT_GET_KEY_NAME_BY_INDEX, &nameSize, sourceKey,
                                           index, static_cast<char*>(nullptr), 0u, 0u);
  if (result < 0) {
    return result;
  }
  if (nameSize == 0) {  // no subkey at this index any more
    return errEntryNotFound;
  }
  char* name = reinterpret_cast<char*>(name_.reserve(nameSize, false));
  if (name == nullptr) {
    return errOutOfMemory;
  }
  uint32_t required = 0;
  return source_.call<TroveGetKeyNameByIndex>(TROVE_SLOT_GET_KEY_NAME_BY_INDEX, &required,
                                              sourceKey, index, name, nameSize, 0u);
}

// Closing releases nothing and its result is not part of the copy's.
void TreeCopy::closePair(uint64_t sourceKey, uint64_t destinationKey) {
  if (destinationKey != TROVE_INVALID_KEY) {
    destination_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, destinationKey);
  }
  if (sourceKey != 0) {
    source_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, sourceKey);
  }
}

}  // namespace

bool offersCopySource(const RegistryTable& source) {
  return source.offers({TROVE_SLOT_OPEN_KEY, TROVE_SLOT_CLOSE_KEY, TROVE_SLOT_GET_KEY_NAME_BY_INDEX,
                        TROVE_SLOT_GET_VALUE_BY_INDEX, TROVE_SLOT_GET_VALUE_NAME_BY_INDEX,
                        TROVE_SLOT_GET_KEY_COUNT, TROVE_SLOT_GET_VALUE_COUNT});
}

bool offersCopyDestination(const RegistryTable& destination) {
  return destination.offers({TROVE_SLOT_OPEN_KEY, TROVE_SLOT_CLOSE_KEY, TROVE_SLOT_SET_VALUE});
}

int32_t copyKeyTree(const RegistryTable& source, uint64_t sourceKey,
                    const RegistryTable& destination, uint64_t destinationKey) {
  TreeCopy copy(source, destination);
  return copy.run(sourceKey, destinationKey);
}

}  // namespace trove
