// Files for the benchmarks: a scratch directory that removes itself, whole
// file reads and writes, and the durable replacement that trove performs on
// every save (temporary file, fsync, rename, fsync of the directory), for
// the libraries that leave that to their user.
#pragma once

#include <string>
#include <string_view>

namespace trove_bench {

class TempDir {
 public:
  // A fresh directory under $TMPDIR (or /tmp). Throws std::runtime_error.
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

 private:
  std::string path_;
};

// Throw std::runtime_error when the file cannot be read or written.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view contents);

// Writes `contents` to "<path>.tmp", flushes it to the disk, renames it over
// `path` and flushes the directory.
void replaceDurably(const std::string& path, std::string_view contents);

}  // namespace trove_bench
