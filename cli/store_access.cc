#include "store_access.h"

#include <filesystem>
#include <iostream>
#include <system_error>

#include "standard_streams.h"

namespace trove::cli {

namespace fs = std::filesystem;

namespace {

bool exists(const std::string& file) {
  std::error_code ignored;
  return fs::exists(file, ignored);
}

bool directoryExists(const std::string& file) {
  const fs::path directory = fs::path(file).parent_path();
  std::error_code ignored;
  return directory.empty() || fs::is_directory(directory, ignored);
}

void removeIfEmpty(const std::string& file) {
  std::error_code ignored;
  if (fs::is_regular_file(file, ignored) && fs::file_size(file, ignored) == 0) {
    fs::remove(file, ignored);
  }
}

}  // namespace

void reportRecovery(const std::string& message) {
  std::cerr << "trove: " << message << std::endl;
}

Store openForReading(const std::string& file, const StoreSettings& settings) {
  StoreOptions options;
  options.readOnly = true;
  options.saveOnClose = false;
  options.lockWait = settings.lockWait;
  options.onRecovery = reportRecovery;
  if (isStandardStream(file)) return Store::openMemory(standardInput(), options);
  return Store::openFile(file, options);
}

WritableStore::WritableStore(const std::string& file, const StoreSettings& settings,
                             IfMissing ifMissing)
    : file_(file), hadFirstBackup_(exists(file + ".bak")) {
  if (isStandardStream(file)) {
    StoreOptions options;
    options.readOnly = settings.readOnly;
    options.saveOnClose = false;
    store_.emplace(Store::openMemory(standardInput(), options));
    return;
  }
  // Missing directories are not made: a mistyped --store path should fail,
  // not grow a directory tree.
  created_ = ifMissing == IfMissing::kCreate && !settings.readOnly && !exists(file) &&
             directoryExists(file);
  StoreOptions options;
  options.readOnly = settings.readOnly;
  options.saveOnClose = false;  // a failed command must leave the file as it was
  options.createIfMissing = created_;
  options.backupMode = settings.backupMode;
  // Load, change and save with no other writer in between.
  options.lockWhileOpen = true;
  options.lockWait = settings.lockWait;
  options.onRecovery = reportRecovery;
  try {
    store_.emplace(Store::openFile(file, options));
  } catch (...) {
    if (created_) removeEmptyLeftovers(true);
    throw;
  }
}

WritableStore::~WritableStore() {
  // Still under the writer lock, so no other writer's file is taken away.
  if (created_) removeEmptyLeftovers(!committed_);
  store_.reset();
}

void WritableStore::commit() {
  store_->save();
  committed_ = true;
  if (isStandardStream(file_)) std::cout << store_->contents() << std::flush;
}

void WritableStore::removeEmptyLeftovers(bool includingStore) const {
  // The module creates a new store as an empty file and, in backup mode 2,
  // copies that empty file to ".bak" on the first save; neither holds
  // anything of value.
  if (includingStore) removeIfEmpty(file_);
  if (!hadFirstBackup_) removeIfEmpty(file_ + ".bak");
}

}  // namespace trove::cli
