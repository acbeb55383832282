#include "support/fault_injecting_platform.h"

#include <algorithm>
#include <utility>

namespace trove::platform {

namespace {

Call makeCall(Op op, std::string path = {}, std::string target = {}) {
  Call call;
  call.op = op;
  call.path = std::move(path);
  call.target = std::move(target);
  return call;
}

}  // namespace

const char* opName(Op op) {
  switch (op) {
    case Op::OpenExclusive:
      return "openExclusive";
    case Op::FileSize:
      return "fileSize";
    case Op::Read:
      return "read";
    case Op::Write:
      return "write";
    case Op::Flush:
      return "flush";
    case Op::Close:
      return "close";
    case Op::ReplaceMove:
      return "replaceMove";
    case Op::CopyNoReplace:
      return "copyNoReplace";
    case Op::RemoveFile:
      return "removeFile";
    case Op::Exists:
      return "exists";
    case Op::MakeDirectory:
      return "makeDirectory";
    case Op::CurrentDirectory:
      return "currentDirectory";
    case Op::CurrentThreadId:
      return "currentThreadId";
    case Op::Sleep:
      return "sleep";
    case Op::CreateSemaphore:
      return "createSemaphore";
    case Op::DestroySemaphore:
      return "destroySemaphore";
    case Op::WaitSemaphore:
      return "waitSemaphore";
    case Op::ReleaseSemaphore:
      return "releaseSemaphore";
  }
  return "?";
}

std::string describe(const Call& call) {
  std::string text = opName(call.op);
  if (!call.path.empty()) text += " " + call.path;
  if (!call.target.empty()) text += " -> " + call.target;
  switch (call.op) {
    case Op::Read:
    case Op::Write:
    case Op::Sleep:
    case Op::ReleaseSemaphore:
      text += " " + std::to_string(call.amount);
      break;
    default:
      break;
  }
  switch (call.op) {
    case Op::Close:
    case Op::Sleep:
    case Op::CurrentThreadId:
    case Op::DestroySemaphore:
      break;
    default:
      text += " = " + std::to_string(call.result);
      break;
  }
  return text;
}

FaultInjectingPlatform::FaultInjectingPlatform(Platform& forwardTo) : next_(forwardTo) {}

void FaultInjectingPlatform::inject(Fault fault) {
  std::lock_guard lock(mutex_);
  faults_.push_back(Armed{std::move(fault)});
}

void FaultInjectingPlatform::failNext(Op op, WinError error, uint32_t times, uint32_t skip) {
  Fault fault;
  fault.op = op;
  fault.error = error;
  fault.times = times;
  fault.skip = skip;
  inject(std::move(fault));
}

void FaultInjectingPlatform::failOnPath(Op op, const std::string& pathPart, WinError error,
                                        uint32_t times) {
  Fault fault;
  fault.op = op;
  fault.error = error;
  fault.times = times;
  fault.pathContains = pathPart;
  inject(std::move(fault));
}

void FaultInjectingPlatform::failTransfer(Op op, const std::string& from, const std::string& to,
                                          WinError error, uint32_t times) {
  Fault fault;
  fault.op = op;
  fault.error = error;
  fault.times = times;
  fault.when = [from, to](const std::string& path, const std::string& target) {
    return path == from && target == to;
  };
  inject(std::move(fault));
}

void FaultInjectingPlatform::failAlways(Op op, WinError error) {
  failNext(op, error, 0);
}

void FaultInjectingPlatform::shortWrite(uint32_t bytes, uint32_t times) {
  Fault fault;
  fault.op = Op::Write;
  fault.error = kSuccess;
  fault.times = times;
  fault.byteLimit = bytes;
  inject(std::move(fault));
}

void FaultInjectingPlatform::clearFaults() {
  std::lock_guard lock(mutex_);
  faults_.clear();
}

size_t FaultInjectingPlatform::pendingFaults() const {
  std::lock_guard lock(mutex_);
  return faults_.size();
}

void FaultInjectingPlatform::setRealSleep(bool sleep) {
  std::lock_guard lock(mutex_);
  realSleep_ = sleep;
}

void FaultInjectingPlatform::setThreadId(std::optional<uint32_t> id) {
  std::lock_guard lock(mutex_);
  threadId_ = id;
}

std::vector<Call> FaultInjectingPlatform::calls() const {
  std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<Call> FaultInjectingPlatform::calls(Op op) const {
  std::lock_guard lock(mutex_);
  std::vector<Call> selected;
  std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(selected),
               [op](const Call& call) { return call.op == op; });
  return selected;
}

size_t FaultInjectingPlatform::count(Op op) const {
  std::lock_guard lock(mutex_);
  return std::count_if(calls_.begin(), calls_.end(),
                       [op](const Call& call) { return call.op == op; });
}

std::vector<std::string> FaultInjectingPlatform::trail() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> lines;
  lines.reserve(calls_.size());
  for (const Call& call : calls_) lines.push_back(describe(call));
  return lines;
}

uint64_t FaultInjectingPlatform::sleptMilliseconds() const {
  std::lock_guard lock(mutex_);
  uint64_t total = 0;
  for (const Call& call : calls_) {
    if (call.op == Op::Sleep) total += call.amount;
  }
  return total;
}

void FaultInjectingPlatform::clearCalls() {
  std::lock_guard lock(mutex_);
  calls_.clear();
}

std::optional<Fault> FaultInjectingPlatform::take(Op op, const std::string& path,
                                                  const std::string& target) {
  std::lock_guard lock(mutex_);
  auto acting = faults_.end();
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    const Fault& fault = it->fault;
    if (fault.op != op) continue;
    if (!fault.pathContains.empty() && path.find(fault.pathContains) == std::string::npos) {
      continue;
    }
    if (!fault.targetContains.empty() && target.find(fault.targetContains) == std::string::npos) {
      continue;
    }
    if (fault.when && !fault.when(path, target)) continue;
    if (it->skipped < fault.skip) {
      ++it->skipped;
    } else if (acting == faults_.end()) {
      acting = it;
    }
  }
  if (acting == faults_.end()) return std::nullopt;
  Fault fault = acting->fault;
  if (fault.times != 0 && ++acting->used == fault.times) faults_.erase(acting);
  return fault;
}

std::string FaultInjectingPlatform::pathOf(FileHandle file) const {
  std::lock_guard lock(mutex_);
  auto it = openPaths_.find(file.fd);
  return it == openPaths_.end() ? std::string() : it->second;
}

void FaultInjectingPlatform::record(Call call) {
  std::lock_guard lock(mutex_);
  calls_.push_back(std::move(call));
}

WinError FaultInjectingPlatform::openExclusive(const std::string& path, OpenMode mode,
                                               FileHandle* out) {
  Call call = makeCall(Op::OpenExclusive, path);
  if (auto fault = take(Op::OpenExclusive, path)) {
    out->fd = -1;
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.openExclusive(path, mode, out);
    if (call.result == kSuccess) {
      std::lock_guard lock(mutex_);
      openPaths_[out->fd] = path;
    }
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::fileSize(FileHandle file, uint64_t* size) {
  Call call = makeCall(Op::FileSize, pathOf(file));
  if (auto fault = take(Op::FileSize, call.path)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.fileSize(file, size);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::read(FileHandle file, void* buffer, uint32_t size,
                                      uint32_t* countRead) {
  Call call = makeCall(Op::Read, pathOf(file));
  call.amount = size;
  uint32_t done = 0;
  if (auto fault = take(Op::Read, call.path)) {
    call.injected = true;
    if (fault->byteLimit) {
      call.result = next_.read(file, buffer, std::min(size, *fault->byteLimit), &done);
    }
    if (call.result == kSuccess) call.result = fault->error;
  } else {
    call.result = next_.read(file, buffer, size, &done);
  }
  if (countRead != nullptr) *countRead = done;
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::write(FileHandle file, const void* data, uint32_t size,
                                       uint32_t* countWritten) {
  Call call = makeCall(Op::Write, pathOf(file));
  call.amount = size;
  uint32_t done = 0;
  if (auto fault = take(Op::Write, call.path)) {
    call.injected = true;
    if (fault->byteLimit) {
      call.result = next_.write(file, data, std::min(size, *fault->byteLimit), &done);
    }
    if (call.result == kSuccess) call.result = fault->error;
  } else {
    call.result = next_.write(file, data, size, &done);
  }
  if (countWritten != nullptr) *countWritten = done;
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::flush(FileHandle file) {
  Call call = makeCall(Op::Flush, pathOf(file));
  if (auto fault = take(Op::Flush, call.path)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.flush(file);
  }
  record(call);
  return call.result;
}

void FaultInjectingPlatform::close(FileHandle& file) {
  Call call = makeCall(Op::Close, pathOf(file));
  {
    std::lock_guard lock(mutex_);
    openPaths_.erase(file.fd);
  }
  // Closing cannot fail; a fault scripted for it is ignored.
  next_.close(file);
  record(call);
}

WinError FaultInjectingPlatform::replaceMove(const std::string& from, const std::string& to) {
  Call call = makeCall(Op::ReplaceMove, from, to);
  if (auto fault = take(Op::ReplaceMove, from, to)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.replaceMove(from, to);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::copyNoReplace(const std::string& from, const std::string& to) {
  Call call = makeCall(Op::CopyNoReplace, from, to);
  if (auto fault = take(Op::CopyNoReplace, from, to)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.copyNoReplace(from, to);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::removeFile(const std::string& path) {
  Call call = makeCall(Op::RemoveFile, path);
  if (auto fault = take(Op::RemoveFile, path)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.removeFile(path);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::exists(const std::string& path) {
  Call call = makeCall(Op::Exists, path);
  if (auto fault = take(Op::Exists, path)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.exists(path);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::makeDirectory(const std::string& path) {
  Call call = makeCall(Op::MakeDirectory, path);
  if (auto fault = take(Op::MakeDirectory, path)) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.makeDirectory(path);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::currentDirectory(std::string* out) {
  Call call = makeCall(Op::CurrentDirectory);
  if (auto fault = take(Op::CurrentDirectory, std::string())) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.currentDirectory(out);
    if (call.result == kSuccess) call.path = *out;
  }
  record(call);
  return call.result;
}

uint32_t FaultInjectingPlatform::currentThreadId() {
  std::optional<uint32_t> fixed;
  {
    std::lock_guard lock(mutex_);
    fixed = threadId_;
  }
  Call call = makeCall(Op::CurrentThreadId);
  call.amount = fixed ? *fixed : next_.currentThreadId();
  record(call);
  return static_cast<uint32_t>(call.amount);
}

void FaultInjectingPlatform::sleepMilliseconds(uint32_t milliseconds) {
  bool really;
  {
    std::lock_guard lock(mutex_);
    really = realSleep_;
  }
  Call call = makeCall(Op::Sleep);
  call.amount = milliseconds;
  record(call);
  if (really) next_.sleepMilliseconds(milliseconds);
}

Semaphore* FaultInjectingPlatform::createSemaphore() {
  Call call = makeCall(Op::CreateSemaphore);
  Semaphore* semaphore = nullptr;
  if (auto fault = take(Op::CreateSemaphore, std::string())) {
    call.result = fault->error == kSuccess ? kNotEnoughMemory : fault->error;
    call.injected = true;
  } else {
    semaphore = next_.createSemaphore();
    call.result = semaphore != nullptr ? kSuccess : kNotEnoughMemory;
  }
  record(call);
  return semaphore;
}

void FaultInjectingPlatform::destroySemaphore(Semaphore* semaphore) {
  record(makeCall(Op::DestroySemaphore));
  next_.destroySemaphore(semaphore);
}

WinError FaultInjectingPlatform::waitSemaphore(Semaphore* semaphore) {
  Call call = makeCall(Op::WaitSemaphore);
  if (auto fault = take(Op::WaitSemaphore, std::string())) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.waitSemaphore(semaphore);
  }
  record(call);
  return call.result;
}

WinError FaultInjectingPlatform::releaseSemaphore(Semaphore* semaphore, uint32_t count) {
  Call call = makeCall(Op::ReleaseSemaphore);
  call.amount = count;
  if (auto fault = take(Op::ReleaseSemaphore, std::string())) {
    call.result = fault->error;
    call.injected = true;
  } else {
    call.result = next_.releaseSemaphore(semaphore, count);
  }
  record(call);
  return call.result;
}

}  // namespace trove::platform
