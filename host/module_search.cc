#include "trove/host/module_search.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <dlfcn.h>
#include <link.h>

// Paths relative to the directory that holds the host; the build sets them
// from the install layout.
#ifndef TROVE_MODULE_SUBDIR
#define TROVE_MODULE_SUBDIR "trove"
#endif
#ifndef TROVE_MODULE_FROM_BINDIR
#define TROVE_MODULE_FROM_BINDIR "../lib/trove"
#endif

namespace trove::host {

namespace {

namespace fs = std::filesystem;

struct Holder {
  fs::path file;
  bool isProgram = false;
};

// The file this code was loaded from: libtrove.so, or the program itself.
Holder holderOfThisCode() {
  Dl_info info{};
  link_map* map = nullptr;
  Holder holder;
  if (::dladdr1(reinterpret_cast<void*>(&findModule), &info, reinterpret_cast<void**>(&map),
                RTLD_DL_LINKMAP) != 0 &&
      map && map->l_name && map->l_name[0] != '\0') {
    holder.file = map->l_name;
    return holder;
  }
  // The main program's link map has no name.
  std::error_code error;
  holder.file = fs::read_symlink("/proc/self/exe", error);
  holder.isProgram = true;
  return holder;
}

bool isFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

bool isDirectory(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

}  // namespace

ModuleSearch findModule() {
  ModuleSearch search;
  const Holder holder = holderOfThisCode();
  std::vector<fs::path> candidates;
  if (!holder.file.empty()) {
    const fs::path dir = holder.file.parent_path().lexically_normal();
    candidates.push_back(dir / kModuleFileName);
    candidates.push_back(dir / TROVE_MODULE_SUBDIR / kModuleFileName);
    if (holder.isProgram) {
      candidates.push_back((dir / TROVE_MODULE_FROM_BINDIR / kModuleFileName).lexically_normal());
    }
  }
  if (const char* variable = std::getenv(kModulePathVariable); variable && *variable) {
    search.pathVariableSet = true;
    std::string_view rest = variable;
    while (!rest.empty()) {
      const size_t colon = rest.find(':');
      const fs::path entry(rest.substr(0, colon));
      rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
      if (entry.empty()) continue;
      candidates.push_back(isDirectory(entry) ? entry / kModuleFileName : entry);
    }
  }
  for (const fs::path& candidate : candidates) {
    search.tried.push_back(candidate.string());
    if (isFile(candidate)) {
      search.found = candidate.string();
      break;
    }
  }
  return search;
}

std::string ModuleSearch::notFoundMessage() const {
  std::string message = std::string("cannot find the trove module ") + kModuleFileName;
  message += tried.empty() ? "; looked nowhere" : "; looked at ";
  for (size_t i = 0; i < tried.size(); ++i) {
    if (i) message += ", ";
    message += tried[i];
  }
  if (!pathVariableSet) message += std::string("; ") + kModulePathVariable + " is not set";
  message += " (set ";
  message += kModulePathVariable;
  message += " or give the module's path to the program)";
  return message;
}

}  // namespace trove::host
