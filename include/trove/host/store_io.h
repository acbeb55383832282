// Store I/O objects: host objects whose method table holds read (slot 0),
// write (1), size (2) and complete (4). A Registry object whose name is empty
// reads and writes its store through one of these (the store I/O property).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "trove/host/status.h"

namespace trove::host {

class StoreIo {
 public:
  enum Operation { kRead = 0, kWrite = 1, kSize = 2, kComplete = 3 };

  StoreIo();
  virtual ~StoreIo();
  StoreIo(const StoreIo&) = delete;
  StoreIo& operator=(const StoreIo&) = delete;

  // The object to hand to a module (the store I/O property takes this address).
  void* get() { return &header_; }

  // How often each operation was called.
  uint32_t calls(Operation operation) const { return calls_[operation]; }
  // Makes every later call of `operation` fail with `code`; errOk ends it.
  void setFailure(Operation operation, int32_t code) { failures_[operation] = code; }

 protected:
  virtual int32_t read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) = 0;
  virtual int32_t write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                        uint32_t size) = 0;
  virtual int32_t size(uint64_t* size) = 0;
  virtual int32_t complete() = 0;

 private:
  struct Header {
    void** methods;
    void** services;
    StoreIo* self;  // word 2, the host's own
  };
  static StoreIo* from(void* io) { return static_cast<Header*>(io)->self; }
  static int32_t readEntry(void* io, uint32_t* countRead, uint64_t offset, void* buffer,
                           uint32_t size);
  static int32_t writeEntry(void* io, uint32_t* countWritten, uint64_t offset, const void* buffer,
                            uint32_t size);
  static int32_t sizeEntry(void* io, uint64_t* size, uint32_t which);
  static int32_t completeEntry(void* io);
  static void** methodTable();

  Header header_;
  uint32_t calls_[4] = {};
  int32_t failures_[4] = {};
};

// A store held in memory. Writes beyond the end extend it; nothing truncates
// it but setContents().
class MemoryStoreIo : public StoreIo {
 public:
  MemoryStoreIo() = default;
  explicit MemoryStoreIo(std::string_view contents) : contents_(contents) {}

  const std::string& contents() const { return contents_; }
  void setContents(std::string_view contents) { contents_ = contents; }
  // Reports this size instead of the real one (e.g. 0xFFFFFFFF); nullopt ends it.
  void setReportedSize(std::optional<uint64_t> size) { reportedSize_ = size; }

 protected:
  int32_t read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) override;
  int32_t write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                uint32_t size) override;
  int32_t size(uint64_t* size) override;
  int32_t complete() override { return 0; }

 private:
  std::string contents_;
  std::optional<uint64_t> reportedSize_;
};

// A store in a file, read and written at offsets; complete() flushes it to
// the disk.
class FileStoreIo : public StoreIo {
 public:
  FileStoreIo() = default;
  ~FileStoreIo() override;

  // Opens `path` for reading and writing, creating it when asked.
  Status open(const std::string& path, bool create = true);
  void close();
  bool isOpen() const { return fd_ >= 0; }
  const std::string& path() const { return path_; }

 protected:
  int32_t read(uint32_t* countRead, uint64_t offset, void* buffer, uint32_t size) override;
  int32_t write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                uint32_t size) override;
  int32_t size(uint64_t* size) override;
  int32_t complete() override;

 private:
  int fd_ = -1;
  std::string path_;
};

}  // namespace trove::host
