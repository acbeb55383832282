// The Platform of the module: POSIX files, pthread-style synchronisation.
#pragma once

#include "platform/platform.h"

namespace trove::platform {

class PosixPlatform final : public Platform {
 public:
  WinError openExclusive(const std::string& path, OpenMode mode, FileHandle* out) override;
  WinError fileSize(FileHandle file, uint64_t* size) override;
  WinError read(FileHandle file, void* buffer, uint32_t size, uint32_t* countRead) override;
  WinError write(FileHandle file, const void* data, uint32_t size, uint32_t* countWritten) override;
  WinError flush(FileHandle file) override;
  void close(FileHandle& file) override;
  WinError replaceMove(const std::string& from, const std::string& to) override;
  WinError copyNoReplace(const std::string& from, const std::string& to) override;
  WinError removeFile(const std::string& path) override;
  WinError exists(const std::string& path) override;
  WinError makeDirectory(const std::string& path) override;
  WinError currentDirectory(std::string* out) override;
  uint32_t currentThreadId() override;
  void sleepMilliseconds(uint32_t milliseconds) override;
  Semaphore* createSemaphore() override;
  void destroySemaphore(Semaphore* semaphore) override;
  WinError waitSemaphore(Semaphore* semaphore) override;
  WinError releaseSemaphore(Semaphore* semaphore, uint32_t count) override;
};

}  // namespace trove::platform
