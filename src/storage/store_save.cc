// Saving the store through a temporary file with rotating backups.
#include "storage/store_file.h"

#include "trove/result_codes.h"

namespace trove {

int32_t flush(void*) { return errNotImplemented; }

bool isDefaultStoreName(const char16_t*, uint64_t) { return false; }

}  // namespace trove
