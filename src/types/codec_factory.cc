// Making and releasing value codecs on an owner's host heap.
#include <new>
#include <type_traits>

#include "services/host_services.h"
#include "types/block_codec.h"
#include "types/scalar_codecs.h"
#include "types/string_codec.h"
#include "types/value_codec.h"
#include "types/wide_string_codec.h"

namespace trove {
namespace {

// Calls `visit` with std::type_identity<Codec> for the codec class of `type`;
// a type without a codec gives `none`.
template <typename Result, typename Visit>
Result withCodecClass(TypeId type, Result none, Visit&& visit) {
  switch (type) {
    case TROVE_TVOID:
      return visit(std::type_identity<VoidCodec>{});
    case TROVE_TBYTE:
      return visit(std::type_identity<UnsignedCodec<TROVE_TBYTE, uint8_t>>{});
    case TROVE_TWORD:
      return visit(std::type_identity<UnsignedCodec<TROVE_TWORD, uint16_t>>{});
    case TROVE_TDWORD:
      return visit(std::type_identity<UnsignedCodec<TROVE_TDWORD, uint32_t>>{});
    case TROVE_TQWORD:
      return visit(std::type_identity<UnsignedCodec<TROVE_TQWORD, uint64_t>>{});
    case TROVE_TBOOL:
      return visit(std::type_identity<BoolCodec>{});
    case TROVE_TCHAR:
      return visit(std::type_identity<CharCodec>{});
    case TROVE_TWCHAR:
      return visit(std::type_identity<WideCharCodec>{});
    case TROVE_TSTRING:
      return visit(std::type_identity<StringCodec>{});
    case TROVE_TWSTRING:
      return visit(std::type_identity<WideStringCodec>{});
    case TROVE_TERROR:
      return visit(std::type_identity<SignedCodec<TROVE_TERROR, int32_t>>{});
    case TROVE_TPTR:
      return visit(std::type_identity<BlockCodec<TROVE_TPTR>>{});
    case TROVE_TINT:
      return visit(std::type_identity<SignedCodec<TROVE_TINT, int32_t>>{});
    case TROVE_TUINT:
      return visit(std::type_identity<UnsignedCodec<TROVE_TUINT, uint32_t>>{});
    case TROVE_TSBYTE:
      return visit(std::type_identity<SignedCodec<TROVE_TSBYTE, int8_t>>{});
    case TROVE_TSHORT:
      return visit(std::type_identity<SignedCodec<TROVE_TSHORT, int16_t>>{});
    case TROVE_TLONG:
      return visit(std::type_identity<SignedCodec<TROVE_TLONG, int32_t>>{});
    case TROVE_TLONGLONG:
      return visit(std::type_identity<SignedCodec<TROVE_TLONGLONG, int64_t>>{});
    case TROVE_TIID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TIID, uint32_t>>{});
    case TROVE_TPID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TPID, uint32_t>>{});
    case TROVE_TORIG_ID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TORIG_ID, uint32_t>>{});
    case TROVE_TOS_ID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TOS_ID, uint32_t>>{});
    case TROVE_TVID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TVID, uint32_t>>{});
    case TROVE_TPROPID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TPROPID, uint32_t>>{});
    case TROVE_TVERSION:
      return visit(std::type_identity<UnsignedCodec<TROVE_TVERSION, uint32_t>>{});
    case TROVE_TCODEPAGE:
      return visit(std::type_identity<UnsignedCodec<TROVE_TCODEPAGE, uint32_t>>{});
    case TROVE_TLCID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TLCID, uint32_t>>{});
    case TROVE_TDATA:
      return visit(std::type_identity<UnsignedCodec<TROVE_TDATA, uint64_t>>{});
    case TROVE_TDATETIME:
      return visit(std::type_identity<UnsignedCodec<TROVE_TDATETIME, uint64_t>>{});
    case TROVE_TFUNC_PTR:
      return visit(std::type_identity<FuncPtrCodec>{});
    case TROVE_TDOUBLE:
      return visit(std::type_identity<DoubleCodec>{});
    case TROVE_TBINARY:
      return visit(std::type_identity<BlockCodec<TROVE_TBINARY>>{});
    case TROVE_TTYPE_ID:
      return visit(std::type_identity<UnsignedCodec<TROVE_TTYPE_ID, uint32_t>>{});
    default:
      return none;
  }
}

template <typename Codec>
ValueCodec* construct(PropertiesMap* owner, void* block) {
  static_assert(alignof(Codec) <= kCodecAlignment, "host blocks are malloc-aligned");
  if constexpr (std::is_constructible_v<Codec, PropertiesMap*>) {
    return new (block) Codec(owner);
  } else {
    return new (block) Codec();
  }
}

}  // namespace

uint32_t codecSize(TypeId type) {
  return withCodecClass(type, 0u, [](auto codec) {
    return static_cast<uint32_t>(sizeof(typename decltype(codec)::type));
  });
}

ValueCodec* constructValueCodec(PropertiesMap* owner, TypeId type, void* block) {
  return withCodecClass(type, static_cast<ValueCodec*>(nullptr), [&](auto codec) {
    return construct<typename decltype(codec)::type>(owner, block);
  });
}

ValueCodec* createValueCodec(PropertiesMap* owner, TypeId type) {
  // Every codec's memory comes from its owner's heap; there is none without one.
  if (owner == nullptr) return nullptr;
  const uint32_t size = codecSize(type);
  if (size == 0) return nullptr;
  void* block = nullptr;
  if (hostAlloc(owner, &block, size) < 0 || block == nullptr) return nullptr;
  return constructValueCodec(owner, type, block);
}

void releaseValueCodec(PropertiesMap* owner, ValueCodec* codec) {
  if (codec == nullptr) return;
  // The block began at the most derived object, wherever ValueCodec sits in it.
  void* block = dynamic_cast<void*>(codec);
  codec->~ValueCodec();
  hostFree(owner, block);
}

}  // namespace trove
