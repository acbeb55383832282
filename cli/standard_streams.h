// "-" as a file name: standard input to read, standard output to write.
#pragma once

#include <string>

namespace trove::cli {

inline bool isStandardStream(const std::string& file) {
  return file == "-";
}

// The whole of standard input, read once and kept: a command may need it
// again (to say where a damaged document breaks).
const std::string& standardInput();

// The bytes of `file` ("-": standard input), or "" when it cannot be read.
std::string readInput(const std::string& file);

}  // namespace trove::cli
