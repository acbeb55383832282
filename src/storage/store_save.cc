// Saving the store at close. A named store is never written in place: the
// text goes to a temporary file beside it, which is forced to disk, the
// previous versions are kept as backups by the backup mode, and the
// temporary file then replaces the store. Every move is a rename followed by
// a flush of the directory, so after a crash at any point the store's name
// holds the old or the new store, except between the move of the old store
// to ".bak2" and the install, when ".bak2" holds the old one.
#include <new>
#include <string>
#include <string_view>

#include "object/properties_map.h"
#include "platform/platform.h"
#include "services/host_services.h"
#include "storage/store_file.h"
#include "storage/store_names.h"
#include "storage/store_result.h"
#include "storage/store_write.h"
#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

constexpr uint8_t kBackupSecond = 1;  // keep the previous store as ".bak2"
constexpr uint8_t kBackupFirst = 2;   // also copy the store to ".bak" once, then as 1
constexpr int kInstallAttempts = 3;
constexpr uint32_t kInstallRetryMilliseconds = 200;

const char16_t* nameForTrace(const std::u16string& name) {
  return name.empty() ? u"<no name>" : name.c_str();
}

// Creates the temporary file and writes the store into it. A file left by a
// failed write holds nothing anyone can use, so it is removed again; the
// store and its backups are not touched on this path.
int32_t writeTemporaryFile(PropertiesMap* map, const SaveFileNames& names) {
  if (names.pathError != platform::kSuccess) return saveResultFromError(names.pathError);
  platform::Platform& os = platform::current();
  platform::FileHandle file;
  const platform::WinError opened =
      os.openExclusive(names.temporaryPath, platform::OpenMode::WriteCreateAlways, &file);
  if (opened != platform::kSuccess) {
    if (file.isOpen()) os.close(file);
    return saveResultFromError(opened);
  }
  const int32_t result = writeToFile(map, file);
  os.close(file);
  if (result < 0) os.removeFile(names.temporaryPath);
  return result;
}

void makeFirstBackup(PropertiesMap* map, const SaveFileNames& names) {
  trace(map, TROVE_TRACE_BACKUP, "trove\ttrying to do first backup to %S",
        names.firstBackup.c_str());
  // Never overwrites an existing first backup: that file keeps the oldest store.
  if (platform::WinError error =
          platform::current().copyNoReplace(names.storePath, names.firstBackupPath)) {
    trace(map, TROVE_TRACE_ERROR, "trove\tcannot do first backup: %terr",
          saveResultFromError(error));
  }
}

// An empty store file is what creating a missing store leaves; a missing one
// what a crash between the backup move and the install leaves. A store that
// cannot be opened to tell (held by another program) counts as having content.
enum class StoreContent { Missing, Empty, Present };

StoreContent storeContent(platform::Platform& os, const std::string& path) {
  platform::FileHandle file;
  const platform::WinError opened = os.openExclusive(path, platform::OpenMode::ReadExisting, &file);
  if (opened != platform::kSuccess) {
    if (file.isOpen()) os.close(file);
    const bool missing = opened == platform::kFileNotFound || opened == platform::kPathNotFound;
    return missing ? StoreContent::Missing : StoreContent::Present;
  }
  uint64_t size = 0;
  const bool empty = os.fileSize(file, &size) == platform::kSuccess && size == 0;
  os.close(file);
  return empty ? StoreContent::Empty : StoreContent::Present;
}

void makeSecondBackup(PropertiesMap* map, const SaveFileNames& names) {
  platform::Platform& os = platform::current();
  trace(map, TROVE_TRACE_BACKUP, "trove\ttrying to back up to %S", names.secondBackup.c_str());
  // The ".bak2" may be the only copy of the last real store (after a crash
  // left the name empty and the store was then created anew): a missing or
  // empty store never pushes it out. The move of a missing store is still
  // tried, so its failure is reported as usual.
  const StoreContent content = storeContent(os, names.storePath);
  if (content == StoreContent::Empty) return;
  if (content == StoreContent::Present && os.exists(names.secondBackupPath) == platform::kSuccess) {
    if (platform::WinError error = os.replaceMove(names.secondBackupPath, names.setAsidePath)) {
      trace(map, TROVE_TRACE_ERROR, "trove\tcannot move profiles.xml.bak2 to %S: %terr",
            names.setAside.c_str(), saveResultFromError(error));
    }
    if (platform::WinError error = os.removeFile(names.setAsidePath)) {
      trace(map, TROVE_TRACE_ERROR, "trove\tcannot remove %S: %terr", names.setAside.c_str(),
            saveResultFromError(error));
    }
  }
  if (platform::WinError error = os.replaceMove(names.storePath, names.secondBackupPath)) {
    trace(map, TROVE_TRACE_ERROR, "trove\tcannot move original profiles.xml to backup file: %terr",
          saveResultFromError(error));
  }
}

// Moves the temporary file over the store. Access denied is often a passing
// state (a scanner or an indexer holding the store), so it is tried again.
int32_t installStore(const SaveFileNames& names) {
  platform::Platform& os = platform::current();
  int32_t result = errOk;
  for (int attempt = 0; attempt < kInstallAttempts; ++attempt) {
    if (attempt > 0) os.sleepMilliseconds(kInstallRetryMilliseconds);
    result = saveResultFromError(os.replaceMove(names.temporaryPath, names.storePath));
    if (result != errAccessDenied) break;
  }
  return result;
}

void checkStoreExists(PropertiesMap* map, const SaveFileNames& names) {
  const platform::WinError error = platform::current().exists(names.storePath);
  if (error == platform::kSuccess) return;
  // A store that is simply absent reports "false", which the save shows as 3.
  const bool absent = error == platform::kFileNotFound || error == platform::kPathNotFound;
  const int32_t code = absent ? normalizeSaveResult(errFalse) : saveResultFromError(error);
  trace(map, TROVE_TRACE_ERROR, "trove\tFile %S does not exist: %terr", nameForTrace(names.store),
        code);
}

int32_t saveNamedStore(PropertiesMap* map, const std::u16string& name) {
  const SaveFileNames names(name, platform::current().currentThreadId());
  trace(map, TROVE_TRACE_SAVE, "trove\tsave to temporary file %S, backup mode: %u",
        names.temporary.c_str(), static_cast<uint32_t>(map->backupMode));

  int32_t result = writeTemporaryFile(map, names);
  const bool defaultStore = isDefaultStoreName(name.data(), name.size());
  if (result < 0) {
    trace(map, TROVE_TRACE_ERROR, "trove\tcannot write file %S : %terr", nameForTrace(name),
          result);
    return result;
  }

  if (map->backupMode == kBackupFirst) {
    makeFirstBackup(map, names);
    map->backupMode = kBackupSecond;  // whether the copy worked or not
  }
  if (defaultStore || map->backupMode == kBackupSecond) makeSecondBackup(map, names);

  // A failed install keeps the new content in the temporary file, where it
  // may be the only copy of it on disk; it is left for the user to recover.
  result = installStore(names);
  if (result < 0) {
    trace(map, TROVE_TRACE_ERROR, "trove\tcannot move temporary file to %S : %terr",
          nameForTrace(name), result);
  }
  checkStoreExists(map, names);
  return result;
}

}  // namespace

bool isDefaultStoreName(const char16_t* name, uint64_t length) {
  static constexpr char16_t kDefault[] = u"profiles.xml";
  constexpr uint64_t kLength = sizeof kDefault / sizeof kDefault[0] - 1;
  if (name == nullptr || length < kLength) return false;
  return std::u16string_view(name + (length - kLength), kLength) == kDefault;
}

int32_t flush(void* object) {
  PropertiesMap* map = PropertiesMap::from(object);
  if (map->changed.load(std::memory_order_acquire) == 0) {
    trace(map, TROVE_TRACE_SAVE, "trove\tskip saving because data wasn`t changed");
    return errOk;
  }
  int32_t result;
  try {
    const std::u16string name = storeName(*map);
    if (!name.empty()) {
      result = saveNamedStore(map, name);
    } else {
      result = map->storeIo != nullptr ? writeToIo(map, map->storeIo) : errOk;
    }
  } catch (const std::bad_alloc&) {
    result = errOutOfMemory;
  } catch (...) {
    result = errUnexpected;
  }
  if (result >= 0) map->changed.store(0, std::memory_order_release);
  return result;
}

}  // namespace trove
