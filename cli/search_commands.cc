// diff and find: comparing stores and searching one.
#include <filesystem>
#include <regex>

#include "command_support.h"
#include "failure.h"
#include "key_paths.h"
#include "store_diff.h"
#include "store_walk.h"
#include "tree_printer.h"
#include "trove/client.h"

namespace trove::cli {

namespace {

struct DiffArgs {
  std::string other, path;
};
struct FindArgs {
  std::string pattern, path;
  bool namesOnly = false, textsOnly = false;
};

// The backup a store's saves keep: ".bak2" (the previous store), else ".bak".
std::string backupOf(const std::string& store) {
  std::error_code ignored;
  return std::filesystem::exists(store + ".bak2", ignored) ? store + ".bak2" : store + ".bak";
}

void printChange(const Change& change, std::ostream& out) {
  if (!change.name) {
    out << (change.before ? "- " : "+ ") << escapeControls(change.path) << "/\n";
    return;
  }
  if (change.before) out << "- " << listLine(*change.before) << '\n';
  if (change.after) out << "+ " << listLine(*change.after) << '\n';
}

void runDiff(const GlobalOptions& global, const DiffArgs& args, Output& output) {
  const std::string other = args.other.empty() ? backupOf(global.store) : args.other;
  const std::string op = operation("diff " + other, args.path);
  std::optional<Store> older, newer;
  attribute(other, op, [&] { older.emplace(openForReading(other, global.settings)); });
  attribute(global.store, op, [&] {
    newer.emplace(openForReading(global.store, global.settings));
    const Key newKey = keyAt(newer->root(), args.path);
    std::optional<Key> oldKey;
    attribute(other, op, [&] { oldKey = keyAt(older->root(), args.path); });
    for (const Change& change :
         compareTrees(*older, *oldKey, *newer, newKey, normalizedPath(args.path))) {
      printChange(change, output.results);
    }
  });
}

void runFind(const GlobalOptions& global, const FindArgs& args, Output& output) {
  const std::string op = operation("find", args.pattern);
  std::regex pattern;
  try {
    pattern = std::regex(args.pattern, std::regex::ECMAScript | std::regex::icase);
  } catch (const std::regex_error& error) {
    throw Failure(global.store, op, errInvalidArgument,
                  std::string("not a regular expression: ") + error.what(), kExitUsage);
  }
  const auto matches = [&](const std::string& text) { return std::regex_search(text, pattern); };
  attribute(global.store, op, [&] {
    Store store = openForReading(global.store, global.settings);
    walk(
        store, keyAt(store.root(), args.path), normalizedPath(args.path),
        [&](const std::string& path) {
          const std::string name = path.substr(path.find_last_of('/') + 1);
          if (!args.textsOnly && matches(name)) output.results << escapeControls(path) << "/\n";
        },
        [&](const ValueRow& row) {
          if ((!args.textsOnly && matches(row.name)) ||
              (!args.namesOnly && row.text && matches(*row.text))) {
            output.results << listLine(row) << '\n';
          }
        });
  });
}

}  // namespace

void defineSearchCommands(CLI::App& app, Invocation& in) {
  auto diffArgs = std::make_shared<DiffArgs>();
  auto* diff = app.add_subcommand("diff", "Show how the store differs from another store file");
  diff->add_option("OTHER", diffArgs->other,
                   "The older store file (default: the store's backup, .bak2 or else .bak)");
  diff->add_option("-k,--key", diffArgs->path, "Compare only below this key")->type_name("PATH");
  diff->footer(
      "Lines starting with \"- \" are in OTHER only (or hold its old text), lines with \"+ \" in\n"
      "the store only (or its new text), in the form of 'trove list'; a key that exists on one\n"
      "side only shows as \"- PATH/\" or \"+ PATH/\" followed by everything below it. No output:\n"
      "no difference. Names compare without regard to case.");
  diff->callback([&in, diffArgs] {
    in.command = [&in, diffArgs](Output& out) { runDiff(in.global, *diffArgs, out); };
  });

  auto findArgs = std::make_shared<FindArgs>();
  auto* find = app.add_subcommand("find", "Find keys and values by name or text");
  find->add_option("PATTERN", findArgs->pattern,
                   "Regular expression (ECMAScript, case-insensitive), found anywhere")
      ->required();
  find->add_option("PATH", findArgs->path, "Search only below this key");
  auto* names = find->add_flag("--names", findArgs->namesOnly, "Match key and value names only");
  find->add_flag("--texts", findArgs->textsOnly, "Match value texts only")->excludes(names);
  find->footer("Matching keys print as \"PATH/\", matching values as in 'trove list'.");
  find->callback([&in, findArgs] {
    in.command = [&in, findArgs](Output& out) { runFind(in.global, *findArgs, out); };
  });
}

}  // namespace trove::cli
