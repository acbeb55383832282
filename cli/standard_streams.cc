#include "standard_streams.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace trove::cli {

const std::string& standardInput() {
  static const std::string contents = [] {
    std::ostringstream all;
    all << std::cin.rdbuf();
    return all.str();
  }();
  return contents;
}

std::string readInput(const std::string& file) {
  if (isStandardStream(file)) return standardInput();
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace trove::cli
