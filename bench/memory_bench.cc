// Memory each library holds for a loaded store. Every measurement runs in a
// child process of its own, forked after each library has loaded a small
// store once (so that module loading, registration and first-use tables are
// already paid for), and reports:
//
//   heap retained     bytes malloc has handed out and not taken back while the
//                     loaded document is alive (mallinfo2: in-use chunks plus
//                     mmapped blocks), minus the same before loading. This
//                     covers every allocator in the process: trove's tree on
//                     the host heap with the host's bookkeeping, pugixml's
//                     pages, tinyxml2's pools, and the C++ runtime.
//   trove tree        for trove, the bytes and blocks of the object's tree as
//                     the host heap accounts them (part of heap retained).
//   peak RSS growth   the highest resident set size during the load (VmHWM,
//                     reset through /proc/self/clear_refs before loading)
//                     minus the resident set before loading: the transient
//                     cost of reading the file and building the tree.
//
//   bench_memory [keys...]      (default: 10000)
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "pugixml_config.h"
#include "sample_file.h"
#include "tinyxml2_config.h"
#include "trove/client.h"
#include "trove/host.h"

namespace trove_bench {
namespace {

struct Measurement {
  bool ok = false;
  bool peakKnown = false;
  long long heapBytes = 0;
  long long peakRssKb = 0;
  long long retainedRssKb = 0;
  long long treeBytes = -1;  // trove only
  long long treeBlocks = -1;
  char error[256] = {};
};

long long heapInUse() {
  const struct mallinfo2 info = ::mallinfo2();
  return static_cast<long long>(info.uordblks + info.hblkhd);
}

// A "Vm...:" line of /proc/self/status, in kB.
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

// Runs `load` in a child process. It loads the store, fills what only it
// knows into the measurement, and keeps the document alive until `done`
// has measured the heap.
using Load = std::function<void(const std::string& path, Measurement& measurement,
                                const std::function<void()>& done)>;

Measurement measure(const std::string& path, const Load& load) {
  int channel[2];
  Measurement result;
  if (::pipe(channel) != 0) {
    std::snprintf(result.error, sizeof result.error, "pipe: %s", std::strerror(errno));
    return result;
  }
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(channel[0]);
    Measurement measurement;
    try {
      measurement.peakKnown = resetPeakRss();
      const long long rssBefore = statusKb("VmRSS:");
      const long long heapBefore = heapInUse();
      load(path, measurement, [&] {
        measurement.heapBytes = heapInUse() - heapBefore;
        measurement.peakRssKb = statusKb("VmHWM:") - rssBefore;
        measurement.retainedRssKb = statusKb("VmRSS:") - rssBefore;
      });
      measurement.ok = true;
    } catch (const std::exception& error) {
      std::snprintf(measurement.error, sizeof measurement.error, "%s", error.what());
    }
    const ssize_t written = ::write(channel[1], &measurement, sizeof measurement);
    ::_exit(written == sizeof measurement ? 0 : 1);
  }
  ::close(channel[1]);
  if (child < 0) {
    std::snprintf(result.error, sizeof result.error, "fork: %s", std::strerror(errno));
  } else if (::read(channel[0], &result, sizeof result) != sizeof result) {
    std::snprintf(result.error, sizeof result.error, "the measuring process failed");
    result.ok = false;
  }
  ::close(channel[0]);
  if (child > 0) ::waitpid(child, nullptr, 0);
  return result;
}

void loadTrove(const std::string& path, Measurement& measurement,
               const std::function<void()>& done) {
  trove::StoreOptions options;
  options.readOnly = true;
  trove::Store store = trove::Store::openFile(path, options);
  const trove::host::HolderStats tree =
      trove::host::HostHeap::instance().stats(store.object().holder());
  measurement.treeBytes = static_cast<long long>(tree.liveBytes);
  measurement.treeBlocks = static_cast<long long>(tree.liveBlocks);
  done();
}

// The host library's bookkeeping for `blocks` blocks, measured on a map of
// the same shape as its own (block address to holder and size): what a host
// with a plain heap would not spend.
Load accountingReplica(long long blocks) {
  return [blocks](const std::string&, Measurement&, const std::function<void()>& done) {
    struct Block {
      const void* holder;
      size_t size;
    };
    std::unordered_map<const void*, Block> map;
    static const char base[1] = {};
    for (long long i = 0; i < blocks; ++i) map.emplace(base + i * 16, Block{base, 16});
    done();
  };
}

void loadPugixml(const std::string& path, Measurement&, const std::function<void()>& done) {
  const PugixmlConfig config(path);
  done();
}

void loadTinyxml2(const std::string& path, Measurement&, const std::function<void()>& done) {
  const Tinyxml2Config config(path);
  done();
}

std::string mebibytes(long long bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f MiB", static_cast<double>(bytes) / (1024.0 * 1024.0));
  return text;
}

int run(const std::vector<int>& sizes) {
  struct Library {
    const char* name;
    Load load;
  };
  const std::vector<Library> libraries = {
      {"trove", loadTrove}, {"pugixml", loadPugixml}, {"tinyxml2", loadTinyxml2}};

  // First use of each library happens here, before any child is forked.
  {
    const SampleFile warmUp(10);
    for (const Library& library : libraries) {
      Measurement ignored;
      library.load(warmUp.path(), ignored, [] {});
    }
  }

  int failures = 0;
  for (int keys : sizes) {
    const SampleFile file(keys);
    std::printf("Store of %d keys x %d values, %s file\n", keys, kValuesPerKey,
                mebibytes(static_cast<long long>(file.size())).c_str());
    std::printf("  %-9s %16s %26s %17s %14s\n", "library", "heap retained", "trove tree (blocks)",
                "peak RSS growth", "RSS retained");
    for (const Library& library : libraries) {
      const Measurement m = measure(file.path(), library.load);
      if (!m.ok) {
        std::printf("  %-9s failed: %s\n", library.name, m.error);
        ++failures;
        continue;
      }
      std::string tree = "-";
      if (m.treeBytes >= 0) {
        tree = mebibytes(m.treeBytes) + " (" + std::to_string(m.treeBlocks) + ")";
      }
      const std::string peak = m.peakKnown ? mebibytes(m.peakRssKb * 1024) : "unknown";
      std::printf("  %-9s %16s %26s %17s %14s\n", library.name, mebibytes(m.heapBytes).c_str(),
                  tree.c_str(), peak.c_str(), mebibytes(m.retainedRssKb * 1024).c_str());
      if (m.treeBlocks > 0) {
        const Measurement books = measure(file.path(), accountingReplica(m.treeBlocks));
        if (books.ok) {
          std::printf(
              "    of which the host heap's accounting of %lld blocks: %s; without it: %s\n",
              m.treeBlocks, mebibytes(books.heapBytes).c_str(),
              mebibytes(m.heapBytes - books.heapBytes).c_str());
        }
      }
    }
    std::printf("\n");
  }
  return failures ? 1 : 0;
}

}  // namespace
}  // namespace trove_bench

int main(int argc, char** argv) {
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) {
    const int keys = std::atoi(argv[i]);
    if (keys <= 0) {
      std::fprintf(stderr, "usage: %s [keys...]\n", argv[0]);
      return 2;
    }
    sizes.push_back(keys);
  }
  if (sizes.empty()) sizes.push_back(10000);
  try {
    return trove_bench::run(sizes);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_memory: %s\n", error.what());
    return 1;
  }
}
