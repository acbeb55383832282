#include "platform/paths.h"

#include <vector>

namespace trove::platform {

std::string directoryPart(const std::string& path) {
  size_t last = path.rfind('/');
  if (last == std::string::npos) return std::string();
  // Up to and including the separator, which is dropped again unless the
  // directory is the root.
  return last == 0 ? std::string("/") : path.substr(0, last);
}

std::string makeFullPath(const std::string& path, const std::string& currentDirectory) {
  std::vector<std::string> segments;
  auto take = [&segments](const std::string& text) {
    size_t start = 0;
    while (start <= text.size()) {
      size_t end = text.find('/', start);
      if (end == std::string::npos) end = text.size();
      std::string segment = text.substr(start, end - start);
      if (segment == "..") {
        if (!segments.empty()) segments.pop_back();
      } else if (!segment.empty() && segment != ".") {
        segments.push_back(std::move(segment));
      }
      start = end + 1;
    }
  };
  if (path.empty() || path[0] != '/') take(currentDirectory);
  take(path);

  std::string full;
  for (const std::string& segment : segments) {
    full += '/';
    full += segment;
  }
  return full.empty() ? std::string("/") : full;
}

WinError makeFullPath(Platform& platform, const std::string& path, std::string* out) {
  std::string base;
  if (path.empty() || path[0] != '/') {
    WinError result = platform.currentDirectory(&base);
    if (result != kSuccess) return result;
  }
  *out = makeFullPath(path, base);
  return kSuccess;
}

WinError createDirectories(Platform& platform, const std::string& fullPath) {
  // Walk up to the deepest directory that exists ...
  std::vector<std::string> missing;
  std::string directory = fullPath;
  while (!directory.empty() && directory != "/" && platform.exists(directory) != kSuccess) {
    missing.push_back(directory);
    directory = directoryPart(directory);
  }
  // ... then make the missing ones from the top down.
  // Below a directory that could not be made nothing can be made either.
  for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
    WinError result = platform.makeDirectory(*it);
    if (result != kSuccess) return result;
  }
  return kSuccess;
}

}  // namespace trove::platform
