// Progress on standard error for commands that run longer than a second,
// shown only when standard error is a terminal.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

namespace trove::cli {

// Counts one more key or value handled; cheap enough for every entry.
void countProgress(uint64_t entries = 1);

// While alive, a line "trove: LABEL: N entries, Ts" ("loading, Ts" before the
// first entry) is kept up to date on a terminal after the first second, and
// erased at the end.
class ProgressLine {
 public:
  explicit ProgressLine(std::string label);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  std::string label_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace trove::cli
