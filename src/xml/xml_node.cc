#include "trove/result_codes.h"
#include "xml/xml_tree.h"

namespace trove {

XmlNode* XmlNode::create(PropertiesMap*, const char*, uint32_t) { return nullptr; }
void XmlNode::destroy(XmlNode*) {}
XmlNode* XmlNode::createPath(const char*, bool) { return nullptr; }
XmlNode* XmlNode::findPath(const char*, XmlNode**) const { return nullptr; }
XmlNode* XmlNode::childAt(uint32_t) const { return nullptr; }
XmlNode* XmlNode::nextChild(const XmlNode*) const { return nullptr; }
uint32_t XmlNode::childCount() const { return static_cast<uint32_t>(children.count); }
uint32_t XmlNode::valueCount() const { return static_cast<uint32_t>(values.count); }
int32_t XmlNode::removePath(const char*) { return errNotImplemented; }
int32_t XmlNode::removeChildAt(uint32_t) { return errNotImplemented; }
int32_t XmlNode::addValue(const char*, TypeId, const void*, uint32_t) { return errNotImplemented; }
int32_t XmlNode::addValueAt(uint32_t, TypeId, const void*, uint32_t) { return errNotImplemented; }
int32_t XmlNode::appendValueFromBinary(const char*, TypeId, const void*, uint32_t) {
  return errNotImplemented;
}
int32_t XmlNode::appendValueFromText(const char*, TypeId, const char*) { return errNotImplemented; }
ValueCodec* XmlNode::findValue(const char*) const { return nullptr; }
ValueCodec* XmlNode::valueAt(uint32_t) const { return nullptr; }
const char* XmlNode::valueNameAt(uint32_t) const { return nullptr; }
int32_t XmlNode::removeValue(const char*) { return errNotImplemented; }
int32_t XmlNode::removeValueAt(uint32_t) { return errNotImplemented; }
void XmlNode::clear() {}
const XmlNode* XmlNode::findParent(const XmlNode*) const { return nullptr; }
int32_t XmlNode::buildPath(const XmlNode*, char*, uint32_t, uint32_t*) const {
  return errNotImplemented;
}

}  // namespace trove
