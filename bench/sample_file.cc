#include "sample_file.h"

#include <filesystem>
#include <map>
#include <system_error>

#include "bench_files.h"
#include "sample_store.h"

namespace trove_bench {

namespace {

TempDir& scratch() {
  static TempDir directory;
  return directory;
}

}  // namespace

const std::string& sampleText(int keys) {
  static std::map<int, std::string> texts;
  auto found = texts.find(keys);
  if (found == texts.end()) found = texts.emplace(keys, storeText(keys)).first;
  return found->second;
}

SampleFile::SampleFile(int keys) {
  static int serial = 0;
  path_ = scratch().file("store-" + std::to_string(keys) + "-" + std::to_string(++serial) + ".xml");
  const std::string& text = sampleText(keys);
  writeFile(path_, text);
  size_ = text.size();
}

SampleFile::~SampleFile() {
  const std::filesystem::path directory = std::filesystem::path(path_).parent_path();
  const std::string stem = std::filesystem::path(path_).filename().string();
  std::error_code ignored;
  // The store, its backups and any temporary file a save left beside it.
  for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
    if (entry.path().filename().string().rfind(stem, 0) == 0) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

}  // namespace trove_bench
