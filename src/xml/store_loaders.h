// Loading what the store reader scans into the element tree.
#pragma once

#include <cstdint>

namespace trove {

class XmlReader;
struct XmlNode;

// Loads the store dialect: "key" elements and values named by type.
int32_t readKeyContent(XmlNode* node, XmlReader& reader);
// Loads any other XML: elements become keys, attributes and text tSTRING values.
int32_t importContent(XmlNode* node, XmlReader& reader);

}  // namespace trove
