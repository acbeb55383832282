#include "plain_host.h"

#include <cstdlib>
#include <stdexcept>

namespace trove_bench {

namespace {

int32_t plainAlloc(void**, void** block, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = std::malloc(size ? size : 1);
  return *block ? errOk : errOutOfMemory;
}

int32_t plainRealloc(void**, void** block, void* old, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = std::realloc(old, size ? size : 1);
  return *block ? errOk : errOutOfMemory;
}

int32_t plainFree(void**, void* block) {
  std::free(block);
  return errOk;
}

int32_t notSupported(void*) {
  return errNotSupported;
}

void** plainServices() {
  static void* table[TROVE_SERVICES_COUNT];
  static const bool filled = [] {
    for (void*& slot : table) slot = reinterpret_cast<void*>(&notSupported);
    table[TROVE_SERVICE_ALLOC] = reinterpret_cast<void*>(&plainAlloc);
    table[TROVE_SERVICE_REALLOC] = reinterpret_cast<void*>(&plainRealloc);
    table[TROVE_SERVICE_FREE] = reinterpret_cast<void*>(&plainFree);
    return true;
  }();
  (void)filled;
  return table;
}

}  // namespace

PlainHost::PlainHost() {
  trove::host::HostOptions options;
  options.root.provideTrace = false;
  host_ = std::make_unique<trove::host::Host>(options);
  const trove::host::Module module = host_->loadModule();
  if (!module.ok()) throw std::runtime_error(module.status().message());
}

trove::host::Object PlainHost::createObject() {
  trove::host::Object object = host_->createObject(TROVE_IID_REGISTRY);
  if (!object.ok()) throw std::runtime_error(object.status().message());
  // Nothing may have come from the host heap yet: a block from it would
  // later be given to free() while the host heap still counts it.
  if (object.liveBlocks() != 0) {
    throw std::runtime_error("the object took blocks from the host heap while being constructed");
  }
  static_cast<TroveHostObject*>(object.get())->services = plainServices();
  return object;
}

}  // namespace trove_bench
