// main() of the benchmark programs: Google Benchmark's, with a short minimum
// time per benchmark unless the command line gives one, so that a whole run
// takes a couple of minutes on a small machine.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

int main(int argc, char** argv) {
  std::vector<char*> args(argv, argv + argc);
  bool minTimeGiven = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--benchmark_min_time", 20) == 0) minTimeGiven = true;
  }
  static char defaultMinTime[] = "--benchmark_min_time=0.05";
  if (!minTimeGiven) args.insert(args.begin() + 1, defaultMinTime);
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);

  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
