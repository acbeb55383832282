// Real files for the store tests: a scratch directory removed at the end of
// each test, whole-file reads and writes, and a substring check for outputs.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace store_test {

namespace fs = std::filesystem;

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (fs::temp_directory_path() / "trove-store-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const fs::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

  // The names of the entries directly in the directory.
  std::set<std::string> entries() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path_)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

 private:
  fs::path path_;
};

inline void writeFile(const std::string& path, const std::string& contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  ASSERT_TRUE(out.good()) << "cannot write " << path;
}

// The file's bytes; "<missing>" when it cannot be read.
inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "<missing>";
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

inline bool fileExists(const std::string& path) {
  return fs::exists(fs::path(path));
}

inline std::u16string utf16(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

// A store holding one key "app" with one tDWORD value "count", in the
// lenient form a person might write by hand.
inline std::string storeWithCount(uint32_t count) {
  return "<?xml version=\"1.0\"?>\n<propertiesmap>\n  <key name=\"app\">\n    <tDWORD "
         "name=\"count\">" +
         std::to_string(count) + "</tDWORD>\n  </key>\n</propertiesmap>\n";
}

}  // namespace store_test
