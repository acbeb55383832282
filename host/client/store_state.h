// What a Store and its keys share: the host object of the open store, how it
// was opened, and a generation that a reload advances so that older keys are
// refused instead of designating keys of the new tree.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "change_journal.h"
#include "store_file.h"
#include "store_lock.h"
#include "trove/client/store.h"
#include "trove/host.h"

namespace trove::client_detail {

// A memory store whose write at offset 0 replaces the whole content, so a
// shorter store never keeps the tail of a longer one.
class ReplacingMemoryIo : public host::MemoryStoreIo {
 public:
  using MemoryStoreIo::MemoryStoreIo;

 protected:
  int32_t write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                uint32_t size) override;
};

struct StoreState {
  std::string path;      // as the user gave it; empty for a memory store
  std::string filePath;  // the file the module reads and writes: links followed
  StoreOptions options;
  std::unique_ptr<ReplacingMemoryIo> memory;
  host::Object object;
  uint64_t generation = 1;
  bool open = false;
  // Set by every call that changed the tree, and when the object was handed
  // out (it may then have been changed): only then may a save write, and
  // only then must it check for another writer.
  std::atomic<bool> changed{false};
  StoreLock lock;                      // the writer lock, while it is held
  FileIdentity loadedFile;             // the file as this store loaded it
  ChangeJournal journal;               // kept only when journaling()
  std::atomic<bool> handedOut{false};  // the object was handed out: the journal may miss changes
  std::string rootPath;                // the root key's full name, when journaling()

  // What the user sees in messages: the file, or "memory store".
  std::string label() const { return path.empty() ? "memory store" : path; }

  // Loads the store: a file under the writer lock (unless read-only), after
  // restoring a missing one.
  void load();
  // Closes the object: the module writes the store if asked and changed.
  // Throws when that write failed. `reopening` keeps the writer lock for
  // the load that follows.
  void unload(bool forceSave, bool reopening = false);
  void markChanged() { changed.store(true, std::memory_order_relaxed); }
  // Whether the changes are kept to be applied again over another writer's save.
  bool journaling() const {
    return options.onConflict == OnConflict::kReapply && !path.empty() && !options.readOnly;
  }
  // A key's full name made relative to the root key, joined with `below`.
  std::string journalPath(const std::string& fullName, std::string_view below = {}) const;

 private:
  void loadObject();
  void loadFileObject();
  void loadFile();
  void restoreUnderLock();
  int32_t saveFile();
  void notify(const std::string& message) const;
  std::string rootKeyName();

 public:
  template <typename Fn, typename... Args>
  int32_t call(uint32_t slot, Args... args) {
    return object.call<Fn>(slot, args...);
  }
};

// The process-wide host with the trove module loaded.
host::Host& sharedHost();

}  // namespace trove::client_detail
