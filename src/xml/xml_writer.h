// The store writer: the element tree in the one canonical layout (CR LF line
// ends, four spaces per level, keys before values), appended to a string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace trove {

struct XmlNode;

// Writes the child keys and then the values of `node`, each line indented by
// `indent` spaces, the keys' contents four spaces deeper.
int32_t writeNode(const XmlNode* node, std::string& out, int32_t indent);

// Appends ` name="..."` with the name escaped. Throws std::bad_alloc.
void writeNameAttribute(std::string& out, const char* name);

// Appends `text` with the markup characters and the control bytes other than
// LF and CR replaced by references. A length of SIZE_MAX reads up to the NUL.
// Throws std::bad_alloc.
void escapeText(const char* text, size_t length, std::string& out);

}  // namespace trove
