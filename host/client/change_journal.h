// The changes made through the keys of a store since it was loaded, kept
// when the store is to apply them again over the file of another writer
// that saved in between (OnConflict::kReapply). Keys are named by their
// paths from the root key, so the changes fit any later version of the tree.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "trove/abi.h"

namespace trove {
class Store;
namespace host {
class Object;
}
}  // namespace trove

namespace trove::client_detail {

class ChangeJournal {
 public:
  void setValue(std::string keyPath, std::string name, TroveTypeId type, const void* data,
                uint32_t size);
  void deleteValue(std::string keyPath, std::string name);
  void createKey(std::string path);
  void deleteKey(std::string path);
  // `source` holds a copy of what was copied, as it was then.
  void copyInto(std::shared_ptr<Store> source, std::string keyPath);
  void clear();

  // Applies the changes in order to `object`, a fresh load of the file. A
  // value set under a key that is gone recreates the key; a deletion of
  // something that is gone already is done. Throws trove::Error.
  void replay(host::Object& object, const std::string& label) const;

 private:
  enum class Kind { kSetValue, kDeleteValue, kCreateKey, kDeleteKey, kCopy };
  struct Change {
    Kind kind;
    std::string path, name;
    TroveTypeId type = 0;
    std::vector<uint8_t> data;
    std::shared_ptr<Store> source;
  };
  void add(Change change);

  mutable std::mutex mutex_;
  std::vector<Change> changes_;
};

}  // namespace trove::client_detail
