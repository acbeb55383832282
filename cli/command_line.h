// The tool's command line: global options, commands, their arguments and
// help texts.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "commands.h"

namespace trove::cli {

// Defines everything on `app`; app.parse() then fills `invocation`, which
// must outlive `app`.
void defineCommandLine(CLI::App& app, Invocation& invocation);

// The one-line message for a command line that does not parse, naming an
// unknown command and listing the commands where that is the fault.
std::string describeParseError(const CLI::App& app, const CLI::ParseError& error, int argc,
                               char** argv);

}  // namespace trove::cli
