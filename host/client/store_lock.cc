#include "store_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "retry_pause.h"
#include "trove/client/store_file_error.h"
#include "trove/result_codes.h"

namespace trove::client_detail {

namespace {

// Whether `fd` is still the file named `path`: a holder removes the lock
// file before it lets go, so a lock won on a removed file is worth nothing.
bool stillNamed(int fd, const std::string& path) {
  struct stat held, named;
  return ::fstat(fd, &held) == 0 && ::stat(path.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

std::string seconds(std::chrono::milliseconds wait) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", static_cast<double>(wait.count()) / 1000.0);
  return text;
}

}  // namespace

StoreLock::StoreLock(const std::string& storePath, std::chrono::milliseconds wait,
                     const std::string& label)
    : path_(storePath + ".lock") {
  RetryPause retry(wait);
  for (;;) {
    const int fd = ::open(path_.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    // No directory yet: no store and no other writer; the load reports it.
    if (fd < 0 && (errno == ENOENT || errno == ENOTDIR)) return;
    if (fd < 0) {
      throw StoreFileError(errAccessDenied, "lock " + label,
                           "cannot make the lock file " + path_ + ": " + std::strerror(errno));
    }
    int locked;
    do {
      locked = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked == 0 && stillNamed(fd, path_)) {
      fd_ = fd;
      return;
    }
    const int error = errno;
    ::close(fd);
    if (locked != 0 && error != EWOULDBLOCK) {
      throw StoreFileError(errAccessDenied, "lock " + label,
                           "cannot lock " + path_ + ": " + std::strerror(error));
    }
    // Polling, since flock has no timed wait.
    if (locked != 0 && !retry.pause()) {
      throw StoreFileError(errSysSharingViolation, "lock " + label,
                           "another writer held " + path_ + " for more than " + seconds(wait));
    }
  }
}

StoreLock::StoreLock(StoreLock&& other) noexcept
    : path_(std::move(other.path_)), fd_(std::exchange(other.fd_, -1)) {}

StoreLock& StoreLock::operator=(StoreLock&& other) noexcept {
  if (this != &other) {
    release();
    path_ = std::move(other.path_);
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

void StoreLock::release() {
  if (fd_ < 0) return;
  // Removed while still held, so that no one can lock it under this name
  // afterwards; waiters that hold the old file see that it is gone.
  ::unlink(path_.c_str());
  ::close(fd_);
  fd_ = -1;
}

}  // namespace trove::client_detail
