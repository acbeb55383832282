#include "store_diff.h"

#include <algorithm>
#include <cctype>
#include <deque>
#include <unordered_map>

namespace trove::cli {

namespace {

// The module folds case by Unicode rules; ASCII folding is enough to pair
// entries here, a name differing only in other letters' case shows up as
// removed and added.
std::string folded(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

// For each entry of `left`, the index of its partner in `right` (or -1):
// the n-th occurrence of a name pairs with the n-th one on the other side.
std::vector<long> pairUp(const std::vector<std::string>& left,
                         const std::vector<std::string>& right) {
  std::unordered_map<std::string, std::deque<size_t>> waiting;
  for (size_t j = 0; j < right.size(); ++j) waiting[folded(right[j])].push_back(j);
  std::vector<long> partner(left.size(), -1);
  for (size_t i = 0; i < left.size(); ++i) {
    const auto found = waiting.find(folded(left[i]));
    if (found == waiting.end() || found->second.empty()) continue;
    partner[i] = static_cast<long>(found->second.front());
    found->second.pop_front();
  }
  return partner;
}

std::vector<std::string> namesOf(const std::vector<ValueRow>& rows) {
  std::vector<std::string> names;
  for (const ValueRow& row : rows) names.push_back(row.name);
  return names;
}

std::vector<Key> subkeysOf(const Key& key) {
  std::vector<Key> keys;
  for (const Key& subkey : key.subkeys()) keys.push_back(subkey);
  return keys;
}

std::vector<std::string> namesOf(const std::vector<Key>& keys) {
  std::vector<std::string> names;
  for (const Key& key : keys) names.push_back(key.name());
  return names;
}

// Everything below a key that exists on one side only.
void oneSided(const Store& store, const Key& key, const std::string& path, bool isBefore,
              std::vector<Change>& changes) {
  walk(
      store, key, path,
      [&](const std::string& below) {
        Change change{below, std::nullopt, std::nullopt, std::nullopt};
        (isBefore ? change.before : change.after) = ValueRow{below, "", "", std::nullopt};
        changes.push_back(change);
      },
      [&](const ValueRow& row) {
        Change change{row.path, row.name, std::nullopt, std::nullopt};
        (isBefore ? change.before : change.after) = row;
        changes.push_back(change);
      });
}

void compareInto(const Store& storeA, const Key& a, const Store& storeB, const Key& b,
                 const std::string& path, std::vector<Change>& changes) {
  const std::vector<ValueRow> rowsA = valueRows(storeA, a, path),
                              rowsB = valueRows(storeB, b, path);
  const std::vector<long> valuePartner = pairUp(namesOf(rowsA), namesOf(rowsB));
  std::vector<bool> valueMatched(rowsB.size(), false);
  for (size_t i = 0; i < rowsA.size(); ++i) {
    if (valuePartner[i] < 0) {
      changes.push_back({path, rowsA[i].name, rowsA[i], std::nullopt});
      continue;
    }
    const ValueRow& other = rowsB[static_cast<size_t>(valuePartner[i])];
    valueMatched[static_cast<size_t>(valuePartner[i])] = true;
    if (other.type != rowsA[i].type || other.text != rowsA[i].text) {
      changes.push_back({path, rowsA[i].name, rowsA[i], other});
    }
  }
  for (size_t j = 0; j < rowsB.size(); ++j) {
    if (!valueMatched[j]) changes.push_back({path, rowsB[j].name, std::nullopt, rowsB[j]});
  }

  const std::vector<Key> keysA = subkeysOf(a), keysB = subkeysOf(b);
  const std::vector<long> keyPartner = pairUp(namesOf(keysA), namesOf(keysB));
  std::vector<bool> keyMatched(keysB.size(), false);
  for (size_t i = 0; i < keysA.size(); ++i) {
    const std::string below = childPath(path, keysA[i].name());
    if (keyPartner[i] < 0) {
      changes.push_back({below, std::nullopt, ValueRow{below, "", "", std::nullopt}, std::nullopt});
      oneSided(storeA, keysA[i], below, true, changes);
      continue;
    }
    keyMatched[static_cast<size_t>(keyPartner[i])] = true;
    compareInto(storeA, keysA[i], storeB, keysB[static_cast<size_t>(keyPartner[i])], below,
                changes);
  }
  for (size_t j = 0; j < keysB.size(); ++j) {
    if (keyMatched[j]) continue;
    const std::string below = childPath(path, keysB[j].name());
    changes.push_back({below, std::nullopt, std::nullopt, ValueRow{below, "", "", std::nullopt}});
    oneSided(storeB, keysB[j], below, false, changes);
  }
}

}  // namespace

std::vector<Change> compareTrees(const Store& storeA, const Key& a, const Store& storeB,
                                 const Key& b, const std::string& path) {
  std::vector<Change> changes;
  compareInto(storeA, a, storeB, b, path, changes);
  return changes;
}

}  // namespace trove::cli
