#include "failure.h"

#include <filesystem>
#include <system_error>

#include "standard_streams.h"
#include "trove/client/error.h"
#include "trove/client/store_file_error.h"
#include "xml_location.h"

namespace trove::cli {

namespace {

std::string compose(const std::string& file, const std::string& operation, int32_t code,
                    const std::string& detail) {
  std::string text = displayPath(file) + ": " + operation + ": ";
  if (!detail.empty()) text += detail + ": ";
  return text + resultMessage(code);
}

}  // namespace

Failure::Failure(const std::string& file, const std::string& operation, int32_t code,
                 const std::string& detail)
    : Failure(file, operation, code, detail, exitCodeFor(code)) {}

Failure::Failure(const std::string& file, const std::string& operation, int32_t code,
                 const std::string& detail, ExitCode exitCode)
    : std::runtime_error(compose(file, operation, code, detail)),
      code_(code),
      exitCode_(exitCode) {}

void attribute(const std::string& file, const std::string& operation,
               const std::function<void()>& work) {
  try {
    work();
  } catch (const StoreFileError& error) {
    throw Failure(file, operation, error.code(), error.reason());
  } catch (const Refusal& refusal) {
    throw Failure(file, operation, refusal.code(), refusal.what(), refusal.exitCode());
  } catch (const Error& error) {
    // A store the module refuses as malformed (errXmlFormat) or as not a
    // document at all (errInvalidArgument) is located with a second reader.
    const bool unreadable = error.code() == errXmlFormat || error.code() == errInvalidArgument;
    throw Failure(file, operation, error.code(),
                  unreadable ? xmlErrorLocation(readInput(file)) : "");
  }
}

std::string displayPath(const std::string& file) {
  if (isStandardStream(file)) return "(standard input)";
  std::error_code ignored;
  const std::filesystem::path absolute = std::filesystem::absolute(file, ignored);
  return ignored ? file : absolute.lexically_normal().string();
}

}  // namespace trove::cli
