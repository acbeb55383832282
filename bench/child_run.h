// Runs a measurement in a child process of its own, so that each library's
// memory is its own and a measurement that takes too long can be stopped.
// The child sends reports of one fixed size as it goes; the parent keeps
// the last complete one, so a stopped child still tells how far it got.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace trove_bench {

class ReportChannel {
 public:
  explicit ReportChannel(int fd) : fd_(fd) {}
  // Sends `size` bytes (at most 4096, so that the pipe keeps them whole).
  void send(const void* report, size_t size);

 private:
  int fd_;
};

struct ChildOutcome {
  bool gotReport = false;
  bool timedOut = false;
  std::string failure;  // the child died or could not be started
};

// Runs `work` in a forked child for at most `budgetSeconds`; the last report
// it sent (of `reportSize` bytes) is copied to `report`.
ChildOutcome runInChild(double budgetSeconds, void* report, size_t reportSize,
                        const std::function<void(ReportChannel&)>& work);

}  // namespace trove_bench
