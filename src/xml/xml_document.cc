#include "trove/result_codes.h"
#include "xml/xml_tree.h"

namespace trove {

int32_t XmlDocument::attach(PropertiesMap*) { return errNotImplemented; }
void XmlDocument::release() {}
int32_t XmlDocument::selectRootKey(XmlNode*) { return errNotImplemented; }
int32_t XmlDocument::setRootPath(const char*) { return errNotImplemented; }
XmlNode* XmlDocument::resolveKey(const XmlNode*) const { return nullptr; }
XmlNode* XmlDocument::nextSibling(const XmlNode*) const { return nullptr; }
void XmlDocument::clearRootKey() {}
int32_t XmlDocument::keyPath(const XmlNode*, char*, uint32_t, uint32_t*) const {
  return errNotImplemented;
}
int32_t XmlDocument::rootKeyPath(const XmlNode*, char*, uint32_t, uint32_t*) const {
  return errNotImplemented;
}

}  // namespace trove
