// Loading the store when an object is initialised: the named file, or the
// host's I/O object when the store has no name.
//
// Store files are read with read(2) into an ordinary buffer, never mapped, so
// no hardware fault (a failing paged-in read, a corrupt mapped file) can
// strike while the text is parsed: a failing read is an ordinary error code
// of the read itself, and readFromBuffer needs no fault guard.
#include <cstring>
#include <string>

#include "object/properties_map.h"
#include "platform/platform.h"
#include "services/host_services.h"
#include "storage/store_create.h"
#include "storage/store_file.h"
#include "storage/store_names.h"
#include "storage/store_result.h"
#include "trove/abi.h"
#include "trove/result_codes.h"

namespace trove {

namespace {

constexpr uint64_t kSizeWarningLimit = 0xA00000;  // 10 MB: larger files are reported
constexpr uint64_t kNoBufferSize = 0xFFFFFFFF;    // no 32-bit buffer can hold it

// A buffer on the root object's heap, given back at the end of its scope.
class StoreBuffer {
 public:
  explicit StoreBuffer(uint32_t size) {
    void* block = nullptr;
    if (rootAlloc(&block, size) >= 0) bytes_ = static_cast<char*>(block);
  }
  ~StoreBuffer() {
    if (bytes_ != nullptr) rootFree(bytes_);
  }
  StoreBuffer(const StoreBuffer&) = delete;
  StoreBuffer& operator=(const StoreBuffer&) = delete;
  char* bytes() const { return bytes_; }

 private:
  char* bytes_ = nullptr;
};

// An open file, closed at the end of its scope.
class OpenFile {
 public:
  OpenFile() = default;
  ~OpenFile() {
    if (handle.isOpen()) platform::current().close(handle);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  platform::FileHandle handle;
};

// The size of a store image, or a failure when no 32-bit buffer can take it.
// A store of 4 GiB or more is refused rather than read in part: an empty or
// partial tree would be written over the file at close.
int32_t checkedBufferSize(uint64_t size, uint32_t* bufferSize) {
  if (size > kNoBufferSize) return errInvalidSize;
  if (size == kNoBufferSize) return errOutOfMemory;
  *bufferSize = static_cast<uint32_t>(size);
  return errOk;
}

int32_t readNamedFile(PropertiesMap* map, const std::u16string& name) {
  platform::Platform& os = platform::current();
  std::string path;
  if (platform::WinError error = storeFilePath(name, &path)) return loadResultFromError(error);

  OpenFile file;
  if (platform::WinError error =
          os.openExclusive(path, platform::OpenMode::ReadExisting, &file.handle)) {
    return loadResultFromError(error);
  }
  uint64_t size = 0;
  if (platform::WinError error = os.fileSize(file.handle, &size)) {
    return loadResultFromError(error);
  }
  if (size > kSizeWarningLimit) {
    // The line carries a 32-bit number; sizes beyond its range show as its maximum.
    const int32_t shown = size > INT32_MAX ? INT32_MAX : static_cast<int32_t>(size);
    trace(map, TROVE_TRACE_WARNING, "trove\t%S file size is too big (%d > 10Mb)", name.c_str(),
          shown);
  }
  if (size == 0) return errOk;  // an empty file is an empty store

  uint32_t bufferSize = 0;
  if (int32_t refused = checkedBufferSize(size, &bufferSize); refused < 0) return refused;
  StoreBuffer buffer(bufferSize);
  if (buffer.bytes() == nullptr) return errOutOfMemory;

  uint32_t countRead = 0;
  if (platform::WinError error = os.read(file.handle, buffer.bytes(), bufferSize, &countRead)) {
    return loadResultFromError(error);
  }
  // The read loops until the end of the file; a file that shrank since its
  // size was taken is parsed as far as it goes, never past what was read.
  const uint32_t length = countRead < bufferSize ? countRead : bufferSize;
  return normalizeLoadResult(readFromBuffer(map, buffer.bytes(), length));
}

int32_t applyPendingRootPoint(PropertiesMap* map) {
  if (map->pendingRootPoint == nullptr) return errOk;
  const int32_t result = map->document.setRootPath(map->pendingRootPoint);
  if (result < 0) return result;  // the text stays for a later attempt
  hostFree(map, map->pendingRootPoint);
  map->pendingRootPoint = nullptr;
  return result;
}

int32_t loadNamedStore(PropertiesMap* map, const std::u16string& name) {
  if (name.find(u'%') != std::u16string::npos) {
    trace(map, TROVE_TRACE_WARNING,
          "trove\t%S contains '%%' symbol, but environment variable expansion is currently not "
          "supported",
          name.c_str());
  }
  int32_t result = readNamedFile(map, name);
  if (result >= 0) result = applyPendingRootPoint(map);
  if (result == errFileNotFound && (map->openFlags & TROVE_OPEN_CREATE_IF_MISSING) != 0) {
    result = createStoreFile(map);
  }
  return result;
}

int32_t loadFromIo(PropertiesMap* map) {
  void* io = map->storeIo;
  if (io == nullptr) return errOk;
  void** methods = *static_cast<void***>(io);
  auto sizeOf = reinterpret_cast<TroveIoSize>(methods[TROVE_IO_SLOT_SIZE]);
  auto readFrom = reinterpret_cast<TroveIoRead>(methods[TROVE_IO_SLOT_READ]);

  uint64_t size = 0;
  const int32_t sized = sizeOf(io, &size, 0);
  if (sized < 0) return sized;
  // Content whose size has zero low 32 bits but is not empty is refused
  // below like a file of 4 GiB or more, not taken for an empty store.
  if (size == 0) return sized;

  uint32_t bufferSize = 0;
  if (int32_t refused = checkedBufferSize(size, &bufferSize); refused < 0) return refused;
  StoreBuffer buffer(bufferSize);
  if (buffer.bytes() == nullptr) return errOutOfMemory;
  // The I/O object need not fill the whole buffer; what it leaves is zeros,
  // never stale heap bytes.
  std::memset(buffer.bytes(), 0, bufferSize);
  uint32_t countRead = 0;
  const int32_t read = readFrom(io, &countRead, 0, buffer.bytes(), bufferSize);
  if (read < 0) return read;
  return readFromBuffer(map, buffer.bytes(), bufferSize);
}

}  // namespace

int32_t readFromBuffer(PropertiesMap* map, const char* bytes, uint32_t length) {
  static constexpr unsigned char kByteOrderMark[] = {0xEF, 0xBB, 0xBF};
  if (length >= 3 && std::memcmp(bytes, kByteOrderMark, 3) == 0) {
    bytes += 3;
    length -= 3;
  }
  const int32_t result = map->document.parse(bytes, length);
  if (result >= 0) map->changed.store(0, std::memory_order_release);
  return result;
}

int32_t loadStore(PropertiesMap* map) {
  map->document.attach(map);  // creates the root; its result does not decide the load
  int32_t result;
  try {
    const std::u16string name = storeName(*map);
    result = name.empty() ? loadFromIo(map) : loadNamedStore(map, name);
  } catch (const std::bad_alloc&) {
    result = errOutOfMemory;
  } catch (...) {
    result = errUnexpected;
  }
  if (map->useLocking != 0) map->lock.create();  // never changes the result
  if (result < 0) map->saveOnClose = 0;
  return result;
}

}  // namespace trove
