// What a module registered through the root object's registerInterface: the
// interface's numbers, its three tables as the module owns them, and copies
// of their entries taken at registration.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "trove/abi.h"

namespace trove::host {

struct RegisteredInterface {
  uint32_t iid = 0;
  uint32_t pluginId = 0;
  uint32_t subtype = 0;
  uint32_t version = 0;
  uint32_t vendorId = 0;
  void** internalTable = nullptr;
  uint32_t internalCount = 0;
  void** methodTable = nullptr;
  uint32_t methodCount = 0;
  const TrovePropertyDescriptor* propertyTable = nullptr;
  uint32_t propertyCount = 0;
  uint32_t dataSize = 0;
  uint32_t flags = 0;

  // The entries as they were when registered.
  std::vector<void*> internalEntries;
  std::vector<void*> methodEntries;
  std::vector<TrovePropertyDescriptor> properties;

  // Keeps the registering module loaded while objects of the interface live.
  std::shared_ptr<void> module;

  // Looks in the module's live table; null when the id is not registered.
  const TrovePropertyDescriptor* findProperty(uint32_t id) const;
  void* internalEntry(uint32_t slot) const {
    return slot < internalCount ? internalTable[slot] : nullptr;
  }
  void* methodEntry(uint32_t slot) const {
    return slot < methodCount ? methodTable[slot] : nullptr;
  }
};

}  // namespace trove::host
