#include "storage/store_create.h"

#include <string>

#include "object/properties_map.h"
#include "platform/paths.h"
#include "platform/platform.h"
#include "storage/store_names.h"
#include "storage/store_result.h"
#include "trove/result_codes.h"

namespace trove {

int32_t createStoreFile(PropertiesMap* map) {
  const std::u16string name = storeName(*map);
  if (name.empty()) return errInvalidArgument;
  std::string path;
  if (platform::WinError error = storeFilePath(name, &path)) return loadResultFromError(error);

  platform::Platform& os = platform::current();
  const std::string directory = platform::directoryPart(path);
  if (!directory.empty()) {
    // Failures to make the directories are not reported: the file creation
    // below fails instead and says why.
    std::string fullDirectory;
    if (platform::makeFullPath(os, directory, &fullDirectory) == platform::kSuccess) {
      platform::createDirectories(os, fullDirectory);
    }
  }

  platform::FileHandle file;
  const platform::WinError error =
      os.openExclusive(path, platform::OpenMode::WriteCreateAlways, &file);
  if (file.isOpen()) os.close(file);
  return loadResultFromError(error);
}

}  // namespace trove
