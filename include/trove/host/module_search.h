// Where a host looks for the trove module when the program names no file:
//   1. the directory of the library that holds the host (libtrove.so, or the
//      program itself when it links libtrove.a),
//   2. its trove/ subdirectory, where `cmake --install` puts the module,
//   3. lib/trove/ beside a program's bin/ directory (for a static libtrove),
//   4. every entry of TROVE_MODULE_PATH: module files or directories holding
//      one, separated by ':'.
// The first candidate that exists is the one loaded.
#pragma once

#include <string>
#include <vector>

namespace trove::host {

inline constexpr const char* kModuleFileName = "libtrove_registry.so";
inline constexpr const char* kModulePathVariable = "TROVE_MODULE_PATH";

struct ModuleSearch {
  std::string found;               // empty when no candidate exists
  std::vector<std::string> tried;  // every candidate looked at, in order
  bool pathVariableSet = false;    // whether TROVE_MODULE_PATH was set (and not empty)

  // One sentence naming every place looked at, for a search that found nothing.
  std::string notFoundMessage() const;
};

ModuleSearch findModule();

}  // namespace trove::host
