// The life-cycle hooks of internalTable and the object's own 23-slot method
// table (slots 0..21 the Registry methods, slot 22 flush).
#pragma once

#include <cstdint>

namespace trove {

int32_t onDataInit(void* object, uint32_t create);
int32_t onInitDone(void* object);
int32_t onClose(void* object);

// The method table that the constructor stores in word 0.
void** objectMethodTable();

// The placeholder services table (82 entries that do no work) that the
// constructor stores in word 1 until the host puts its own there.
void** placeholderServicesTable();

}  // namespace trove
