#include "trove/result_codes.h"
#include "xml/xml_tree.h"

namespace trove {

int32_t XmlDocument::serialize(std::string&) const { return errNotImplemented; }

}  // namespace trove
