// The in-memory store: a tree of keys (XmlNode), each with ordered subkeys
// and ordered named values (XmlValue holding a ValueCodec), held by an
// XmlDocument together with the current root key.
//
// Every node, value record, name and codec lives on the owning object's host
// heap. Names compare with namesEqual; lookups take the first match in list
// order. Lookups are linear scans today; any index added later lives inside
// these classes and keeps the same results.
#pragma once

#include <cstdint>
#include <string>

#include "types/value_codec.h"

namespace trove {

class PropertiesMap;
struct XmlNode;
struct XmlValue;

// Head of a circular doubly linked list. `first`/`last` act as the sentinel's
// next/prev links: in an empty list both point at the head itself.
template <class Element>
struct XmlList {
  uint64_t count;
  Element* first;
  Element* last;
};

struct XmlValue {
  XmlValue* next;
  XmlValue* prev;
  char* name;
  ValueCodec* codec;
};

struct XmlNode {
  XmlNode* next;
  XmlNode* prev;
  PropertiesMap* owner;
  char* name;
  XmlList<XmlNode> children;
  XmlList<XmlValue> values;

  // A new, unlinked node with a copy of `name` (length bytes) on the owner's
  // heap; null when the heap is exhausted.
  static XmlNode* create(PropertiesMap* owner, const char* name, uint32_t length);
  // Clears the node and gives its name and memory back. The node must be unlinked.
  static void destroy(XmlNode* node);

  XmlNode* createPath(const char* path, bool forceNew);
  XmlNode* findPath(const char* path, XmlNode** parentOut) const;
  XmlNode* childAt(uint32_t index) const;
  XmlNode* nextChild(const XmlNode* child) const;
  uint32_t childCount() const;
  uint32_t valueCount() const;
  int32_t removePath(const char* path);
  int32_t removeChildAt(uint32_t index);

  int32_t addValue(const char* name, TypeId type, const void* data, uint32_t size);
  int32_t addValueAt(uint32_t index, TypeId type, const void* data, uint32_t size);
  int32_t appendValueFromBinary(const char* name, TypeId type, const void* data, uint32_t size);
  int32_t appendValueFromText(const char* name, TypeId type, const char* text);
  ValueCodec* findValue(const char* name) const;
  ValueCodec* valueAt(uint32_t index) const;
  const char* valueNameAt(uint32_t index) const;
  int32_t removeValue(const char* name);
  int32_t removeValueAt(uint32_t index);
  void clear();

  const XmlNode* findParent(const XmlNode* target) const;
  int32_t buildPath(const XmlNode* target, char* buffer, uint32_t size, uint32_t* length) const;
};

class XmlDocument {
 public:
  XmlDocument() = default;
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;

  int32_t attach(PropertiesMap* owner);
  void release();

  PropertiesMap* owner() const { return owner_; }
  XmlNode* root() const { return root_; }
  XmlNode* currentRootKey() const { return rootKey_; }

  int32_t selectRootKey(XmlNode* node);
  int32_t setRootPath(const char* path);
  // The node when it is the root key or lies below it, else null; null
  // selects the root key. Never dereferences a node it has not found.
  XmlNode* resolveKey(const XmlNode* node) const;
  XmlNode* nextSibling(const XmlNode* node) const;
  void clearRootKey();
  int32_t keyPath(const XmlNode* node, char* buffer, uint32_t size, uint32_t* length) const;
  int32_t rootKeyPath(const XmlNode* node, char* buffer, uint32_t size, uint32_t* length) const;

  // Reads store text (or any XML through the generic import) into the tree.
  int32_t parse(const char* data, uint32_t size);
  // Appends the whole tree, in the canonical store layout, to `out`.
  int32_t serialize(std::string& out) const;

 private:
  PropertiesMap* owner_ = nullptr;
  XmlNode* root_ = nullptr;
  XmlNode* rootKey_ = nullptr;
};

static_assert(sizeof(XmlDocument) == 24, "the document takes the first 24 bytes of the object");

}  // namespace trove
