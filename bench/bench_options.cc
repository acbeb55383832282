#include "bench_options.h"

#include <cstdlib>
#include <sstream>
#include <string_view>

namespace trove_bench {

namespace {

std::vector<std::string> list(std::string_view text) {
  std::vector<std::string> items;
  std::stringstream in{std::string(text)};
  std::string item;
  while (std::getline(in, item, ',')) {
    if (!item.empty()) items.push_back(item);
  }
  return items;
}

bool positive(std::string_view text, double& out) {
  const std::string copy(text);
  char* end = nullptr;
  out = std::strtod(copy.c_str(), &end);
  return !copy.empty() && *end == 0 && out > 0;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const size_t equals = argument.find('=');
    const std::string_view flag = argument.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : argument.substr(equals + 1);
    if (flag == "--quick" && equals == std::string_view::npos) {
      options.quick = true;
    } else if (flag == "--shapes") {
      options.shapes = list(value);
    } else if (flag == "--libraries") {
      options.libraries = list(value);
    } else if (flag == "--sizes") {
      for (const std::string& size : list(value)) {
        const int keys = std::atoi(size.c_str());
        if (keys <= 0) return std::nullopt;
        options.sizes.push_back(keys);
      }
    } else if (flag == "--budget") {
      if (!positive(value, options.budget)) return std::nullopt;
    } else if (flag == "--min-time") {
      if (!positive(value, options.minTime)) return std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  return options;
}

}  // namespace trove_bench
