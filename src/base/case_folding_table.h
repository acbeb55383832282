// The generated full case-folding table (tools/gen_case_folding.py writes
// case_folding_table.cc). Lookup: i = kHash[c & 0x1FF] ^ ((c >> 8) & 0x1FF);
// c has a mapping exactly when i < kEntryCount and kEntries[i].codePoint == c.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trove::case_folding {

struct Entry {
  uint32_t codePoint;
  uint16_t poolIndex;  // first folded code point in kPool
  uint16_t count;      // 1, 2 or 3
};

inline constexpr std::size_t kHashSize = 512;
inline constexpr std::size_t kEntryCount = 1480;

extern const uint16_t kHash[kHashSize];
extern const Entry kEntries[kEntryCount];
extern const uint32_t kPool[];
extern const std::size_t kPoolSize;

}  // namespace trove::case_folding
