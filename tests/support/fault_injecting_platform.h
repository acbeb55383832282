// A Platform for tests: forwards every call to another platform (the POSIX
// one by default, so tests work on real files in a scratch directory), lets
// a test script failures per operation, and records every call.
//
//   FaultInjectingPlatform fault;
//   InstalledPlatform installed(fault);            // current() is now `fault`
//   fault.failNext(Op::ReplaceMove, kAccessDenied, /*times=*/2);
//   ... run the code under test ...
//   EXPECT_EQ(fault.count(Op::ReplaceMove), 3u);
//   EXPECT_EQ(fault.sleptMilliseconds(), 400u);
//
// An injected failure does not reach the forwarded platform: a failed move
// moves nothing, a failed write writes nothing (unless a byte limit says
// otherwise). Thread-safe: calls may come from several threads.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/platform.h"

namespace trove::platform {

enum class Op {
  OpenExclusive,
  FileSize,
  Read,
  Write,
  Flush,
  Close,
  ReplaceMove,
  CopyNoReplace,
  RemoveFile,
  Exists,
  MakeDirectory,
  CurrentDirectory,
  CurrentThreadId,
  Sleep,
  CreateSemaphore,
  DestroySemaphore,
  WaitSemaphore,
  ReleaseSemaphore,
};

// "replaceMove", "write", ... as used in describe().
const char* opName(Op op);

// One scripted failure. It matches calls of `op` whose path contains
// `pathContains` and whose target contains `targetContains` (either test is
// left out when empty; for file-handle operations the path is the one the
// handle was opened with; the target is that of a move or copy) and which
// `when` accepts, if set. It lets `skip` matching calls pass, then acts on
// the next `times` matching calls (every later one when `times` is 0).
// Each fault counts matching calls from its own injection; when several could
// act on one call, the earliest injected acts.
struct Fault {
  Op op = Op::Write;
  WinError error = kGeneralFailure;
  uint32_t times = 1;
  uint32_t skip = 0;
  std::string pathContains;
  std::string targetContains;
  std::function<bool(const std::string& path, const std::string& target)> when;
  // Read and Write only: transfer at most this many bytes (really, through
  // the forwarded platform) before reporting `error`; with error 0 this is a
  // short transfer that succeeds.
  std::optional<uint32_t> byteLimit;
};

// One recorded call.
struct Call {
  Op op = Op::OpenExclusive;
  std::string path;            // the file, the source of a move or copy, or empty
  std::string target;          // the target of a move or copy, else empty
  uint64_t amount = 0;         // bytes asked to read or write, milliseconds to sleep, release count
  WinError result = kSuccess;  // for CreateSemaphore: 0 created, else the injected error
  bool injected = false;       // the result came from a scripted fault
};

// "replaceMove a -> b = 5", "write /x/f 12 = 0", "sleep 200".
std::string describe(const Call& call);

class FaultInjectingPlatform : public Platform {
 public:
  explicit FaultInjectingPlatform(Platform& forwardTo = posix());

  // --- Scripting ---------------------------------------------------------
  void inject(Fault fault);
  // Fails the next `times` calls of `op` (after `skip` successful ones).
  void failNext(Op op, WinError error, uint32_t times = 1, uint32_t skip = 0);
  // Fails the next `times` calls of `op` whose path contains `pathPart`.
  void failOnPath(Op op, const std::string& pathPart, WinError error, uint32_t times = 1);
  // Fails the next `times` moves or copies from exactly `from` to exactly `to`.
  void failTransfer(Op op, const std::string& from, const std::string& to, WinError error,
                    uint32_t times = 1);
  // Fails every call of `op` from now on.
  void failAlways(Op op, WinError error);
  // The next write writes only `bytes` bytes and reports success.
  void shortWrite(uint32_t bytes, uint32_t times = 1);
  // Drops every fault not yet used up.
  void clearFaults();
  // Faults still waiting to act (a failAlways fault is always pending).
  size_t pendingFaults() const;

  // Whether sleepMilliseconds really sleeps (default: no, it only records).
  void setRealSleep(bool sleep);
  // Reports `id` as the thread identifier instead of the real one.
  void setThreadId(std::optional<uint32_t> id);

  // --- Record --------------------------------------------------------------
  std::vector<Call> calls() const;
  std::vector<Call> calls(Op op) const;
  size_t count(Op op) const;
  // Every recorded call through describe(), in order.
  std::vector<std::string> trail() const;
  uint64_t sleptMilliseconds() const;  // the sum of all requested sleeps
  void clearCalls();

  // --- Platform --------------------------------------------------------------
  WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) override;
  WinError fileSize(FileHandle file, uint64_t* size) override;
  WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) override;
  WinError write(FileHandle file, const void* data, uint32_t size, uint32_t* countWritten) override;
  WinError flush(FileHandle file) override;
  void close(FileHandle& file) override;
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
    uint32_t skipped = 0;
    uint32_t used = 0;
  };

  // The fault acting on this call, if any (consumes one use of it).
  std::optional<Fault> take(Op op, const std::string& path, const std::string& target = {});
  std::string pathOf(FileHandle file) const;
  void record(Call call);

  Platform& next_;
  mutable std::mutex mutex_;
  std::vector<Armed> faults_;
  std::vector<Call> calls_;
  std::unordered_map<int, std::string> openPaths_;
  bool realSleep_ = false;
  std::optional<uint32_t> threadId_;
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
