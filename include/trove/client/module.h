// The module file behind every store of the process. Without a call to
// loadModule, the first store that opens finds the module as
// trove/host/module_search.h says: beside libtrove, in its trove/
// subdirectory, then through TROVE_MODULE_PATH.
#pragma once

#include <string>

namespace trove {

// Loads the module at `path` for every store of the process. Throws
// trove::Error when the file cannot be loaded as the trove module, and
// errAlreadyDone when another module file is loaded already (a second call
// with the same path does nothing).
void loadModule(const std::string& path);

// The file of the loaded module, loading it by the search above when no
// store has been opened yet. Throws trove::Error when there is none, with a
// message naming every place looked at.
std::string modulePath();

}  // namespace trove
