// How a Store reports a failed close where it cannot throw.
#pragma once

#include <exception>

namespace trove::client_detail {

// Gives the failure to the close-error handler (for a trove::Error) or to
// standard error; never throws.
void reportCloseError(const std::exception_ptr& failure) noexcept;

}  // namespace trove::client_detail
