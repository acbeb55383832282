#include "platform/posix_platform.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/paths.h"

namespace trove::platform {

namespace {

int openRetrying(const char* path, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

int flockRetrying(int fd, int operation) {
  int result;
  do {
    result = ::flock(fd, operation);
  } while (result < 0 && errno == EINTR);
  return result;
}

// Closes a descriptor without disturbing errno.
void closeQuietly(int fd) {
  int saved = errno;
  ::close(fd);
  errno = saved;
}

// Writes all of `size` bytes; *written tells how many went out.
WinError writeAll(int fd, const void* data, size_t size, size_t* written) {
  const char* bytes = static_cast<const char*>(data);
  size_t done = 0;
  WinError result = kSuccess;
  while (done < size) {
    ssize_t count = ::write(fd, bytes + done, size - done);
    if (count < 0) {
      if (errno == EINTR) continue;
      result = fromErrno(errno);
      break;
    }
    done += static_cast<size_t>(count);
  }
  *written = done;
  return result;
}

// Reads up to `size` bytes, stopping only at end of file or on a failure.
bool readAll(int fd, void* buffer, size_t size, size_t* countRead) {
  char* bytes = static_cast<char*>(buffer);
  size_t done = 0;
  bool ok = true;
  while (done < size) {
    ssize_t count = ::read(fd, bytes + done, size - done);
    if (count < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    if (count == 0) break;
    done += static_cast<size_t>(count);
  }
  *countRead = done;
  return ok;
}

// Copies the content of one open file into another and syncs the target.
WinError copyContent(int from, int to) {
  std::vector<char> buffer(1 << 16);
  for (;;) {
    size_t got = 0;
    if (!readAll(from, buffer.data(), buffer.size(), &got)) return kGeneralFailure;
    if (got == 0) break;
    size_t written = 0;
    WinError result = writeAll(to, buffer.data(), got, &written);
    if (result != kSuccess) return result;
  }
  if (::fsync(to) != 0) return fromErrno(errno);
  return kSuccess;
}

// Syncs a directory so that a rename in it survives a crash. Some file
// systems refuse fsync on directories; the move has happened by then, so
// that is not reported.
void syncDirectory(const std::string& directory) {
  int fd = openRetrying(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// The error of a failed call that names two paths: a missing source is a
// missing file (or directory) of its own, otherwise the target decides.
WinError fromErrnoOfPair(int error, const std::string& from, const std::string& to) {
  if (error == ENOENT) {
    struct stat info;
    if (::stat(from.c_str(), &info) != 0) return fromErrno(ENOENT, from.c_str());
    return fromErrno(ENOENT, to.c_str());
  }
  return fromErrno(error, to.c_str());
}

// Copies `from` to a new file `to`, refusing an existing target. A partial
// target is removed.
WinError copyFile(const std::string& from, const std::string& to) {
  int source = openRetrying(from.c_str(), O_RDONLY);
  if (source < 0) return fromErrno(errno, from.c_str());
  struct stat info;
  if (::fstat(source, &info) != 0) {
    WinError result = fromErrno(errno, from.c_str());
    ::close(source);
    return result;
  }
  if (S_ISDIR(info.st_mode)) {
    ::close(source);
    return kAccessDenied;
  }
  // A source held exclusively elsewhere is in the middle of being written.
  if (flockRetrying(source, LOCK_SH | LOCK_NB) != 0) {
    WinError result = fromErrno(errno, from.c_str());
    ::close(source);
    return result;
  }
  int target = openRetrying(to.c_str(), O_WRONLY | O_CREAT | O_EXCL, info.st_mode & 0777);
  if (target < 0) {
    WinError result = fromErrnoOfPair(errno, from, to);
    ::close(source);
    return result;
  }
  WinError result = copyContent(source, target);
  ::close(source);
  if (::close(target) != 0 && result == kSuccess) result = fromErrno(errno, to.c_str());
  if (result != kSuccess) ::unlink(to.c_str());
  return result;
}

Platform& posixInstance() {
  static PosixPlatform instance;
  return instance;
}

std::atomic<Platform*> installed{nullptr};

}  // namespace

WinError PosixPlatform::openExclusive(const std::string& path, OpenMode mode, FileHandle* out) {
  out->fd = -1;
  // Creating for writing does not truncate at open: a file that someone else
  // holds must stay intact, so it is emptied only once the lock is ours.
  int flags = mode == OpenMode::ReadExisting ? O_RDONLY : (O_WRONLY | O_CREAT);
  int fd = openRetrying(path.c_str(), flags, 0666);
  if (fd < 0) return fromErrno(errno, path.c_str());
  struct stat info;
  if (::fstat(fd, &info) != 0) {
    WinError result = fromErrno(errno, path.c_str());
    ::close(fd);
    return result;
  }
  if (S_ISDIR(info.st_mode)) {  // a directory is not a file to open
    ::close(fd);
    return kAccessDenied;
  }
  if (flockRetrying(fd, LOCK_EX | LOCK_NB) != 0) {
    WinError result = fromErrno(errno, path.c_str());
    closeQuietly(fd);
    return result;
  }
  // Only a regular file has a length to cut (devices refuse ftruncate).
  if (mode == OpenMode::WriteCreateAlways && S_ISREG(info.st_mode) && ::ftruncate(fd, 0) != 0) {
    WinError result = fromErrno(errno, path.c_str());
    ::close(fd);
    return result;
  }
  out->fd = fd;
  return kSuccess;
}

WinError PosixPlatform::fileSize(FileHandle file, uint64_t* size) {
  struct stat info;
  if (::fstat(file.fd, &info) != 0) return file.fd < 0 ? kInvalidHandle : fromErrno(errno);
  *size = static_cast<uint64_t>(info.st_size);
  return kSuccess;
}

WinError PosixPlatform::read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) {
  size_t done = 0;
  bool ok = readAll(file.fd, buffer, size, &done);
  if (countRead != nullptr) *countRead = static_cast<uint32_t>(done);
  return ok ? kSuccess : kGeneralFailure;
}

WinError PosixPlatform::write(FileHandle file, const void* data, uint32_t size,
                              uint32_t* countWritten) {
  size_t done = 0;
  WinError result = writeAll(file.fd, data, size, &done);
  if (countWritten != nullptr) *countWritten = static_cast<uint32_t>(done);
  return result;
}

WinError PosixPlatform::flush(FileHandle file) {
  if (::fsync(file.fd) != 0) return file.fd < 0 ? kInvalidHandle : fromErrno(errno);
  return kSuccess;
}

void PosixPlatform::close(FileHandle& file) {
  if (file.fd >= 0) ::close(file.fd);  // also drops the lock
  file.fd = -1;
}

WinError PosixPlatform::replaceMove(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) {
    if (errno != EXDEV) return fromErrnoOfPair(errno, from, to);
    // Another file system: copy beside the target and rename the copy into
    // place, so that the target is never seen half written; then drop the
    // source.
    std::string staging = to + ".move" + std::to_string(::gettid());
    ::unlink(staging.c_str());  // a leftover of an interrupted move
    WinError result = copyFile(from, staging);
    if (result != kSuccess) return result;
    if (::rename(staging.c_str(), to.c_str()) != 0) {
      result = fromErrno(errno, to.c_str());
      ::unlink(staging.c_str());
      return result;
    }
    if (::unlink(from.c_str()) != 0) return fromErrno(errno, from.c_str());
  }
  syncDirectory(directoryPart(to));
  return kSuccess;
}

WinError PosixPlatform::copyNoReplace(const std::string& from, const std::string& to) {
  return copyFile(from, to);
}

WinError PosixPlatform::removeFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return fromErrno(errno, path.c_str());
  return kSuccess;
}

WinError PosixPlatform::exists(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return fromErrno(errno, path.c_str());
  return kSuccess;
}

WinError PosixPlatform::makeDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) != 0) return fromErrno(errno, path.c_str());
  return kSuccess;
}

WinError PosixPlatform::currentDirectory(std::string* out) {
  std::string buffer(256, '\0');
  for (;;) {
    if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
      buffer.resize(buffer.find('\0'));
      *out = std::move(buffer);
      return kSuccess;
    }
    if (errno != ERANGE) return fromErrno(errno);
    buffer.resize(buffer.size() * 2);
  }
}

uint32_t PosixPlatform::currentThreadId() {
  return static_cast<uint32_t>(::gettid());
}

void PosixPlatform::sleepMilliseconds(uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

Platform& posix() {
  return posixInstance();
}

Platform& current() {
  Platform* platform = installed.load(std::memory_order_acquire);
  return platform != nullptr ? *platform : posixInstance();
}

Platform* install(Platform* platform) {
  if (platform == &posixInstance()) platform = nullptr;
  Platform* previous = installed.exchange(platform, std::memory_order_acq_rel);
  return previous != nullptr ? previous : &posixInstance();
}

}  // namespace trove::platform
