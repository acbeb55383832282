// How the tool opens store files: for reading (never written back), or for
// a command that changes them (written only when the command succeeded).
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "trove/client/store.h"

namespace trove::cli {

struct StoreSettings {
  bool readOnly = false;                      // every store the command opens refuses changes
  uint8_t backupMode = 0;                     // backups kept when a changed store is written
  std::chrono::milliseconds lockWait{10000};  // for another writer of the same store
};

// Opens a store file to read it: read-only, and never saved on close. A
// missing store is restored from an interrupted save's copy, and that is
// said on standard error. "-" reads the store from standard input. Throws
// trove::Error (errFileNotFound for a missing file).
Store openForReading(const std::string& file, const StoreSettings& settings = {});

// Says on standard error that a store was restored.
void reportRecovery(const std::string& message);

// A store file opened for a command that changes it, holding the store's
// writer lock from the load to the end. Nothing reaches the file unless
// commit() is called; a store file that this created, and the
// empty backups of it that a save leaves, are removed again when the
// command fails or when they only hold the empty placeholder. "-" reads the
// store from standard input and commit() writes it to standard output.
class WritableStore {
 public:
  enum class IfMissing { kFail, kCreate };

  // Throws trove::Error. A missing file is created only with kCreate, when
  // not read-only and when its directory exists (errFileNotFound otherwise).
  WritableStore(const std::string& file, const StoreSettings& settings, IfMissing ifMissing);
  ~WritableStore();
  WritableStore(const WritableStore&) = delete;
  WritableStore& operator=(const WritableStore&) = delete;

  Key root() const { return store_->root(); }
  const Store& store() const { return *store_; }
  // Writes the store if it changed. Throws trove::Error; the previous file
  // is then intact.
  void commit();

 private:
  void removeEmptyLeftovers(bool includingStore) const;

  std::string file_;
  std::optional<Store> store_;
  bool created_ = false;
  bool committed_ = false;
  bool hadFirstBackup_ = false;
};

}  // namespace trove::cli
