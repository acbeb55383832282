#include "trove/result_codes.h"
#include "xml/xml_tree.h"

namespace trove {

int32_t XmlDocument::parse(const char*, uint32_t) { return errNotImplemented; }

}  // namespace trove
