#include "storage/store_names.h"

#include <cstdio>

#include "base/text_conversion.h"
#include "object/properties_map.h"

namespace trove {

std::u16string storeName(const PropertiesMap& map) {
  return std::u16string(map.name.data(), map.name.size());
}

platform::WinError storeFilePath(const std::u16string& name, std::string* path) {
  std::string converted;
  if (!utf16ToUtf8Path(name.data(), name.size(), converted)) return platform::kInvalidName;
  *path = std::move(converted);
  return platform::kSuccess;
}

std::string threadSuffix(uint32_t threadId) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%x", threadId);
  return digits;
}

namespace {

std::u16string widen(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

}  // namespace

SaveFileNames::SaveFileNames(const std::u16string& name, uint32_t threadId) : store(name) {
  const std::string thread = threadSuffix(threadId);
  temporary = name + u".tmp" + widen(thread);
  firstBackup = name + u".bak";
  secondBackup = name + u".bak2";
  setAside = secondBackup + widen(thread);

  pathError = storeFilePath(name, &storePath);
  if (pathError != platform::kSuccess) return;
  temporaryPath = storePath + ".tmp" + thread;
  firstBackupPath = storePath + ".bak";
  secondBackupPath = storePath + ".bak2";
  setAsidePath = secondBackupPath + thread;
}

}  // namespace trove
