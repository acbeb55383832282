// Saves that fail where nothing can throw. A Store destroyed without close()
// (or replaced by a move assignment) still writes its changes back, but a
// destructor cannot throw: a failure there goes to the close-error handler,
// which by default writes one line to standard error. close() is how a
// program handles a failed save itself; it throws trove::Error.
#pragma once

#include <functional>

#include "trove/client/error.h"

namespace trove {

using CloseErrorHandler = std::function<void(const Error&)>;

// Sets the handler for every store of the process and returns the previous
// one. A null handler restores the default; a handler must not throw.
CloseErrorHandler setCloseErrorHandler(CloseErrorHandler handler);

}  // namespace trove
