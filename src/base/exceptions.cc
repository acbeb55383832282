#include "base/exceptions.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "trove/result_codes.h"

namespace trove {

int32_t resultFromCurrentException() noexcept {
  std::exception_ptr exception = std::current_exception();
  if (!exception) {
    return errUnknownException;
  }
  try {
    std::rethrow_exception(exception);
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  } catch (...) {
    return errUnknownException;
  }
}

}  // namespace trove
