#include "store_check.h"

#include "failure.h"
#include "standard_streams.h"
#include "tally.h"
#include "trove/client.h"

namespace trove::cli {

namespace {

// The store exactly as it is: no recovery, no lock, never written.
Store openAsItIs(const std::string& file) {
  StoreOptions options;
  options.readOnly = true;
  options.saveOnClose = false;
  options.recover = false;
  return Store::openFile(file, options);
}

void reportIntact(const std::string& file, const StoreFilesReport& report, Output& output) {
  Store store = openAsItIs(file);
  output.results << displayPath(file) << ": " << describe(tally(store.root())) << '\n';
  for (const std::string& stale : report.staleFiles) {
    output.results << displayPath(stale)
                   << ": stale file of an interrupted save (removed by 'check --repair')\n";
  }
  for (const std::string& newer : report.newerFiles) {
    output.results << displayPath(newer) << ": complete store newer than "
                   << displayPath(report.store)
                   << ", left by an interrupted or failed save (kept: remove it by hand)\n";
  }
}

}  // namespace

void runCheck(const GlobalOptions& global, const CheckArgs& args, Output& output) {
  const std::string& file = global.store;
  const std::string op = args.repair ? "check --repair" : "check";
  attribute(file, op, [&] {
    if (isStandardStream(file)) {
      // A stream has no files beside it to inspect or repair: only the load counts.
      Store store = openForReading(file, global.settings);
      output.results << displayPath(file) << ": " << describe(tally(store.root())) << '\n';
      return;
    }
    if (args.repair) {
      const StoreRepair repair = repairStoreFiles(file, global.settings.lockWait);
      if (!repair.restoredFrom.empty()) {
        reportRecovery("restored " + displayPath(file) + " from " +
                       displayPath(repair.restoredFrom));
      }
      for (const std::string& removed : repair.removed) {
        reportRecovery("removed " + displayPath(removed));
      }
    }
    const StoreFilesReport report = inspectStoreFiles(file);
    switch (report.state) {
      case StoreFileState::kIntact:
        reportIntact(file, report, output);
        return;
      case StoreFileState::kRestorable:
        throw Failure(file, op, errFileNotFound,
                      "the store file is missing; " + displayPath(report.newestCopy) +
                          " holds the last complete store (restored by 'check --repair' or "
                          "by the next command)",
                      kExitStoreError);
      case StoreFileState::kMissing:
        throw Failure(file, op, errFileNotFound);
      case StoreFileState::kDamaged:
        throw Failure(file, op, report.damage,
                      report.newestCopy.empty()
                          ? std::string()
                          : "the newest complete copy is " + displayPath(report.newestCopy));
    }
  });
}

}  // namespace trove::cli
