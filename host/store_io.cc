#include "trove/host/store_io.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "trove/abi.h"
#include "trove/host/heap.h"
#include "trove/result_codes.h"

namespace trove::host {
namespace {

int32_t ioNotSupported(void*) {
  return errNotSupported;
}

template <typename T>
void* entry(T function) {
  return reinterpret_cast<void*>(function);
}

// The result code for a failed system call on a store file.
int32_t resultFromErrno(int error) {
  switch (error) {
    case ENOENT:
      return errSysFileNotFound;
    case ENOTDIR:
      return errSysPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return errAccessDenied;
    case ENOMEM:
      return errOutOfMemory;
    case ENOSPC:
    case EDQUOT:
      return errOutOfSpace;
    case EINVAL:
      return errInvalidArgument;
    default:
      return errMediaError;
  }
}

}  // namespace

void** StoreIo::methodTable() {
  static void* table[8] = {};
  static const bool filled = [] {
    for (void*& slot : table) slot = entry(&ioNotSupported);
    table[TROVE_IO_SLOT_READ] = entry(&StoreIo::readEntry);
    table[TROVE_IO_SLOT_WRITE] = entry(&StoreIo::writeEntry);
    table[TROVE_IO_SLOT_SIZE] = entry(&StoreIo::sizeEntry);
    table[TROVE_IO_SLOT_COMPLETE] = entry(&StoreIo::completeEntry);
    return true;
  }();
  (void)filled;
  return table;
}

StoreIo::StoreIo() : header_{methodTable(), servicesTable(), this} {}

StoreIo::~StoreIo() = default;

int32_t StoreIo::readEntry(void* io, uint32_t* countRead, uint64_t offset, void* buffer,
                           uint32_t size) {
  StoreIo* self = from(io);
  ++self->calls_[kRead];
  if (countRead) *countRead = 0;
  if (self->failures_[kRead] != errOk) return self->failures_[kRead];
  if (!buffer && size) return errInvalidArgument;
  return self->read(countRead, offset, buffer, size);
}

int32_t StoreIo::writeEntry(void* io, uint32_t* countWritten, uint64_t offset, const void* buffer,
                            uint32_t size) {
  StoreIo* self = from(io);
  ++self->calls_[kWrite];
  if (countWritten) *countWritten = 0;
  if (self->failures_[kWrite] != errOk) return self->failures_[kWrite];
  if (!buffer && size) return errInvalidArgument;
  return self->write(countWritten, offset, buffer, size);
}

int32_t StoreIo::sizeEntry(void* io, uint64_t* size, uint32_t) {
  StoreIo* self = from(io);
  ++self->calls_[kSize];
  if (!size) return errInvalidArgument;
  *size = 0;
  if (self->failures_[kSize] != errOk) return self->failures_[kSize];
  return self->size(size);
}

int32_t StoreIo::completeEntry(void* io) {
  StoreIo* self = from(io);
  ++self->calls_[kComplete];
  if (self->failures_[kComplete] != errOk) return self->failures_[kComplete];
  return self->complete();
}

int32_t MemoryStoreIo::read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) {
  uint64_t available = offset < contents_.size() ? contents_.size() - offset : 0;
  uint32_t count = available < size ? static_cast<uint32_t>(available) : size;
  if (count) std::memcpy(buffer, contents_.data() + offset, count);
  if (countRead) *countRead = count;
  return errOk;
}

int32_t MemoryStoreIo::write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                             uint32_t size) {
  if (offset > contents_.max_size() - size) return errOutOfSpace;
  if (contents_.size() < offset + size) contents_.resize(offset + size, '\0');
  if (size) std::memcpy(contents_.data() + offset, buffer, size);
  if (countWritten) *countWritten = size;
  return errOk;
}

int32_t MemoryStoreIo::size(uint64_t* size) {
  *size = reportedSize_ ? *reportedSize_ : contents_.size();
  return errOk;
}

FileStoreIo::~FileStoreIo() {
  close();
}

Status FileStoreIo::open(const std::string& path, bool create) {
  close();
  int flags = O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0);
  int fd = ::open(path.c_str(), flags, 0666);
  if (fd < 0) {
    int error = errno;
    return Status(resultFromErrno(error),
                  "cannot open store file " + path + ": " + std::strerror(error));
  }
  fd_ = fd;
  path_ = path;
  return errOk;
}

void FileStoreIo::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

int32_t FileStoreIo::read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) {
  if (fd_ < 0) return errWrongState;
  uint32_t done = 0;
  while (done < size) {
    ssize_t got = ::pread(fd_, static_cast<char*>(buffer) + done, size - done,
                          static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return resultFromErrno(errno);
    if (got == 0) break;
    done += static_cast<uint32_t>(got);
  }
  if (countRead) *countRead = done;
  return errOk;
}

int32_t FileStoreIo::write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                           uint32_t size) {
  if (fd_ < 0) return errWrongState;
  uint32_t done = 0;
  while (done < size) {
    ssize_t put = ::pwrite(fd_, static_cast<const char*>(buffer) + done, size - done,
                           static_cast<off_t>(offset + done));
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return resultFromErrno(errno);
    done += static_cast<uint32_t>(put);
  }
  if (countWritten) *countWritten = done;
  return errOk;
}

int32_t FileStoreIo::size(uint64_t* size) {
  if (fd_ < 0) return errWrongState;
  struct stat info;
  if (::fstat(fd_, &info) != 0) return resultFromErrno(errno);
  *size = static_cast<uint64_t>(info.st_size);
  return errOk;
}

int32_t FileStoreIo::complete() {
  if (fd_ < 0) return errWrongState;
  return ::fsync(fd_) == 0 ? errOk : resultFromErrno(errno);
}

}  // namespace trove::host
