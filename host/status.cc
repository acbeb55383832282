#include "trove/host/status.h"

#include <ostream>

#include "trove/host/trace.h"

namespace trove::host {

std::string Status::message() const {
  if (context_.empty()) return formatResult(code_);
  return context_ + " [" + formatResult(code_) + "]";
}

std::ostream& operator<<(std::ostream& out, const Status& status) {
  return out << status.message();
}

}  // namespace trove::host
