// The configuration workload with pugixml, as its user writes it: a DOM
// walked by hand, names matched with strcasecmp.
#pragma once

#include <pugixml.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "config_workload.h"
#include "sample_store.h"

namespace trove_bench {

class PugixmlConfig {
 public:
  explicit PugixmlConfig(const std::string& path);

  double find(const std::vector<Setting>& settings) const;
  void change(const std::vector<Setting>& settings, uint32_t round) const;
  void write(WriteMode mode);

  const pugi::xml_document& document() const { return document_; }

 private:
  pugi::xml_node findValue(std::string_view keyPath, std::string_view name) const;

  std::string path_;
  pugi::xml_document document_;
};

}  // namespace trove_bench
