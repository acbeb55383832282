// Typed values: the type table and the ValueCodec interface through which
// every value is held, read, written and converted.
#pragma once

#include <cstdint>

#include "trove/abi.h"
#include "trove/result_codes.h"
#include "trove/type_names.h"

namespace trove {

class PropertiesMap;  // the owner whose host heap serves a codec's memory

using TypeId = uint32_t;

// The type names indexed by TypeId (0..63); empty entries are "".
inline constexpr const auto& typeNameTable = kTypeNames;

// The TypeId whose name equals [name, name + length) exactly, or
// errInvalidArgument (as a negative number cast to int32_t) when none does.
int32_t typeIdFromName(const char* name, uint32_t length);

// Holds one value of one type. Slot order matters to nobody outside the
// module, but is kept as designed: GetType, GetBinary, SetBinary, ToText,
// FromText, destructor.
class ValueCodec {
 public:
  virtual TypeId GetType() const = 0;
  // Copy-out protocol: `required` (may be null) receives the byte count
  // first; a null buffer with size 0 is a size query.
  virtual int32_t GetBinary(void* buffer, uint32_t size, uint32_t* required) const = 0;
  // errOk when the value changed, errUnchanged when it was equal already.
  virtual int32_t SetBinary(const void* data, uint32_t size) = 0;
  virtual int32_t ToText(char* buffer, uint32_t size, uint32_t* required) const = 0;
  virtual int32_t FromText(const char* text) = 0;
  virtual ~ValueCodec() = default;
};

// A new codec for `type` on the owner's host heap, or null when the type has
// no codec or the heap is exhausted.
ValueCodec* createValueCodec(PropertiesMap* owner, TypeId type);

// For a codec that shares its block with other data (a value record keeps its
// codec at the start of its own block): the codec's size (0 for a type
// without a codec), and its construction at the start of a block of at least
// that size, aligned to kCodecAlignment. releaseValueCodec frees that whole
// block.
inline constexpr uint32_t kCodecAlignment = 16;
uint32_t codecSize(TypeId type);
ValueCodec* constructValueCodec(PropertiesMap* owner, TypeId type, void* block);

// Runs the codec's destructor (which frees what it owns through its own
// owner) and gives its block back through `owner`'s heap. Null is ignored.
void releaseValueCodec(PropertiesMap* owner, ValueCodec* codec);

}  // namespace trove
