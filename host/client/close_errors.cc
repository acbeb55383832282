#include "trove/client/close_errors.h"

#include <cstdio>
#include <mutex>
#include <new>
#include <string>

#include "close_error_report.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

std::mutex handlerMutex;
CloseErrorHandler currentHandler;  // empty: the default

void writeToStandardError(const char* message) noexcept {
  std::fprintf(stderr,
               "trove: changes lost, the store could not be saved when it was destroyed: %s\n",
               message);
}

}  // namespace

CloseErrorHandler setCloseErrorHandler(CloseErrorHandler handler) {
  std::lock_guard lock(handlerMutex);
  CloseErrorHandler previous = std::move(currentHandler);
  currentHandler = std::move(handler);
  return previous;
}

namespace client_detail {

void reportCloseError(const std::exception_ptr& failure) noexcept {
  // Stays valid while `failure` holds the exception.
  const char* message = "unknown failure";
  try {
    CloseErrorHandler handler;
    {
      std::lock_guard lock(handlerMutex);
      handler = currentHandler;
    }
    try {
      std::rethrow_exception(failure);
    } catch (const Error& error) {
      message = error.what();
      if (!handler) return writeToStandardError(error.what());
      handler(error);
    } catch (const std::bad_alloc&) {
      if (!handler) return writeToStandardError("out of memory");
      handler(Error(errOutOfMemory, "close the store"));
    } catch (const std::exception& error) {
      message = error.what();
      if (!handler) return writeToStandardError(error.what());
      handler(Error(errUnexpected, std::string("close the store: ") + error.what()));
    }
  } catch (...) {
    // A handler that throws, or no memory left for it: the failure still shows.
    writeToStandardError(message);
  }
}

}  // namespace client_detail

}  // namespace trove
