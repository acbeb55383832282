// The standard exceptions as the framework raises them, carrying the framework's
// own message texts ("bad allocation", "bad cast") instead of the library's.
#pragma once

#include <new>
#include <stdexcept>
#include <typeinfo>

namespace oru {

class bad_allocation : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

class bad_conversion : public std::bad_cast {
 public:
  const char* what() const noexcept override { return "bad cast"; }
};

[[noreturn]] inline void throwBadAlloc() {
  throw bad_allocation();
}
[[noreturn]] inline void throwBadCast() {
  throw bad_conversion();
}
[[noreturn]] inline void throwLengthError(const char* message) {
  throw std::length_error(message);
}
[[noreturn]] inline void throwOutOfRange(const char* message) {
  throw std::out_of_range(message);
}

}  // namespace oru
