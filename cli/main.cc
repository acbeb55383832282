// trove: reads and changes trove store files from the command line.
#include <iostream>
#include <memory>
#include <optional>

#include "command_line.h"
#include "exit_codes.h"
#include "failure.h"
#include "progress.h"
#include "trove/client.h"
#include "trove/host/trace.h"

namespace {

using namespace trove::cli;

// Without --trace the module stays silent: the tool's own one-line message
// says what went wrong.
void installTrace(const std::optional<uint32_t>& level) {
  if (level) {
    trove::setTraceSink(std::make_shared<trove::host::StderrTraceSink>(*level));
  } else {
    trove::setTraceSink(std::make_shared<trove::host::SilentTraceSink>());
  }
}

}  // namespace

int main(int argc, char** argv) {
  Invocation invocation;
  CLI::App app("", "trove");
  defineCommandLine(app, invocation);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion& version) {
    return app.exit(version);
  } catch (const CLI::ParseError& error) {
    std::cerr << "trove: " << describeParseError(app, error, argc, argv) << '\n';
    return kExitUsage;
  }
  GlobalOptions& global = invocation.global;
  global.settings.backupMode = static_cast<uint8_t>(invocation.backupMode);
  global.settings.lockWait =
      std::chrono::milliseconds(static_cast<int64_t>(invocation.waitSeconds * 1000 + 0.5));

  try {
    installTrace(invocation.traceLevel);  // loads the module
  } catch (const trove::Error& error) {
    // Before any store: the message names every place the module was looked for.
    std::cerr << "trove: " << error.what() << '\n';
    return kExitStoreError;
  }
  Output output;
  try {
    // The editor and the watch own the terminal for as long as they run.
    std::optional<ProgressLine> progress;
    if (invocation.commandName != "edit" && invocation.commandName != "watch") {
      progress.emplace(invocation.commandName);
    }
    invocation.command(output);
  } catch (const Failure& failure) {
    std::cerr << "trove: " << failure.what() << '\n';
    return failure.exitCode();
  } catch (const std::exception& error) {
    std::cerr << "trove: " << displayPath(global.store) << ": " << error.what() << '\n';
    return kExitStoreError;
  }
  for (const std::string& warning : output.warnings) std::cerr << "trove: " << warning << '\n';
  std::cout << output.results.str() << std::flush;
  return std::cout ? kExitSuccess : kExitStoreError;
}
