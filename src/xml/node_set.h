// The set of a document's live nodes, so that a key handle -- any 64-bit
// number a caller hands back -- is recognised in constant time and never
// followed unless it is one of them. Open addressing with linear probing and
// backward-shift deletion, on the owner's host heap.
#pragma once

#include <cstdint>

namespace trove {

class PropertiesMap;
struct XmlNode;

class NodeSet {
 public:
  // An empty set; nothing is allocated until the first insert.
  void init(PropertiesMap* owner);
  void release();

  // False when the heap refuses to grow the set; the node is not recorded.
  bool insert(const XmlNode* node);
  void erase(const XmlNode* node);
  bool contains(const void* candidate) const;

 private:
  uint32_t home(const void* pointer) const;
  bool grow();

  PropertiesMap* owner_;
  const XmlNode** slots_;
  uint64_t mask_;
  uint64_t used_;
};

}  // namespace trove
