// The host services that the module uses: the root object and the host
// functions found by number (module-wide cells), the object heap reached
// through word 1 of any host object, and the one tracing helper.
#pragma once

#include <cstdint>

#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {

// Module-wide cells. The root object is stored at reason 100 and never cleared.
void setRootObject(void* root);
void* rootObject();

// Looks a host function up through the root object's resolveHostFunction
// unless `cell` already holds it. Returns the cell's content (null when the
// host does not provide the function; the next call asks again).
void* resolveHostFunction(void** cell, uint32_t first, uint32_t function, uint32_t second);

// The cell of hostStringAssign, filled at its first use.
TroveHostStringAssign hostStringAssign();

// Object heap: the holder is the address of word 1 of `object` (any host
// object, the root object included). A block is always freed through the
// holder it came from.
int32_t hostAlloc(const void* object, void** block, uint32_t size);
int32_t hostRealloc(const void* object, void** block, void* old, uint32_t size);
void hostFree(const void* object, void* block);

// The root object's heap (store buffers, and the fallback without an object).
int32_t rootAlloc(void** block, uint32_t size);
void rootFree(void* block);

// Writes one trace line through the host's trace function. Returns
// errUnexpected before reason 100 or when the host gives no trace function.
// (No printf attribute: the host's own %S and %terr conversions would be
// taken for the compiler's wide-string and double conversions.)
int32_t trace(const void* object, uint32_t level, const char* format, ...);

}  // namespace trove
