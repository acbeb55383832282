// Waiting out another program that holds a store file for a moment: pauses
// that start short, as most holds last milliseconds, and grow to 50 ms, until
// a deadline.
#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

namespace trove::client_detail {

class RetryPause {
 public:
  explicit RetryPause(std::chrono::milliseconds wait)
      : deadline_(std::chrono::steady_clock::now() + wait) {}

  // Sleeps before the next try; false, without sleeping, once the wait is over.
  bool pause() {
    if (std::chrono::steady_clock::now() >= deadline_) return false;
    std::this_thread::sleep_for(pause_);
    pause_ = std::min(pause_ * 2, std::chrono::milliseconds(50));
    return true;
  }

 private:
  std::chrono::steady_clock::time_point deadline_;
  std::chrono::milliseconds pause_{1};
};

}  // namespace trove::client_detail
