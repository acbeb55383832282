#include "command_line.h"

#include "trove/version.h"

namespace trove::cli {

namespace {

constexpr const char* kDescription =
    "Reads and changes a trove store file (XML, root element \"propertiesmap\").";

constexpr const char* kFooter =
    "Key paths use \"/\" or \"\\\" between names, and \"/\" names the root key; names\n"
    "compare without regard to case. tree, get, export and check only read the store\n"
    "(check --repair restores a missing one).\n"
    "set, delete, import and copy write it atomically, and only when they succeed;\n"
    "set, import and copy create a missing store file (not a missing directory).\n"
    "Writers of one store take turns (--wait); a store file that an interrupted save\n"
    "left missing is first restored from its copy, which is said on standard error.\n"
    "\n"
    "Exit status: 0 success, 1 key, value or store file not found, 2 usage error,\n"
    "3 store error (damaged store, I/O failure, read-only refusal, anything else).";

// An empty file name would name no file at all.
const CLI::Validator kFileName(
    [](const std::string& name) { return name.empty() ? std::string("empty file name") : ""; }, "",
    "file name");

}  // namespace

void defineCommandLine(CLI::App& app, Invocation& in) {
  app.description(kDescription);
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();  // global options may also follow the command
  app.set_version_flag("--version", "trove " TROVE_VERSION_STRING, "Print the version and exit");

  app.add_option("--store", in.global.store, "The store file")
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
                 "How long a command waits for another program that is writing the same store "
                 "before it fails")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 86400.0).description(""))
      ->capture_default_str();

  auto* tree = app.add_subcommand("tree", "List keys and values with their types");
  tree->add_option("PATH", in.tree.path, "Key to list (default: the whole store)");
  tree->footer(
      "A key's values come first, as NAME TYPE TEXT in aligned columns, then its subkeys as\n"
      "\"name/\" with their content indented. Control characters are shown as \\n, \\t, \\xNN.");
  tree->callback([&in] { in.command = [&in](Output& out) { runTree(in.global, in.tree, out); }; });

  auto* get = app.add_subcommand("get", "Print a value's text");
  get->add_option("PATH", in.get.path, "Key holding the value")->required();
  get->add_option("NAME", in.get.name, "Value name")->required();
  get->add_option("--as", in.get.asType,
                  "Read the value converted to TYPE (e.g. tDWORD) and print that type's text")
      ->type_name("TYPE");
  get->callback([&in] { in.command = [&in](Output& out) { runGet(in.global, in.get, out); }; });

  auto* set = app.add_subcommand("set", "Set a value, creating keys and the store as needed");
  set->add_option("PATH", in.set.path, "Key of the value")->required();
  set->add_option("NAME", in.set.name, "Value name")->required();
  set->add_option("TYPE", in.set.type, "Type name as in the store file (tDWORD, tSTRING, ...)")
      ->required();
  set->add_option("VALUE", in.set.value, "Value in the type's text form")->required();
  set->footer(
      "Text forms: numbers in decimal or hexadecimal (800, 0x320), tBOOL true/false/number,\n"
      "tBINARY hexadecimal bytes (00FF), tSTRING any text. Missing keys are created, and so\n"
      "is a missing store file (in an existing directory). An existing value keeps its\n"
      "stored type and receives VALUE converted to it. Put -- before a VALUE such as -x.");
  set->callback([&in] { in.command = [&in](Output& out) { runSet(in.global, in.set, out); }; });

  auto* remove = app.add_subcommand("delete", "Delete a key with everything below it, or a value");
  remove->add_option("PATH", in.remove.path, "Key to delete, or holding the value")->required();
  remove->add_option("NAME", in.remove.name, "Value to delete (only this value)");
  remove->footer("The store file must exist; the root key itself cannot be deleted.");
  remove->callback(
      [&in] { in.command = [&in](Output& out) { runDelete(in.global, in.remove, out); }; });

  auto* exporter = app.add_subcommand("export", "Print a key's content as store XML or JSON");
  exporter->add_option("PATH", in.exporter.path, "Key to export (default: the whole store)");
  exporter->add_flag("--json", in.exporter.json, "Print JSON instead of store XML");
  exporter->footer(
      "The XML is a store document holding the key's values and subkeys (not the key itself),\n"
      "so 'import FILE --into PATH' puts them back. The JSON is an object\n"
      "{\"name\", \"values\": [{\"name\", \"type\", \"value\"}], \"keys\": [...]} with every "
      "value\n"
      "in its text form, in store order.");
  exporter->callback(
      [&in] { in.command = [&in](Output& out) { runExport(in.global, in.exporter, out); }; });

  auto* importer = app.add_subcommand("import", "Copy the content of any XML file into the store");
  importer->add_option("XMLFILE", in.importer.xmlFile, "File to import")
      ->required()
      ->check(kFileName);
  importer->add_option("--into", in.importer.into, "Destination key (default: the root key)")
      ->type_name("PATH");
  importer->footer(
      "A store file is copied key by key. Any other XML becomes keys named after its\n"
      "elements, holding their attributes, and their text as \"noname\", as tSTRING values.\n"
      "Elements whose names repeat a sibling's are merged into the first (with a warning).\n"
      "The store file is created if missing.");
  importer->callback(
      [&in] { in.command = [&in](Output& out) { runImport(in.global, in.importer, out); }; });

  auto* copy = app.add_subcommand("copy", "Copy a key's content into another store file");
  copy->add_option("PATH", in.copy.path, "Key to copy (\"/\" for the whole store)")->required();
  copy->add_option("--to", in.copy.toFile, "Destination store file, created if missing")
      ->required()
      ->check(kFileName)
      ->type_name("FILE");
  copy->add_option("--into", in.copy.into, "Destination key (default: PATH itself)")
      ->type_name("PATH");
  copy->callback([&in] { in.command = [&in](Output& out) { runCopy(in.global, in.copy, out); }; });

  auto* checker = app.add_subcommand(
      "check", "Load the store, count its keys and values, and report leftovers of saves");
  checker->add_flag("--repair", in.check.repair,
                    "Restore a missing store from its newest complete copy and remove stale files");
  checker->footer(
      "Also lists the files that interrupted saves left beside the store. Exits with 3,\n"
      "leaving every file untouched, when the store is damaged, or missing while a copy\n"
      "(.bak2, or a complete temporary file) holds it; --repair then restores it (never\n"
      "over an existing store). Without --repair nothing is changed.");
  checker->callback(
      [&in] { in.command = [&in](Output& out) { runCheck(in.global, in.check, out); }; });
}

}  // namespace trove::cli
