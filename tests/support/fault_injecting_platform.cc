#include "support/fault_injecting_platform.h"

#include <algorithm>
#include <utility>

namespace trove::platform {

void FaultInjectingPlatform::inject(Fault fault) {
  std::lock_guard lock(mutex_);
  faults_.push_back(Armed{std::move(fault)});
}

std::optional<Fault> FaultInjectingPlatform::take(Call call, bool changesDisk) {
  std::lock_guard lock(mutex_);
  calls_.push_back(call);
  if (changesDisk) {
    if (crashed_) return Fault{call.op, kGeneralFailure, 1, 0, {}, std::nullopt};
    if (crashAt_ && steps_ == *crashAt_) {
      crashed_ = true;
      return Fault{call.op, kGeneralFailure, 1, 0, {}, static_cast<uint32_t>(call.amount / 2)};
    }
    ++steps_;
  }
  auto acting = faults_.end();
  for (auto it = faults_.begin(); it != faults_.end(); ++it) {
    if (it->fault.op != call.op || call.path.find(it->fault.pathContains) == std::string::npos) {
      continue;
    }
    if (it->seen < it->fault.skip) {
      ++it->seen;
    } else if (acting == faults_.end()) {
      acting = it;
    }
  }
  if (acting == faults_.end()) return std::nullopt;
  Fault fault = acting->fault;
  if (fault.times != 0 && ++acting->seen == fault.skip + fault.times) faults_.erase(acting);
  return fault;
}

WinError FaultInjectingPlatform::openExclusive(const std::string& path, OpenMode mode,
                                               FileHandle* out) {
  if (auto fault = take({Op::OpenExclusive, path, 0}, mode == OpenMode::WriteCreateAlways)) {
    out->fd = -1;
    return fault->error;
  }
  return next_.openExclusive(path, mode, out);
}

WinError FaultInjectingPlatform::write(FileHandle file, const void* data, uint32_t size,
                                       uint32_t* countWritten) {
  auto fault = take({Op::Write, {}, size}, true);
  if (!fault) return next_.write(file, data, size, countWritten);
  uint32_t done = 0;
  WinError result = kSuccess;
  if (fault->byteLimit) result = next_.write(file, data, std::min(size, *fault->byteLimit), &done);
  if (countWritten != nullptr) *countWritten = done;
  return result != kSuccess ? result : fault->error;
}

uint32_t FaultInjectingPlatform::currentThreadId() {
  std::lock_guard lock(mutex_);
  return threadId_ ? *threadId_ : next_.currentThreadId();
}

}  // namespace trove::platform
