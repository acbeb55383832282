// The names of a store's files. The store name is UTF-16; the file system
// takes UTF-8, so every derived name exists in both forms: UTF-16 for the
// trace lines, UTF-8 for the file operations.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace trove {

class PropertiesMap;

// The object's store name as UTF-16 (empty when it has none).
std::u16string storeName(const PropertiesMap& map);

// The file path naming a UTF-16 store name. A name that does not convert
// strictly (an unpaired surrogate) names no file: kInvalidName.
platform::WinError storeFilePath(const std::u16string& name, std::string* path);

// The calling thread's identifier in lowercase hexadecimal, no leading zeros.
std::string threadSuffix(uint32_t threadId);

// The files one save touches, all named by appending to the store name N.
struct SaveFileNames {
  std::u16string store;         // N
  std::u16string temporary;     // N.tmp<thread>
  std::u16string firstBackup;   // N.bak
  std::u16string secondBackup;  // N.bak2
  std::u16string setAside;      // N.bak2<thread>
  // The same names as file paths; empty when N does not convert.
  std::string storePath;
  std::string temporaryPath;
  std::string firstBackupPath;
  std::string secondBackupPath;
  std::string setAsidePath;
  platform::WinError pathError = platform::kSuccess;  // why the paths are empty

  SaveFileNames(const std::u16string& name, uint32_t threadId);
};

}  // namespace trove
