#include "command_line.h"

#include "trove/version.h"

namespace trove::cli {

namespace {

constexpr const char* kDescription =
    "Reads and changes a trove store file (XML, root element \"propertiesmap\").";

constexpr const char* kFooter =
    "Key paths use \"/\" or \"\\\" between names, and \"/\" names the root key; names\n"
    "compare without regard to case. tree, ls, list, get, export, diff, find, watch and\n"
    "check only read the store (check --repair restores a missing one). set, delete, mv,\n"
    "import, copy and edit write it atomically, and only when they succeed; set, import,\n"
    "copy and edit create a missing store file (not a missing directory). Writers of one\n"
    "store take turns (--wait); a store file that an interrupted save left missing is\n"
    "first restored from its copy, which is said on standard error. \"-\" as a store or\n"
    "file reads standard input; a command that changes a store given as \"-\" writes the\n"
    "new store to standard output.\n"
    "\n"
    "Exit status: 0 success, 1 key, value or store file not found, 2 bad input or usage,\n"
    "3 store error (damaged store, I/O failure, read-only refusal, anything else).";

// An empty file name would name no file at all.
const CLI::Validator kFileName(
    [](const std::string& name) { return name.empty() ? std::string("empty file name") : ""; }, "",
    "file name");

std::string commandNames(const CLI::App& app) {
  std::string names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names += (names.empty() ? "" : ", ") + command->get_name();
  }
  return names;
}

}  // namespace

void defineCommandLine(CLI::App& app, Invocation& in) {
  app.description(kDescription);
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();  // global options may also follow the command
  app.set_version_flag("--version", "trove " TROVE_VERSION_STRING, "Print the version and exit");

  app.add_option("--store", in.global.store, "The store file (\"-\": standard input)")
      ->type_name("FILE")
      ->check(kFileName)
      ->capture_default_str();
  app.add_option_function<uint32_t>(
         "--trace", [&in](const uint32_t& level) { in.traceLevel = level; },
         "Show the module's trace lines up to LEVEL on standard error (300 errors, "
         "350 warnings, 400 saving, 500 backups, 600 every call)")
      ->type_name("LEVEL");
  app.add_flag("--read-only", in.global.settings.readOnly,
               "Open every store read-only: commands that would change one fail");
  app.add_option("--backup-mode", in.backupMode,
                 "Backups kept when a store is written: 0 none (but a store named profiles.xml "
                 "keeps its previous file as .bak2), 1 previous file as .bak2, 2 as 1 and a "
                 "first copy as .bak")
      ->type_name("N")
      ->check(CLI::Range(0u, 2u).description(""))
      ->capture_default_str();
  app.add_option("--wait", in.waitSeconds,
                 "How long a command waits for another program that is writing or reading the "
                 "same store before it fails")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 86400.0).description(""))
      ->capture_default_str();

  defineReadCommands(app, in);
  defineChangeCommands(app, in);
  defineTransferCommands(app, in);
  defineSearchCommands(app, in);
  defineWatchCommand(app, in);
  defineEditCommand(app, in);
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    command->parse_complete_callback([&in, command] { in.commandName = command->get_name(); });
  }
}

std::string describeParseError(const CLI::App& app, const CLI::ParseError& error, int argc,
                               char** argv) {
  if (app.get_subcommands().empty()) {
    // The first word that is neither an option nor an option's value.
    for (int i = 1; i < argc; ++i) {
      const std::string word = argv[i];
      if (word == "--store" || word == "--trace" || word == "--backup-mode" || word == "--wait") {
        ++i;
        continue;
      }
      if (word.rfind("-", 0) == 0) continue;
      return "unknown command \"" + word + "\" (commands: " + commandNames(app) + ")";
    }
    if (std::string(error.what()).find("subcommand") != std::string::npos) {
      return "no command given (commands: " + commandNames(app) + "; see 'trove --help')";
    }
  }
  return std::string(error.what()) + " (see 'trove --help')";
}

}  // namespace trove::cli
