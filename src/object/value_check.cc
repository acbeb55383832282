#include "object/value_check.h"

#include "object/properties_map.h"
#include "services/host_services.h"
#include "types/value_codec.h"

namespace trove {

int32_t checkBinaryValue(PropertiesMap* map, const ValueCodec* codec, uint32_t* type,
                         uint32_t size) {
  if (codec == nullptr || type == nullptr) {
    return errInvalidArgument;
  }
  if (codec->GetType() != TROVE_TBINARY) {
    return errOk;
  }
  uint32_t binarySize = 0;
  int32_t result = codec->GetBinary(nullptr, 0, &binarySize);
  if (result < 0) {
    trace(map, TROVE_TRACE_ERROR, "Failed to get value: %terr", result);
    return result;
  }
  if (binarySize == size) {
    *type = codec->GetType();
  }
  return result;
}

}  // namespace trove
