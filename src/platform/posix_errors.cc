#include <errno.h>
#include <sys/stat.h>

#include <string>

#include "platform/paths.h"
#include "platform/platform.h"

namespace trove::platform {

namespace {

// ENOENT means a missing file when its directory is there, else a missing
// directory on the way.
WinError missingFileOrDirectory(const char* path) {
  if (path == nullptr) return kFileNotFound;
  const std::string directory = directoryPart(path);
  struct stat info;
  if (::stat(directory.empty() ? "." : directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    return kFileNotFound;
  }
  return kPathNotFound;
}

}  // namespace

WinError fromErrno(int error, const char* path) {
  switch (error) {
    case 0:
      return kSuccess;
    case ENOENT:
      return missingFileOrDirectory(path);
    case ENOTDIR:
      return kPathNotFound;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
      return kAccessDenied;
    case EEXIST:
      return kFileExists;
    case EWOULDBLOCK:  // also EAGAIN
    case EBUSY:
    case ETXTBSY:
      return kSharingViolation;
    case ENOMEM:
      return kNotEnoughMemory;
    case EINVAL:
      return kInvalidParameter;
    case ENOSPC:
    case EDQUOT:
      return kDiskFull;
    case ENAMETOOLONG:
    case EILSEQ:
      return kInvalidName;
    default:  // EIO and everything else
      return kGeneralFailure;
  }
}

}  // namespace trove::platform
