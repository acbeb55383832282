// The tool's command line: global options, commands, their arguments and
// help texts.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <optional>

#include "commands.h"
#include "store_check.h"

namespace trove::cli {

// What a parsed command line asks for.
struct Invocation {
  GlobalOptions global;
  std::optional<uint32_t> traceLevel;    // --trace, when given
  std::function<void(Output&)> command;  // the selected command, bound to its arguments

  // Filled by the parser; `command` refers to them.
  unsigned backupMode = 0;
  double waitSeconds = 10;
  TreeArgs tree;
  GetArgs get;
  SetArgs set;
  DeleteArgs remove;
  ExportArgs exporter;
  ImportArgs importer;
  CopyArgs copy;
  CheckArgs check;
};

// Defines everything on `app`; app.parse() then fills `invocation`, which
// must outlive `app`.
void defineCommandLine(CLI::App& app, Invocation& invocation);

}  // namespace trove::cli
