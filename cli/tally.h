// Counting the keys and values of a key tree, and what a copy of it loses.
#pragma once

#include <cstdint>
#include <string>

#include "trove/client/key.h"

namespace trove::cli {

struct Tally {
  uint64_t keys = 0;    // below the key, at any depth
  uint64_t values = 0;  // of the key itself and of every key below it
};

Tally tally(const Key& key);

// What a copy of `key` does not carry over. A copy goes by name, so a key or
// value whose name repeats an earlier sibling's (an XML file with repeated
// elements or attributes) is merged into the first and its content is lost.
Tally copyLoss(const Key& key);

// "2 keys, 1 value".
std::string describe(const Tally& tally);

}  // namespace trove::cli
