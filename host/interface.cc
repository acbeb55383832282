#include "trove/host/interface.h"

namespace trove::host {

const TrovePropertyDescriptor* RegisteredInterface::findProperty(uint32_t id) const {
  for (uint32_t i = 0; i < propertyCount; ++i) {
    if (propertyTable[i].id == id) return &propertyTable[i];
  }
  return nullptr;
}

}  // namespace trove::host
