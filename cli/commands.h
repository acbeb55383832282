// The tool's commands, one family per file: each family defines its
// commands on the command line and runs them. A command puts what it prints
// into an Output and throws Failure (naming the file, the command and the
// key or value) when it does not succeed; a command that fails writes
// nothing to any store file.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
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

// What a parsed command line asks for.
struct Invocation {
  GlobalOptions global;
  std::optional<uint32_t> traceLevel;  // --trace, when given
  unsigned backupMode = 0;
  double waitSeconds = 10;               // --wait
  std::string commandName;               // for the progress line
  std::function<void(Output&)> command;  // the selected command, bound to its arguments
};

// Each adds its commands to `app`; `invocation` must outlive `app`.
void defineReadCommands(CLI::App& app, Invocation& invocation);      // tree ls list get check
void defineChangeCommands(CLI::App& app, Invocation& invocation);    // set delete mv
void defineTransferCommands(CLI::App& app, Invocation& invocation);  // export import copy
void defineSearchCommands(CLI::App& app, Invocation& invocation);    // diff find
void defineWatchCommand(CLI::App& app, Invocation& invocation);
void defineEditCommand(CLI::App& app, Invocation& invocation);

}  // namespace trove::cli
