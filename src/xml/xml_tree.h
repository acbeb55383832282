// The in-memory store: a tree of keys (XmlNode), each with ordered subkeys
// and ordered named values (XmlValue holding a ValueCodec), held by an
// XmlDocument together with the current root key.
//
// Every node, value record, name and codec lives on the owning object's host
// heap. Names compare with namesEqual; lookups take the first match in list
// order. Indexes make the common questions constant-time without changing an
// answer: a document's set of live nodes checks handles, a long list's name
// index finds names, each thread's remembered positions serve access by index.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "types/value_codec.h"

namespace trove {

class PropertiesMap;
class NodeSet;
struct XmlNode;
struct XmlValue;
template <class Element>
class NameIndex;

// Head of a circular doubly linked list. `first`/`last` act as the sentinel's
// next/prev links: in an empty list both point at the head itself.
template <class Element>
struct XmlList {
  uint64_t count;
  Element* first;
  Element* last;

  // The head seen as an element: `first`/`last` sit where an element keeps
  // `next`/`prev`. The address is stored and compared, never dereferenced.
  Element* sentinel() { return reinterpret_cast<Element*>(&first); }
  const Element* sentinel() const { return reinterpret_cast<const Element*>(&first); }
  bool empty() const { return first == sentinel(); }
};

// A value lives in one block: its codec at the start, then this record, then
// the name's bytes. The record finds both by position, which keeps the tree's
// largest population of blocks small.
struct XmlValue {
  XmlValue* next;
  XmlValue* prev;
  uint32_t nameHash;     // foldedNameHash of the name, taken once when it is stored
  uint32_t codecOffset;  // bytes from the codec back at the block's start to here

  char* name() { return reinterpret_cast<char*>(this + 1); }
  const char* name() const { return reinterpret_cast<const char*>(this + 1); }
  ValueCodec* codec() const {
    return reinterpret_cast<ValueCodec*>(
        const_cast<char*>(reinterpret_cast<const char*>(this) - codecOffset));
  }
};

struct XmlNode {
  XmlNode* next;
  XmlNode* prev;
  PropertiesMap* owner;
  char* name;
  XmlList<XmlNode> children;
  XmlList<XmlValue> values;
  // The node whose child list holds this one; null for the document root and
  // while unlinked. Kept by the list operations; it lets the tree walk itself
  // without a stack.
  XmlNode* parent;
  // The live nodes of the node's document, which every node created below
  // it joins; null for a node outside any document.
  NodeSet* liveNodes;
  NameIndex<XmlNode>* childIndex;  // null while the list is short
  NameIndex<XmlValue>* valueIndex;
  uint64_t stamp;     // renewed whenever an element leaves either list
  uint32_t nameHash;  // foldedNameHash of the name
  // A new, unlinked node with a copy of `name` (length bytes) in the same
  // block, on the owner's heap; null when the heap is exhausted.
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

  // In-order visits for code that needs every child or value (the writer, a
  // key copy) without the cost of indexed access. The callback must not
  // change this node's lists.
  template <class Visit>
  void forEachChild(Visit&& visit) const {
    for (const XmlNode* c = children.first; c != children.sentinel(); c = c->next) visit(*c);
  }
  template <class Visit>
  void forEachValue(Visit&& visit) const {
    for (const XmlValue* v = values.first; v != values.sentinel(); v = v->next) {
      visit(v->name(), static_cast<const ValueCodec*>(v->codec()));
    }
  }

 private:
  XmlValue* firstValueNamed(const char* name) const;
  XmlNode* firstChildNamed(std::string_view segment, uint32_t hash) const;
  XmlNode* findSegments(std::string_view path, XmlNode** parentOut) const;
  XmlNode* addChild(std::string_view name, uint32_t hash);
  void appendChild(XmlNode* child);
  void unlinkChild(XmlNode* child);
  void destroyChild(XmlNode* child);
  void appendValue(XmlValue* value);
  void destroyValue(XmlValue* value);
  void releaseValues();
  int32_t makeValue(const char* name, TypeId type, const void* data, uint32_t size,
                    const char* text);
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

// Whether `candidate` is a live node of `node`'s document and lies in
// `node`'s subtree (or is `node`). Only a recognised candidate is followed.
bool holdsNode(const XmlNode* node, const void* candidate);

static_assert(sizeof(XmlDocument) == 24, "the document takes the first 24 bytes of the object");

}  // namespace trove
