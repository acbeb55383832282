// The one place that speaks to the operating system. Every failure is a
// Windows error number (0 = success), so that resultFromSystemError maps it
// unchanged: 2 missing file, 3 missing directory on the way, 5 access denied,
// 32 sharing violation, 80 exists, 112 disk full, 123 invalid name, 31 other.
//
// Platform is an interface: the real POSIX implementation serves the module,
// and tests install a fault-injecting one to drive every failure path.
#pragma once

#include <cstdint>
#include <string>

namespace trove::platform {

using WinError = uint32_t;

inline constexpr WinError kSuccess = 0;
inline constexpr WinError kFileNotFound = 2;
inline constexpr WinError kPathNotFound = 3;
inline constexpr WinError kAccessDenied = 5;
inline constexpr WinError kInvalidHandle = 6;
inline constexpr WinError kNotEnoughMemory = 8;
inline constexpr WinError kGeneralFailure = 31;
inline constexpr WinError kSharingViolation = 32;
inline constexpr WinError kFileExists = 80;
inline constexpr WinError kInvalidParameter = 87;
inline constexpr WinError kDiskFull = 112;
inline constexpr WinError kInvalidName = 123;
inline constexpr WinError kTooManyPosts = 298;  // a release beyond the semaphore's maximum

inline constexpr uint32_t kSemaphoreMaximum = 0x7FFFFFFF;

// An open file: a descriptor, -1 when closed.
struct FileHandle {
  int fd = -1;
  bool isOpen() const { return fd >= 0; }
};

enum class OpenMode {
  ReadExisting,       // read; the file must exist
  WriteCreateAlways,  // write; create or truncate
};

class Semaphore;  // counting semaphore, initial 0, maximum 0x7FFFFFFF

class Platform {
 public:
  virtual ~Platform() = default;

  // Opens with share mode 0: open(2), then flock(LOCK_EX | LOCK_NB) held
  // until close; a lock held elsewhere is error 32.
  virtual WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) = 0;
  virtual WinError fileSize(FileHandle file, uint64_t* size) = 0;
  // Reads up to `size` bytes from the current position (looping over short reads).
  virtual WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) = 0;
  virtual WinError write(FileHandle file, const void* data, uint32_t size,
                         uint32_t* countWritten) = 0;
  virtual WinError flush(FileHandle file) = 0;  // fsync
  virtual void close(FileHandle& file) = 0;

  // rename(2) with replace; on EXDEV copy, fsync, delete the source; then
  // fsync the target's directory.
  virtual WinError replaceMove(const std::string& from, const std::string& to) = 0;
  // Copy that fails with 80 when the target exists; the copy is fsynced.
  virtual WinError copyNoReplace(const std::string& from, const std::string& to) = 0;
  virtual WinError removeFile(const std::string& path) = 0;
  virtual WinError exists(const std::string& path) = 0;  // 0 when it exists
  virtual WinError makeDirectory(const std::string& path) = 0;
  virtual WinError currentDirectory(std::string* out) = 0;

  virtual uint32_t currentThreadId() = 0;
  virtual void sleepMilliseconds(uint32_t milliseconds) = 0;

  // Null when the semaphore cannot be created.
  virtual Semaphore* createSemaphore() = 0;
  virtual void destroySemaphore(Semaphore* semaphore) = 0;
  // Waits without time limit; returns 0 or a Windows error.
  virtual WinError waitSemaphore(Semaphore* semaphore) = 0;
  virtual WinError releaseSemaphore(Semaphore* semaphore, uint32_t count) = 0;
};

// The platform in use: the POSIX one unless a test installed another.
Platform& current();
// Installs `platform` (null restores the POSIX one); returns the previous.
Platform* install(Platform* platform);

// The POSIX implementation.
Platform& posix();

// Maps an errno value to its Windows error. ENOENT needs the path to tell a
// missing file (2) from a missing directory on the way (3).
WinError fromErrno(int error, const char* path = nullptr);

// A mutex guarding short critical sections; lives in place (no heap).
class Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock();
  void unlock();

 private:
  alignas(8) unsigned char storage_[40];  // a pthread_mutex_t
};

}  // namespace trove::platform
