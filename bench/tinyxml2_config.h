// The configuration workload with tinyxml2, as its user writes it: a DOM
// walked by hand, names matched with strcasecmp.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "config_workload.h"
#include "sample_store.h"

namespace trove_bench {

class Tinyxml2Config {
 public:
  explicit Tinyxml2Config(const std::string& path);

  double find(const std::vector<Setting>& settings);
  void change(const std::vector<Setting>& settings, uint32_t round);
  void write(WriteMode mode);

 private:
  tinyxml2::XMLElement* findValue(std::string_view keyPath, std::string_view name);

  std::string path_;
  tinyxml2::XMLDocument document_;
};

}  // namespace trove_bench
