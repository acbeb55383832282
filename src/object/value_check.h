// The check that lets a tBINARY value of exactly the caller's size pass
// through unconverted, whatever type the caller asked for.
#pragma once

#include <cstdint>

namespace trove {

class PropertiesMap;
class ValueCodec;

// errInvalidArgument without codec or type cell. For a tBINARY codec whose
// binary size equals `size`, stores tBINARY in *type. A failing size query is
// traced at level 300 and returned.
int32_t checkBinaryValue(PropertiesMap* map, const ValueCodec* codec, uint32_t* type,
                         uint32_t size);

}  // namespace trove
