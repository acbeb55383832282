// The file behind a store path: where a symbolic link leads, whether it is a
// file a store can live in, and its identity, which tells whether another
// writer replaced it.
#pragma once

#include <cstdint>
#include <string>

namespace trove::client_detail {

// `path` with symbolic links in its last component followed (relative link
// targets are taken from the link's directory). Saves are made there, so a
// link stays a link; a missing target is returned as it is named.
std::string followLinks(const std::string& path);

// Throws StoreFileError (errAccessDenied) when `path` exists and is not a
// regular file: a device, FIFO, socket or directory is never read (a FIFO
// would block) nor replaced. `action` says what was being done.
void requireRegularFile(const std::string& path, const std::string& action);

// What tells one version of a file from another: every save installs a new
// file, so its inode changes; size and modification time catch an edit in
// place.
struct FileIdentity {
  bool exists = false;
  uint64_t device = 0, inode = 0, size = 0;
  int64_t modifiedNanoseconds = 0;

  bool operator==(const FileIdentity&) const = default;
};

FileIdentity identify(const std::string& path);

}  // namespace trove::client_detail
