// Keys: creation and destruction, path lookup and creation, child access and
// removal. Every name lookup goes through firstChildNamed, every link change
// through appendChild/unlinkChild and every node's memory through create and
// freeNode, which keep the live-node set and the name index in step.
#include <cstring>
#include <new>

#include "base/case_folding.h"
#include "trove/result_codes.h"
#include "xml/list_cursor.h"
#include "xml/name_index.h"
#include "xml/node_set.h"
#include "xml/path_segments.h"
#include "xml/tree_memory.h"
#include "xml/xml_list.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

XmlNode* newNode(PropertiesMap* owner, const char* name, std::size_t length, uint32_t hash) {
  void* block = treeAlloc(owner, sizeof(XmlNode) + length + 1);
  if (block == nullptr) return nullptr;
  auto* node = new (block) XmlNode();
  node->next = nullptr;
  node->prev = nullptr;
  node->owner = owner;
  node->name = reinterpret_cast<char*>(node + 1);
  if (length > 0) std::memcpy(node->name, name, length);
  node->name[length] = '\0';
  listInit(node->children);
  listInit(node->values);
  node->parent = nullptr;
  node->liveNodes = nullptr;
  node->childIndex = nullptr;
  node->valueIndex = nullptr;
  node->stamp = newListStamp();
  node->nameHash = hash;
  return node;
}

// Gives back a node whose subtree is already gone, name and all.
void freeNode(XmlNode* node) {
  if (node->liveNodes != nullptr) node->liveNodes->erase(node);
  NameIndex<XmlNode>::destroy(node->childIndex);
  NameIndex<XmlValue>::destroy(node->valueIndex);
  treeFree(node->owner, node);
}

}  // namespace

XmlNode* XmlNode::create(PropertiesMap* owner, const char* name, uint32_t length) {
  return newNode(owner, name, length, foldedNameHash(name, length));
}

void XmlNode::destroy(XmlNode* node) {
  if (node == nullptr) return;
  node->clear();
  freeNode(node);
}

void XmlNode::appendChild(XmlNode* child) {
  listAppend(children, child);
  child->parent = this;
  indexAppended(owner, children, childIndex, child);
}

// A new child named `name` at the end of the list, recorded as live; null when
// the heap refuses.
XmlNode* XmlNode::addChild(std::string_view name, uint32_t hash) {
  XmlNode* child = newNode(owner, name.data(), name.size(), hash);
  if (child == nullptr) return nullptr;
  if (liveNodes != nullptr) {
    if (!liveNodes->insert(child)) {
      treeFree(owner, child);
      return nullptr;
    }
    child->liveNodes = liveNodes;
  }
  appendChild(child);
  return child;
}

void XmlNode::unlinkChild(XmlNode* child) {
  if (child->next == nullptr) return;
  if (childIndex != nullptr) childIndex->remove(child, children);
  listUnlink(children, child);
  child->parent = nullptr;
  stamp = newListStamp();
  if (children.count == 0) {
    NameIndex<XmlNode>::destroy(childIndex);
    childIndex = nullptr;
  }
}

// The node leaves the live set when it is freed, so while it is taken apart
// it still counts as a node of the tree; its parent link leads the walk back.
void XmlNode::destroyChild(XmlNode* child) {
  unlinkChild(child);
  child->clear();
  freeNode(child);
}

// Takes the subtree apart without recursion, in the order a recursive
// removal would: a node's values when it is reached, then its children first
// to last, each child unlinked and freed once its own subtree is gone. The
// walk descends through first children and climbs through parent links, so a
// deep tree costs no stack.
void XmlNode::clear() {
  XmlNode* node = this;
  for (;;) {
    node->releaseValues();
    // Every child goes: the index is dropped rather than kept up to date.
    NameIndex<XmlNode>::destroy(node->childIndex);
    node->childIndex = nullptr;
    if (XmlNode* child = listFront(node->children)) {
      node = child;
      continue;
    }
    if (node == this) return;
    XmlNode* up = node->parent;
    up->unlinkChild(node);
    freeNode(node);
    node = up;
  }
}

XmlNode* XmlNode::firstChildNamed(std::string_view segment, uint32_t hash) const {
  if (childIndex != nullptr) return childIndex->find(segment.data(), segment.size(), hash);
  for (XmlNode* child = listFront(children); child != nullptr; child = listNext(children, child)) {
    if (hasName(child, segment.data(), segment.size(), hash)) return child;
  }
  return nullptr;
}

XmlNode* XmlNode::findSegments(std::string_view path, XmlNode** parentOut) const {
  auto* node = const_cast<XmlNode*>(this);
  PathSegments segments(path);
  std::string_view segment;
  while (segments.next(segment)) {
    if (parentOut != nullptr) *parentOut = node;
    node = node->firstChildNamed(segment, foldedNameHash(segment.data(), segment.size()));
    if (node == nullptr) return nullptr;
  }
  return node;
}

XmlNode* XmlNode::findPath(const char* path, XmlNode** parentOut) const {
  if (path == nullptr) return nullptr;
  return findSegments(path, parentOut);
}

XmlNode* XmlNode::createPath(const char* path, bool forceNew) {
  if (owner == nullptr || path == nullptr) return nullptr;
  XmlNode* node = this;
  PathSegments segments(path);
  std::string_view segment;
  while (segments.next(segment)) {
    // The segment holds no "/", so any backslash in it separates levels for
    // the lookup, while a new key keeps the whole segment as its name.
    const uint32_t hash = foldedNameHash(segment.data(), segment.size());
    XmlNode* reached = nullptr;
    if (!forceNew) {
      reached = segment.find('\\') == std::string_view::npos ? node->firstChildNamed(segment, hash)
                                                             : node->findSegments(segment, nullptr);
    }
    if (reached == nullptr) reached = node->addChild(segment, hash);
    if (reached == nullptr) return nullptr;
    node = reached;
    forceNew = false;
  }
  return node;
}

XmlNode* XmlNode::childAt(uint32_t index) const {
  return listAtIndex(children, stamp, index);
}

XmlNode* XmlNode::nextChild(const XmlNode* child) const {
  if (child == nullptr) return nullptr;
  if (liveNodes != nullptr) {
    // Followed only once it is known to be a node of this document.
    if (!liveNodes->contains(child)) return nullptr;
    return child->parent == this ? listNext(children, child) : nullptr;
  }
  for (XmlNode* c = listFront(children); c != nullptr; c = listNext(children, c)) {
    if (c == child) return listNext(children, c);
  }
  return nullptr;
}

uint32_t XmlNode::childCount() const {
  return static_cast<uint32_t>(children.count);
}

uint32_t XmlNode::valueCount() const {
  return static_cast<uint32_t>(values.count);
}

int32_t XmlNode::removePath(const char* path) {
  if (path == nullptr) return errInvalidArgument;
  XmlNode* holder = nullptr;
  XmlNode* node = findPath(path, &holder);
  if (node == nullptr) return errEntryNotFound;
  // An empty path, or one that starts with a separator, designates this node
  // itself and records no holding list. Nothing is removed then: this node
  // may be the document root, the root key or a caller's handle, and its
  // real parent's list is not ours to change.
  if (holder == nullptr) return errEntryNotFound;
  holder->destroyChild(node);
  return errOk;
}

int32_t XmlNode::removeChildAt(uint32_t index) {
  XmlNode* child = childAt(index);
  if (child == nullptr) return errEntryNotFound;
  destroyChild(child);
  return errOk;
}

}  // namespace trove
