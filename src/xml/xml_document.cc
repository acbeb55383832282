// The document: the tree's root, its owner, and the current root key that
// bounds what the Registry methods see.
#include <new>

#include "trove/result_codes.h"
#include "xml/node_set.h"
#include "xml/tree_memory.h"
#include "xml/xml_list.h"
#include "xml/xml_tree.h"

namespace trove {

int32_t XmlDocument::attach(PropertiesMap* owner) {
  if (owner_ != nullptr) return errWrongState;
  if (owner == nullptr) return errInvalidArgument;
  owner_ = owner;
  // Every node below the root joins this set; handles are checked against it.
  void* block = treeAlloc(owner, sizeof(NodeSet));
  if (block == nullptr) return errOutOfMemory;
  auto* liveNodes = new (block) NodeSet();
  liveNodes->init(owner);
  root_ = XmlNode::create(owner, "", 0);
  if (root_ == nullptr) {
    treeFree(owner, block);
    return errOutOfMemory;
  }
  root_->liveNodes = liveNodes;
  rootKey_ = root_;
  return errOk;
}

// The owner stays recorded, so a released document is not attached again;
// the root and root key are cleared so that nothing can reach freed nodes.
void XmlDocument::release() {
  if (owner_ != nullptr && root_ != nullptr) {
    // Every node goes: the set is emptied at once rather than node by node.
    NodeSet* liveNodes = root_->liveNodes;
    liveNodes->release();
    XmlNode::destroy(root_);
    treeFree(owner_, liveNodes);
  }
  root_ = nullptr;
  rootKey_ = nullptr;
}

int32_t XmlDocument::selectRootKey(XmlNode* node) {
  if (root_ == nullptr) return errWrongState;
  if (node == nullptr) {
    rootKey_ = root_;
    return errOk;
  }
  if (!holdsNode(root_, node)) return errEntryNotFound;
  rootKey_ = node;
  return errOk;
}

int32_t XmlDocument::setRootPath(const char* path) {
  if (root_ == nullptr) return errWrongState;
  if (path == nullptr) return errInvalidArgument;
  if (*path == '\0') {
    rootKey_ = root_;
    return errOk;
  }
  XmlNode* node = root_->findPath(path, nullptr);
  if (node == nullptr) return errEntryNotFound;
  rootKey_ = node;
  return errOk;
}

XmlNode* XmlDocument::resolveKey(const XmlNode* node) const {
  if (root_ == nullptr) return nullptr;
  if (node == nullptr) return rootKey_;
  if (!holdsNode(rootKey_, node)) return nullptr;
  return const_cast<XmlNode*>(node);
}

XmlNode* XmlDocument::nextSibling(const XmlNode* node) const {
  if (root_ == nullptr || node == nullptr) return nullptr;
  // The root key itself has no sibling within the root key's subtree.
  if (node == rootKey_ || !holdsNode(rootKey_, node)) return nullptr;
  return listNext(node->parent->children, node);
}

void XmlDocument::clearRootKey() {
  if (rootKey_ != nullptr) rootKey_->clear();
}

int32_t XmlDocument::keyPath(const XmlNode* node, char* buffer, uint32_t size,
                             uint32_t* length) const {
  if (root_ == nullptr) return errWrongState;
  return rootKey_->buildPath(node, buffer, size, length);
}

int32_t XmlDocument::rootKeyPath(const XmlNode* node, char* buffer, uint32_t size,
                                 uint32_t* length) const {
  if (root_ == nullptr) return errWrongState;
  return root_->buildPath(node, buffer, size, length);
}

}  // namespace trove
