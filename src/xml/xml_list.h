// Operations on the circular lists of the element tree. The head acts as the
// sentinel element; these helpers branch on it instead of writing through it,
// so no head is ever accessed as if it were an element.
#pragma once

#include <cstdint>

#include "xml/xml_tree.h"

namespace trove {

template <class Element>
void listInit(XmlList<Element>& list) {
  list.count = 0;
  list.first = list.sentinel();
  list.last = list.sentinel();
}

template <class Element>
void listAppend(XmlList<Element>& list, Element* element) {
  element->next = list.sentinel();
  element->prev = list.last;
  if (list.last == list.sentinel()) {
    list.first = element;
  } else {
    list.last->next = element;
  }
  list.last = element;
  ++list.count;
}

// `element` must be linked in `list`.
template <class Element>
void listUnlink(XmlList<Element>& list, Element* element) {
  if (element->prev == list.sentinel()) {
    list.first = element->next;
  } else {
    element->prev->next = element->next;
  }
  if (element->next == list.sentinel()) {
    list.last = element->prev;
  } else {
    element->next->prev = element->prev;
  }
  element->next = nullptr;
  element->prev = nullptr;
  --list.count;
}

template <class Element>
Element* listFront(const XmlList<Element>& list) {
  return list.empty() ? nullptr : list.first;
}

template <class Element>
Element* listNext(const XmlList<Element>& list, const Element* element) {
  return element->next == list.sentinel() ? nullptr : element->next;
}

}  // namespace trove
