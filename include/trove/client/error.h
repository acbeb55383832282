// Errors of the client API: every failing call throws trove::Error, which
// carries the module's result code, what was being done, and a readable
// message.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace trove {

class Error : public std::runtime_error {
 public:
  // `context` says what failed, e.g. "open key Settings/Window in /tmp/a.xml".
  Error(int32_t code, std::string context);

  int32_t code() const noexcept { return code_; }
  const std::string& context() const noexcept { return context_; }

 private:
  int32_t code_;
  std::string context_;
};

// The name of a result code ("errEntryNotFound"), or its hexadecimal form.
std::string resultName(int32_t code);

// A readable message for any code: the framework's own message where it has
// one, a short description for the module's own codes, and the hexadecimal
// code in every case: "no such key or value (0x8000d002)".
std::string resultMessage(int32_t code);

// Throws Error(code, context) for a negative code; returns the code otherwise.
int32_t check(int32_t code, const std::string& context);

}  // namespace trove
