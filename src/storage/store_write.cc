#include "storage/store_write.h"

#include <new>
#include <string>

#include "object/properties_map.h"
#include "object/rw_lock.h"
#include "storage/store_result.h"
#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

// The store text, taken while no writer can change the tree.
int32_t serializeStore(PropertiesMap* map, std::string* text) {
  LockGuard guard(map->lock, map->useLocking, LockGuard::Shared);
  try {
    const int32_t result = map->document.serialize(*text);
    if (result < 0) return result;
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (...) {
    return errUnexpected;
  }
  // One write takes a 32-bit length; a longer text is refused, not cut.
  if (text->size() > UINT32_MAX) return errInvalidSize;
  return errOk;
}

}  // namespace

int32_t writeToFile(PropertiesMap* map, platform::FileHandle file) {
  std::string text;
  if (int32_t result = serializeStore(map, &text); result < 0) return result;

  platform::Platform& os = platform::current();
  const auto length = static_cast<uint32_t>(text.size());
  uint32_t written = 0;
  if (platform::WinError error = os.write(file, text.data(), length, &written)) {
    return saveResultFromError(error);
  }
  if (written != length) return errNotMatched;
  // The file is about to replace the store: it must be on disk first, or a
  // crash after the rename could leave a store name over an empty file. A
  // failure to get it there fails the save instead of being ignored.
  if (platform::WinError error = os.flush(file)) return saveResultFromError(error);
  return errOk;
}

int32_t writeToIo(PropertiesMap* map, void* io) {
  std::string text;
  if (int32_t result = serializeStore(map, &text); result < 0) return result;

  void** methods = *static_cast<void***>(io);
  auto write = reinterpret_cast<TroveIoWrite>(methods[TROVE_IO_SLOT_WRITE]);
  auto complete = reinterpret_cast<TroveIoComplete>(methods[TROVE_IO_SLOT_COMPLETE]);
  const int32_t result = write(io, nullptr, 0, text.data(), static_cast<uint32_t>(text.size()));
  complete(io);  // its result does not change the write's
  return result;
}

}  // namespace trove
