// The host's root object as a module sees it: registerInterface in method
// slot 0, resolveHostFunction in slot 14, the working services in word 1.
// Tests configure how it answers and read how often it was asked.
#pragma once

#include <cstdint>

#include "trove/result_codes.h"

namespace trove::host {

struct RootOptions {
  // What registerInterface answers. A negative code refuses the registration
  // (nothing is recorded); a success code records the interface.
  int32_t registerResult = errOk;
  // Whether resolveHostFunction knows hostTrace and hostStringAssign; when
  // not, it leaves the cell empty.
  bool provideTrace = true;
  bool provideStringAssign = true;
};

struct RootCounters {
  uint32_t registerInterface = 0;
  uint32_t resolveHostFunction = 0;  // all lookups
  uint32_t resolveTrace = 0;         // lookups of hostTrace
  uint32_t resolveStringAssign = 0;  // lookups of hostStringAssign
  uint32_t resolveUnknown = 0;       // lookups of anything else
};

}  // namespace trove::host
