#include "base/exceptions.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "base/number_format.h"
#include "base/result_messages.h"
#include "base/text_conversion.h"
#include "trove/result_codes.h"

namespace oru {

Exception::Exception(std::string message, wstring_t description)
    : message_(std::move(message)), description_(std::move(description)) {}

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
  return message_.empty() ? "Unknown exception" : message_.c_str();
}

wstring_t Exception::description() const {
  return description_;
}

ResultCodeException::ResultCodeException(int32_t code, const wstring_t& description)
    : ExceptionBase(std::string(), description), code_(code) {}

const char* ResultCodeException::what() const noexcept {
  return "ResultCodeException";
}

wstring_t ResultCodeException::description() const {
  wstring_t text(storedDescription());
  if (!text.empty()) {
    text.append(u": ");
  }
  text.append(u"0x");
  trove::FormatSpec hex;
  hex.width = 8;
  hex.radix = 16;
  hex.fill = u'0';
  hex.alignment = 1;
  trove::formatUnsigned(text, hex, static_cast<uint32_t>(code_), 16, false);
  text.append(u" (");
  std::string_view message = trove::describeAnyResult(code_);
  if (message.empty()) {
    message = trove::kUnknownResultMessage;
  }
  text.append(trove::widenAscii(message));
  text.append(u")");
  return text;
}

}  // namespace oru

namespace trove {

int32_t resultFromException(std::exception_ptr exception) noexcept {
  if (!exception) {
    return errUnknownException;
  }
  try {
    std::rethrow_exception(exception);
  } catch (const oru::ResultCodeException& e) {
    return e.code() != 0 ? e.code() : errUnexpected;
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  } catch (...) {
    return errUnknownException;
  }
}

int32_t resultFromCurrentException() noexcept {
  return resultFromException(std::current_exception());
}

}  // namespace trove
