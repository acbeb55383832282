// watch: printing the changes other programs make to a store, as they land.
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <filesystem>
#include <iostream>

#include "command_support.h"
#include "failure.h"
#include "key_paths.h"
#include "standard_streams.h"
#include "store_diff.h"
#include "tree_printer.h"
#include "trove/client.h"

namespace trove::cli {

namespace {

struct WatchArgs {
  std::string path;
  uint64_t count = 0;  // stop after this many changes; 0: never
  double timeout = 0;  // stop after this many seconds; 0: never
};

std::string shown(const std::optional<ValueRow>& row, bool typeToo) {
  if (!row) return "(none)";
  const std::string text = escapeControls(row->text.value_or(""));
  return typeToo ? text + " (" + row->type + ")" : text;
}

// "KEYPATH<TAB>NAME<TAB>OLD -> NEW"; a key added or removed has no name and
// "(key)" for its side that exists.
std::string changeLine(const Change& change) {
  if (!change.name) {
    return escapeControls(change.path) + "\t\t" + (change.before ? "(key)" : "(none)") + " -> " +
           (change.after ? "(key)" : "(none)");
  }
  const bool retyped = change.before && change.after && change.before->type != change.after->type;
  return escapeControls(change.path) + '\t' + escapeControls(*change.name) + '\t' +
         shown(change.before, retyped) + " -> " + shown(change.after, retyped);
}

class DirectoryWatch {
 public:
  explicit DirectoryWatch(const std::string& directory) : fd_(inotify_init1(IN_CLOEXEC)) {
    // The whole directory is watched: a save replaces the file by a rename,
    // which a watch on the file itself would not outlive.
    if (fd_ < 0 ||
        inotify_add_watch(fd_, directory.c_str(),
                          IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE | IN_MOVED_FROM) < 0) {
      throw Refusal(errAccessDenied, "cannot watch " + directory, kExitStoreError);
    }
  }
  ~DirectoryWatch() {
    if (fd_ >= 0) close(fd_);
  }
  // Waits up to `milliseconds` (-1: without end); whether `name` changed.
  bool waitFor(const std::string& name, int milliseconds) {
    pollfd ready{fd_, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) <= 0) return false;
    alignas(inotify_event) char buffer[64 * (sizeof(inotify_event) + NAME_MAX + 1)];
    const ssize_t length = read(fd_, buffer, sizeof buffer);
    bool touched = false;
    for (ssize_t at = 0; at < length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      if (event->len && name == event->name) touched = true;
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return touched;
  }

 private:
  int fd_;
};

void runWatch(const GlobalOptions& global, const WatchArgs& args, Output&) {
  const std::string op = operation("watch", args.path);
  attribute(global.store, op, [&] {
    if (isStandardStream(global.store)) {
      throw Refusal(errInvalidArgument, "standard input cannot be watched", kExitUsage);
    }
    const std::filesystem::path file = std::filesystem::absolute(global.store);
    std::optional<Store> current(openForReading(global.store, global.settings));
    std::optional<Key> key(keyAt(current->root(), args.path));
    DirectoryWatch watch(file.parent_path().string());
    std::cerr << "trove: watching " << displayPath(global.store) << std::endl;

    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double>(args.timeout));
    uint64_t printed = 0;
    while (args.count == 0 || printed < args.count) {
      int wait = -1;
      if (args.timeout > 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) break;
        wait = static_cast<int>(left.count());
      }
      if (!watch.waitFor(file.filename().string(), wait)) continue;
      std::optional<Store> next;
      std::optional<Key> nextKey;
      try {
        next.emplace(openForReading(global.store, global.settings));
        nextKey = keyAt(next->root(), args.path);
      } catch (const std::exception& error) {
        // Gone or damaged for the moment: say so and wait for the next version.
        std::cerr << "trove: " << warningLine(global.store, op, error.what()) << std::endl;
        continue;
      }
      for (const Change& change :
           compareTrees(*current, *key, *next, *nextKey, normalizedPath(args.path))) {
        std::cout << changeLine(change) << '\n';
        ++printed;
      }
      std::cout << std::flush;
      key.reset();
      current = std::move(next);
      key = nextKey;
    }
  });
}

}  // namespace

void defineWatchCommand(CLI::App& app, Invocation& in) {
  auto watchArgs = std::make_shared<WatchArgs>();
  auto* watch = app.add_subcommand("watch", "Print every change to the store as it is saved");
  watch->add_option("PATH", watchArgs->path, "Watch only below this key");
  watch->add_option("--count", watchArgs->count, "Stop after N changes")->type_name("N");
  watch->add_option("--timeout", watchArgs->timeout, "Stop after SECONDS")->type_name("SECONDS");
  watch->footer(
      "Each change is one line KEYPATH<TAB>NAME<TAB>OLD -> NEW, with \"(none)\" for a value\n"
      "that did not or no longer exists and the types added when they differ; a key added or\n"
      "removed has an empty NAME and \"(key)\" on its side. The watch outlives the store being\n"
      "replaced (as every save does) or removed for a while.");
  watch->callback([&in, watchArgs] {
    in.command = [&in, watchArgs](Output& out) { runWatch(in.global, *watchArgs, out); };
  });
}

}  // namespace trove::cli
