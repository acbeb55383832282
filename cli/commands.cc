#include "commands.h"

#include "failure.h"
#include "json_export.h"
#include "tally.h"
#include "tree_printer.h"
#include "trove/client.h"
#include "trove/host/object.h"
#include "value_text.h"

namespace trove::cli {

namespace {

// "Settings/Window" and "Width" give "Settings/Window/Width".
std::string joined(const std::string& path, const std::string& name) {
  if (path.empty()) return name;
  const char last = path.back();
  return last == '/' || last == '\\' ? path + name : path + "/" + name;
}

std::string operation(const std::string& command, const std::string& what) {
  return what.empty() ? command : command + " " + what;
}

// A path made only of separators (or nothing) names the root key.
bool namesRoot(const std::string& path) {
  return path.find_first_not_of("/\\") == std::string::npos;
}

Key keyAt(const Key& root, const std::string& path) {
  return namesRoot(path) ? root : root.open(path);
}

Key createdKeyAt(const Key& root, const std::string& path) {
  return namesRoot(path) ? root : root.create(path);
}

// Type names on the command line are those of the store file ("tDWORD").
TroveTypeId typeArgument(const std::string& name, const std::string& file, const std::string& op) {
  const TroveTypeId type = typeFromName(name);
  if (type == 0) {
    throw Failure(file, op, errInvalidArgument, "unknown type \"" + name + "\"", kExitUsage);
  }
  if (!typeHoldsValues(type)) {
    throw Failure(file, op, errInvalidArgument, "type " + name + " holds no values", kExitUsage);
  }
  return type;
}

// The store text of a key's content, in the writer's canonical layout: the
// content is copied into a store in memory, which is then saved.
std::string storeText(const Key& key) {
  StoreOptions options;
  options.saveOnClose = false;
  Store memory = Store::openMemory("", options);
  // Clean marks the store changed even while it stays empty, so the save
  // below always writes the text.
  check(memory.object().call<TroveClean>(TROVE_SLOT_CLEAN), "prepare the export");
  key.copyTo(memory.root());
  memory.save();
  std::string text = memory.contents();
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

// Warns about the content of `key` that a copy cannot carry.
void warnAboutCopyLoss(const Key& key, const std::string& file, const std::string& op,
                       Output& output) {
  const Tally lost = copyLoss(key);
  if (lost.keys == 0 && lost.values == 0) return;
  output.warnings.push_back("warning: " + displayPath(file) + ": " + op + ": " + describe(lost) +
                            " not copied (each name repeats an earlier sibling's)");
}

}  // namespace

void runTree(const GlobalOptions& global, const TreeArgs& args, Output& output) {
  attribute(global.store, operation("tree", args.path), [&] {
    Store store = openForReading(global.store, global.settings);
    printTree(store, keyAt(store.root(), args.path), output.results);
  });
}

void runGet(const GlobalOptions& global, const GetArgs& args, Output& output) {
  const std::string op = operation("get", joined(args.path, args.name));
  const TroveTypeId type = args.asType.empty() ? 0 : typeArgument(args.asType, global.store, op);
  attribute(global.store, op, [&] {
    Store store = openForReading(global.store, global.settings);
    const Key key = keyAt(store.root(), args.path);
    if (type == 0) {
      output.results << key.text(args.name) << '\n';
      return;
    }
    try {
      output.results << valueTextAs(store, key, args.name, type) << '\n';
    } catch (const Error& error) {
      if (error.code() != errInvalidArgument) throw;
      throw Failure(global.store, op, error.code(), "the value cannot be read as " + args.asType);
    }
  });
}

void runSet(const GlobalOptions& global, const SetArgs& args, Output&) {
  const std::string op = operation("set", joined(args.path, args.name));
  const TroveTypeId type = typeArgument(args.type, global.store, op);
  // The text is tried first, so that a refused text never creates the store.
  try {
    checkValueText(type, args.value);
  } catch (const Error& error) {
    throw Failure(global.store, op, error.code(),
                  "\"" + escapeControls(args.value) + "\" is not a " + args.type + " value",
                  kExitUsage);
  }
  attribute(global.store, op, [&] {
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kCreate);
    createdKeyAt(store.root(), args.path).setText(args.name, type, args.value);
    store.commit();
  });
}

void runDelete(const GlobalOptions& global, const DeleteArgs& args, Output&) {
  const std::string op = operation("delete", args.name ? joined(args.path, *args.name) : args.path);
  if (!args.name && namesRoot(args.path)) {
    throw Failure(global.store, op, errInvalidArgument, "the root key cannot be deleted",
                  kExitUsage);
  }
  attribute(global.store, op, [&] {
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kFail);
    if (args.name) {
      keyAt(store.root(), args.path).remove(*args.name);
    } else {
      store.root().removeKey(args.path);
    }
    store.commit();
  });
}

void runExport(const GlobalOptions& global, const ExportArgs& args, Output& output) {
  const std::string op = operation("export", args.path);
  attribute(global.store, op, [&] {
    Store store = openForReading(global.store, global.settings);
    const Key key = keyAt(store.root(), args.path);
    if (args.json) {
      output.results << exportJson(store, key) << '\n';
    } else {
      output.results << storeText(key);
      warnAboutCopyLoss(key, global.store, op, output);
    }
  });
}

void runImport(const GlobalOptions& global, const ImportArgs& args, Output& output) {
  // The file to import is read first: when it is missing or damaged, the
  // store is not even created.
  std::optional<Store> source;
  attribute(args.xmlFile, "import",
            [&] { source.emplace(openForReading(args.xmlFile, global.settings)); });
  const std::string op =
      operation("import " + args.xmlFile, args.into.empty() ? "" : "into " + args.into);
  attribute(global.store, op, [&] {
    WritableStore target(global.store, global.settings, WritableStore::IfMissing::kCreate);
    source->root().copyTo(createdKeyAt(target.root(), args.into));
    target.commit();
  });
  attribute(args.xmlFile, "import",
            [&] { warnAboutCopyLoss(source->root(), args.xmlFile, "import", output); });
}

void runCopy(const GlobalOptions& global, const CopyArgs& args, Output& output) {
  const std::string op = operation("copy", args.path);
  std::optional<Store> source;
  std::optional<Key> from;
  attribute(global.store, op, [&] {
    source.emplace(openForReading(global.store, global.settings));
    from = keyAt(source->root(), args.path);
  });
  attribute(args.toFile, op, [&] {
    WritableStore target(args.toFile, global.settings, WritableStore::IfMissing::kCreate);
    from->copyTo(createdKeyAt(target.root(), args.into.value_or(args.path)));
    target.commit();
  });
  attribute(global.store, op, [&] { warnAboutCopyLoss(*from, global.store, op, output); });
}

}  // namespace trove::cli
