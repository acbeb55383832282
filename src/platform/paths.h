// File path helpers for the store file. Only "/" separates directories; a
// backslash is an ordinary file-name character.
#pragma once

#include <string>

#include "platform/platform.h"

namespace trove::platform {

// The directory part of a file path: everything up to and including the
// last "/", without that trailing "/" unless the directory is "/" itself.
// Empty when the path has no "/" ("profiles.xml" -> "").
std::string directoryPart(const std::string& path);

// The absolute, normalised form of `path`: taken as it is when it begins with
// "/", else relative to `currentDirectory`. Empty and "." segments are
// dropped, ".." removes the segment before it (never above "/"). The result
// begins with "/" and has no trailing "/" (except "/" itself).
std::string makeFullPath(const std::string& path, const std::string& currentDirectory);

// makeFullPath against the platform's current directory, which is asked for
// only when `path` is relative; that failure is returned and `out` is left.
WinError makeFullPath(Platform& platform, const std::string& path, std::string* out);

// Makes every missing directory of the absolute path `fullPath`: tests from
// the full path upward until an existing directory is found, then creates the
// missing ones downward. Returns the first failure to create (0 when all
// exist now); callers may ignore it and let a later file creation fail.
WinError createDirectories(Platform& platform, const std::string& fullPath);

}  // namespace trove::platform
