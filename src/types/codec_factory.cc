// Making and releasing value codecs on an owner's host heap.
#include <new>
#include <type_traits>

#include "frame/host_services.h"
#include "types/block_codec.h"
#include "types/scalar_codecs.h"
#include "types/string_codec.h"
#include "types/value_codec.h"
#include "types/wide_string_codec.h"

namespace trove {
namespace {

// Constructs a codec in a block of the owner's heap; null when none is given.
template <typename Codec>
ValueCodec* make(PropertiesMap* owner) {
  static_assert(alignof(Codec) <= alignof(void*) * 2, "host blocks are malloc-aligned");
  void* block = nullptr;
  if (hostAlloc(owner, &block, sizeof(Codec)) < 0 || block == nullptr) return nullptr;
  if constexpr (std::is_constructible_v<Codec, PropertiesMap*>) {
    return new (block) Codec(owner);
  } else {
    return new (block) Codec();
  }
}

}  // namespace

ValueCodec* createValueCodec(PropertiesMap* owner, TypeId type) {
  // Every codec's memory comes from its owner's heap; there is none without one.
  if (owner == nullptr) return nullptr;
  switch (type) {
    case TROVE_TVOID:
      return make<VoidCodec>(owner);
    case TROVE_TBYTE:
      return make<UnsignedCodec<TROVE_TBYTE, uint8_t>>(owner);
    case TROVE_TWORD:
      return make<UnsignedCodec<TROVE_TWORD, uint16_t>>(owner);
    case TROVE_TDWORD:
      return make<UnsignedCodec<TROVE_TDWORD, uint32_t>>(owner);
    case TROVE_TQWORD:
      return make<UnsignedCodec<TROVE_TQWORD, uint64_t>>(owner);
    case TROVE_TBOOL:
      return make<BoolCodec>(owner);
    case TROVE_TCHAR:
      return make<CharCodec>(owner);
    case TROVE_TWCHAR:
      return make<WideCharCodec>(owner);
    case TROVE_TSTRING:
      return make<StringCodec>(owner);
    case TROVE_TWSTRING:
      return make<WideStringCodec>(owner);
    case TROVE_TERROR:
      return make<SignedCodec<TROVE_TERROR, int32_t>>(owner);
    case TROVE_TPTR:
      return make<BlockCodec<TROVE_TPTR>>(owner);
    case TROVE_TINT:
      return make<SignedCodec<TROVE_TINT, int32_t>>(owner);
    case TROVE_TUINT:
      return make<UnsignedCodec<TROVE_TUINT, uint32_t>>(owner);
    case TROVE_TSBYTE:
      return make<SignedCodec<TROVE_TSBYTE, int8_t>>(owner);
    case TROVE_TSHORT:
      return make<SignedCodec<TROVE_TSHORT, int16_t>>(owner);
    case TROVE_TLONG:
      return make<SignedCodec<TROVE_TLONG, int32_t>>(owner);
    case TROVE_TLONGLONG:
      return make<SignedCodec<TROVE_TLONGLONG, int64_t>>(owner);
    case TROVE_TIID:
      return make<UnsignedCodec<TROVE_TIID, uint32_t>>(owner);
    case TROVE_TPID:
      return make<UnsignedCodec<TROVE_TPID, uint32_t>>(owner);
    case TROVE_TORIG_ID:
      return make<UnsignedCodec<TROVE_TORIG_ID, uint32_t>>(owner);
    case TROVE_TOS_ID:
      return make<UnsignedCodec<TROVE_TOS_ID, uint32_t>>(owner);
    case TROVE_TVID:
      return make<UnsignedCodec<TROVE_TVID, uint32_t>>(owner);
    case TROVE_TPROPID:
      return make<UnsignedCodec<TROVE_TPROPID, uint32_t>>(owner);
    case TROVE_TVERSION:
      return make<UnsignedCodec<TROVE_TVERSION, uint32_t>>(owner);
    case TROVE_TCODEPAGE:
      return make<UnsignedCodec<TROVE_TCODEPAGE, uint32_t>>(owner);
    case TROVE_TLCID:
      return make<UnsignedCodec<TROVE_TLCID, uint32_t>>(owner);
    case TROVE_TDATA:
      return make<UnsignedCodec<TROVE_TDATA, uint64_t>>(owner);
    case TROVE_TDATETIME:
      return make<UnsignedCodec<TROVE_TDATETIME, uint64_t>>(owner);
    case TROVE_TFUNC_PTR:
      return make<FuncPtrCodec>(owner);
    case TROVE_TDOUBLE:
      return make<DoubleCodec>(owner);
    case TROVE_TBINARY:
      return make<BlockCodec<TROVE_TBINARY>>(owner);
    case TROVE_TTYPE_ID:
      return make<UnsignedCodec<TROVE_TTYPE_ID, uint32_t>>(owner);
    default:
      return nullptr;
  }
}

void releaseValueCodec(PropertiesMap* owner, ValueCodec* codec) {
  if (codec == nullptr) return;
  // The block began at the most derived object, wherever ValueCodec sits in it.
  void* block = dynamic_cast<void*>(codec);
  codec->~ValueCodec();
  hostFree(owner, block);
}

}  // namespace trove
