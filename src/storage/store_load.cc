// Loading the store when an object is initialised.
#include "storage/store_file.h"

#include "trove/result_codes.h"

namespace trove {

int32_t loadStore(PropertiesMap*) { return errNotImplemented; }

int32_t readFromBuffer(PropertiesMap*, const char*, uint32_t) { return errNotImplemented; }

}  // namespace trove
