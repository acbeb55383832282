// An open store: a Registry object of the trove module, loaded from a file
// or from memory, with named options. The module writes a store back only
// when its object is closed, so save() closes the object (writing the store
// if anything changed) and loads it again; keys taken before a save() or
// close() are no longer valid afterwards.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "trove/client/key.h"

namespace trove {

namespace host {
class Object;
class TraceSink;
}  // namespace host

// What a save does when the store file was replaced by another writer after
// this store loaded it.
enum class OnConflict {
  kFail,     // write nothing and throw StoreFileError (errWrongState)
  kReapply,  // load the other writer's file and apply this store's changes to it
};

struct StoreOptions {
  bool readOnly = false;         // modifying calls fail with errReadOnly
  bool saveOnClose = true;       // write the store back on close if it changed
  bool createIfMissing = false;  // create a missing file (and its directories)
  bool locking = false;          // serialize calls from several threads
  uint8_t backupMode = 0;        // 0 none (but profiles.xml), 1 keep .bak2, 2 also .bak once
  std::string rootPoint;         // key path that becomes the root key

  // Writers of one file exclude each other across processes (README,
  // "Reliability"). How long to wait for another writer before failing with
  // StoreFileError (errSysSharingViolation), and for another program that is
  // reading the file (the module holds it exclusively meanwhile) before
  // failing with Error (errSysSharingViolation).
  std::chrono::milliseconds lockWait{10000};
  // Hold the writer lock from the load to close(), so that no other writer
  // comes between loading, changing and saving. Otherwise it is held only
  // while the store is loaded and while it is saved.
  bool lockWhileOpen = false;
  OnConflict onConflict = OnConflict::kFail;
  // A missing store file is restored from the newest complete backup or
  // temporary file that an interrupted save left.
  bool recover = true;
  // Told when a store was restored; without it the message is a warning
  // line (level 350) of the trace.
  std::function<void(const std::string& message)> onRecovery;
};

class Store {
 public:
  // Opens the store file at `path`. Throws trove::Error (errFileNotFound for
  // a missing file unless createIfMissing, errXmlFormat for a damaged one,
  // StoreFileError for a path that is not a regular file). A symbolic link
  // is followed: saves replace its target and keep the link.
  static Store openFile(const std::string& path, const StoreOptions& options = {});
  // Opens a store held in memory; contents() gives the bytes after a save.
  static Store openMemory(std::string_view contents, const StoreOptions& options = {});

  // A moved-from store is closed: its calls throw errWrongState. Assigning
  // over an open store closes it first, as its destructor would.
  Store(Store&&) noexcept;
  Store& operator=(Store&&) noexcept;
  // Closes the store (see close()). A save that fails here cannot throw; it
  // goes to the close-error handler (close_errors.h), by default standard error.
  ~Store();

  // The root key, and keys by path from it.
  Key root() const;
  Key key(std::string_view path) const { return root().open(path); }
  Key createKey(std::string_view path) const { return root().create(path); }

  // Writes the store if it changed (whatever saveOnClose says) and loads it
  // again. Throws when the write fails, or when another writer replaced the
  // file since it was loaded (see OnConflict); the previous file is then
  // intact. The new file keeps the old one's permissions and owner.
  void save();
  // Closes the store, writing it back if saveOnClose is set and it changed.
  // Throws when that write fails. Later calls do nothing.
  void close();
  bool isOpen() const;

  const std::string& path() const;
  // The bytes of a memory store (as last written by a save or close).
  std::string contents() const;
  // The underlying object, for calls through the binary interface.
  host::Object& object() const;

 private:
  explicit Store(std::shared_ptr<client_detail::StoreState> state) : state_(std::move(state)) {}
  std::shared_ptr<client_detail::StoreState> state_;
};

// Where the module's trace lines go (by default: errors and warnings to
// standard error). Applies to every store of the process.
void setTraceSink(std::shared_ptr<host::TraceSink> sink);

}  // namespace trove
