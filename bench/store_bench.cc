// trove alone, through its client API, on stores of N keys of eight values
// each: loading, opening keys by path, reading values in their stored type
// and converted, setting, enumerating, saving with backups, copying a
// subtree. Every key operation checks its handle by searching the root key's
// subtree and every name lookup scans its list, so most numbers grow with N.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "sample_file.h"
#include "sample_store.h"
#include "trove/client.h"
#include "trove/host.h"

namespace trove_bench {
namespace {

constexpr int kSettings = 100;
constexpr const char* kEmptyStore = "<propertiesmap>\r\n</propertiesmap>\r\n";

int keysOf(const benchmark::State& state) {
  return static_cast<int>(state.range(0));
}

// "Group03/Item0342" for item 342.
std::string pathOf(int item) {
  char text[32];
  std::snprintf(text, sizeof text, "Group%02d/Item%04d", item / kKeysPerGroup, item);
  return text;
}

// The item at `position` of a store of `keys` keys: 0 first, 1 middle, 2 last.
int itemAt(int keys, int64_t position) {
  return position == 0 ? 0 : position == 1 ? keys / 2 : keys - 1;
}

// A benchmark body that reports failures as a skipped benchmark.
template <typename Body>
void guarded(benchmark::State& state, Body body) {
  try {
    body();
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
  }
}

void load(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    for (auto _ : state) {
      trove::Store store = trove::Store::openFile(file.path());
      benchmark::DoNotOptimize(&store);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.size()));
  });
}

// Closing a store that did not change writes nothing: this is the release
// of the tree, a block at a time through the host heap.
void unload(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    for (auto _ : state) {
      state.PauseTiming();
      std::optional<trove::Store> store;
      store.emplace(trove::Store::openFile(file.path()));
      state.ResumeTiming();
      store->close();
      state.PauseTiming();
      store.reset();
      state.ResumeTiming();
    }
  });
}

void openKey(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    const trove::Store store = trove::Store::openFile(file.path());
    const trove::Key root = store.root();
    const std::vector<Setting> settings = spreadSettings(keysOf(state), kSettings);
    size_t next = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(root.open(settings[next].keyPath).handle());
      next = (next + 1) % settings.size();
    }
    state.SetItemsProcessed(state.iterations());
  });
}

// Reads through a key opened once: the name lookup and the handle check,
// whose cost depends on where the key lies in the tree (second argument).
template <typename Read>
void readValue(benchmark::State& state, Read read) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    const trove::Store store = trove::Store::openFile(file.path());
    const trove::Key key = store.key(pathOf(itemAt(keysOf(state), state.range(1))));
    for (auto _ : state) read(store, key);
    state.SetItemsProcessed(state.iterations());
  });
}

void getStored(benchmark::State& state) {
  readValue(state, [](const trove::Store&, const trove::Key& key) {
    benchmark::DoNotOptimize(key.get<uint32_t>("width"));
  });
}

// A tWORD read as a 32-bit number goes through the value's text form.
void getConverted(benchmark::State& state) {
  readValue(state, [](const trove::Store&, const trove::Key& key) {
    benchmark::DoNotOptimize(key.get<uint32_t>("retries"));
  });
}

// A tDWORD read as text: a size query and the read, two calls.
void getAsText(benchmark::State& state) {
  readValue(state, [](const trove::Store&, const trove::Key& key) {
    benchmark::DoNotOptimize(key.get<std::string>("width"));
  });
}

// The same read as getStored through the binary interface, without the
// client's checks and messages.
void getRaw(benchmark::State& state) {
  readValue(state, [](const trove::Store& store, const trove::Key& key) {
    uint32_t width = 0, type = TROVE_TDWORD, required = 0;
    const int32_t result = store.object().call<TroveGetValue>(
        TROVE_SLOT_GET_VALUE, &required, key.handle(), "width", &type, static_cast<void*>(&width),
        uint32_t{sizeof width});
    benchmark::DoNotOptimize(result);
    benchmark::DoNotOptimize(width);
  });
}

void setValue(benchmark::State& state) {
  uint32_t round = 0;
  readValue(state, [&round](const trove::Store&, const trove::Key& key) {
    key.set<uint32_t>("width", changedWidth(round++ & 1));  // a change every time
  });
}

void enumerate(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    const trove::Store store = trove::Store::openFile(file.path());
    int64_t visited = 0;
    for (auto _ : state) {
      for (const trove::Key& group : store.root().subkeys()) {
        for (const trove::Key& item : group.subkeys()) {
          ++visited;
          for (const trove::ValueInfo& value : item.values()) {
            benchmark::DoNotOptimize(value.type);
            ++visited;
          }
        }
      }
    }
    if (visited != state.iterations() * keysOf(state) * (1 + kValuesPerKey)) {
      state.SkipWithError("enumeration missed keys or values");
    }
    state.SetItemsProcessed(visited);
  });
}

// One changed value, then the close that writes the store: serialization,
// temporary file, fsync, rename. Backup mode 1 (second argument) also moves
// the previous store to ".bak2"; mode 2 first copies it to ".bak", which it
// only does while no ".bak" exists, so the benchmark removes that file
// between rounds.
void saveWithBackups(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    const std::string middle = pathOf(keysOf(state) / 2);
    const std::string firstBackup = file.path() + ".bak";
    trove::StoreOptions options;
    options.backupMode = static_cast<uint8_t>(state.range(1));
    uint32_t round = 0;
    for (auto _ : state) {
      state.PauseTiming();
      std::remove(firstBackup.c_str());
      std::optional<trove::Store> store;
      store.emplace(trove::Store::openFile(file.path(), options));
      store->key(middle).set<uint32_t>("Width", changedWidth(round++));
      state.ResumeTiming();
      store->close();
      state.PauseTiming();
      store.reset();
      state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * file.size()));
  });
}

// The first group (up to a hundred keys of eight values) into an empty store
// in memory.
void copySubtree(benchmark::State& state) {
  guarded(state, [&] {
    const SampleFile file(keysOf(state));
    const trove::Store store = trove::Store::openFile(file.path());
    const trove::Key group = store.key("Group00");
    trove::StoreOptions scratchOptions;
    scratchOptions.saveOnClose = false;
    const int64_t copied = std::min(keysOf(state), kKeysPerGroup) * (1 + kValuesPerKey);
    for (auto _ : state) {
      state.PauseTiming();
      std::optional<trove::Store> destination;
      destination.emplace(trove::Store::openMemory(kEmptyStore, scratchOptions));
      const trove::Key target = destination->createKey("Copy");
      state.ResumeTiming();
      group.copyTo(target);
      state.PauseTiming();
      destination.reset();
      state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * copied);
  });
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
}

// N, and where the key read lies: 0 first, 1 middle, 2 last.
void sizesAndPlaces(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"keys", "at"})->Unit(benchmark::kMicrosecond);
  for (int keys : {100, 1000, 10000}) {
    for (int at : {0, 1, 2}) benchmark->Args({keys, at});
  }
}

void middleOnly(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"keys", "at"})->Unit(benchmark::kMicrosecond);
  for (int keys : {100, 1000, 10000}) benchmark->Args({keys, 1});
}

// N, and the backup mode: 0 none, 1 ".bak2", 2 ".bak" and ".bak2".
void sizesAndModes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"keys", "backup"})->Unit(benchmark::kMicrosecond);
  for (int keys : {100, 1000, 10000}) {
    for (int mode : {0, 1, 2}) benchmark->Args({keys, mode});
  }
}

BENCHMARK(load)->Name("Load")->Apply(sizes);
BENCHMARK(unload)->Name("CloseUnchanged")->Apply(sizes);
BENCHMARK(openKey)->Name("OpenKeyByPath")->Apply(sizes);
BENCHMARK(getStored)->Name("GetStoredType")->Apply(sizesAndPlaces);
BENCHMARK(getRaw)->Name("GetStoredType/raw")->Apply(middleOnly);
BENCHMARK(getConverted)->Name("GetConverted")->Apply(middleOnly);
BENCHMARK(getAsText)->Name("GetAsText")->Apply(middleOnly);
BENCHMARK(setValue)->Name("SetValue")->Apply(middleOnly);
BENCHMARK(enumerate)->Name("EnumerateAll")->Apply(sizes);
BENCHMARK(saveWithBackups)->Name("Save")->Apply(sizesAndModes);
BENCHMARK(copySubtree)->Name("CopySubtree")->Apply(sizes);

}  // namespace
}  // namespace trove_bench
