// Result messages by facility, and the translation of platform errors into
// the codes callers see.
#include <gtest/gtest.h>

#include "base/result_messages.h"
#include "trove/result_codes.h"

namespace {

using namespace trove;

TEST(ResultCodes, MessagesComeFromTheCodesOwnTableOrSayUnknown) {
  EXPECT_EQ(describeAnyResult(errOk), "No error");
  EXPECT_EQ(describeAnyResult(errAccessDenied), "Access denied");
  EXPECT_EQ(describeAnyResult(errTimeout), "Operation timeout");  // the last framework row
  EXPECT_EQ(describeAnyResult(errSysFileNotFound), "File not found");
  EXPECT_EQ(describeAnyResult(errSysMappingFailed), "Memory mapping failed");  // the last row
  EXPECT_EQ(describeResult(errSysFileNotFound), "Unknown result code");
  EXPECT_EQ(describePlatformResult(errAccessDenied), "Unknown result code");
  // The module's own codes, other facilities and gaps in a table: unknown.
  for (int32_t code : {errXmlFormat, errReadOnly, errFileNotFound, int32_t(0x80070005u),
                       int32_t(0x8001010Au), 2, -1}) {
    EXPECT_EQ(describeAnyResult(code), "Unknown result code") << std::hex << code;
  }
}

TEST(ResultCodes, SystemErrorsBecomeTheirCodesAndModuleResultsFoldSome) {
  // clang-format off
  const std::pair<uint32_t, int32_t> rows[] = {
      {0, errOk}, {2, errSysFileNotFound}, {3, errSysPathNotFound}, {5, errAccessDenied},
      {8, errOutOfMemory}, {31, errUnspecified}, {32, errSysSharingViolation},
      {80, errSysAlreadyExists}, {87, errInvalidArgument}, {112, errOutOfSpace},
      {123, errSysInvalidPathName}, {267, errSysPathNotFound}, {14001, errSysSxsIncorrect}};
  // clang-format on
  for (auto [error, code] : rows) {
    EXPECT_EQ(resultFromSystemError(error), code) << error;
    EXPECT_EQ(resultFromSystemError(0x80070000u | error), code) << error;  // as an HRESULT
  }
  EXPECT_EQ(resultFromSystemError(4321), int32_t(0x800710E1u));  // others ride in facility 7
  EXPECT_EQ(resultFromSystemError(0x00012345u), errOk);          // non-negative: success
  EXPECT_EQ(resultFromSystemError(0xC0070020u), errSysSharingViolation);
  EXPECT_EQ(resultFromSystemError(0x80170002u), errSysUnspecified);
  const std::pair<int32_t, int32_t> module[] = {
      {errNotFound, errFileNotFound},          {errSysFileNotFound, errFileNotFound},
      {errSysPathNotFound, errFileNotFound},   {errNotInitialized, errWrongState},
      {errSysAlreadyExists, errAlreadyExists}, {errFalse, 3},
      {errAccessDenied, errAccessDenied},      {errSysSharingViolation, errSysSharingViolation}};
  for (auto [code, result] : module) EXPECT_EQ(toModuleResult(code), result) << std::hex << code;
}

}  // namespace
