// trove beside pugixml and tinyxml2 on the same configuration workload: parse
// a store of N keys, read 100 settings by path with case-insensitive names,
// change ten, write the file back. Every library reads the same file; before
// timing, each one's reads are checked against what the store holds.
#include <benchmark/benchmark.h>

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "pugixml_config.h"
#include "sample_file.h"
#include "sample_store.h"
#include "tinyxml2_config.h"
#include "trove_client_config.h"
#include "trove_raw_config.h"

namespace trove_bench {
namespace {

constexpr int kSettings = 100;

template <typename Config>
void parse(benchmark::State& state) {
  try {
    const SampleFile file(static_cast<int>(state.range(0)));
    for (auto _ : state) {
      Config config(file.path());
      benchmark::DoNotOptimize(&config);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.size()));
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

template <typename Config>
void find(benchmark::State& state) {
  try {
    const int keys = static_cast<int>(state.range(0));
    const SampleFile file(keys);
    const std::vector<Setting> settings = spreadSettings(keys, kSettings);
    Config config(file.path());
    if (config.find(settings) != expectedChecksum(settings)) {
      state.SkipWithError("the values read differ from the store's");
      return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(config.find(settings));
    state.SetItemsProcessed(state.iterations() * kSettings);
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

// Parsing is left out of the time: only the ten changes and the write count.
template <typename Config>
void changeAndWrite(benchmark::State& state, WriteMode mode) {
  try {
    const int keys = static_cast<int>(state.range(0));
    const SampleFile file(keys);
    const std::vector<Setting> settings = spreadSettings(keys, kSettings);
    uint32_t round = 0;
    for (auto _ : state) {
      state.PauseTiming();
      std::optional<Config> config;
      config.emplace(file.path());
      state.ResumeTiming();
      config->change(settings, round++);
      config->write(mode);
      state.PauseTiming();
      config.reset();
      state.ResumeTiming();
    }
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

template <typename Config>
void workload(benchmark::State& state, WriteMode mode) {
  try {
    const int keys = static_cast<int>(state.range(0));
    const SampleFile file(keys);
    const std::vector<Setting> settings = spreadSettings(keys, kSettings);
    uint32_t round = 0;
    for (auto _ : state) {
      Config config(file.path());
      benchmark::DoNotOptimize(config.find(settings));
      config.change(settings, round++);
      config.write(mode);
    }
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
}

struct Library {
  std::string name;
  void (*parse)(benchmark::State&);
  void (*find)(benchmark::State&);
  void (*changeAndWrite)(benchmark::State&, WriteMode);
  void (*workload)(benchmark::State&, WriteMode);
  bool durableOnly;  // trove always writes durably
};

template <typename Config>
Library library(std::string name, bool durableOnly) {
  return {std::move(name),        parse<Config>,    find<Config>,
          changeAndWrite<Config>, workload<Config>, durableOnly};
}

const bool registered = [] {
  const std::vector<Library> libraries = {
      library<TroveClientConfig>("trove_client", true),
      library<TroveRawConfig>("trove_raw", true),
      library<PugixmlConfig>("pugixml", false),
      library<Tinyxml2Config>("tinyxml2", false),
  };
  for (const Library& lib : libraries) {
    benchmark::RegisterBenchmark(("Parse/" + lib.name).c_str(), lib.parse)->Apply(sizes);
  }
  for (const Library& lib : libraries) {
    benchmark::RegisterBenchmark(("Find100/" + lib.name).c_str(), lib.find)->Apply(sizes);
  }
  // Each write mode a library offers: its plain save, and the durable
  // replacement that trove always performs ("+fsync").
  const auto registerWrites = [&](const char* phase, auto member) {
    for (const Library& lib : libraries) {
      const std::string name = std::string(phase) + "/" + lib.name;
      const WriteMode first = lib.durableOnly ? WriteMode::kDurable : WriteMode::kPlain;
      benchmark::RegisterBenchmark(name.c_str(), lib.*member, first)->Apply(sizes);
      if (!lib.durableOnly) {
        benchmark::RegisterBenchmark((name + "+fsync").c_str(), lib.*member, WriteMode::kDurable)
            ->Apply(sizes);
      }
    }
  };
  registerWrites("ChangeWrite", &Library::changeAndWrite);
  registerWrites("Workload", &Library::workload);
  return true;
}();

}  // namespace
}  // namespace trove_bench
