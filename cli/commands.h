// The tool's commands. Each puts what it prints into an Output and throws
// Failure (naming the file and the operation) when it does not succeed; a
// command that fails writes nothing to any store file.
#pragma once

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "store_access.h"

namespace trove::cli {

struct GlobalOptions {
  std::string store = "profiles.xml";
  StoreSettings settings;
};

// What a command prints: its results for standard output and its warnings
// (one line each) for standard error. Both are shown only once the command
// has succeeded, so a failure never leaves half a listing behind.
struct Output {
  std::ostringstream results;
  std::vector<std::string> warnings;
};

struct TreeArgs {
  std::string path;
};
struct GetArgs {
  std::string path, name, asType;
};
struct SetArgs {
  std::string path, name, type, value;
};
struct DeleteArgs {
  std::string path;
  std::optional<std::string> name;
};
struct ExportArgs {
  std::string path;
  bool json = false;
};
struct ImportArgs {
  std::string xmlFile, into;
};
struct CopyArgs {
  std::string path, toFile;
  std::optional<std::string> into;  // the same path as the source when not given
};

void runTree(const GlobalOptions& global, const TreeArgs& args, Output& output);
void runGet(const GlobalOptions& global, const GetArgs& args, Output& output);
void runSet(const GlobalOptions& global, const SetArgs& args, Output& output);
void runDelete(const GlobalOptions& global, const DeleteArgs& args, Output& output);
void runExport(const GlobalOptions& global, const ExportArgs& args, Output& output);
void runImport(const GlobalOptions& global, const ImportArgs& args, Output& output);
void runCopy(const GlobalOptions& global, const CopyArgs& args, Output& output);

}  // namespace trove::cli
