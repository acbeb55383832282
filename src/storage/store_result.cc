#include "storage/store_result.h"

#include "base/result_messages.h"
#include "trove/result_codes.h"

namespace trove {

int32_t normalizeLoadResult(int32_t code) {
  // The parser's positive results are success for the load; they must be
  // caught before the general translation turns 1 into 3.
  if (code == 1 || code == 2) return errOk;
  if (code == errEntryNotFound) return errFileNotFound;
  return toModuleResult(code);
}

int32_t normalizeSaveResult(int32_t code) {
  return toModuleResult(code);
}

int32_t saveResultFromError(platform::WinError error) {
  return normalizeSaveResult(resultFromSystemError(error));
}

int32_t loadResultFromError(platform::WinError error) {
  return normalizeLoadResult(resultFromSystemError(error));
}

}  // namespace trove
