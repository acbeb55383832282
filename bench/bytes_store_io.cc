#include "bytes_store_io.h"

#include <cstring>
#include <stdexcept>

#include "trove/client/error.h"

namespace trove_bench {

int32_t BytesStoreIo::read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) {
  const uint64_t available = offset < bytes_.size() ? bytes_.size() - offset : 0;
  const uint32_t count = static_cast<uint32_t>(available < size ? available : size);
  if (count) std::memcpy(buffer, bytes_.data() + offset, count);
  if (countRead) *countRead = count;
  return errOk;
}

// A save writes the whole store from offset 0.
int32_t BytesStoreIo::write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                            uint32_t size) {
  if (offset == 0) written_.clear();
  if (written_.size() < offset + size) written_.resize(offset + size);
  std::memcpy(written_.data() + offset, buffer, size);
  if (countWritten) *countWritten = size;
  return errOk;
}

int32_t BytesStoreIo::size(uint64_t* size) {
  *size = bytes_.size();
  return errOk;
}

void loadFromBytes(trove::host::Object& object, BytesStoreIo& io) {
  // The client's messages know the module's own result codes.
  const auto check = [](const trove::host::Status& status) {
    if (!status.ok()) throw std::runtime_error(trove::resultMessage(status.code()));
  };
  check(object.setStoreIo(io));
  check(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 0));
  check(object.initDone());
}

}  // namespace trove_bench
