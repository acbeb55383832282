// `trove check`: the state of a store file and of the files its saves leave
// beside it, and with --repair the recovery of a store an interrupted save
// left missing.
#pragma once

#include "commands.h"

namespace trove::cli {

struct CheckArgs {
  bool repair = false;
};

void runCheck(const GlobalOptions& global, const CheckArgs& args, Output& output);

}  // namespace trove::cli
