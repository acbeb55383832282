// Saves keep what the store file was: its permission bits, and its owner and
// group where the process may set them.
//
// This is done here, not in the module's move: when backups are kept, the
// store has already been moved to ".bak2" when the new file is installed,
// so the move has nothing to take them from. Instead the new file is made
// before the save, under the name the module writes it to
// ("<store>.tmp<thread id in hex>"), with the store's mode and owner; the
// module opens an existing file without changing either, so its own save
// (names, backups, order) stays exactly as it is.
#pragma once

#include <string>

namespace trove::client_detail {

class KeptAttributes {
 public:
  // Prepares the new file of a save of `storePath` about to run on the
  // calling thread. Does nothing when the store does not exist.
  explicit KeptAttributes(const std::string& storePath);
  // Removes the prepared file when the save did not use it (nothing had
  // changed, so the module wrote nothing).
  ~KeptAttributes();
  KeptAttributes(const KeptAttributes&) = delete;
  KeptAttributes& operator=(const KeptAttributes&) = delete;

 private:
  std::string temporary_;  // empty when nothing was prepared
};

}  // namespace trove::client_detail
