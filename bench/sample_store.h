// The store every benchmark reads: `keys` keys of eight values each, grouped
// a hundred to a group ("Group03/Item0342"), in trove's canonical layout.
// The same bytes serve pugixml and tinyxml2: the layout is plain XML.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace trove_bench {

// The value a setting is read as: a number in its stored type, or text.
enum class SettingKind { kWidth, kTitle, kEnabled, kScale };

struct Setting {
  std::string keyPath;  // as a user would write it, in another case: "group03/ITEM0342"
  std::string name;     // likewise: "width", "TITLE"
  SettingKind kind;
  int item;  // the key's index in the store
};

inline constexpr int kValuesPerKey = 8;
inline constexpr int kKeysPerGroup = 100;

// The canonical store text (CR LF line ends, four spaces per level).
std::string storeText(int keys);

// `count` settings spread evenly over a store of `keys` keys.
std::vector<Setting> spreadSettings(int keys, int count);

// The stored values of item `item`, as a reader gets them back.
uint32_t widthOf(int item);
std::string titleOf(int item);
bool enabledOf(int item);
double scaleOf(int item);

// Folds one read value into a running checksum, so that every library's
// reads can be compared with what the store holds.
double foldWidth(double sum, uint32_t width);
double foldTitle(double sum, const std::string& title);
double foldEnabled(double sum, bool enabled);
double foldScale(double sum, double scale);

// The checksum of `settings` as the store holds them.
double expectedChecksum(const std::vector<Setting>& settings);

// The widths written by the change step: item-independent, so every library
// writes the same bytes.
inline uint32_t changedWidth(uint32_t round) {
  return 2000 + round % 1000;
}

}  // namespace trove_bench
