// export, import and copy: moving key trees between stores and documents.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "command_support.h"
#include "failure.h"
#include "json_export.h"
#include "json_import.h"
#include "key_paths.h"
#include "standard_streams.h"
#include "tally.h"
#include "trove/client.h"
#include "trove/host/object.h"

namespace trove::cli {

namespace {

struct ExportArgs {
  std::string path;
  bool json = false;
};
struct ImportArgs {
  std::string file, into;
  bool json = false;
};
struct CopyArgs {
  std::string path, toFile;
  std::optional<std::string> into;  // the same path as the source when not given
};

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

// The canonical text of a store document: loaded by the module and saved.
std::string canonicalStoreText(const std::string& xml) {
  StoreOptions options;
  options.saveOnClose = false;
  Store memory = Store::openMemory(xml, options);
  // A value set and removed again marks the store changed, so the save
  // writes it; the name must be one the document does not use.
  std::string mark = "mark";
  while (memory.root().has(mark)) mark += "_";
  memory.root().set<std::string>(mark, "");
  memory.root().remove(mark);
  memory.save();
  return memory.contents();
}

// Writes `text` as the new store file: a temporary file beside it, flushed,
// then moved into place, as the module saves.
void replaceFileAtomically(const std::string& file, const std::string& text) {
  const std::string temporary = file + ".tmp-import";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  bool written = fd >= 0;
  for (size_t done = 0; written && done < text.size();) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    written = n > 0;
    done += written ? static_cast<size_t>(n) : 0;
  }
  written = written && ::fsync(fd) == 0;
  if (fd >= 0) ::close(fd);
  if (!written || std::rename(temporary.c_str(), file.c_str()) != 0) {
    std::filesystem::remove(temporary);
    throw Error(errAccessDenied, "write " + file);
  }
  const std::string directory = std::filesystem::path(file).parent_path().string();
  const int dir = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

bool emptyOrMissing(const std::string& file) {
  if (isStandardStream(file)) return readInput(file).empty();
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) return true;
  const Store store = openForReading(file);
  const Tally held = tally(store.root());
  return held.keys == 0 && held.values == 0;
}

void runImport(const GlobalOptions& global, const ImportArgs& args, Output& output) {
  const std::string shownInto = args.into.empty() ? "" : "into " + args.into;
  const std::string op = operation("import " + args.file, shownInto);
  // The document is read first: when it is missing or damaged, the store is
  // not even created.
  std::optional<Store> source;
  std::string jsonXml;
  attribute(args.file, "import", [&] {
    if (isStandardStream(args.file) && isStandardStream(global.store)) {
      throw Refusal(errInvalidArgument, "standard input cannot be both the store and the file",
                    kExitUsage);
    }
    if (!args.json) {
      source.emplace(openForReading(args.file, global.settings));
      return;
    }
    std::error_code ignored;
    if (!isStandardStream(args.file) && !std::filesystem::exists(args.file, ignored)) {
      throw Error(errFileNotFound, "import");
    }
    jsonXml = storeXmlFromJson(readInput(args.file));
    StoreOptions options;
    options.readOnly = true;
    options.saveOnClose = false;
    source.emplace(Store::openMemory(jsonXml, options));
  });
  attribute(global.store, op, [&] {
    const Tally merged = copyLoss(source->root());
    if (args.json && (merged.keys || merged.values) && pathNames(args.into).empty() &&
        !global.settings.readOnly && emptyOrMissing(global.store)) {
      // Repeated names survive only as a whole new store: a copy merges them.
      const std::string text = canonicalStoreText(jsonXml);
      if (isStandardStream(global.store)) {
        std::cout << text << std::flush;
      } else {
        replaceFileAtomically(global.store, text);
      }
      return;
    }
    WritableStore target(global.store, global.settings, WritableStore::IfMissing::kCreate);
    source->root().copyTo(createdKeyAt(target.root(), args.into));
    target.commit();
    warnAboutCopyLoss(source->root(), args.file, "import", output);
  });
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

// An empty file name would name no file at all.
const CLI::Validator kFileName(
    [](const std::string& name) { return name.empty() ? std::string("empty file name") : ""; }, "",
    "file name");

}  // namespace

void defineTransferCommands(CLI::App& app, Invocation& in) {
  auto exportArgs = std::make_shared<ExportArgs>();
  auto* exporter = app.add_subcommand("export", "Print a key's content as store XML or JSON");
  exporter->add_option("PATH", exportArgs->path, "Key to export (default: the whole store)");
  exporter->add_flag("--json", exportArgs->json, "Print JSON instead of store XML");
  exporter->footer(
      "The XML is a store document holding the key's values and subkeys (not the key itself),\n"
      "so 'import FILE --into PATH' puts them back. The JSON is an object\n"
      "{\"name\", \"values\": [{\"name\", \"type\", \"value\"}], \"keys\": [...]} with every "
      "value\n"
      "in its text form, in store order; 'import --json' reads it back.");
  exporter->callback([&in, exportArgs] {
    in.command = [&in, exportArgs](Output& out) { runExport(in.global, *exportArgs, out); };
  });

  auto importArgs = std::make_shared<ImportArgs>();
  auto* importer =
      app.add_subcommand("import", "Copy the content of an XML or JSON file into the store");
  importer->add_option("FILE", importArgs->file, "File to import (\"-\": standard input)")
      ->required()
      ->check(kFileName);
  importer->add_option("--into", importArgs->into, "Destination key (default: the root key)")
      ->type_name("PATH");
  importer->add_flag("--json", importArgs->json, "FILE is in the form that export --json prints");
  importer->footer(
      "A store file is copied key by key. Any other XML becomes keys named after its\n"
      "elements, holding their attributes, and their text as \"noname\", as tSTRING values.\n"
      "Names that repeat a sibling's are merged into the first (with a warning), except by\n"
      "'import --json' into the root of a new or empty store, which keeps them: the export\n"
      "comes back exactly. The store file is created if missing.");
  importer->callback([&in, importArgs] {
    in.command = [&in, importArgs](Output& out) { runImport(in.global, *importArgs, out); };
  });

  auto copyArgs = std::make_shared<CopyArgs>();
  auto* copy = app.add_subcommand("copy", "Copy a key's content into another store file");
  copy->add_option("PATH", copyArgs->path, "Key to copy (\"/\" for the whole store)")->required();
  copy->add_option("--to", copyArgs->toFile,
                   "Destination store file, created if missing (\"-\": read from standard input, "
                   "written to standard output)")
      ->required()
      ->check(kFileName)
      ->type_name("FILE");
  copy->add_option("--into", copyArgs->into, "Destination key (default: PATH itself)")
      ->type_name("PATH");
  copy->callback([&in, copyArgs] {
    in.command = [&in, copyArgs](Output& out) { runCopy(in.global, *copyArgs, out); };
  });
}

}  // namespace trove::cli
