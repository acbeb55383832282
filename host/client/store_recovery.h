// Restoring a store file whose name an interrupted save left empty.
#pragma once

#include <string>

#include "trove/client/store_files.h"

namespace trove::client_detail {

// inspectStoreFiles for a path whose links are already followed.
StoreFilesReport inspectFiles(const std::string& filePath);

// Restores the store file `filePath` (links already followed) from its
// newest complete copy when it is missing; never over an existing file. The
// caller holds the store's writer lock, so no save is half done. Returns the
// file it restored from, or nothing. Throws StoreFileError when the move fails.
std::string restoreIfMissing(const std::string& filePath, const std::string& label);

// Whether a backup or temporary file of the store exists: only then can a
// missing store be restored, or be in the middle of a save.
bool hasCopies(const std::string& filePath);

}  // namespace trove::client_detail
