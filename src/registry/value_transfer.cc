#include "registry/value_transfer.h"

#include <cstring>

#include "base/text_conversion.h"
#include "object/properties_map.h"
#include "object/value_check.h"
#include "registry/host_block.h"
#include "services/host_services.h"
#include "types/value_codec.h"

namespace trove {

namespace {

constexpr uint32_t kUtf16CodePage = 1200;

// The codec's text in a zero-filled block: several codecs write no NUL.
int32_t textOf(const ValueCodec* codec, HostBlock& text) {
  uint32_t length = 0;
  int32_t result = codec->ToText(nullptr, 0, &length);
  if (result < 0) {
    return result;
  }
  if (length == UINT32_MAX) {
    return errOutOfMemory;
  }
  result = text.allocateZeroed(length + 1);
  if (result < 0) {
    return result;
  }
  return codec->ToText(text.chars(), length + 1, nullptr);
}

// Fills a tWSTRING codec from UTF-8 text.
int32_t setWideFromUtf8(PropertiesMap* map, ValueCodec* codec, const char* text) {
  size_t length = std::strlen(text);
  if (length > (UINT32_MAX - 2) / 2) {
    return errOutOfMemory;
  }
  HostBlock wide(map);
  int32_t result = wide.allocateZeroed(static_cast<uint32_t>(2 * length + 2));
  if (result < 0) {
    return result;
  }
  char16_t* units = static_cast<char16_t*>(wide.get());
  size_t count = utf8ToUtf16(text, length, units);
  units[count] = u'\0';
  result = codec->SetBinary(units, static_cast<uint32_t>(2 * count));
  return result < 0 ? result : errOk;
}

// Hands a tWSTRING codec's text, with its terminator, to a host string object.
int32_t assignToStringObject(PropertiesMap* map, TemporaryCodec& codec, void* stringObject) {
  uint32_t length = 0;
  int32_t result = codec->GetBinary(nullptr, 0, &length);
  if (result < 0) {
    return result;
  }
  if (length > UINT32_MAX - 2) {
    return errOutOfMemory;
  }
  HostBlock block(map);
  // Two bytes beyond what GetBinary writes stay zero.
  result = block.allocateZeroed(length + 2);
  if (result < 0) {
    return result;
  }
  result = codec->GetBinary(block.get(), length + 2, nullptr);
  codec.reset();
  if (result < 0) {
    return result;
  }
  TroveHostStringAssign assign = hostStringAssign();
  if (assign == nullptr) {
    return errNotSupported;
  }
  return assign(stringObject, 0, 0xFFFF, block.get(), length + 2, kUtf16CodePage);
}

// Stores bytes of the stored type; an equal value is no change.
int32_t setDirect(PropertiesMap* map, ValueCodec* codec, const void* data, uint32_t size) {
  int32_t result = codec->SetBinary(data, size);
  if (result < 0) {
    return result;
  }
  if (result != errUnchanged) {
    map->markChanged();
  }
  return errOk;
}

}  // namespace

int32_t readValue(PropertiesMap* map, const ValueCodec* codec, uint32_t* required, uint32_t* type,
                  void* buffer, uint32_t size) {
  TypeId stored = codec->GetType();
  TypeId wanted = stored;
  if (type != nullptr) {
    if (*type == 0) {
      *type = stored;
    } else {
      wanted = *type;
    }
  }
  // A tBINARY of exactly the caller's size passes unconverted; the caller's
  // type cell keeps what it asked for.
  int32_t result = checkBinaryValue(map, codec, &wanted, size);
  if (result < 0) {
    return result;
  }
  if (wanted == stored) {
    return codec->GetBinary(buffer, size, required);
  }

  bool toStringObject = wanted == TROVE_TSTRING_OBJ;
  if (toStringObject && buffer == nullptr) {
    return errInvalidArgument;
  }
  HostBlock text(map);
  result = textOf(codec, text);
  if (result < 0) {
    return result;
  }
  TemporaryCodec converted(map, toStringObject ? TypeId{TROVE_TWSTRING} : wanted);
  if (!converted) {
    return errOutOfMemory;
  }
  if (converted->GetType() == TROVE_TWSTRING) {
    result = setWideFromUtf8(map, converted.get(), text.chars());
  } else {
    result = converted->FromText(text.chars());
  }
  text.reset();
  if (result < 0) {
    return result;
  }
  if (toStringObject) {
    if (required != nullptr) {
      *required = 0;
    }
    return assignToStringObject(map, converted, buffer);
  }
  return converted->GetBinary(buffer, size, required);
}

int32_t writeValue(PropertiesMap* map, ValueCodec* codec, uint32_t type, const void* buffer,
                   uint32_t size) {
  TypeId stored = codec->GetType();
  if (type == stored) {
    return setDirect(map, codec, buffer, size);
  }
  const void* data = buffer;
  if (type == TROVE_TSTRING_OBJ) {
    if (buffer == nullptr) {
      return errInvalidArgument;
    }
    const TroveStringObject* object = static_cast<const TroveStringObject*>(buffer);
    if (object->length > UINT32_MAX / 2) {
      return errInvalidArgument;
    }
    data = object->chars != nullptr ? static_cast<const void*>(object->chars) : u"";
    size = 2 * object->length;
    type = TROVE_TWSTRING;
  }
  // A wide string takes the bytes as UTF-16 text whatever their type.
  if (stored == TROVE_TWSTRING) {
    return setDirect(map, codec, data, size);
  }
  int32_t result = checkBinaryValue(map, codec, &type, size);
  if (result < 0) {
    return result;
  }
  TemporaryCodec converted(map, type);
  if (!converted) {
    return errOutOfMemory;
  }
  result = converted->SetBinary(data, size);
  if (result < 0) {
    return result;
  }
  HostBlock text(map);
  result = textOf(converted.get(), text);
  if (result < 0) {
    return result;
  }
  // The stored codec is touched only now, after every conversion step.
  result = codec->FromText(text.chars());
  if (result >= 0) {
    map->markChanged();
  }
  return result;
}

}  // namespace trove
