// A key's index of child-key or value names: folded name -> the first element
// of that name in list order. Lists only ever grow at their end, so an
// element added under a name already indexed is a later twin and only
// counted; when the indexed element goes, the next twin is found by walking
// on from it. Twins are rare (imports, repeated values in a file), so that
// walk is too.
//
// Open addressing with linear probing and backward-shift deletion, on the
// owner's host heap. An index that cannot grow is dropped by its holder and
// lookups fall back to scanning the list: the answers stay the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/case_folding.h"
#include "xml/tree_memory.h"
#include "xml/xml_tree.h"

namespace trove {

inline const char* nameOf(const XmlNode* node) {
  return node->name;
}
inline const char* nameOf(const XmlValue* value) {
  return value->name();
}

// Whether an element carries the name (`hash` is its foldedNameHash).
template <class Element>
bool hasName(const Element* element, const char* name, std::size_t length, uint32_t hash) {
  return element->nameHash == hash && namesEqual(name, length, nameOf(element));
}

template <class Element>
class NameIndex {
 public:
  // Lists shorter than this are scanned: comparing stored hashes beats probing.
  static constexpr uint64_t kMinimumCount = 8;

  // An index of every element of `list`, or null when the heap refuses.
  static NameIndex* build(PropertiesMap* owner, const XmlList<Element>& list) {
    auto* index = static_cast<NameIndex*>(treeAlloc(owner, sizeof(NameIndex)));
    if (index == nullptr) return nullptr;
    index->owner_ = owner;
    index->slots_ = nullptr;
    index->mask_ = 0;
    index->used_ = 0;
    if (!index->reserve(list.count)) {
      destroy(index);
      return nullptr;
    }
    for (Element* e = list.first; e != list.sentinel(); e = e->next) index->insert(e);
    return index;
  }

  static void destroy(NameIndex* index) {
    if (index == nullptr) return;
    PropertiesMap* owner = index->owner_;
    treeFree(owner, index->slots_);
    treeFree(owner, index);
  }

  Element* find(const char* name, std::size_t length, uint32_t hash) const {
    for (uint32_t i = hash & mask_;; i = (i + 1) & mask_) {
      const Slot& slot = slots_[i];
      if (slot.first == nullptr) return nullptr;
      if (hasName(slot.first, name, length, hash)) return slot.first;
    }
  }

  // Records an element just appended to the list. False when the index could
  // not grow: the caller then drops it.
  bool add(Element* element) {
    if (!reserve(static_cast<uint64_t>(used_) + 1)) return false;
    insert(element);
    return true;
  }

  // Forgets an element that is about to leave the list (still linked in it).
  void remove(Element* element, const XmlList<Element>& list) {
    const std::size_t length = std::strlen(nameOf(element));
    uint32_t i = slotOf(nameOf(element), length, element->nameHash);
    Slot& slot = slots_[i];
    if (slot.first != element) {  // a later twin
      --slot.twins;
      return;
    }
    if (slot.twins == 0) {
      erase(i);
      return;
    }
    Element* next = element->next;
    while (next != list.sentinel() && !hasName(next, nameOf(element), length, element->nameHash)) {
      next = next->next;
    }
    slot.first = next;
    --slot.twins;
  }

 private:
  struct Slot {
    Element* first;  // null: free
    uint64_t twins;  // later elements of the same name
  };

  uint32_t slotOf(const char* name, std::size_t length, uint32_t hash) const {
    uint32_t i = hash & mask_;
    while (!hasName(slots_[i].first, name, length, hash)) i = (i + 1) & mask_;
    return i;
  }

  void insert(Element* element) {
    const std::size_t length = std::strlen(nameOf(element));
    for (uint32_t i = element->nameHash & mask_;; i = (i + 1) & mask_) {
      Slot& slot = slots_[i];
      if (slot.first == nullptr) {
        slot = Slot{element, 0};
        ++used_;
        return;
      }
      if (hasName(slot.first, nameOf(element), length, element->nameHash)) {
        ++slot.twins;
        return;
      }
    }
  }

  // Backward-shift deletion keeps every probe chain unbroken without tombstones.
  void erase(uint32_t hole) {
    --used_;
    for (uint32_t i = (hole + 1) & mask_; slots_[i].first != nullptr; i = (i + 1) & mask_) {
      const uint32_t home = slots_[i].first->nameHash & mask_;
      // Move the entry into the hole unless its home lies cyclically in (hole, i].
      const bool stays = hole <= i ? (hole < home && home <= i) : (hole < home || home <= i);
      if (stays) continue;
      slots_[hole] = slots_[i];
      hole = i;
    }
    slots_[hole] = Slot{nullptr, 0};
  }

  // Room for `count` names at a load of at most one half.
  bool reserve(uint64_t count) {
    uint64_t capacity = mask_ + 1;
    if (slots_ != nullptr && count * 2 <= capacity) return true;
    capacity = 16;
    while (capacity < count * 2) capacity *= 2;
    if (capacity * sizeof(Slot) > UINT32_MAX) return false;
    auto* slots = static_cast<Slot*>(treeAlloc(owner_, capacity * sizeof(Slot)));
    if (slots == nullptr) return false;
    for (uint64_t i = 0; i < capacity; ++i) slots[i] = Slot{nullptr, 0};
    Slot* old = slots_;
    const uint64_t oldCapacity = old != nullptr ? mask_ + 1 : 0;
    slots_ = slots;
    mask_ = static_cast<uint32_t>(capacity - 1);
    used_ = 0;
    // The names moved are distinct: each takes the first free slot of its chain.
    for (uint64_t k = 0; k < oldCapacity; ++k) {
      if (old[k].first == nullptr) continue;
      uint32_t i = old[k].first->nameHash & mask_;
      while (slots_[i].first != nullptr) i = (i + 1) & mask_;
      slots_[i] = old[k];
      ++used_;
    }
    treeFree(owner_, old);
    return true;
  }

  PropertiesMap* owner_;
  Slot* slots_;
  uint32_t mask_;
  uint32_t used_;
};

// Keeps a list's index up to date with an element just appended: records it,
// or builds the index once the list is long enough. An index that cannot
// grow is dropped, and lookups scan until one can be had again.
template <class Element>
void indexAppended(PropertiesMap* owner, const XmlList<Element>& list, NameIndex<Element>*& index,
                   Element* element) {
  if (index != nullptr) {
    if (!index->add(element)) {
      NameIndex<Element>::destroy(index);
      index = nullptr;
    }
  } else if (list.count >= NameIndex<Element>::kMinimumCount) {
    index = NameIndex<Element>::build(owner, list);
  }
}

}  // namespace trove
