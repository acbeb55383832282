// A fresh copy of the sample store in the benchmarks' scratch directory,
// removed (with the temporary and backup files a save leaves) when it goes.
#pragma once

#include <string>

namespace trove_bench {

class SampleFile {
 public:
  explicit SampleFile(int keys);
  ~SampleFile();
  SampleFile(const SampleFile&) = delete;
  SampleFile& operator=(const SampleFile&) = delete;

  const std::string& path() const { return path_; }
  size_t size() const { return size_; }

 private:
  std::string path_;
  size_t size_ = 0;
};

// The sample store's text for `keys` keys, made once per size.
const std::string& sampleText(int keys);

}  // namespace trove_bench
