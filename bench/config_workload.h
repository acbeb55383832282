// The configuration workload that bench_compare runs with every library: a
// type per library with the same four steps.
//
//   Config config(path);                 // parse the file
//   double sum = config.find(settings);  // read each setting by path, typed
//   config.change(settings, round);      // set the width of ten settings' keys
//   config.write(mode);                  // write the file back
//
// Constructors and steps throw std::runtime_error (trove::Error for trove).
#pragma once

#include <cstdint>

namespace trove_bench {

enum class WriteMode {
  kPlain,    // the library's own save to the file
  kDurable,  // temporary file, fsync, rename, fsync of the directory
};

// How many of the settings the change step modifies.
inline constexpr int kChangedSettings = 10;

}  // namespace trove_bench
