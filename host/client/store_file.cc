#include "store_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "trove/client/store_file_error.h"
#include "trove/result_codes.h"

namespace trove::client_detail {

namespace {

constexpr int kMaxLinks = 40;  // as the kernel's own limit for one lookup

std::string directoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

const char* kindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a directory";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISSOCK(mode)) return "a socket";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  return "not a plain file";
}

}  // namespace

std::string followLinks(const std::string& path) {
  std::string current = path;
  for (int hop = 0; hop < kMaxLinks; ++hop) {
    struct stat info;
    if (::lstat(current.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return current;
    std::vector<char> target(static_cast<size_t>(info.st_size > 0 ? info.st_size : 255) + 1);
    const ssize_t length = ::readlink(current.c_str(), target.data(), target.size());
    if (length <= 0 || static_cast<size_t>(length) >= target.size()) return current;
    const std::string next(target.data(), static_cast<size_t>(length));
    current = next.front() == '/' ? next : directoryOf(current) + next;
  }
  return current;  // a loop: opening it reports the error
}

void requireRegularFile(const std::string& path, const std::string& action) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) return;
  throw StoreFileError(errAccessDenied, action,
                       std::string("not a regular file but ") + kindOf(info.st_mode));
}

FileIdentity identify(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return {};
  return {true, static_cast<uint64_t>(info.st_dev), static_cast<uint64_t>(info.st_ino),
          static_cast<uint64_t>(info.st_size),
          static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec};
}

}  // namespace trove::client_detail
