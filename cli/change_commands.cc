// set, delete and mv: commands that change one store.
#include "command_support.h"
#include "failure.h"
#include "key_paths.h"
#include "tally.h"
#include "tree_printer.h"
#include "trove/client.h"

namespace trove::cli {

namespace {

struct SetArgs {
  std::string path, name, type, value;
  bool raw = false, retype = false;
};
struct DeleteArgs {
  std::string path;
  std::optional<std::string> name;
  bool recursive = false;
};
struct MoveArgs {
  std::string from, to;
};

void runSet(const GlobalOptions& global, const SetArgs& args, Output& output) {
  const std::string op = operation("set", joined(args.path, args.name));
  const TroveTypeId type = typeArgument(args.type, global.store, op);
  const TextRules rules = args.raw ? TextRules::store : TextRules::strict;
  // The text is tried first, so that a refused text never creates the store.
  try {
    StoreOptions scratch;
    scratch.saveOnClose = false;
    Store::openMemory("", scratch).root().setText("value", type, args.value, rules);
  } catch (const Error& error) {
    const std::string why =
        args.raw || error.context().find("expected ") == std::string::npos
            ? "\"" + escapeControls(args.value) + "\" is not a " + args.type + " value"
            : escapeControls(error.context());
    throw Failure(global.store, op, error.code(), why, kExitUsage);
  }
  if (!args.raw) {
    if (const auto loss = storedTextLoss(type, args.value)) {
      output.warnings.push_back(warningLine(global.store, op, *loss));
    }
  }
  attribute(global.store, op, [&] {
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kCreate);
    const Key key = createdKeyAt(store.root(), args.path);
    if (key.has(args.name) && key.type(args.name) != type) {
      if (!args.retype) {
        throw Refusal(errInvalidArgument,
                      "the value is stored as " + std::string(typeName(key.type(args.name))) +
                          ", not " + args.type + "; give that type, or --retype to replace it",
                      kExitUsage);
      }
    }
    // Replacing moves a retyped value to the end of its key's value list.
    key.replaceText(args.name, type, args.value, rules);
    store.commit();
  });
}

void runDelete(const GlobalOptions& global, const DeleteArgs& args, Output&) {
  const std::string op = operation("delete", args.name ? joined(args.path, *args.name) : args.path);
  attribute(global.store, op, [&] {
    if (!args.name && pathNames(args.path).empty()) {
      throw Refusal(errInvalidArgument, "the root key cannot be deleted", kExitUsage);
    }
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kFail);
    const Key key = keyAt(store.root(), args.path);
    if (args.name) {
      if (!key.has(*args.name)) throwMissingValue(args.path, *args.name);
      key.remove(*args.name);
    } else {
      const Tally below = tally(key);
      if (!args.recursive && (below.keys || below.values)) {
        throw Refusal(errInvalidArgument,
                      "the key holds " + describe(below) + "; use -r (--recursive) to delete them",
                      kExitUsage);
      }
      store.root().removeKey(normalizedPath(args.path));
    }
    store.commit();
  });
}

void runMove(const GlobalOptions& global, const MoveArgs& args, Output&) {
  const std::string op = operation("mv", args.from + " " + args.to);
  attribute(global.store, op, [&] {
    const std::vector<std::string> from = pathNames(args.from), to = pathNames(args.to);
    if (from.empty() || to.empty()) {
      throw Refusal(errInvalidArgument, "the root key cannot be moved or replaced", kExitUsage);
    }
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kFail);
    const Key source = keyAt(store.root(), args.from);
    if (store.root().find(normalizedPath(args.to))) {
      throw Refusal(errAlreadyExists, "the key " + normalizedPath(args.to) + " exists already",
                    kExitUsage);
    }
    // A key cannot move below itself. The keys along NEWPATH are found by
    // the store, so names compare as the store compares them.
    std::string prefix;
    for (size_t i = 0; i + 1 < to.size(); ++i) {
      prefix += (i ? "/" : "") + to[i];
      const auto above = store.root().find(prefix);
      if (above && above->path() == source.path()) {
        throw Refusal(errInvalidArgument, "a key cannot move below itself", kExitUsage);
      }
    }
    const Tally lost = copyLoss(source);
    if (lost.keys || lost.values) {
      throw Refusal(errInvalidArgument,
                    "the key holds repeated names; moving it would merge " + describe(lost),
                    kExitUsage);
    }
    // The copy goes through a store in memory: a store does not copy into itself.
    StoreOptions scratch;
    scratch.saveOnClose = false;
    Store moved = Store::openMemory("", scratch);
    source.copyTo(moved.root());
    moved.root().copyTo(createdKeyAt(store.root(), args.to));
    store.root().removeKey(normalizedPath(args.from));
    store.commit();
  });
}

}  // namespace

void defineChangeCommands(CLI::App& app, Invocation& in) {
  auto setArgs = std::make_shared<SetArgs>();
  auto* set = app.add_subcommand("set", "Set a value, creating keys and the store as needed");
  set->add_option("PATH", setArgs->path, "Key of the value")->required();
  set->add_option("NAME", setArgs->name, "Value name")->required();
  set->add_option("TYPE", setArgs->type, "Type name as in the store file (tDWORD, tSTRING, ...)")
      ->required();
  set->add_option("VALUE", setArgs->value, "Value in the type's text form")->required();
  set->add_flag("--raw", setArgs->raw,
                "Hand VALUE to the store's own lenient text rules unchanged (\"12abc\" as tDWORD "
                "is then hexadecimal)");
  set->add_flag("--retype", setArgs->retype,
                "Replace an existing value of another type (it moves to the end of its key)");
  set->footer(
      "Texts: whole numbers in decimal or as 0x hexadecimal, within the type's range (a minus\n"
      "sign only for signed types); tDOUBLE 1.5, -2e-3, inf, nan; tBOOL true, false, 1, 0;\n"
      "tCHAR one byte; tBINARY hexadecimal byte pairs (00FF); tSTRING and tWSTRING any text.\n"
      "A text the store file cannot keep exactly (a double's digits beyond six decimals, a\n"
      "character outside the Basic Multilingual Plane in a tWSTRING) is set with a warning.\n"
      "An existing value of another type is refused unless --retype. Missing keys are created,\n"
      "and so is a missing store file (in an existing directory). Put -- before a VALUE such\n"
      "as -5. An unknown TYPE is refused with the list of type names.");
  set->callback([&in, setArgs] {
    in.command = [&in, setArgs](Output& out) { runSet(in.global, *setArgs, out); };
  });

  auto deleteArgs = std::make_shared<DeleteArgs>();
  auto* remove = app.add_subcommand("delete", "Delete a value, or a key");
  remove->add_option("PATH", deleteArgs->path, "Key to delete, or holding the value")->required();
  remove->add_option("NAME", deleteArgs->name, "Value to delete (only this value)");
  remove->add_flag("-r,--recursive", deleteArgs->recursive,
                   "Delete a key that holds subkeys or values, with everything below it");
  remove->footer("The store file must exist; the root key itself cannot be deleted.");
  remove->callback([&in, deleteArgs] {
    in.command = [&in, deleteArgs](Output& out) { runDelete(in.global, *deleteArgs, out); };
  });

  auto moveArgs = std::make_shared<MoveArgs>();
  auto* move = app.add_subcommand("mv", "Move or rename a key with everything below it");
  move->add_option("PATH", moveArgs->from, "Key to move")->required();
  move->add_option("NEWPATH", moveArgs->to, "Its new path (must not exist)")->required();
  move->footer(
      "Missing keys above NEWPATH are created; the moved key comes last among its new\n"
      "siblings. A key holding repeated names (from an imported XML file) is not moved,\n"
      "since the copy would merge them.");
  move->callback([&in, moveArgs] {
    in.command = [&in, moveArgs](Output& out) { runMove(in.global, *moveArgs, out); };
  });
}

}  // namespace trove::cli
