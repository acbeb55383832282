#include "xml/list_cursor.h"

#include <atomic>

namespace trove {
namespace {

// Enough for a walk of values nested in a walk of keys, and a little more.
constexpr unsigned kRemembered = 4;

struct RememberedPosition {
  const void* list = nullptr;
  uint64_t stamp = 0;
  ListPosition position{};
};

thread_local RememberedPosition remembered[kRemembered];
thread_local unsigned nextReplaced = 0;

std::atomic<uint64_t> lastStamp{0};

}  // namespace

uint64_t newListStamp() {
  return lastStamp.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool recallPosition(const void* list, uint64_t stamp, ListPosition& position) {
  for (const RememberedPosition& entry : remembered) {
    if (entry.list == list && entry.stamp == stamp) {
      position = entry.position;
      return true;
    }
  }
  return false;
}

void rememberPosition(const void* list, uint64_t stamp, ListPosition position) {
  for (RememberedPosition& entry : remembered) {
    if (entry.list == list && entry.stamp == stamp) {
      entry.position = position;
      return;
    }
  }
  RememberedPosition& entry = remembered[nextReplaced];
  nextReplaced = (nextReplaced + 1) % kRemembered;
  entry = RememberedPosition{list, stamp, position};
}

}  // namespace trove
