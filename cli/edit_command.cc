// edit: changing a store in a text editor ($VISUAL, $EDITOR, else vi).
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "command_support.h"
#include "failure.h"
#include "standard_streams.h"
#include "tally.h"
#include "trove/client.h"

namespace trove::cli {

namespace {

std::string editorCommand() {
  for (const char* variable : {"VISUAL", "EDITOR"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return value;
  }
  return "vi";
}

// Runs the editor through the shell, as git does, so EDITOR may hold options.
int runEditor(const std::string& file) {
  const std::string command = editorCommand() + " \"$@\"";
  const pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), "sh", file.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string scratchCopy(const std::string& text) {
  std::string name = (std::filesystem::temp_directory_path() / "trove-edit-XXXXXX.xml").string();
  const int fd = mkstemps(name.data(), 4);
  if (fd < 0) throw Refusal(errAccessDenied, "cannot create a file to edit", kExitStoreError);
  close(fd);
  std::ofstream(name, std::ios::binary) << text;
  return name;
}

void runEdit(const GlobalOptions& global, Output&) {
  attribute(global.store, "edit", [&] {
    if (isStandardStream(global.store)) {
      throw Refusal(errInvalidArgument, "standard input cannot be edited", kExitUsage);
    }
    // Opening first refuses a damaged or read-only store before any editing.
    WritableStore store(global.store, global.settings, WritableStore::IfMissing::kCreate);
    const std::string before = storeText(store.root());
    const std::string scratch = scratchCopy(before);
    const int status = runEditor(scratch);
    const std::string after = readInput(scratch);
    if (status != 0) {
      // A changed text is kept for another try; an unchanged one is of no use.
      std::string kept = "; the text is kept in " + scratch;
      if (after == before) {
        std::filesystem::remove(scratch);
        kept.clear();
      }
      throw Refusal(errUnspecified,
                    "the editor (" + editorCommand() + ") failed with status " +
                        std::to_string(status) + kept,
                    kExitStoreError);
    }
    if (after == before) {
      std::filesystem::remove(scratch);
      return;
    }
    std::optional<Store> edited;
    try {
      edited.emplace(openForReading(scratch, global.settings));
    } catch (const Error& error) {
      // The edit is kept: the failure names the scratch file and where it breaks.
      attribute(scratch, "edit (the edited text is kept in this file)", [&] { throw error; });
    }
    const Tally merged = copyLoss(edited->root());
    if (merged.keys || merged.values) {
      throw Refusal(errInvalidArgument,
                    "the edited text repeats names, which would merge " + describe(merged) +
                        "; the text is kept in " + scratch,
                    kExitUsage);
    }
    const Key root = store.root();
    while (root.subkeyCount()) root.removeKey((*root.subkeys().begin()).name());
    while (root.valueCount()) root.remove((*root.values().begin()).name);
    edited->root().copyTo(root);
    store.commit();
    std::filesystem::remove(scratch);
  });
}

}  // namespace

void defineEditCommand(CLI::App& app, Invocation& in) {
  auto* edit = app.add_subcommand("edit", "Edit the store as XML in $VISUAL or $EDITOR (else vi)");
  edit->footer(
      "The editor gets the store in its canonical layout. When the editor exits with 0 and the\n"
      "text changed, the text is loaded and replaces the store (with its usual backups); a text\n"
      "that does not load is kept, and the message names the file and where its XML breaks.");
  edit->callback([&in] { in.command = [&in](Output& out) { runEdit(in.global, out); }; });
}

}  // namespace trove::cli
