// A Registry object run by the module code linked into the test itself, not
// by the module file: only this copy of the code sees the platform a test
// installs (the module file has its own platform cell). The object lives on
// the host heap like one the host made, and its host cells point at the
// given host, so its trace lines reach that host's sink.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <sstream>
#include <string>

#include "frame/lifecycle.h"
#include "frame/property_accessors.h"
#include "object/properties_map.h"
#include "registry/registry_methods.h"
#include "services/host_services.h"
#include "storage/store_file.h"
#include "store_files.h"
#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace store_test {

class InProcessStore {
 public:
  explicit InProcessStore(trove::host::Host& host) : memory_(TROVE_DATA_SIZE) {
    trove::setRootObject(host.root());
    trove::onDataInit(get(), 1);
    // The host replaces the construction's placeholder services with its own.
    static_cast<void**>(get())[1] = trove::host::servicesTable();
  }
  ~InProcessStore() { trove::onDataInit(get(), 0); }
  InProcessStore(const InProcessStore&) = delete;
  InProcessStore& operator=(const InProcessStore&) = delete;

  void* get() const { return memory_.get(); }
  trove::PropertiesMap& map() const { return *trove::PropertiesMap::from(get()); }

  int32_t setName(const std::string& path) {
    std::u16string terminated(path.begin(), path.end());
    terminated += u'\0';
    uint32_t outSize = 0;
    return trove::setName(get(), &outSize, TROVE_PROP_NAME, terminated.data(),
                          static_cast<uint32_t>(terminated.size() * 2));
  }

  int32_t load() { return trove::onInitDone(get()); }
  int32_t flush() { return trove::flush(get()); }
  uint32_t changed() const { return map().changed.load(); }

  // Sets the tDWORD app/count, creating both.
  int32_t setCount(uint32_t value) {
    uint64_t key = TROVE_INVALID_KEY;
    const int32_t opened = trove::OpenKey(get(), &key, 0, "app", 1);
    if (opened < 0) return opened;
    return trove::SetValue(get(), key, "count", TROVE_TDWORD, &value, 4, 1);
  }
  // The tDWORD app/count; 0xDEAD when absent.
  uint32_t count() {
    uint64_t key = TROVE_INVALID_KEY;
    if (trove::OpenKey(get(), &key, 0, "app", 0) < 0) return 0xDEAD;
    uint32_t value = 0xDEAD;
    uint32_t type = TROVE_TDWORD;
    uint32_t required = 0;
    if (trove::GetValue(get(), &required, key, "count", &type, &value, 4) < 0) return 0xDEAD;
    return value;
  }

 private:
  trove::host::HeapObject memory_;
};

// The canonical text of a store holding app/count = n, as a save writes it.
inline std::string canonicalCount(uint32_t n) {
  return "<propertiesmap>\r\n    <key name=\"app\">\r\n        <tDWORD name=\"count\">" +
         std::to_string(n) + "</tDWORD>\r\n    </key>\r\n</propertiesmap>\r\n";
}

// The files beside a store: suffix to the store's name ("" the store itself,
// ".bak2", ...) -> content.
using Files = std::map<std::string, std::string>;

// Files from "=old .bak=first .tmpabc=new": suffix=content, where "old" and
// "new" stand for the stores holding 1 and 2.
inline Files files(const std::string& spec) {
  Files result;
  std::istringstream words(spec);
  for (std::string word; words >> word;) {
    const size_t equals = word.find('=');
    const std::string text = word.substr(equals + 1);
    result[word.substr(0, equals)] = text == "old"   ? canonicalCount(1)
                                     : text == "new" ? canonicalCount(2)
                                                     : text;
  }
  return result;
}

inline void writeFiles(const std::string& store, const Files& files) {
  for (const auto& [suffix, text] : files) writeFile(store + suffix, text);
}

// Every file of `scratch`, all named `name` plus a suffix.
inline Files filesIn(const ScratchDirectory& scratch, const std::string& name) {
  Files files;
  for (const std::string& entry : scratch.entries()) {
    files[entry.rfind(name, 0) == 0 ? entry.substr(name.size()) : "?" + entry] =
        readFile(scratch.file(entry));
  }
  return files;
}

}  // namespace store_test
