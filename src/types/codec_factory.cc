// Making and releasing value codecs on an owner's host heap.
#include "types/value_codec.h"

namespace trove {

ValueCodec* createValueCodec(PropertiesMap* owner, TypeId type) {
  (void)owner;
  (void)type;
  return nullptr;
}

void releaseValueCodec(PropertiesMap* owner, ValueCodec* codec) {
  (void)owner;
  (void)codec;
}

}  // namespace trove
