// Allocation for the element tree: every block comes from the owning
// object's host heap and goes back through the same heap.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trove {

class PropertiesMap;

// A block of `size` bytes from the owner's heap, or null when the heap
// refuses it (or the size does not fit the heap's 32-bit size).
void* treeAlloc(PropertiesMap* owner, std::size_t size);
void treeFree(PropertiesMap* owner, void* block);

// A NUL-terminated private copy of `length` bytes of `text`, or null.
char* treeCopyName(PropertiesMap* owner, const char* text, std::size_t length);

}  // namespace trove
