// A module file opened by the host: the loaded library and its entry point.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "trove/abi.h"
#include "trove/host/status.h"

namespace trove::host {

class Module {
 public:
  Module() = default;
  explicit Module(Status failure, std::string path = {})
      : status_(std::move(failure)), path_(std::move(path)) {}

  // Whether the file was opened (and, for Host::loadModule, registered).
  const Status& status() const { return status_; }
  bool ok() const { return status_.ok() && entry_ != nullptr; }
  explicit operator bool() const { return ok(); }
  const std::string& path() const { return path_; }

  // Calls the entry point as it stands: (first, reason, third). Returns the
  // entry point's TRUE/FALSE, or 0 for a module that is not open.
  int32_t callEntry(void* first, uint32_t reason, void* third) const {
    return entry_ ? entry_(first, reason, third) : 0;
  }
  TroveModuleEntry entry() const { return entry_; }
  // The library handle, shared by everything that keeps the module loaded.
  const std::shared_ptr<void>& handle() const { return handle_; }

 private:
  friend class Host;
  std::shared_ptr<void> handle_;
  TroveModuleEntry entry_ = nullptr;
  Status status_;
  std::string path_;
};

}  // namespace trove::host
