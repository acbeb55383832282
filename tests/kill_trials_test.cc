// Kill trials through the tool: `trove set` runs in a child that is killed
// with SIGKILL at a random moment of its save, and the next `trove get` must
// give the old value or the new one: never "not found", never an error.
// TROVE_KILL_TRIALS sets the number of kills (100 by default; 10000 for a
// long run).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "store_files.h"

namespace {

using Clock = std::chrono::steady_clock;
using store_test::ScratchDirectory;

// The save writes this trace line (level 400) before it writes anything.
constexpr char kSaveStarts[] = "save to temporary file";

struct Child {
  pid_t pid = -1;
  int stderrPipe = -1;
};

Child start(const ScratchDirectory& dir, const std::vector<std::string>& args, bool pipeStderr) {
  int fds[2] = {-1, -1};
  if (pipeStderr && pipe(fds) != 0) return {};
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir.path().c_str()) != 0) _exit(125);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(pipeStderr ? fds[1] : null, 2);
    std::vector<char*> argv{const_cast<char*>(TROVE_CLI_PATH)};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(TROVE_CLI_PATH, argv.data());
    _exit(127);
  }
  if (pipeStderr) close(fds[1]);
  return {pid, pipeStderr ? fds[0] : -1};
}

// Reads the child's standard error until the save begins; false if it ends first.
bool waitForSave(int fd) {
  std::string seen;
  char chunk[512];
  for (ssize_t n; (n = read(fd, chunk, sizeof chunk)) > 0;) {
    seen.append(chunk, static_cast<size_t>(n));
    if (seen.find(kSaveStarts) != std::string::npos) return true;
  }
  return false;
}

int finish(Child& child) {
  int status = 0;
  waitpid(child.pid, &status, 0);
  if (child.stderrPipe >= 0) close(child.stderrPipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs `trove get` and returns its exit status and standard output.
std::pair<int, std::string> get(const ScratchDirectory& dir) {
  const std::string out = dir.file(".get");
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir.path().c_str()) != 0) _exit(125);
    const int file = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(file, 1);
    execl(TROVE_CLI_PATH, TROVE_CLI_PATH, "get", "App", "V", static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  std::string text = store_test::readFile(out);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

std::vector<std::string> setArgs(uint32_t value) {
  return {"--trace", "400", "set", "App", "V", "tDWORD", std::to_string(value)};
}

TEST(KillTrialsTest, AKilledSaveLeavesTheOldOrTheNewValue) {
  const char* env = std::getenv("TROVE_KILL_TRIALS");
  const int trials = env != nullptr ? std::max(1, std::atoi(env)) : 100;
  ScratchDirectory dir;  // the store is the default profiles.xml, which is always backed up
  Child first = start(dir, setArgs(0), false);
  ASSERT_EQ(finish(first), 0);

  // How long a save takes here, from its first trace line to the exit (the
  // median of five): kills are spread over that window, so most land inside
  // the save and the rest just after it.
  std::vector<Clock::duration> saves;
  for (uint32_t value = 1; value <= 5; ++value) {
    Child child = start(dir, setArgs(value), true);
    ASSERT_TRUE(waitForSave(child.stderrPipe));
    const Clock::time_point begun = Clock::now();
    ASSERT_EQ(finish(child), 0);
    saves.push_back(Clock::now() - begun);
  }
  std::sort(saves.begin(), saves.end());
  const auto windowMicros =
      std::chrono::duration_cast<std::chrono::microseconds>(saves[2]).count() + 1;

  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  std::uniform_int_distribution<long> delay(0, windowMicros);
  std::string old = "5";
  int killedInSave = 0;
  for (int trial = 0; trial < trials; ++trial) {
    const uint32_t value = 100 + static_cast<uint32_t>(trial);
    Child child = start(dir, setArgs(value), true);
    ASSERT_GT(child.pid, 0);
    const bool saving = waitForSave(child.stderrPipe);
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    kill(child.pid, SIGKILL);
    killedInSave += finish(child) == -SIGKILL && saving;

    const auto [status, text] = get(dir);
    const std::string now = std::to_string(value);
    ASSERT_EQ(status, 0) << "trial " << trial << " (seed " << seed << "): get failed after a kill";
    ASSERT_TRUE(text == old || text == now)
        << "trial " << trial << " (seed " << seed << "): " << text << ", expected " << old << " or "
        << now;
    old = text;
  }
  // How many kills hit a running save depends on the machine's load; it is
  // reported, not asserted.
  std::printf("kills inside the save: %d of %d (window %ld us, seed %u)\n", killedInSave, trials,
              static_cast<long>(windowMicros), seed);
}

}  // namespace
