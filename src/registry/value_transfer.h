// Reading and writing a stored value in a caller's type: straight through
// the codec when the types agree, through the value's text when they differ.
#pragma once

#include <cstdint>

namespace trove {

class PropertiesMap;
class ValueCodec;

// Copies the value into `buffer` in the type *type names (null or 0: the
// stored type, which a 0 cell receives back). tSTRING_OBJ hands the text to
// the host string object that `buffer` points at.
int32_t readValue(PropertiesMap* map, const ValueCodec* codec, uint32_t* required, uint32_t* type,
                  void* buffer, uint32_t size);

// Stores `size` bytes of type `type` into the value. Sets the object's
// changed flag when the stored value changed; a failure leaves it as it was.
int32_t writeValue(PropertiesMap* map, ValueCodec* codec, uint32_t type, const void* buffer,
                   uint32_t size);

}  // namespace trove
