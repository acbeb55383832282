// Keys: creation and destruction, path lookup and creation, child access and
// removal. Every name lookup goes through firstChildNamed, every link change
// through appendChild/unlinkChild and every node's memory through create and
// freeNode, so an index kept later inside the tree has one place to hook in.
#include <new>

#include "base/case_folding.h"
#include "trove/result_codes.h"
#include "xml/path_segments.h"
#include "xml/tree_memory.h"
#include "xml/xml_list.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

// Gives back a node whose subtree is already gone: its name, then the node.
void freeNode(XmlNode* node) {
  PropertiesMap* owner = node->owner;
  treeFree(owner, node->name);
  treeFree(owner, node);
}

}  // namespace

XmlNode* XmlNode::create(PropertiesMap* owner, const char* name, uint32_t length) {
  void* block = treeAlloc(owner, sizeof(XmlNode));
  if (block == nullptr) return nullptr;
  char* copy = treeCopyName(owner, name, length);
  if (copy == nullptr) {
    treeFree(owner, block);
    return nullptr;
  }
  auto* node = new (block) XmlNode();
  node->next = nullptr;
  node->prev = nullptr;
  node->owner = owner;
  node->name = copy;
  listInit(node->children);
  listInit(node->values);
  node->parent = nullptr;
  return node;
}

void XmlNode::destroy(XmlNode* node) {
  if (node == nullptr) return;
  node->clear();
  freeNode(node);
}

void XmlNode::appendChild(XmlNode* child) {
  listAppend(children, child);
  child->parent = this;
}

void XmlNode::unlinkChild(XmlNode* child) {
  if (child->next == nullptr) return;
  listUnlink(children, child);
  child->parent = nullptr;
}

void XmlNode::destroyChild(XmlNode* child) {
  unlinkChild(child);
  destroy(child);
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

XmlNode* XmlNode::firstChildNamed(std::string_view segment) const {
  for (XmlNode* child = listFront(children); child != nullptr; child = listNext(children, child)) {
    if (namesEqual(segment.data(), segment.size(), child->name)) return child;
  }
  return nullptr;
}

XmlNode* XmlNode::findPath(const char* path, XmlNode** parentOut) const {
  if (path == nullptr) return nullptr;
  auto* node = const_cast<XmlNode*>(this);
  PathSegments segments(path);
  std::string_view segment;
  while (segments.next(segment)) {
    if (parentOut != nullptr) *parentOut = node;
    node = node->firstChildNamed(segment);
    if (node == nullptr) return nullptr;
  }
  return node;
}

XmlNode* XmlNode::createPath(const char* path, bool forceNew) {
  if (owner == nullptr || path == nullptr) return nullptr;
  PropertiesMap* heapOwner = owner;
  XmlNode* node = this;
  PathSegments segments(path);
  std::string_view segment;
  while (segments.next(segment)) {
    // The lookup runs on a terminated copy. The copy holds no "/", so any
    // backslash in it separates levels there, while the new key keeps the
    // whole segment as its name.
    char* piece = treeCopyName(heapOwner, segment.data(), segment.size());
    if (piece == nullptr) return nullptr;
    XmlNode* reached = node->findPath(piece, nullptr);
    if (reached == nullptr || forceNew) {
      reached = create(heapOwner, piece, static_cast<uint32_t>(segment.size()));
      if (reached != nullptr) node->appendChild(reached);
    }
    treeFree(heapOwner, piece);
    if (reached == nullptr) return nullptr;
    node = reached;
    forceNew = false;
  }
  return node;
}

XmlNode* XmlNode::childAt(uint32_t index) const {
  return listAt(children, index);
}

XmlNode* XmlNode::nextChild(const XmlNode* child) const {
  if (child == nullptr) return nullptr;
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
