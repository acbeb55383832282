#include "process_memory.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace trove_bench {

long long statusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const size_t length = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, length, field) == 0) return std::atoll(line.c_str() + length);
  }
  return -1;
}

bool resetPeakRss() {
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5\n";
  clear.flush();
  return static_cast<bool>(clear);
}

long long heapInUse() {
  const struct mallinfo2 info = ::mallinfo2();
  return static_cast<long long>(info.uordblks + info.hblkhd);
}

}  // namespace trove_bench
