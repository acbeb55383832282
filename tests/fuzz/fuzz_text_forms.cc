// Every type's text form, both ways. The first byte picks a type that has a
// codec, the second whether the rest is a text to read or a binary value to
// write. Either way the value's text, read back into a fresh codec, must give
// the same text again, and one more round the same binary value: a text form
// is stable after one round. A tWSTRING reads hexadecimal UTF-16 and writes
// UTF-8, so its round goes through the binary form instead; a tWCHAR has no
// text form and must refuse both directions.
#include <cstring>

#include "fuzz_support.h"

namespace {

using namespace trove;

constexpr TypeId kTypes[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 17, 18,
                             19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 48, 54};

std::string binaryOf(const ValueCodec* codec) {
  uint32_t required = 0;
  fuzz::check(codec->GetBinary(nullptr, 0, &required) == errOk, "binary size query");
  std::string bytes(required, '\0');
  fuzz::check(codec->GetBinary(bytes.data(), required, &required) == errOk, "binary copy");
  return bytes;
}

// The text as a caller gets it, after checking the copy-out protocol: the
// count asked for, given in a buffer of exactly that size plus one, fills it
// without writing past it.
std::string textOf(const ValueCodec* codec) {
  uint32_t required = 0xFFFFFFFF;
  fuzz::check(codec->ToText(nullptr, 0, &required) == errOk, "text size query");
  std::vector<char> buffer(size_t{required} + 2, '\0');
  buffer[required + 1] = '\x7F';
  fuzz::check(codec->ToText(buffer.data(), required + 1, nullptr) == errOk, "text copy");
  fuzz::check(buffer[required + 1] == '\x7F', "the text ran past its buffer");
  return std::string(buffer.data());
}

class Codec {
 public:
  Codec(PropertiesMap* owner, TypeId type) : owner_(owner), codec_(createValueCodec(owner, type)) {
    fuzz::check(codec_ != nullptr, "no codec for a type that has one");
  }
  ~Codec() { releaseValueCodec(owner_, codec_); }
  ValueCodec* operator->() const { return codec_; }
  ValueCodec* get() const { return codec_; }

 private:
  PropertiesMap* owner_;
  ValueCodec* codec_;
};

void roundTrip(PropertiesMap* owner, TypeId type, const ValueCodec* value) {
  const std::string text = textOf(value);
  Codec reread(owner, type);
  if (type == TROVE_TWSTRING) {
    const std::string units = binaryOf(value);
    fuzz::check(reread->SetBinary(units.data(), static_cast<uint32_t>(units.size())) >= 0,
                "a wide string's own units are refused");
    fuzz::check(textOf(reread.get()) == text, "a wide string's text changed");
    return;
  }
  fuzz::check(reread->FromText(text.c_str()) >= 0, "a codec refuses its own text", text);
  const std::string again = textOf(reread.get());
  fuzz::check(again == text, "text form not stable", text + "\n---\n" + again);
  Codec third(owner, type);
  fuzz::check(third->FromText(again.c_str()) >= 0, "a codec refuses its own text", again);
  fuzz::check(binaryOf(third.get()) == binaryOf(reread.get()), "binary form not stable", again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 4096) return -1;
  const TypeId type = kTypes[data[0] % std::size(kTypes)];
  const bool fromText = (data[1] & 1) == 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);

  host::HeapObject object;
  PropertiesMap* owner = static_cast<PropertiesMap*>(object.get());
  {
    Codec value(owner, type);
    const int32_t result = fromText
                               ? value->FromText(rest.c_str())
                               : value->SetBinary(rest.data(), static_cast<uint32_t>(rest.size()));
    if (type == TROVE_TWCHAR) {
      uint32_t required = 0;
      fuzz::check(value->ToText(nullptr, 0, &required) == errUnspecified, "tWCHAR wrote a text");
      if (fromText) fuzz::check(result == errUnspecified, "tWCHAR read a text");
    } else if (result >= 0) {
      roundTrip(owner, type, value.get());
    } else {
      fuzz::check(result == errInvalidArgument, "a refusal with an unexpected code",
                  std::to_string(result));
    }
  }
  fuzz::check(object.liveBlocks() == 0, "a codec left blocks on the host heap");
  return 0;
}
