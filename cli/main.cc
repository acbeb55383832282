// trove: reads and changes trove store files from the command line.
#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <iostream>
#include <memory>

#include "commands.h"
#include "exit_codes.h"
#include "failure.h"
#include "trove/client.h"
#include "trove/host/trace.h"

namespace {

using namespace trove::cli;

constexpr const char* kDescription =
    "Reads and changes a trove store file (XML, root element \"propertiesmap\").\n"
    "Key paths use \"/\" or \"\\\" between names; names compare without regard to case.\n"
    "Read commands (tree, get, export, check) never write the store. Commands that\n"
    "change it write it atomically, and only when they succeed.\n"
    "Exit status: 0 success, 1 key, value or file not found, 2 usage, 3 store error.";

// Without --trace the module stays silent: the tool's own one-line message
// says what went wrong.
void installTrace(const CLI::Option* option, uint32_t level) {
  if (option->count() > 0) {
    trove::setTraceSink(std::make_shared<trove::host::StderrTraceSink>(level));
  } else {
    trove::setTraceSink(
        std::make_shared<trove::host::CallbackTraceSink>([](const trove::host::TraceLine&) {}));
  }
}

int usageError(const std::string& message) {
  std::cerr << "trove: " << message << " (see 'trove --help')\n";
  return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(kDescription, "trove");
  app.require_subcommand(1);
  app.fallthrough();  // global options may also follow the command

  GlobalOptions global;
  uint32_t traceLevel = 0;
  unsigned backupMode = 0;
  app.add_option("--store", global.store, "The store file")->capture_default_str();
  CLI::Option* traceOption = app.add_option(
      "--trace", traceLevel,
      "Show the module's trace lines up to LEVEL on standard error (300 errors, 350 warnings, "
      "400 saving, 500 backups, 600 every call)");
  traceOption->type_name("LEVEL");
  app.add_flag("--read-only", global.settings.readOnly,
               "Open every store read-only: commands that change one fail (exit 3)");
  app.add_option("--backup-mode", backupMode,
                 "Backups when a store is written: 0 none (a store named profiles.xml always "
                 "keeps the previous file as .bak2), 1 keep .bak2, 2 also copy to .bak once")
      ->check(CLI::Range(0u, 2u))
      ->capture_default_str();

  // The command that the line selects, run after parsing.
  std::function<void(Output&)> command;

  trove::cli::TreeArgs treeArgs;
  auto* tree = app.add_subcommand("tree", "List the keys and values below PATH (default: all)");
  tree->add_option("PATH", treeArgs.path, "Key to list");
  tree->callback([&] { command = [&](Output& output) { runTree(global, treeArgs, output); }; });

  trove::cli::GetArgs getArgs;
  auto* get = app.add_subcommand(
      "get", "Print the text of value NAME of key PATH (\"/\" for the root key)");
  get->add_option("PATH", getArgs.path, "Key holding the value")->required();
  get->add_option("NAME", getArgs.name, "Value name")->required();
  get->add_option("--as", getArgs.asType,
                  "Read the value converted to TYPE (e.g. tDWORD) and print that type's text")
      ->type_name("TYPE");
  get->callback([&] { command = [&](Output& output) { runGet(global, getArgs, output); }; });

  trove::cli::SetArgs setArgs;
  auto* set = app.add_subcommand(
      "set",
      "Set value NAME of key PATH to VALUE, given in the text form of TYPE (tDWORD: 800, "
      "tBOOL: true, tBINARY: 00FF, tSTRING: any text). Missing keys are created, and so is a "
      "missing store file (in an existing directory). An existing value keeps its stored "
      "type and receives VALUE converted to it. Put -- before a VALUE that starts with '-'.");
  set->add_option("PATH", setArgs.path, "Key of the value (\"/\" for the root key)")->required();
  set->add_option("NAME", setArgs.name, "Value name")->required();
  set->add_option("TYPE", setArgs.type, "Type name, as in the store file")->required();
  set->add_option("VALUE", setArgs.value, "Value text")->required();
  set->callback([&] { command = [&](Output& output) { runSet(global, setArgs, output); }; });

  trove::cli::DeleteArgs deleteArgs;
  auto* remove = app.add_subcommand(
      "delete",
      "Delete key PATH with everything below it, or only its value NAME. The store "
      "file must exist.");
  remove->add_option("PATH", deleteArgs.path, "Key to delete, or holding the value")->required();
  remove->add_option("NAME", deleteArgs.name, "Value to delete");
  remove->callback(
      [&] { command = [&](Output& output) { runDelete(global, deleteArgs, output); }; });

  trove::cli::ExportArgs exportArgs;
  auto* exporter = app.add_subcommand(
      "export",
      "Print the content of key PATH (default: the whole store) as store XML, which 'import "
      "--into PATH' reads back, or as JSON");
  exporter->add_option("PATH", exportArgs.path, "Key to export");
  exporter->add_flag("--json", exportArgs.json,
                     "Print JSON: {\"name\", \"values\": [{\"name\", \"type\", \"value\"}], "
                     "\"keys\": [...]}, values in their text form");
  exporter->callback(
      [&] { command = [&](Output& output) { runExport(global, exportArgs, output); }; });

  trove::cli::ImportArgs importArgs;
  auto* importer = app.add_subcommand(
      "import",
      "Copy the content of XMLFILE into key PATH of the store. A store file is copied key by "
      "key; any other XML becomes keys named after its elements, holding their attributes and "
      "text as tSTRING values. The store file is created if missing.");
  importer->add_option("XMLFILE", importArgs.xmlFile, "File to import")->required();
  importer->add_option("--into", importArgs.into, "Destination key (default: the root key)")
      ->type_name("PATH");
  importer->callback(
      [&] { command = [&](Output& output) { runImport(global, importArgs, output); }; });

  trove::cli::CopyArgs copyArgs;
  auto* copy = app.add_subcommand(
      "copy",
      "Copy the values and subkeys of key PATH into another store file, created if missing");
  copy->add_option("PATH", copyArgs.path, "Key to copy (\"/\" for the whole store)")->required();
  copy->add_option("--to", copyArgs.toFile, "Destination store file")
      ->required()
      ->type_name("FILE");
  copy->add_option("--into", copyArgs.into, "Destination key (default: PATH itself)")
      ->type_name("PATH");
  copy->callback([&] { command = [&](Output& output) { runCopy(global, copyArgs, output); }; });

  auto* checker = app.add_subcommand("check",
                                     "Load the store and count its keys and values; exit 3 when it "
                                     "is damaged");
  checker->callback([&] { command = [&](Output& output) { runCheck(global, output); }; });

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return usageError(error.what());
  }
  global.settings.backupMode = static_cast<uint8_t>(backupMode);

  Output output;
  try {
    attribute(global.store, "load the trove module",
              [&] { installTrace(traceOption, traceLevel); });
    command(output);
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
