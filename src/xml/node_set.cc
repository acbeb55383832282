#include "xml/node_set.h"

#include "xml/tree_memory.h"

namespace trove {

void NodeSet::init(PropertiesMap* owner) {
  owner_ = owner;
  slots_ = nullptr;
  mask_ = 0;
  used_ = 0;
}

void NodeSet::release() {
  treeFree(owner_, slots_);
  slots_ = nullptr;
  mask_ = 0;
  used_ = 0;
}

uint32_t NodeSet::home(const void* pointer) const {
  // Fibonacci hashing of the address; its low bits are alignment.
  const uint64_t bits = reinterpret_cast<uintptr_t>(pointer) >> 4;
  return static_cast<uint32_t>(((bits * 0x9E3779B97F4A7C15ull) >> 32) & mask_);
}

bool NodeSet::contains(const void* candidate) const {
  if (slots_ == nullptr || candidate == nullptr) return false;
  for (uint64_t i = home(candidate);; i = (i + 1) & mask_) {
    if (slots_[i] == candidate) return true;
    if (slots_[i] == nullptr) return false;
  }
}

bool NodeSet::grow() {
  const uint64_t capacity = slots_ == nullptr ? 64 : (mask_ + 1) * 2;
  if (capacity * sizeof(XmlNode*) > UINT32_MAX) return false;
  auto* slots = static_cast<const XmlNode**>(treeAlloc(owner_, capacity * sizeof(XmlNode*)));
  if (slots == nullptr) return false;
  for (uint64_t i = 0; i < capacity; ++i) slots[i] = nullptr;
  const XmlNode** old = slots_;
  const uint64_t oldCapacity = old != nullptr ? mask_ + 1 : 0;
  slots_ = slots;
  mask_ = capacity - 1;
  for (uint64_t k = 0; k < oldCapacity; ++k) {
    if (old[k] == nullptr) continue;
    uint64_t i = home(old[k]);
    while (slots_[i] != nullptr) i = (i + 1) & mask_;
    slots_[i] = old[k];
  }
  treeFree(owner_, old);
  return true;
}

bool NodeSet::insert(const XmlNode* node) {
  // At most half full, so probe chains stay short.
  if ((slots_ == nullptr || (used_ + 1) * 2 > mask_ + 1) && !grow()) return false;
  uint64_t i = home(node);
  while (slots_[i] != nullptr) i = (i + 1) & mask_;
  slots_[i] = node;
  ++used_;
  return true;
}

void NodeSet::erase(const XmlNode* node) {
  if (slots_ == nullptr) return;
  uint64_t hole = home(node);
  while (slots_[hole] != node) {
    if (slots_[hole] == nullptr) return;
    hole = (hole + 1) & mask_;
  }
  if (--used_ == 0) {  // an emptied tree holds no table
    release();
    return;
  }
  for (uint64_t i = (hole + 1) & mask_; slots_[i] != nullptr; i = (i + 1) & mask_) {
    const uint64_t h = home(slots_[i]);
    const bool stays = hole <= i ? (hole < h && h <= i) : (hole < h || h <= i);
    if (stays) continue;
    slots_[hole] = slots_[i];
    hole = i;
  }
  slots_[hole] = nullptr;
}

}  // namespace trove
