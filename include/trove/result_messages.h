// Result codes as text, for hosts and the module alike.
//
// A failure code holds bit 31, the facility in bits 16-30 and the code in
// bits 0-15. Facility 0 carries the framework's and the module's codes,
// facility 1 platform codes, facility 7 a raw Windows error number.
#pragma once

#include <cstdint>
#include <string_view>

namespace trove {

inline constexpr uint32_t kFacilityFramework = 0;
inline constexpr uint32_t kFacilityPlatform = 1;
inline constexpr uint32_t kFacilityWindows = 7;

inline constexpr uint32_t facilityOf(int32_t code) {
  return (static_cast<uint32_t>(code) >> 16) & 0x7FFF;
}

inline constexpr std::string_view kUnknownResultMessage = "Unknown result code";

// The message of a framework code; "Unknown result code" for any other code.
std::string_view describeResult(int32_t code);

// The message of a platform code; "Unknown result code" for any other code.
std::string_view describePlatformResult(int32_t code);

// The message from the table of the code's facility: framework (0) or
// platform (1); "Unknown result code" otherwise.
std::string_view describeAnyResult(int32_t code);

}  // namespace trove
