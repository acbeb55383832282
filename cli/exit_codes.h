// What the tool's exit status tells a script.
#pragma once

#include <cstdint>

#include "trove/result_codes.h"

namespace trove::cli {

enum ExitCode : int {
  kExitSuccess = 0,
  kExitNotFound = 1,    // no such key, value or store file
  kExitUsage = 2,       // bad command line or argument
  kExitStoreError = 3,  // damaged store, I/O failure, read-only refusal, anything else
};

inline ExitCode exitCodeFor(int32_t code) {
  if (code >= 0) return kExitSuccess;
  if (code == errEntryNotFound || code == errFileNotFound) return kExitNotFound;
  return kExitStoreError;
}

}  // namespace trove::cli
