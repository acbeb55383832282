// A Platform for tests: forwards every call to another platform (the POSIX
// one by default, so tests work on real files), fails the calls a test aims
// at, can stop like a crashing machine, and records the calls it can fail.
// An injected failure does not reach the forwarded platform: a failed move
// moves nothing. Thread-safe.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace trove::platform {

// Operations the double can fail; the others are forwarded unrecorded.
enum class Op {
  OpenExclusive,
  Write,
  Flush,
  ReplaceMove,
  CopyNoReplace,
  RemoveFile,
  MakeDirectory,
  Sleep,
  CreateSemaphore,
  DestroySemaphore,
  WaitSemaphore
};

// Lets `skip` calls of `op` whose path contains `pathContains` pass, then
// fails the next `times` of them (every later one when 0). A write's path is
// empty; a move's or copy's is its source. The earliest injected fault acts.
struct Fault {
  Op op = Op::Write;
  WinError error = kGeneralFailure;
  uint32_t times = 1;
  uint32_t skip = 0;
  std::string pathContains;
  // Write only: really write at most this many bytes before reporting
  // `error`; with error 0 this is a short write that succeeds.
  std::optional<uint32_t> byteLimit;
};

struct Call {
  Op op;
  std::string path;  // the file, the source of a move or copy, or empty
  uint64_t amount;   // bytes to write, milliseconds to sleep, else 0
};

class FaultInjectingPlatform : public Platform {
 public:
  explicit FaultInjectingPlatform(Platform& forwardTo = posix()) : next_(forwardTo) {}

  void inject(Fault fault);
  // The machine stops at disk-changing call number `step` (from 0): a write
  // there is torn, any other such call does not happen, and no later one
  // does. Creating a file, writing, flushing, moving, copying, removing and
  // making a directory change the disk.
  void crashAt(uint32_t step) {
    std::lock_guard lock(mutex_);
    crashAt_ = step;
  }
  // Disk-changing calls that went through.
  uint32_t steps() const {
    std::lock_guard lock(mutex_);
    return steps_;
  }
  void setThreadId(uint32_t id) {
    std::lock_guard lock(mutex_);
    threadId_ = id;
  }

  std::vector<Call> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }
  void clearCalls() {
    std::lock_guard lock(mutex_);
    calls_.clear();
  }

  WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) override;
  WinError fileSize(FileHandle file, uint64_t* size) override { return next_.fileSize(file, size); }
  WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) override {
    return next_.read(file, buffer, size, countRead);
  }
  WinError write(FileHandle file, const void* data, uint32_t size, uint32_t* countWritten) override;
  WinError flush(FileHandle file) override {
    return pass({Op::Flush, {}, 0}, true, [&] { return next_.flush(file); });
  }
  void close(FileHandle& file) override { next_.close(file); }
  WinError replaceMove(const std::string& from, const std::string& to) override {
    return pass({Op::ReplaceMove, from, 0}, true, [&] { return next_.replaceMove(from, to); });
  }
  WinError copyNoReplace(const std::string& from, const std::string& to) override {
    return pass({Op::CopyNoReplace, from, 0}, true, [&] { return next_.copyNoReplace(from, to); });
  }
  WinError removeFile(const std::string& path) override {
    return pass({Op::RemoveFile, path, 0}, true, [&] { return next_.removeFile(path); });
  }
  WinError exists(const std::string& path) override { return next_.exists(path); }
  WinError makeDirectory(const std::string& path) override {
    return pass({Op::MakeDirectory, path, 0}, true, [&] { return next_.makeDirectory(path); });
  }
  WinError currentDirectory(std::string* out) override { return next_.currentDirectory(out); }
  uint32_t currentThreadId() override;
  void sleepMilliseconds(uint32_t milliseconds) override {
    take({Op::Sleep, {}, milliseconds}, false);
  }
  Semaphore* createSemaphore() override {
    return take({Op::CreateSemaphore, {}, 0}, false) ? nullptr : next_.createSemaphore();
  }
  void destroySemaphore(Semaphore* semaphore) override {
    take({Op::DestroySemaphore, {}, 0}, false);
    next_.destroySemaphore(semaphore);
  }
  WinError waitSemaphore(Semaphore* semaphore) override {
    return pass({Op::WaitSemaphore, {}, 0}, false, [&] { return next_.waitSemaphore(semaphore); });
  }
  WinError releaseSemaphore(Semaphore* semaphore, uint32_t count) override {
    return next_.releaseSemaphore(semaphore, count);
  }

 private:
  // Records the call; returns the fault acting on it, if any.
  std::optional<Fault> take(Call call, bool changesDisk);
  template <class Forward>
  WinError pass(Call call, bool changesDisk, Forward forward) {
    if (auto fault = take(std::move(call), changesDisk)) return fault->error;
    return forward();
  }

  struct Armed {
    Fault fault;
    uint32_t seen = 0;
  };
  Platform& next_;
  mutable std::mutex mutex_;
  std::vector<Armed> faults_;
  std::vector<Call> calls_;
  std::optional<uint32_t> threadId_;
  std::optional<uint32_t> crashAt_;
  uint32_t steps_ = 0;
  bool crashed_ = false;
};

// Installs a platform for one scope and restores the previous one after.
class InstalledPlatform {
 public:
  explicit InstalledPlatform(Platform& platform) : previous_(install(&platform)) {}
  ~InstalledPlatform() { install(previous_); }
  InstalledPlatform(const InstalledPlatform&) = delete;
  InstalledPlatform& operator=(const InstalledPlatform&) = delete;

 private:
  Platform* previous_;
};

}  // namespace trove::platform
