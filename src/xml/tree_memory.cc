#include "xml/tree_memory.h"

#include <cstring>
#include <limits>

#include "services/host_services.h"

namespace trove {

void* treeAlloc(PropertiesMap* owner, std::size_t size) {
  if (owner == nullptr || size > std::numeric_limits<uint32_t>::max()) return nullptr;
  void* block = nullptr;
  if (hostAlloc(owner, &block, static_cast<uint32_t>(size)) < 0) return nullptr;
  return block;
}

void treeFree(PropertiesMap* owner, void* block) {
  if (block != nullptr) hostFree(owner, block);
}

char* treeCopyName(PropertiesMap* owner, const char* text, std::size_t length) {
  if (length == std::numeric_limits<std::size_t>::max()) return nullptr;
  auto* copy = static_cast<char*>(treeAlloc(owner, length + 1));
  if (copy == nullptr) return nullptr;
  if (length > 0) std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

}  // namespace trove
