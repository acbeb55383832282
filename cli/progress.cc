#include "progress.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace trove::cli {

namespace {

std::atomic<uint64_t> entriesDone{0};
std::mutex wakeMutex;
std::condition_variable wake;

}  // namespace

void countProgress(uint64_t entries) {
  entriesDone.fetch_add(entries, std::memory_order_relaxed);
}

ProgressLine::ProgressLine(std::string label) : label_(std::move(label)) {
  if (!isatty(STDERR_FILENO)) return;
  thread_ = std::thread([this] {
    using namespace std::chrono;
    const auto start = steady_clock::now();
    bool shown = false;
    std::unique_lock lock(wakeMutex);
    // The first line appears after a second; it is then refreshed twice a second.
    for (milliseconds wait = seconds(1);
         !wake.wait_for(lock, wait, [this] { return done_.load(); }); wait = milliseconds(500)) {
      const auto elapsed = duration_cast<seconds>(steady_clock::now() - start).count();
      const uint64_t entries = entriesDone.load();
      // Before the first entry the store is still loading: only the time then.
      if (entries) {
        std::fprintf(stderr, "\rtrove: %s: %llu entries, %llds", label_.c_str(),
                     static_cast<unsigned long long>(entries), static_cast<long long>(elapsed));
      } else {
        std::fprintf(stderr, "\rtrove: %s: loading, %llds", label_.c_str(),
                     static_cast<long long>(elapsed));
      }
      std::fflush(stderr);
      shown = true;
    }
    if (shown) std::fputs("\r\033[K", stderr);
  });
}

ProgressLine::~ProgressLine() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard lock(wakeMutex);
    done_ = true;
  }
  wake.notify_all();
  thread_.join();
}

}  // namespace trove::cli
