// The configuration workload through trove's binary interface: the module
// loaded by the host library, its Registry methods called through the
// registered method table, as a component of a plug-in application calls
// them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config_workload.h"
#include "sample_store.h"
#include "trove/host.h"

namespace trove_bench {

// A host with the module built by this project loaded, for the whole process.
trove::host::Host& benchHost();

class TroveRawConfig {
 public:
  explicit TroveRawConfig(const std::string& path);

  double find(const std::vector<Setting>& settings) const;
  void change(const std::vector<Setting>& settings, uint32_t round) const;
  // Flushes (trove always replaces the file durably) and closes the object.
  void write(WriteMode mode);

  trove::host::Object& object() { return object_; }

 private:
  uint64_t openKey(const std::string& path) const;
  void closeKey(uint64_t key) const;

  trove::host::Object object_;
};

}  // namespace trove_bench
