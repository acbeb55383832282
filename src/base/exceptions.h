// The framework's exception classes and the conversion of a caught exception
// into a result code.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "base/oru_string.h"

namespace oru {

// An exception with a narrow message and a wide description.
class Exception : public std::exception {
 public:
  Exception() = default;
  explicit Exception(std::string message, wstring_t description = wstring_t());
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;

  // The stored message, or "Unknown exception" when there is none.
  const char* what() const noexcept override;
  virtual wstring_t description() const;
  [[noreturn]] virtual void rethrow() const = 0;
  // A heap copy that the caller owns and deletes.
  virtual Exception* clone() const = 0;

 protected:
  const wstring_t& storedDescription() const { return description_; }

 private:
  std::string message_;
  wstring_t description_;
};

// Supplies rethrow and clone for the most derived class.
template <class Derived, class Base>
class ExceptionBase : public Base {
 public:
  using Base::Base;

  [[noreturn]] void rethrow() const override { throw static_cast<const Derived&>(*this); }
  Exception* clone() const override { return new Derived(static_cast<const Derived&>(*this)); }
};

// A failure carried as a result code, with an optional description of what
// was attempted.
class ResultCodeException : public ExceptionBase<ResultCodeException, Exception> {
 public:
  explicit ResultCodeException(int32_t code, const wstring_t& description = wstring_t());

  const char* what() const noexcept override;
  // The description, ": " when it is not empty, "0x" and the code in eight
  // lower-case hexadecimal digits, then the code's message in parentheses,
  // e.g. "Cannot open: 0x80010102 (File not found)".
  wstring_t description() const override;
  int32_t code() const noexcept { return code_; }

 private:
  int32_t code_;
};

}  // namespace oru

namespace trove {

// The code for the exception being handled: a ResultCodeException's code
// (errUnexpected for 0), errOutOfMemory for std::bad_alloc and
// std::length_error, errUnknownException for anything else. Outside a
// handler the result is errUnknownException.
int32_t resultFromCurrentException() noexcept;

// The same for a captured exception.
int32_t resultFromException(std::exception_ptr exception) noexcept;

}  // namespace trove
