// A host that stays out of the way: the module's blocks come straight from
// malloc (no accounting per block) and its trace lines are never formatted
// (the host offers no trace function, so the module skips them). What the
// module itself costs shows here; what the host library adds shows in the
// difference to an object of an ordinary trove::host::Host.
#pragma once

#include <memory>

#include "trove/host.h"

namespace trove_bench {

class PlainHost {
 public:
  // Loads the module. The module keeps the trace function of the first
  // host it was registered with, so this must be the first in its process.
  PlainHost();

  // A Registry object whose services are malloc, realloc and free.
  trove::host::Object createObject();

 private:
  std::unique_ptr<trove::host::Host> host_;
};

}  // namespace trove_bench
