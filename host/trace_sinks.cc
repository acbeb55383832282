#include <cstdio>
#include <string>

#include "trove/host/trace.h"

namespace trove::host {

void StderrTraceSink::write(const TraceLine& line) {
  if (line.level > maxLevel_) return;
  // One fprintf per line keeps lines of concurrent threads whole.
  std::fprintf(stderr, "trace %u: %s\n", line.level, line.text.c_str());
}

void CapturingTraceSink::write(const TraceLine& line) {
  std::lock_guard lock(mutex_);
  lines_.push_back(line);
}

std::vector<TraceLine> CapturingTraceSink::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<TraceLine> CapturingTraceSink::linesAt(uint32_t level) const {
  std::lock_guard lock(mutex_);
  std::vector<TraceLine> found;
  for (const TraceLine& line : lines_) {
    if (line.level == level) found.push_back(line);
  }
  return found;
}

std::vector<std::string> CapturingTraceSink::texts() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> found;
  found.reserve(lines_.size());
  for (const TraceLine& line : lines_) found.push_back(line.text);
  return found;
}

size_t CapturingTraceSink::count() const {
  std::lock_guard lock(mutex_);
  return lines_.size();
}

TraceLine CapturingTraceSink::last() const {
  std::lock_guard lock(mutex_);
  return lines_.empty() ? TraceLine{} : lines_.back();
}

bool CapturingTraceSink::contains(std::string_view fragment) const {
  std::lock_guard lock(mutex_);
  for (const TraceLine& line : lines_) {
    if (line.text.find(fragment) != std::string::npos) return true;
  }
  return false;
}

void CapturingTraceSink::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace trove::host
