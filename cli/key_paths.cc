#include "key_paths.h"

#include "failure.h"
#include "trove/result_codes.h"

namespace trove::cli {

namespace {

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

std::string joinNames(const std::vector<std::string>& names, size_t count) {
  std::string path;
  for (size_t i = 0; i < count; ++i) path += (i ? "/" : "") + names[i];
  return path;
}

}  // namespace

std::vector<std::string> pathNames(const std::string& path) {
  size_t begin = !path.empty() && isSeparator(path.front()) ? 1 : 0;
  size_t end = path.size();
  if (end > begin && isSeparator(path[end - 1])) --end;
  std::vector<std::string> names;
  if (begin >= end) return names;
  for (size_t at = begin; at <= end;) {
    size_t next = at;
    while (next < end && !isSeparator(path[next])) ++next;
    if (next == at) {
      throw Refusal(errInvalidArgument,
                    "the key path \"" + path + "\" has an empty name at character " +
                        std::to_string(at + 1) + " (doubled or extra separator)",
                    kExitUsage);
    }
    names.push_back(path.substr(at, next - at));
    at = next + 1;
  }
  return names;
}

std::string normalizedPath(const std::string& path) {
  const std::vector<std::string> names = pathNames(path);
  return names.empty() ? "/" : joinNames(names, names.size());
}

std::string shownPath(const std::string& path) {
  return path.find_first_not_of("/\\") == std::string::npos ? "/" : path;
}

std::string joined(const std::string& path, const std::string& name) {
  if (shownPath(path) == "/") return name;
  return isSeparator(path.back()) ? path + name : path + "/" + name;
}

Key keyAt(const Key& root, const std::string& path) {
  const std::vector<std::string> names = pathNames(path);
  if (names.empty()) return root;
  if (auto key = root.find(joinNames(names, names.size()))) return *key;
  // Name the first missing step, so a typo is easy to find.
  Key key = root;
  for (size_t i = 0; i < names.size(); ++i) {
    auto next = key.find(names[i]);
    if (!next) {
      throw Refusal(errEntryNotFound,
                    "no key \"" + names[i] + "\" in " + (i ? joinNames(names, i) : "the root key"),
                    kExitNotFound);
    }
    key = *next;
  }
  return key;
}

Key createdKeyAt(const Key& root, const std::string& path) {
  const std::vector<std::string> names = pathNames(path);
  return names.empty() ? root : root.create(joinNames(names, names.size()));
}

void throwMissingValue(const std::string& path, const std::string& name) {
  throw Refusal(errEntryNotFound, "no value \"" + name + "\" in " + shownPath(path), kExitNotFound);
}

}  // namespace trove::cli
