// tree, ls, list, get and check: commands that only read the store.
#include "command_support.h"
#include "failure.h"
#include "key_paths.h"
#include "store_check.h"
#include "store_walk.h"
#include "tally.h"
#include "tree_printer.h"
#include "trove/client.h"
#include "value_text.h"

namespace trove::cli {

namespace {

struct PathArgs {
  std::string path;
};
struct ListArgs {
  std::string path;
  bool nulSeparated = false;
};
struct GetArgs {
  std::string path, name, asType;
  std::optional<std::string> fallback;
};

void runTree(const GlobalOptions& global, const PathArgs& args, Output& output) {
  attribute(global.store, operation("tree", args.path), [&] {
    Store store = openForReading(global.store, global.settings);
    printTree(store, keyAt(store.root(), args.path), output.results);
  });
}

void runLs(const GlobalOptions& global, const PathArgs& args, Output& output) {
  attribute(global.store, operation("ls", args.path), [&] {
    Store store = openForReading(global.store, global.settings);
    const Key key = keyAt(store.root(), args.path);
    for (const Key& subkey : key.subkeys())
      output.results << escapeControls(subkey.name()) << "/\n";
    for (const ValueInfo& value : key.values())
      output.results << escapeControls(value.name) << '\n';
  });
}

void runList(const GlobalOptions& global, const ListArgs& args, Output& output) {
  attribute(global.store, operation("list", args.path), [&] {
    Store store = openForReading(global.store, global.settings);
    const Key key = keyAt(store.root(), args.path);
    walk(
        store, key, normalizedPath(args.path), [](const std::string&) {},
        [&](const ValueRow& row) {
          if (!args.nulSeparated) {
            output.results << listLine(row) << '\n';
            return;
          }
          // Every field ends with a NUL: any other byte may stand in a name or text.
          for (const std::string* field : {&row.path, &row.name, &row.type})
            output.results << *field << '\0';
          output.results << row.text.value_or("") << '\0';
        });
  });
}

void runGet(const GlobalOptions& global, const GetArgs& args, Output& output) {
  const std::string op = operation("get", joined(args.path, args.name));
  const TroveTypeId type = args.asType.empty() ? 0 : typeArgument(args.asType, global.store, op);
  try {
    attribute(global.store, op, [&] {
      Store store = openForReading(global.store, global.settings);
      const Key key = keyAt(store.root(), args.path);
      if (!key.has(args.name)) throwMissingValue(args.path, args.name);
      if (type == 0) {
        output.results << key.text(args.name) << '\n';
        return;
      }
      try {
        output.results << valueTextAs(store, key, args.name, type) << '\n';
      } catch (const Error& error) {
        if (error.code() != errInvalidArgument) throw;
        throw Refusal(error.code(),
                      "the value (" + std::string(typeName(key.type(args.name))) + " \"" +
                          escapeControls(key.text(args.name)) + "\") cannot be read as " +
                          args.asType,
                      kExitUsage);
      }
    });
  } catch (const Failure& failure) {
    // A missing store, key or value gives the default; a damaged store does not.
    if (!args.fallback || failure.exitCode() != kExitNotFound) throw;
    output.results << *args.fallback << '\n';
  }
}

}  // namespace

void defineReadCommands(CLI::App& app, Invocation& in) {
  auto treeArgs = std::make_shared<PathArgs>();
  auto* tree = app.add_subcommand("tree", "List keys and values with their types, indented");
  tree->add_option("PATH", treeArgs->path, "Key to list (default: the whole store)");
  tree->footer(
      "A key's values come first, as NAME TYPE TEXT in aligned columns, then its subkeys as\n"
      "\"name/\" with their content indented. Control characters are shown as \\n, \\t, \\xNN.");
  tree->callback([&in, treeArgs] {
    in.command = [&in, treeArgs](Output& out) { runTree(in.global, *treeArgs, out); };
  });

  auto lsArgs = std::make_shared<PathArgs>();
  auto* ls = app.add_subcommand("ls", "List one key's subkeys (as \"name/\") and value names");
  ls->add_option("PATH", lsArgs->path, "Key to list (default: the root key)");
  ls->callback([&in, lsArgs] {
    in.command = [&in, lsArgs](Output& out) { runLs(in.global, *lsArgs, out); };
  });

  auto listArgs = std::make_shared<ListArgs>();
  auto* list = app.add_subcommand("list", "List every value below a key, one per line");
  list->add_option("PATH", listArgs->path, "Key to list (default: the whole store)");
  list->add_flag("-z,--null", listArgs->nulSeparated,
                 "End every field with a NUL byte instead of TAB and newline, unescaped");
  list->footer(
      "Each line is KEYPATH<TAB>NAME<TAB>TYPE<TAB>TEXT, where KEYPATH is \"/\" for the root key;\n"
      "control characters are shown as \\n, \\t, \\xNN. With -z nothing is escaped.");
  list->callback([&in, listArgs] {
    in.command = [&in, listArgs](Output& out) { runList(in.global, *listArgs, out); };
  });

  auto getArgs = std::make_shared<GetArgs>();
  auto* get = app.add_subcommand("get", "Print a value's text");
  get->add_option("PATH", getArgs->path, "Key holding the value")->required();
  get->add_option("NAME", getArgs->name, "Value name")->required();
  get->add_option("--as", getArgs->asType,
                  "Read the value converted to TYPE (e.g. tDWORD) and print that type's text")
      ->type_name("TYPE");
  get->add_option("--default", getArgs->fallback,
                  "Print TEXT (exit 0) when the store, key or value does not exist")
      ->type_name("TEXT");
  get->callback([&in, getArgs] {
    in.command = [&in, getArgs](Output& out) { runGet(in.global, *getArgs, out); };
  });

  auto checkArgs = std::make_shared<CheckArgs>();
  auto* checker = app.add_subcommand(
      "check", "Load the store, count its keys and values, and report leftovers of saves");
  checker->add_flag("--repair", checkArgs->repair,
                    "Restore a missing store from its newest complete copy and remove stale files");
  checker->footer(
      "Also lists the files that interrupted saves left beside the store. Exits with 3,\n"
      "leaving every file untouched, when the store is damaged (saying at which line and\n"
      "column its XML breaks), or missing while a copy (.bak2, or a complete temporary file)\n"
      "holds it; --repair then restores it (never over an existing store). Without --repair\n"
      "nothing is changed.");
  checker->callback([&in, checkArgs] {
    in.command = [&in, checkArgs](Output& out) { runCheck(in.global, *checkArgs, out); };
  });
}

}  // namespace trove::cli
