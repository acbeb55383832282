// Whole-subtree questions: which node holds a target, and the path down to
// it. A target is followed only once the document's live-node set knows it,
// so a stale or made-up pointer is answered without touching memory; then a
// climb through parent links tells whether it lies below. A node outside any
// document has no such set, and its subtree is searched instead, comparing
// addresses only. Nothing here recurses.
#include <cstring>
#include <limits>

#include "trove/result_codes.h"
#include "xml/node_set.h"
#include "xml/xml_list.h"
#include "xml/xml_tree.h"

namespace trove {

bool holdsNode(const XmlNode* node, const void* candidate) {
  if (candidate == node) return true;
  if (node->liveNodes == nullptr) return node->findParent(static_cast<const XmlNode*>(candidate));
  if (!node->liveNodes->contains(candidate)) return false;
  if (node->parent == nullptr) return true;  // the document root holds every live node
  for (auto* up = static_cast<const XmlNode*>(candidate)->parent; up != nullptr; up = up->parent) {
    if (up == node) return true;
  }
  return false;
}

const XmlNode* XmlNode::findParent(const XmlNode* target) const {
  if (target == nullptr) return nullptr;
  if (target == this) return this;
  if (liveNodes != nullptr) return holdsNode(this, target) ? target->parent : nullptr;
  // Depth-first, children in list order.
  const XmlNode* node = listFront(children);
  while (node != nullptr) {
    if (node == target) return node->parent;
    if (const XmlNode* child = listFront(node->children)) {
      node = child;
      continue;
    }
    for (;;) {
      const XmlNode* up = node->parent;
      if (const XmlNode* sibling = listNext(up->children, node)) {
        node = sibling;
        break;
      }
      if (up == this) return nullptr;
      node = up;
    }
  }
  return nullptr;
}

// The names from this node down to the target joined by backslashes, placed
// behind the `*length` characters already counted. This node's name is
// preceded by a backslash when that count is not zero, and every deeper name
// when anything precedes it. A path from the document root (empty name) thus
// starts with the first key below it.
//
// Outcomes: a target outside the subtree gives errUnspecified and leaves
// `*length` as it was. A null buffer is the size query. A buffer that cannot
// hold the path and its NUL gives errBufferTooSmall with the full length when
// the target is this node, but errUnspecified with the length as it was when
// the target lies below: the callers (full key names) depend on both.
int32_t XmlNode::buildPath(const XmlNode* target, char* buffer, uint32_t size,
                           uint32_t* length) const {
  if (target == nullptr) return errInvalidArgument;
  uint32_t scratch = 0;
  if (length == nullptr) length = &scratch;
  const uint32_t entry = *length;
  if (!holdsNode(this, target)) return errUnspecified;

  // Measure, climbing from the target. A name gets a separator when anything
  // stands before it: the entry count, or a non-empty name higher up.
  uint64_t names = 0;
  uint64_t nodes = 0;
  uint64_t belowTopmostNamed = 0;
  for (const XmlNode* node = target;; node = node->parent) {
    const std::size_t nameLength = std::strlen(node->name);
    names += nameLength;
    ++nodes;
    if (nameLength > 0) belowTopmostNamed = nodes - 1;
    if (node == this) break;
  }
  const uint64_t full = entry + names + (entry > 0 ? nodes : belowTopmostNamed);

  // A path that no 32-bit size can hold with its NUL is treated as a buffer
  // that is too small, for the query as well.
  const bool representable = full < std::numeric_limits<uint32_t>::max();
  if (representable && buffer == nullptr) {
    *length = static_cast<uint32_t>(full);
    return errOk;
  }
  if (!representable || size < full + 1) {
    if (target == this) {
      *length = representable ? static_cast<uint32_t>(full) : std::numeric_limits<uint32_t>::max();
      return errBufferTooSmall;
    }
    *length = entry;
    return errUnspecified;
  }

  // Write from the end, climbing again.
  buffer[full] = '\0';
  uint64_t end = full;
  for (const XmlNode* node = target;; node = node->parent) {
    const std::size_t nameLength = std::strlen(node->name);
    const uint64_t begin = end - nameLength;
    std::memcpy(buffer + begin, node->name, nameLength);
    end = begin;
    if (begin > 0) buffer[--end] = '\\';
    if (node == this) break;
  }
  *length = static_cast<uint32_t>(full);
  return errOk;
}

}  // namespace trove
