// Calls into any object that offers the Registry interface, through the
// method table in its word 0, so that the object may be another
// implementation than this module's.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "trove/abi.h"

namespace trove {

class RegistryTable {
 public:
  explicit RegistryTable(void* object)
      : object_(object), methods_(object != nullptr ? *static_cast<void***>(object) : nullptr) {}

  void* object() const { return object_; }

  // Whether the object has a table with an entry in each of `slots`.
  bool offers(std::initializer_list<TroveRegistrySlot> slots) const {
    if (methods_ == nullptr) return false;
    for (TroveRegistrySlot slot : slots) {
      if (methods_[slot] == nullptr) return false;
    }
    return true;
  }

  template <class Function, class... Args>
  int32_t call(TroveRegistrySlot slot, Args... args) const {
    return reinterpret_cast<Function>(methods_[slot])(object_, args...);
  }

 private:
  void* object_;
  void** methods_;
};

}  // namespace trove
