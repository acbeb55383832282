#include "host_directory.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "trove/host.h"

namespace trove::host::directory {
namespace {

struct State {
  std::mutex mutex;
  std::vector<Host*> hosts;  // in order of creation
  std::unordered_map<const void*, Host*> objects;
  // The highest level any sink that a line could reach would keep. A module
  // traces every call; a line no sink keeps is dropped before anything is
  // looked up or formatted.
  std::atomic<uint32_t> widestLevel{kTraceLevelWarnings};
};

State& state() {
  // Never destroyed: a module may trace from its static destructors.
  static State* s = new State;
  return *s;
}

// Called with the directory's mutex held.
void recomputeWidestLevel(State& s) {
  uint32_t widest = s.hosts.empty() ? kTraceLevelWarnings : 0;  // the fallback sink's level
  for (Host* host : s.hosts) widest = std::max(widest, host->traceSink()->maxLevel());
  s.widestLevel.store(widest, std::memory_order_relaxed);
}

}  // namespace

void sinksChanged() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  recomputeWidestLevel(s);
}

bool anySinkKeeps(uint32_t level) {
  return level <= state().widestLevel.load(std::memory_order_relaxed);
}

void addHost(Host* host) {
  std::lock_guard lock(state().mutex);
  state().hosts.push_back(host);
  recomputeWidestLevel(state());
}

void removeHost(Host* host) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.hosts.erase(std::remove(s.hosts.begin(), s.hosts.end(), host), s.hosts.end());
  std::erase_if(s.objects, [host](const auto& entry) { return entry.second == host; });
  recomputeWidestLevel(s);
}

void addObject(const void* object, Host* host) {
  std::lock_guard lock(state().mutex);
  state().objects[object] = host;
}

void removeObject(const void* object) {
  std::lock_guard lock(state().mutex);
  state().objects.erase(object);
}

std::shared_ptr<TraceSink> sinkFor(const void* object) {
  State& s = state();
  {
    // The host's own mutex is taken under the directory's; a host leaves the
    // directory before it goes, so it cannot vanish in between.
    std::lock_guard lock(s.mutex);
    auto found = s.objects.find(object);
    Host* host = found != s.objects.end() ? found->second
                 : s.hosts.empty()        ? nullptr
                                          : s.hosts.back();
    if (host) return host->traceSink();
  }
  static auto fallback = std::make_shared<StderrTraceSink>();
  return fallback;
}

}  // namespace trove::host::directory
