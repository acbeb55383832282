#include "store_recovery.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "store_file.h"
#include "store_lock.h"
#include "trove/client/store.h"
#include "trove/client/store_file_error.h"
#include "trove/client/store_files.h"
#include "trove/result_codes.h"

namespace trove {

namespace client_detail {

namespace {

namespace fs = std::filesystem;

struct Copy {
  std::string path;
  int64_t modified = 0;  // nanoseconds
  uint64_t size = 0;
};

// What interrupted saves may have left beside a store.
struct Leftovers {
  std::optional<Copy> backup;     // "<store>.bak2"
  std::vector<Copy> temporaries;  // "<store>.tmp<thread>"
  std::vector<Copy> setAside;     // "<store>.bak2<thread>", always stale
};

// A thread suffix as the save writes it: 1 to 8 lower-case hex digits.
bool isThreadSuffix(std::string_view text) {
  return !text.empty() && text.size() <= 8 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
  });
}

std::optional<Copy> describe(const std::string& path) {
  struct stat info;
  if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return Copy{path, static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec,
              static_cast<uint64_t>(info.st_size)};
}

Leftovers findLeftovers(const std::string& filePath) {
  Leftovers found;
  const fs::path store(filePath);
  const std::string base = store.filename().string();
  const fs::path directory = store.has_parent_path() ? store.parent_path() : fs::path(".");
  std::error_code error;
  for (fs::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (name.size() <= base.size() || name.compare(0, base.size(), base) != 0) continue;
    const std::string_view rest = std::string_view(name).substr(base.size());
    const std::string path =
        (store.has_parent_path() ? store.parent_path() / name : fs::path(name)).string();
    std::optional<Copy> copy;
    if (rest == ".bak2") {
      found.backup = describe(path);
    } else if (rest.substr(0, 4) == ".tmp" && isThreadSuffix(rest.substr(4))) {
      if ((copy = describe(path))) found.temporaries.push_back(*copy);
    } else if (rest.substr(0, 5) == ".bak2" && isThreadSuffix(rest.substr(5))) {
      if ((copy = describe(path))) found.setAside.push_back(*copy);
    }
  }
  return found;
}

// Whether `file` loads as a store; `code` gets the reason when it does not.
bool loads(const std::string& file, int32_t* code = nullptr) {
  StoreOptions options;
  options.readOnly = true;
  options.saveOnClose = false;
  options.recover = false;
  try {
    Store::openFile(file, options);
    return true;
  } catch (const Error& error) {
    if (code != nullptr) *code = error.code();
    return false;
  }
}

// A copy is complete when it holds a whole store. Every save writes at least
// the root element, so an empty file is one that was never written.
bool complete(const Copy& copy) {
  return copy.size > 0 && loads(copy.path);
}

std::string parentDirectory(const std::string& filePath) {
  const fs::path parent = fs::path(filePath).parent_path();
  return parent.empty() ? std::string(".") : parent.string();
}

void syncPath(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// Moves `from` to the missing `to` so that an existing `to` is never
// replaced, with the content on disk before the name and the name on disk
// before returning.
void restore(const std::string& from, const std::string& to, const std::string& label) {
  syncPath(from, O_RDONLY);
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
    int error = errno;
    // File systems without the no-replace rename: a hard link cannot
    // replace either.
    if ((error == EINVAL || error == ENOSYS) && ::link(from.c_str(), to.c_str()) == 0) {
      ::unlink(from.c_str());
      error = 0;
    } else if (error == EINVAL || error == ENOSYS) {
      error = errno;
    }
    if (error != 0) {
      throw StoreFileError(errAccessDenied, "restore " + label,
                           "cannot move " + from + " to " + to + ": " + std::strerror(error));
    }
  }
  syncPath(parentDirectory(to), O_RDONLY | O_DIRECTORY);
}

}  // namespace

StoreFilesReport inspectFiles(const std::string& filePath) {
  StoreFilesReport report;
  report.store = filePath;
  const Leftovers leftovers = findLeftovers(filePath);
  for (const Copy& copy : leftovers.setAside) report.staleFiles.push_back(copy.path);

  // The newest complete copy: ".bak2", or a complete temporary file newer.
  std::optional<Copy> newest;
  if (leftovers.backup && complete(*leftovers.backup)) newest = leftovers.backup;
  std::vector<const Copy*> completeTemporaries;
  for (const Copy& copy : leftovers.temporaries) {
    if (!complete(copy)) continue;
    completeTemporaries.push_back(&copy);
    if (!newest || copy.modified > newest->modified) newest = copy;
  }
  if (newest) report.newestCopy = newest->path;

  const std::optional<Copy> store = describe(filePath);
  if (store) {
    report.state =
        loads(filePath, &report.damage) ? StoreFileState::kIntact : StoreFileState::kDamaged;
  } else {
    report.state = newest ? StoreFileState::kRestorable : StoreFileState::kMissing;
  }
  for (const Copy& copy : leftovers.temporaries) {
    const bool isComplete = std::find(completeTemporaries.begin(), completeTemporaries.end(),
                                      &copy) != completeTemporaries.end();
    if (report.state == StoreFileState::kIntact && isComplete && copy.modified > store->modified) {
      report.newerFiles.push_back(copy.path);
    } else if (report.state == StoreFileState::kDamaged && isComplete) {
      continue;  // may be the last good store; left for the user
    } else if (copy.path != report.newestCopy || report.state == StoreFileState::kIntact) {
      report.staleFiles.push_back(copy.path);
    }
  }
  return report;
}

std::string restoreIfMissing(const std::string& filePath, const std::string& label) {
  struct stat info;
  if (::lstat(filePath.c_str(), &info) == 0) return {};
  const StoreFilesReport report = inspectFiles(filePath);
  if (report.state != StoreFileState::kRestorable) return {};
  restore(report.newestCopy, filePath, label);
  return report.newestCopy;
}

bool hasCopies(const std::string& filePath) {
  const Leftovers leftovers = findLeftovers(filePath);
  return leftovers.backup || !leftovers.temporaries.empty();
}

}  // namespace client_detail

StoreFilesReport inspectStoreFiles(const std::string& path) {
  const std::string filePath = client_detail::followLinks(path);
  client_detail::requireRegularFile(filePath, "check " + path);
  return client_detail::inspectFiles(filePath);
}

StoreRepair repairStoreFiles(const std::string& path, std::chrono::milliseconds lockWait) {
  const std::string filePath = client_detail::followLinks(path);
  client_detail::requireRegularFile(filePath, "repair " + path);
  client_detail::StoreLock lock(filePath, lockWait, path);
  StoreRepair repair;
  repair.restoredFrom = client_detail::restoreIfMissing(filePath, path);
  const StoreFilesReport report = client_detail::inspectFiles(filePath);
  if (report.state != StoreFileState::kIntact) return repair;
  for (const std::string& stale : report.staleFiles) {
    if (::unlink(stale.c_str()) == 0) repair.removed.push_back(stale);
  }
  return repair;
}

}  // namespace trove
