#include "value_text.h"

#include "trove/client/error.h"
#include "trove/host/object.h"

namespace trove::cli {

namespace {

// A store in memory that is never written anywhere, for one value at a time.
Store scratchStore() {
  StoreOptions options;
  options.saveOnClose = false;
  return Store::openMemory("", options);
}

// Text read as tSTRING ends at its NUL; the other forms carry none.
std::string untilNul(std::string text) {
  const size_t end = text.find('\0');
  if (end != std::string::npos) text.resize(end);
  return text;
}

}  // namespace

std::optional<std::string> valueTextAt(const Store& store, const Key& key, uint32_t index) {
  host::Object& object = store.object();
  uint32_t type = TROVE_TSTRING, required = 0;
  int32_t result =
      object.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &required, key.handle(),
                                        index, &type, static_cast<void*>(nullptr), 0u);
  // A stored type whose codec has no text form refuses the conversion.
  if (result == errUnspecified) return std::nullopt;
  check(result, "read value text");
  std::string text(required, '\0');
  if (required) {
    check(
        object.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &required, key.handle(),
                                          index, &type, static_cast<void*>(text.data()), required),
        "read value text");
  }
  return untilNul(std::move(text));
}

std::string valueTextAs(const Store& store, const Key& key, const std::string& name,
                        TroveTypeId type) {
  host::Object& object = store.object();
  uint32_t wanted = type, required = 0;
  check(object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key.handle(), name.c_str(),
                                   &wanted, static_cast<void*>(nullptr), 0u),
        "read value");
  Bytes bytes(required);
  if (required) {
    check(object.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key.handle(), name.c_str(),
                                     &wanted, static_cast<void*>(bytes.data()), required),
          "read value");
  }
  // The bytes in `type` become text through a codec of that type: a value
  // of a scratch store.
  Store scratch = scratchStore();
  static const uint8_t none = 0;
  check(scratch.object().call<TroveSetValue>(TROVE_SLOT_SET_VALUE, TroveKey{0}, "value", type,
                                             bytes.empty() ? &none : bytes.data(),
                                             static_cast<uint32_t>(bytes.size()), 1u),
        "format value");
  return scratch.root().text("value");
}

bool typeHoldsValues(TroveTypeId type) {
  // The module makes no value of a type it has no codec for.
  Store scratch = scratchStore();
  static const uint8_t zeros[8] = {};
  return scratch.object().call<TroveSetValue>(TROVE_SLOT_SET_VALUE, TroveKey{0}, "value", type,
                                              zeros, uint32_t{sizeof zeros}, 1u) != errOutOfMemory;
}

}  // namespace trove::cli
