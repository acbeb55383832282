// The command line of bench_load and bench_calls; both take every option,
// so that one command line serves both (bench/run.sh).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace trove_bench {

struct Options {
  std::vector<std::string> shapes;     // bench_load: store shapes by id
  std::vector<std::string> libraries;  // bench_load: libraries by name
  std::vector<int> sizes;              // bench_calls: store sizes in keys
  double budget = 20;                  // seconds per measurement process before it is stopped
  double minTime = 0.5;                // seconds of repeated rounds per load measurement
  bool quick = false;                  // the smaller stores only
};

// nullopt for an unknown option or a malformed value.
std::optional<Options> parseOptions(int argc, char** argv);

}  // namespace trove_bench
