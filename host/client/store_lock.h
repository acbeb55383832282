// The writer lock of a store file: flock on "<store>.lock" beside it. Writers
// that take it exclude each other across processes and threads; readers
// never take it, since every save replaces the store in one rename.
#pragma once

#include <chrono>
#include <string>

namespace trove::client_detail {

class StoreLock {
 public:
  StoreLock() = default;
  // Waits up to `wait` for the lock of the store file `storePath` (the real
  // file, not a link to it). Throws StoreFileError: errSysSharingViolation
  // when another writer keeps it longer, errAccessDenied when the lock file
  // cannot be made; `label` names the store in that message. When the
  // store's directory does not exist, there is nothing to lock: the lock is
  // then not held.
  StoreLock(const std::string& storePath, std::chrono::milliseconds wait, const std::string& label);
  StoreLock(StoreLock&& other) noexcept;
  StoreLock& operator=(StoreLock&& other) noexcept;
  ~StoreLock() { release(); }

  bool held() const { return fd_ >= 0; }
  void release();

 private:
  std::string path_;
  int fd_ = -1;
};

}  // namespace trove::client_detail
