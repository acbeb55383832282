#include "change_journal.h"

#include "trove/client/error.h"
#include "trove/client/store.h"
#include "trove/host.h"

namespace trove::client_detail {

namespace {

TroveKey openKey(host::Object& object, const std::string& path, bool create,
                 const std::string& label) {
  if (path.empty()) return TroveKey{0};
  TroveKey key = TROVE_INVALID_KEY;
  const int32_t result = object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, TroveKey{0},
                                                   path.c_str(), create ? 1u : 0u);
  if (!create && result == errEntryNotFound) return TROVE_INVALID_KEY;
  check(result, "reapply a change to key " + path + " in " + label);
  return key;
}

// A deletion of something that another writer deleted already is done.
void checkDeletion(int32_t result, const std::string& context) {
  if (result != errEntryNotFound) check(result, context);
}

}  // namespace

void ChangeJournal::add(Change change) {
  std::lock_guard<std::mutex> guard(mutex_);
  changes_.push_back(std::move(change));
}

void ChangeJournal::setValue(std::string keyPath, std::string name, TroveTypeId type,
                             const void* data, uint32_t size) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  add({Kind::kSetValue, std::move(keyPath), std::move(name), type,
       std::vector<uint8_t>(bytes, bytes + size), nullptr});
}

void ChangeJournal::deleteValue(std::string keyPath, std::string name) {
  add({Kind::kDeleteValue, std::move(keyPath), std::move(name), 0, {}, nullptr});
}

void ChangeJournal::createKey(std::string path) {
  add({Kind::kCreateKey, std::move(path), {}, 0, {}, nullptr});
}

void ChangeJournal::deleteKey(std::string path) {
  add({Kind::kDeleteKey, std::move(path), {}, 0, {}, nullptr});
}

void ChangeJournal::copyInto(std::shared_ptr<Store> source, std::string keyPath) {
  add({Kind::kCopy, std::move(keyPath), {}, 0, {}, std::move(source)});
}

void ChangeJournal::clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  changes_.clear();
}

void ChangeJournal::replay(host::Object& object, const std::string& label) const {
  std::lock_guard<std::mutex> guard(mutex_);
  static const uint8_t none = 0;  // the module refuses null data, also for no bytes
  for (const Change& change : changes_) {
    const std::string where = "reapply a change to " + change.path + " in " + label;
    switch (change.kind) {
      case Kind::kSetValue: {
        const TroveKey key = openKey(object, change.path, true, label);
        check(object.call<TroveSetValue>(
                  TROVE_SLOT_SET_VALUE, key, change.name.c_str(), change.type,
                  change.data.empty() ? static_cast<const void*>(&none) : change.data.data(),
                  static_cast<uint32_t>(change.data.size()), 1u),
              where);
        break;
      }
      case Kind::kDeleteValue: {
        const TroveKey key = openKey(object, change.path, false, label);
        if (key != TROVE_INVALID_KEY) {
          checkDeletion(
              object.call<TroveDeleteValue>(TROVE_SLOT_DELETE_VALUE, key, change.name.c_str()),
              where);
        }
        break;
      }
      case Kind::kCreateKey:
        openKey(object, change.path, true, label);
        break;
      case Kind::kDeleteKey:
        checkDeletion(
            object.call<TroveDeleteKey>(TROVE_SLOT_DELETE_KEY, TroveKey{0}, change.path.c_str()),
            where);
        break;
      case Kind::kCopy: {
        const TroveKey key = openKey(object, change.path, true, label);
        check(change.source->object().call<TroveCopyKey>(TROVE_SLOT_COPY_KEY, TroveKey{0},
                                                         object.get(), key),
              where);
        break;
      }
    }
  }
}

}  // namespace trove::client_detail
