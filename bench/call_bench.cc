// The cost of single calls through the binary interface as the store grows:
// for each size, the median over 32 keys spread through the store of
// GetValue in the stored type, SetValue, OpenKey by a 3-segment path, and
// one step of enumeration (a subkey by index; a value's name and value by
// index). Every size runs in a process of its own on a plain malloc-backed
// host (see plain_host.h). Prints a Markdown table.
//
//   bench_calls [--sizes=100,10000,100000,1000000] [--budget=SECONDS] [--quick]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_options.h"
#include "bytes_store_io.h"
#include "child_run.h"
#include "plain_host.h"
#include "store_shapes.h"

namespace trove_bench {
namespace {

using Clock = std::chrono::steady_clock;
using trove::host::Object;

constexpr int kSampledKeys = 32;
constexpr int kColumns = 5;
const char* const kColumnNames[kColumns] = {"GetValue ns", "SetValue ns", "OpenKey, 3 segments ns",
                                            "subkey by index ns", "value by index ns"};

struct CallReport {
  double load = -1;  // seconds
  double ns[kColumns] = {-1, -1, -1, -1, -1};
  char error[240] = {};
};

void check(int32_t code, const std::string& what) {
  if (code < 0) throw std::runtime_error(what + ": " + trove::host::formatResult(code));
}

// Nanoseconds per call of `call`, timed over enough calls to take about
// 100 µs (at least one).
template <typename Call>
double nanosecondsPerCall(Call call) {
  call();  // caches warm
  Clock::time_point start = Clock::now();
  call();
  const double once = std::chrono::duration<double>(Clock::now() - start).count();
  const int rounds = std::clamp(static_cast<int>(100e-6 / std::max(once, 1e-9)), 1, 2000);
  start = Clock::now();
  for (int i = 0; i < rounds; ++i) call();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / rounds;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct SampledKey {
  LeafPlace place;
  uint64_t key = TROVE_INVALID_KEY;
  uint64_t parent = TROVE_INVALID_KEY;
};

void measureCalls(int keys, const Shape& shape, ReportChannel& out) {
  CallReport report;
  const auto send = [&] { out.send(&report, sizeof report); };
  PlainHost host;
  BytesStoreIo io(shape.text);
  Object object = host.createObject();
  const Clock::time_point start = Clock::now();
  try {
    loadFromBytes(object, io);
  } catch (const std::exception& error) {
    std::snprintf(report.error, sizeof report.error, "refused: %s", error.what());
    send();
    return;
  }
  report.load = std::chrono::duration<double>(Clock::now() - start).count();
  send();

  const auto open = [&](const std::string& path) {
    uint64_t key = TROVE_INVALID_KEY;
    check(object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, uint64_t{0}, path.c_str(), 0u),
          "open " + path);
    return key;
  };
  std::vector<SampledKey> sampled;
  const int count = std::min(kSampledKeys, keys);
  for (int i = 0; i < count; ++i) {
    SampledKey sample;
    // Evenly spread, starting half a step in.
    sample.place = leafOf(keys, static_cast<int>((2LL * i + 1) * keys / (2 * count)));
    sample.key = open(sample.place.path);
    sample.parent = open(sample.place.parentPath);
    sampled.push_back(sample);
  }

  std::vector<uint64_t> opened;
  opened.reserve(4096);
  const auto column = [&](int index, auto measureOne) {
    std::vector<double> times;
    for (SampledKey& sample : sampled) times.push_back(measureOne(sample));
    report.ns[index] = median(times);
    send();
  };
  const auto closeOpened = [&] {
    for (uint64_t key : opened) object.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, key);
    opened.clear();
  };

  column(0, [&](SampledKey& sample) {
    uint32_t width = 0, type = TROVE_TDWORD, required = 0;
    check(object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, sample.key, "Width", &type,
                                     static_cast<void*>(&width), uint32_t{sizeof width}),
          "get Width");
    if (width != sample.place.width) throw std::runtime_error("GetValue read a wrong width");
    return nanosecondsPerCall([&] {
      type = TROVE_TDWORD;
      object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, sample.key, "Width", &type,
                                 static_cast<void*>(&width), uint32_t{sizeof width});
    });
  });
  column(1, [&](SampledKey& sample) {
    uint32_t width = sample.place.width;
    return nanosecondsPerCall([&] {
      width ^= 1;  // a change every time
      object.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, sample.key, "Width", uint32_t{TROVE_TDWORD},
                                 static_cast<const void*>(&width), uint32_t{sizeof width}, 0u);
    });
  });
  // Closing is left out of the time: the opened keys are closed afterwards.
  column(2, [&](SampledKey& sample) {
    const double ns = nanosecondsPerCall([&] {
      uint64_t key = TROVE_INVALID_KEY;
      object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, uint64_t{0}, sample.place.path.c_str(),
                                0u);
      opened.push_back(key);
    });
    closeOpened();
    return ns;
  });
  column(3, [&](SampledKey& sample) {
    const double ns = nanosecondsPerCall([&] {
      uint64_t key = TROVE_INVALID_KEY;
      object.call<TroveOpenKeyByIndex>(TROVE_SLOT_OPEN_KEY_BY_INDEX, &key, sample.parent,
                                       sample.place.index);
      opened.push_back(key);
    });
    closeOpened();
    return ns;
  });
  column(4, [&](SampledKey& sample) {
    char buffer[64];
    uint32_t required = 0, type = 0;
    return nanosecondsPerCall([&] {
      object.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &required,
                                            sample.key, 1u, buffer, uint32_t{sizeof buffer});
      type = 0;
      object.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &required, sample.key, 1u,
                                        &type, static_cast<void*>(buffer), uint32_t{sizeof buffer});
    });
  });
}

std::string format(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string nanoseconds(double ns) {
  if (ns >= 1e6) return format(ns / 1e6, 1) + " ms";
  if (ns >= 1e4) return format(ns / 1e3, 1) + " µs";
  return format(ns, 0);
}

int run(const Options& options) {
  std::vector<int> sizes = options.sizes;
  if (sizes.empty()) {
    sizes = options.quick ? std::vector<int>{100, 10000, 100000}
                          : std::vector<int>{100, 10000, 100000, 1000000};
  }
  std::printf(
      "\n## Single calls through the binary interface\n\n"
      "Median over %d keys spread through the store; each call timed over about "
      "100 µs of repeats; plain malloc-backed host; a budget of %s s per store size.\n\n",
      kSampledKeys, format(options.budget, 0).c_str());
  std::printf("| store | MB | load s |");
  for (const char* name : kColumnNames) std::printf(" %s |", name);
  std::printf("\n|---:|---:|---:|");
  for (int i = 0; i < kColumns; ++i) std::printf("---:|");
  std::printf("\n");
  std::fflush(stdout);

  int failures = 0;
  std::vector<CallReport> reports;
  std::vector<std::string> titles;
  for (int keys : sizes) {
    const Shape shape = callStore(keys);
    titles.push_back(shape.title);
    CallReport report;
    const ChildOutcome outcome =
        runInChild(options.budget, &report, sizeof report,
                   [&](ReportChannel& out) { measureCalls(keys, shape, out); });
    const std::string skipped = "skipped: > " + format(options.budget, 0) + " s";
    const std::string missing = outcome.timedOut           ? skipped
                                : !outcome.failure.empty() ? outcome.failure
                                : report.error[0]          ? std::string(report.error)
                                                           : std::string("—");
    if (!outcome.failure.empty()) ++failures;
    const double megabytes = static_cast<double>(shape.text.size()) / 1e6;
    std::printf(
        "| %s | %s | %s |", shape.title.c_str(), format(megabytes, megabytes < 1 ? 2 : 1).c_str(),
        outcome.gotReport && report.load >= 0 ? format(report.load, 2).c_str() : missing.c_str());
    for (double ns : report.ns) {
      std::printf(" %s |",
                  outcome.gotReport && ns >= 0 ? nanoseconds(ns).c_str() : missing.c_str());
    }
    std::printf("\n");
    std::fflush(stdout);
    reports.push_back(outcome.gotReport ? report : CallReport{});
  }
  // How much the largest size measured costs over the smallest.
  size_t smallest = reports.size(), largest = 0;
  for (size_t i = 0; i < reports.size(); ++i) {
    if (reports[i].ns[0] < 0) continue;
    smallest = std::min(smallest, i);
    largest = i;
  }
  if (smallest < largest) {
    std::printf("| %s over %s | | |", titles[largest].c_str(), titles[smallest].c_str());
    for (int i = 0; i < kColumns; ++i) {
      const double first = reports[smallest].ns[i], last = reports[largest].ns[i];
      std::printf(" %s |", first > 0 && last > 0 ? (format(last / first, 2) + "×").c_str() : "—");
    }
    std::printf("\n");
  }
  return failures ? 1 : 0;
}

}  // namespace
}  // namespace trove_bench

int main(int argc, char** argv) {
  const std::optional<trove_bench::Options> options = trove_bench::parseOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr, "usage: %s [--sizes=KEYS,...] [--budget=SECONDS] [--quick]\n", argv[0]);
    return 2;
  }
  try {
    return trove_bench::run(*options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_calls: %s\n", error.what());
    return 1;
  }
}
