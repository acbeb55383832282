// The six property accessors of the Registry interface, reached by the host
// through the property table. Each takes the object, a cell for the number of
// bytes used or needed, the property id (not looked at), a buffer and its
// size, and returns a result code.
#pragma once

#include <cstdint>

namespace trove {

int32_t getRootPoint(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer,
                     uint32_t size);
int32_t setRootPoint(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer,
                     uint32_t size);
int32_t getRootKey(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer, uint32_t size);
int32_t setRootKey(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer, uint32_t size);
int32_t getName(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer, uint32_t size);
int32_t setName(void* obj, uint32_t* outSize, uint32_t propertyId, void* buffer, uint32_t size);

}  // namespace trove
