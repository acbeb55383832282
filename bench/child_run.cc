#include "child_run.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

namespace trove_bench {

void ReportChannel::send(const void* report, size_t size) {
  const auto* bytes = static_cast<const char*>(report);
  while (size > 0) {
    const ssize_t written = ::write(fd_, bytes, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // the parent is gone or stopped listening
    }
    bytes += written;
    size -= static_cast<size_t>(written);
  }
}

ChildOutcome runInChild(double budgetSeconds, void* report, size_t reportSize,
                        const std::function<void(ReportChannel&)>& work) {
  ChildOutcome outcome;
  int channel[2];
  if (::pipe(channel) != 0) {
    outcome.failure = std::string("pipe: ") + std::strerror(errno);
    return outcome;
  }
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child < 0) {
    outcome.failure = std::string("fork: ") + std::strerror(errno);
    ::close(channel[0]);
    ::close(channel[1]);
    return outcome;
  }
  if (child == 0) {
    ::close(channel[0]);
    ReportChannel out(channel[1]);
    int status = 0;
    try {
      work(out);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "measurement failed: %s\n", error.what());
      status = 1;
    }
    std::fflush(nullptr);
    ::_exit(status);
  }
  ::close(channel[1]);

  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                            std::chrono::duration<double>(budgetSeconds));
  std::vector<char> pending;
  pending.reserve(reportSize);
  char chunk[4096];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      outcome.timedOut = true;
      break;
    }
    pollfd wait{channel[0], POLLIN, 0};
    const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) {
      outcome.timedOut = true;
      break;
    }
    const ssize_t got = ::read(channel[0], chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;  // the child finished
    pending.insert(pending.end(), chunk, chunk + got);
    while (pending.size() >= reportSize) {
      std::memcpy(report, pending.data(), reportSize);
      outcome.gotReport = true;
      pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(reportSize));
    }
  }
  ::close(channel[0]);
  if (outcome.timedOut) ::kill(child, SIGKILL);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!outcome.timedOut) {
    if (WIFSIGNALED(status)) {
      outcome.failure = std::string("killed by ") + ::strsignal(WTERMSIG(status));
    } else if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
      outcome.failure = "failed (see above)";
    }
  }
  return outcome;
}

}  // namespace trove_bench
