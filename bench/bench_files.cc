#include "bench_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace trove_bench {

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::strerror(errno));
}

void writeAll(int fd, std::string_view contents, const std::string& path) {
  while (!contents.empty()) {
    const ssize_t written = ::write(fd, contents.data(), contents.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      fail("cannot write", path);
    }
    contents.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

TempDir::TempDir() {
  std::string pattern = std::filesystem::temp_directory_path().string() + "/trove-bench-XXXXXX";
  if (!::mkdtemp(pattern.data())) fail("cannot create", pattern);
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) fail("cannot open", path);
  std::string contents;
  char chunk[1 << 16];
  for (;;) {
    const ssize_t got = ::read(fd, chunk, sizeof chunk);
    if (got < 0) {
      if (errno == EINTR) continue;
      ::close(fd);
      fail("cannot read", path);
    }
    if (got == 0) break;
    contents.append(chunk, static_cast<size_t>(got));
  }
  ::close(fd);
  return contents;
}

void writeFile(const std::string& path, std::string_view contents) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) fail("cannot create", path);
  writeAll(fd, contents, path);
  ::close(fd);
}

void replaceDurably(const std::string& path, std::string_view contents) {
  const std::string temporary = path + ".tmp";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) fail("cannot create", temporary);
  writeAll(fd, contents, temporary);
  if (::fsync(fd) != 0) {
    ::close(fd);
    fail("cannot flush", temporary);
  }
  ::close(fd);
  if (std::rename(temporary.c_str(), path.c_str()) != 0) fail("cannot rename", temporary);
  const std::string directory = std::filesystem::path(path).parent_path().string();
  const int dir = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

}  // namespace trove_bench
