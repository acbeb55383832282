// A store I/O object over bytes the caller keeps: the module reads them in
// place (no copy of a file to make first) and what it writes is collected.
#pragma once

#include <string>
#include <string_view>

#include "trove/host.h"

namespace trove_bench {

class BytesStoreIo : public trove::host::StoreIo {
 public:
  explicit BytesStoreIo(std::string_view bytes) : bytes_(bytes) {}

  const std::string& written() const { return written_; }

 protected:
  int32_t read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) override;
  int32_t write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                uint32_t size) override;
  int32_t size(uint64_t* size) override;
  int32_t complete() override { return errOk; }

 private:
  std::string_view bytes_;
  std::string written_;
};

// Gives `object` the bytes as its store (not saved on close) and loads it.
// Throws std::runtime_error with the module's message when it refuses.
void loadFromBytes(trove::host::Object& object, BytesStoreIo& io);

}  // namespace trove_bench
