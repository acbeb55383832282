// The files around a store file: the store itself, and the backup and
// temporary files that its saves leave beside it. A save writes
// "<store>.tmp<thread>", moves the store to "<store>.bak2" (when backups are
// kept) and then moves the new file into place; a crash between those two
// moves leaves the name empty, with the store in ".bak2" or in the new file.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace trove {

enum class StoreFileState {
  kIntact,      // the store file loads
  kMissing,     // no store file, and nothing to restore it from
  kRestorable,  // no store file, but a complete copy to restore it from
  kDamaged,     // the store file exists but does not load
};

struct StoreFilesReport {
  std::string store;  // the file looked at: the target when the path is a link
  StoreFileState state = StoreFileState::kMissing;
  int32_t damage = 0;  // kDamaged: the load's result code
  // The newest complete copy (".bak2", or a temporary file newer than it):
  // what a recovery restores (kRestorable), or what to look at by hand
  // (kDamaged).
  std::string newestCopy;
  // Left by interrupted saves and of no further use: temporary files that
  // are incomplete or older than the store, set-aside backups.
  std::vector<std::string> staleFiles;
  // Complete temporary files newer than an intact store: what a failed
  // install left. Kept, since they may hold the only copy of a change.
  std::vector<std::string> newerFiles;
};

// Looks at the files of the store at `path`; changes nothing. Throws
// StoreFileError when `path` is not a regular file.
StoreFilesReport inspectStoreFiles(const std::string& path);

struct StoreRepair {
  std::string restoredFrom;          // empty when nothing was restored
  std::vector<std::string> removed;  // stale files removed
};

// Under the writer lock: restores a missing store from its newest complete
// copy (never over an existing store), then, when the store is intact,
// removes the stale files. Throws trove::Error.
StoreRepair repairStoreFiles(const std::string& path, std::chrono::milliseconds lockWait);

}  // namespace trove
