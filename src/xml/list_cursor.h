// Access by position in constant time per step. Callers walk a key's subkeys
// or values by index, 0, 1, 2, ..., through separate calls; each thread
// remembers the last few positions it reached and starts from the nearest of
// a remembered position, the head and the tail.
//
// A remembered position is tied to its list by the list's address and its
// holder's stamp. Appends leave every position valid; any removal gives the
// holder a new stamp, and every node gets a fresh one when it is created, so
// a position is never used on a list it did not come from, even when the
// list's memory has been reused. Lookups run under the object's shared lock:
// the positions are per thread and the stamp is only written under the
// exclusive lock.
#pragma once

#include <cstdint>

#include "xml/xml_tree.h"

namespace trove {

// A stamp no list has had before.
uint64_t newListStamp();

struct ListPosition {
  uint64_t index;
  void* element;
};

// The remembered position on (list, stamp), if this thread has one.
bool recallPosition(const void* list, uint64_t stamp, ListPosition& position);
void rememberPosition(const void* list, uint64_t stamp, ListPosition position);

template <class Element>
Element* listAtIndex(const XmlList<Element>& list, uint64_t stamp, uint32_t index) {
  const uint64_t count = list.count;
  if (index >= count) return nullptr;
  if (index == 0) return list.first;
  if (index == count - 1) return list.last;
  // Start from the head, the tail or the remembered position, whichever is nearest.
  Element* element = list.first;
  uint64_t at = 0;
  if (count - 1 - index < index) {
    element = list.last;
    at = count - 1;
  }
  ListPosition known;
  if (recallPosition(&list, stamp, known)) {
    const uint64_t fromKnown = known.index > index ? known.index - index : index - known.index;
    const uint64_t fromEnd = at > index ? at - index : index - at;
    if (fromKnown < fromEnd) {
      element = static_cast<Element*>(known.element);
      at = known.index;
    }
  }
  for (; at < index; ++at) element = element->next;
  for (; at > index; --at) element = element->prev;
  rememberPosition(&list, stamp, ListPosition{index, element});
  return element;
}

}  // namespace trove
