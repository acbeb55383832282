// The configuration workload through trove's client API.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config_workload.h"
#include "sample_store.h"
#include "trove/client.h"

namespace trove_bench {

class TroveClientConfig {
 public:
  explicit TroveClientConfig(const std::string& path);

  double find(const std::vector<Setting>& settings) const;
  void change(const std::vector<Setting>& settings, uint32_t round) const;
  // trove always replaces the file durably; the mode changes nothing.
  void write(WriteMode mode);

  trove::Store& store() { return store_; }

 private:
  trove::Store store_;
  trove::Key root_;
};

}  // namespace trove_bench
