// A Platform for tests: forwards every call to another platform (the POSIX
// one by default, so tests work on real files in a scratch directory), fails
// the calls a test aims at, can simulate a machine that stops in the middle
// of a sequence, and records every call.
//
//   FaultInjectingPlatform fault;
//   InstalledPlatform installed(fault);            // current() is now `fault`
//   fault.failNext(Op::ReplaceMove, kAccessDenied, /*times=*/2);
//
// An injected failure does not reach the forwarded platform: a failed move
// moves nothing, a failed write writes nothing (unless a byte limit says
// otherwise). Thread-safe: calls may come from several threads.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace trove::platform {

enum class Op {
  OpenExclusive,
  FileSize,
  Read,
  Write,
  Flush,
  ReplaceMove,
  CopyNoReplace,
  RemoveFile,
  Exists,
  MakeDirectory,
  CurrentDirectory,
  Sleep,
  CreateSemaphore,
  DestroySemaphore,
  WaitSemaphore,
  ReleaseSemaphore,
};

// One scripted failure: it lets `skip` calls of `op` whose path contains
// `pathContains` pass, then acts on the next `times` of them (every later one
// when 0). The path of a file-handle call is empty; that of a move or copy is
// its source. When several faults match, the earliest injected acts.
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
  std::string path;    // the file, the source of a move or copy, or empty
  std::string target;  // the target of a move or copy, else empty
  uint64_t amount;     // bytes to write, milliseconds to sleep, else 0
};

class FaultInjectingPlatform : public Platform {
 public:
  explicit FaultInjectingPlatform(Platform& forwardTo = posix()) : next_(forwardTo) {}

  void inject(Fault fault);
  void failNext(Op op, WinError error, uint32_t times = 1, uint32_t skip = 0);
  void failOnPath(Op op, const std::string& pathPart, WinError error, uint32_t times = 1);
  // The machine stops at disk-changing call number `step` (from 0): that call
  // does half its work at most (a write is torn, a rename does not happen),
  // and no later call changes the disk. Creating a file, writing, flushing,
  // moving, copying, removing and making a directory change the disk.
  void crashAt(uint32_t step);
  bool crashed() const;
  uint32_t steps() const;  // disk-changing calls that went through
  void setThreadId(uint32_t id);

  std::vector<Call> calls() const;
  size_t count(Op op) const;
  uint64_t sleptMilliseconds() const;  // the sum of all requested sleeps (none is real)
  void clearCalls();

  WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) override;
  WinError fileSize(FileHandle file, uint64_t* size) override;
  WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) override;
  WinError write(FileHandle file, const void* data, uint32_t size, uint32_t* countWritten) override;
  WinError flush(FileHandle file) override;
  void close(FileHandle& file) override { next_.close(file); }
  WinError replaceMove(const std::string& from, const std::string& to) override;
  WinError copyNoReplace(const std::string& from, const std::string& to) override;
  WinError removeFile(const std::string& path) override;
  WinError exists(const std::string& path) override;
  WinError makeDirectory(const std::string& path) override;
  WinError currentDirectory(std::string* out) override;
  uint32_t currentThreadId() override;
  void sleepMilliseconds(uint32_t milliseconds) override;
  Semaphore* createSemaphore() override;
  void destroySemaphore(Semaphore* semaphore) override;
  WinError waitSemaphore(Semaphore* semaphore) override;
  WinError releaseSemaphore(Semaphore* semaphore, uint32_t count) override;

 private:
  struct Armed {
    Fault fault;
    uint32_t seen = 0;
  };
  // Records the call; returns the fault acting on it, if any.
  std::optional<Fault> take(Call call, bool changesDisk);

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
