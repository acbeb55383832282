#include "services/host_services.h"

#include <atomic>
#include <cstdarg>

namespace trove {
namespace {

// Module-wide cells, written at load or at first use without a lock: two
// threads meeting an empty cell both look the function up and store the same
// address.
void* gRootObject = nullptr;
void* gHostTraceCell = nullptr;
void* gHostStringAssignCell = nullptr;

void* loadCell(void** cell) {
  return std::atomic_ref<void*>(*cell).load(std::memory_order_relaxed);
}

void storeCell(void** cell, void* value) {
  std::atomic_ref<void*>(*cell).store(value, std::memory_order_relaxed);
}

void** servicesHolder(const void* object) {
  return const_cast<void**>(static_cast<void* const*>(object) + 1);
}

void* serviceEntry(void** holder, int slot) {
  void** services = static_cast<void**>(*holder);
  return services ? services[slot] : nullptr;
}

}  // namespace

void setRootObject(void* root) {
  storeCell(&gRootObject, root);
}

void* rootObject() {
  return loadCell(&gRootObject);
}

void* resolveHostFunction(void** cell, uint32_t first, uint32_t function, uint32_t second) {
  if (void* known = loadCell(cell)) return known;
  void* root = rootObject();
  if (!root) return nullptr;
  void** methods = *static_cast<void***>(root);
  if (!methods || !methods[TROVE_ROOT_SLOT_RESOLVE_FUNCTION]) return nullptr;
  // The host's result is not looked at: what counts is whether the cell holds
  // an address afterwards. An empty cell is asked for again next time.
  auto resolve =
      reinterpret_cast<TroveResolveHostFunction>(methods[TROVE_ROOT_SLOT_RESOLVE_FUNCTION]);
  resolve(root, cell, first, function, second);
  void* found = loadCell(cell);
  return found;
}

TroveHostStringAssign hostStringAssign() {
  return reinterpret_cast<TroveHostStringAssign>(
      resolveHostFunction(&gHostStringAssignCell, TROVE_HOST_STRING_ASSIGN_FIRST,
                          TROVE_HOST_STRING_ASSIGN_FUNCTION, TROVE_HOST_STRING_ASSIGN_SECOND));
}

// Without an object at hand the root object's heap is used, on both the
// allocating and the freeing side, so a block still goes back to its holder.
int32_t hostAlloc(const void* object, void** block, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  if (!object) object = rootObject();
  if (!object) return errUnexpected;
  void** holder = servicesHolder(object);
  auto alloc = reinterpret_cast<TroveHostAlloc>(serviceEntry(holder, TROVE_SERVICE_ALLOC));
  if (!alloc) return errUnexpected;
  return alloc(holder, block, size);
}

int32_t hostRealloc(const void* object, void** block, void* old, uint32_t size) {
  if (!block) return errInvalidArgument;
  *block = nullptr;
  if (!object) object = rootObject();
  if (!object) return errUnexpected;
  void** holder = servicesHolder(object);
  auto realloc = reinterpret_cast<TroveHostRealloc>(serviceEntry(holder, TROVE_SERVICE_REALLOC));
  if (!realloc) return errUnexpected;
  return realloc(holder, block, old, size);
}

void hostFree(const void* object, void* block) {
  if (!block) return;
  if (!object) object = rootObject();
  if (!object) return;
  void** holder = servicesHolder(object);
  auto release = reinterpret_cast<TroveHostFree>(serviceEntry(holder, TROVE_SERVICE_FREE));
  if (release) release(holder, block);
}

int32_t rootAlloc(void** block, uint32_t size) {
  void* root = rootObject();
  if (!root) {
    if (block) *block = nullptr;
    return errUnexpected;
  }
  return hostAlloc(root, block, size);
}

void rootFree(void* block) {
  if (void* root = rootObject()) hostFree(root, block);
}

int32_t trace(const void* object, uint32_t level, const char* format, ...) {
  if (!rootObject()) return errUnexpected;
  auto hostTrace = reinterpret_cast<TroveHostTrace>(resolveHostFunction(
      &gHostTraceCell, TROVE_HOST_TRACE_FIRST, TROVE_HOST_TRACE_FUNCTION, TROVE_HOST_TRACE_SECOND));
  if (!hostTrace) return errUnexpected;
  va_list args;
  va_start(args, format);
  int32_t result = hostTrace(const_cast<void*>(object), level, format, args);
  va_end(args);
  return result;
}

}  // namespace trove
