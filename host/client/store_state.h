// What a Store and its keys share: the host object of the open store, how it
// was opened, and a generation that a reload advances so that older keys are
// refused instead of designating keys of the new tree.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

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
  std::string path;  // empty for a memory store
  StoreOptions options;
  std::unique_ptr<ReplacingMemoryIo> memory;
  host::Object object;
  uint64_t generation = 1;
  bool open = false;

  // What the user sees in messages: the file, or "memory store".
  std::string label() const { return path.empty() ? "memory store" : path; }

  // Creates the object, sets its properties and loads the store.
  void load();
  // Closes the object: the module writes the store if asked and changed.
  // Throws when that write failed.
  void unload(bool forceSave);

  template <typename Fn, typename... Args>
  int32_t call(uint32_t slot, Args... args) {
    return object.call<Fn>(slot, args...);
  }
};

// The process-wide host with the trove module loaded.
host::Host& sharedHost();

}  // namespace trove::client_detail
