// The outcome of a host operation: a result code and, for failures the host
// itself detects, a sentence saying what failed and why.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace trove::host {

class Status {
 public:
  Status() = default;
  // Implicit, so that a function returning Status can return a bare code.
  Status(int32_t code) : code_(code) {}  // NOLINT(google-explicit-constructor)
  Status(int32_t code, std::string context) : code_(code), context_(std::move(context)) {}

  int32_t code() const { return code_; }
  bool ok() const { return code_ >= 0; }
  explicit operator bool() const { return ok(); }

  // What the host was doing, e.g. "cannot load /x/lib.so: no ModuleEntry".
  const std::string& context() const { return context_; }
  // The context (when there is one) followed by the code and its meaning:
  // "cannot load /x/lib.so: no ModuleEntry [0x80010107 (...)]".
  std::string message() const;

  friend bool operator==(const Status& status, int32_t code) { return status.code_ == code; }
  friend bool operator==(const Status& a, const Status& b) { return a.code_ == b.code_; }

 private:
  int32_t code_ = 0;
  std::string context_;
};

std::ostream& operator<<(std::ostream& out, const Status& status);

}  // namespace trove::host
