#include "tally.h"

#include "trove/client/store.h"

namespace trove::cli {

namespace {

void addBelow(const Key& key, Tally& counts) {
  counts.values += key.valueCount();
  for (const Key& subkey : key.subkeys()) {
    ++counts.keys;
    addBelow(subkey, counts);
  }
}

std::string plural(uint64_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

Tally tally(const Key& key) {
  Tally counts;
  addBelow(key, counts);
  return counts;
}

Tally copyLoss(const Key& key) {
  // The copy is made into an empty store in memory, where nothing merges
  // but what the copy itself merges.
  StoreOptions options;
  options.saveOnClose = false;
  Store memory = Store::openMemory("", options);
  key.copyTo(memory.root());
  const Tally before = tally(key);
  const Tally after = tally(memory.root());
  const auto lost = [](uint64_t had, uint64_t kept) { return had > kept ? had - kept : 0; };
  return {lost(before.keys, after.keys), lost(before.values, after.values)};
}

std::string describe(const Tally& tally) {
  return plural(tally.keys, "key") + ", " + plural(tally.values, "value");
}

}  // namespace trove::cli
