// The floor: one pass over the bytes with memchr, counting the '<' of the
// tags, which every parser has to find at least.
#include <cstring>

#include "loader.h"

namespace trove_bench {

namespace {

class MemchrLoader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    const char* at = bytes.data();
    const char* end = at + bytes.size();
    size_t tags = 0;
    while ((at = static_cast<const char*>(std::memchr(at, '<', static_cast<size_t>(end - at))))) {
      ++tags;
      ++at;
    }
    tags_ = tags;
  }
  Tally walk() override {
    Tally tally;
    tally.values = tags_;
    return tally;
  }
  void release() override { tags_ = 0; }

 private:
  volatile size_t tags_ = 0;
};

}  // namespace

std::unique_ptr<Loader> makeMemchrLoader() {
  return std::make_unique<MemchrLoader>();
}

}  // namespace trove_bench
