// The store reader on arbitrary bytes, in both dialects (the root element
// chooses: "propertiesmap" or a generic import). Whatever the bytes, the parse
// must end with a result code, keep every block it made on the object's heap
// inside the tree, and leave a tree the writer can walk.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace trove;
  if (size > 1 << 20) return -1;
  fuzz::Document document;
  const int32_t result =
      document.parse(std::string_view(reinterpret_cast<const char*>(data), size));
  // An exception that escaped a reading step would surface as one of these.
  fuzz::check(result != errUnknownException && result != errUnexpected,
              "the parse gave an unexpected code", std::to_string(result));
  // A failed parse keeps what it read so far; both kinds of tree must write.
  std::string text;
  const int32_t written = document.get().serialize(text);
  fuzz::check(written == errOk || written == errUnspecified, "the writer failed",
              std::to_string(written));
  return 0;
}
