// A failed command: which file, which operation, which result code. Its
// message is the one line the tool prints on standard error.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "exit_codes.h"

namespace trove::cli {

class Failure : public std::runtime_error {
 public:
  // `file` is shown as an absolute path; `detail`, when given, stands before
  // the code's message.
  Failure(const std::string& file, const std::string& operation, int32_t code,
          const std::string& detail = {});
  // A failure that the result code alone does not classify (a refused
  // argument is a usage error whatever the module answered).
  Failure(const std::string& file, const std::string& operation, int32_t code,
          const std::string& detail, ExitCode exitCode);

  int32_t code() const { return code_; }
  ExitCode exitCode() const { return exitCode_; }

 private:
  int32_t code_;
  ExitCode exitCode_;
};

// A refusal raised where the file and the operation are not known: what and
// why (e.g. "no key \"Window\" in Settings"). attribute() names the rest.
class Refusal : public std::runtime_error {
 public:
  Refusal(int32_t code, const std::string& detail, ExitCode exitCode)
      : std::runtime_error(detail), code_(code), exitCode_(exitCode) {}
  int32_t code() const { return code_; }
  ExitCode exitCode() const { return exitCode_; }

 private:
  int32_t code_;
  ExitCode exitCode_;
};

// Runs `work`, turning a trove::Error or Refusal it throws into a Failure
// that names `file` and `operation`; a damaged store's failure also says
// where its XML breaks. Failures thrown inside pass through unchanged.
void attribute(const std::string& file, const std::string& operation,
               const std::function<void()>& work);

// The path as shown in messages: absolute and without "." or "..".
std::string displayPath(const std::string& file);

}  // namespace trove::cli
