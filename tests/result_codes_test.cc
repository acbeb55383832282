#include <gtest/gtest.h>

#include <string_view>
#include <utility>
#include <vector>

#include "base/result_messages.h"
#include "trove/result_codes.h"

namespace {

using trove::describeAnyResult;
using trove::describePlatformResult;
using trove::describeResult;
using trove::resultFromSystemError;
using trove::toModuleResult;

constexpr std::string_view kUnknown = "Unknown result code";

TEST(DescribeResultTest, FrameworkTable) {
  const std::vector<std::pair<int32_t, std::string_view>> rows = {
      {errOk, "No error"},
      {errFalse, "False"},
      {errNoInterface, "Interface not supported"},
      {errUnexpected, "Unexpected"},
      {errOutOfMemory, "Out of memory"},
      {errNotSupported, "Not supported"},
      {errNotImplemented, "Not implemented"},
      {errBufferTooSmall, "Buffer too small"},
      {errAccessDenied, "Access denied"},
      {errInvalidArgument, "Invalid argument"},
      {errNotMatched, "Not matched"},
      {errUnspecified, "Unspecified error"},
      {errNotFound, "Not found"},
      {errFound, "Found"},
      {errLocked, "Locked"},
      {errNotLocked, "Not locked"},
      {errCancelled, "Operation cancelled"},
      {errMethodNotFound, "Method not found"},
      {errStackEmpty, "Stack is empty"},
      {errMediaError, "Media error"},
      {errInvalidSignature, "Invalid signature"},
      {errInvalidVersion, "Invalid version"},
      {errInvalidSize, "Invalid size"},
      {errInvalidType, "Invalid type"},
      {errInvalidIndex, "Invalid index"},
      {errOutOfSpace, "Out of space"},
      {errNotReady, "Not ready"},
      {errLessThan, "Less than"},
      {errMoreThan, "More than"},
      {errProhibited, "Prohibited"},
      {errAlreadyDone, "Already done"},
      {errNeedReboot, "Need reboot"},
      {errBasesCorrupted, "Bases corrupted"},
      {errInvalidState, "Invalid state"},
      {errNotInitialized, "Not initialized"},
      {errInsufficientResources, "Insufficient resources"},
      {errInvalidResult, "Invalid result"},
      {errUnknownException, "Unknown exception"},
      {errMetaInfoNotFound, "Meta information not found"},
      {errNumericOverflow, "Numerical type overflow"},
      {errClassNotFound, "Class not found"},
      {errSettingsRequired, "Settings are required"},
      {errUnexpectedSettings, "Unexpected settings"},
      {errWrongSettingsType, "Wrong settings type"},
      {errWrongSettingsRevision, "Wrong settings revision"},
      {errSettingsNotFound, "Settings not found"},
      {errObjectUntrusted, "Object is untrusted"},
      {errPropertyNotFound, "Property not found"},
      {errTimeout, "Operation timeout"},
  };
  for (const auto& [code, message] : rows) {
    EXPECT_EQ(describeResult(code), message) << std::hex << code;
    EXPECT_EQ(describeAnyResult(code), message) << std::hex << code;
    EXPECT_EQ(describePlatformResult(code), kUnknown) << std::hex << code;
  }
  // The module's own codes and every other code have no message.
  for (int32_t code : {71, static_cast<int32_t>(0x80000047u), static_cast<int32_t>(0x8000D002u),
                       static_cast<int32_t>(0x80010102u), errKeyCreated, errXmlFormat, errReadOnly,
                       errWrongState, errFileNotFound, errAlreadyExists, errInvalidKey, 2, -1}) {
    EXPECT_EQ(describeResult(code), kUnknown) << std::hex << code;
  }
}

TEST(DescribeResultTest, PlatformTable) {
  const std::vector<std::pair<int32_t, std::string_view>> rows = {
      {errSysUnspecified, "Unspecified platform error"},
      {errSysInvalidHandle, "Invalid handle"},
      {errSysFileNotFound, "File not found"},
      {errSysPathNotFound, "Path not found"},
      {errSysSharingViolation, "Sharing violation"},
      {errSysAlreadyExists, "Already exists"},
      {errSysWaitAbandoned, "Wait abandoned"},
      {errSysSymbolNotFound, "Symbol not found"},
      {errSysSxsIncorrect, "Sxs is incorrect"},
      {errSysInvalidPathName, "Invalid path name"},
      {errSysAnonymousToken, "Cannot open an anonymous level security token"},
      {errSysInvalidPassword, "Password is invalid"},
      {errSysModuleNotFound, "Module not found"},
      {errSysBadImageSignature, "System image bad signature"},
      {errSysCloudRequestAborted, "Cloud file request aborted"},
      {errSysMappingFailed, "Memory mapping failed"},
  };
  for (const auto& [code, message] : rows) {
    EXPECT_EQ(describePlatformResult(code), message) << std::hex << code;
    EXPECT_EQ(describeAnyResult(code), message) << std::hex << code;
    EXPECT_EQ(describeResult(code), kUnknown) << std::hex << code;
  }
  for (uint32_t code = 0x8001010Au; code <= 0x8001010Fu; ++code) {
    EXPECT_EQ(describePlatformResult(static_cast<int32_t>(code)), kUnknown) << std::hex << code;
  }
  EXPECT_EQ(describePlatformResult(static_cast<int32_t>(0x80010116u)), kUnknown);
  EXPECT_EQ(describePlatformResult(errOk), kUnknown);
  // Facility 7 and others have no table.
  EXPECT_EQ(describeAnyResult(static_cast<int32_t>(0x80070005u)), kUnknown);
  EXPECT_EQ(describeAnyResult(static_cast<int32_t>(0x80020040u)), kUnknown);
}

TEST(ResultFromSystemErrorTest, EveryRowOfTheTable) {
  const std::vector<std::pair<uint32_t, int32_t>> rows = {
      {0, errOk},
      {1, errNotSupported},
      {50, errNotSupported},
      {2, errSysFileNotFound},
      {3, errSysPathNotFound},
      {53, errSysPathNotFound},
      {267, errSysPathNotFound},
      {5, errAccessDenied},
      {6, errSysInvalidHandle},
      {8, errOutOfMemory},
      {21, errNotReady},
      {24, errInvalidSize},
      {31, errUnspecified},
      {32, errSysSharingViolation},
      {33, errSysSharingViolation},
      {80, errSysAlreadyExists},
      {183, errSysAlreadyExists},
      {87, errInvalidArgument},
      {160, errInvalidArgument},
      {111, errBufferTooSmall},
      {122, errBufferTooSmall},
      {234, errBufferTooSmall},
      {112, errOutOfSpace},
      {123, errSysInvalidPathName},
      {126, errSysModuleNotFound},
      {127, errSysSymbolNotFound},
      {393, errSysCloudRequestAborted},
      {637, errSysBadImageSignature},
      {995, errCancelled},
      {1168, errNotFound},
      {1347, errSysAnonymousToken},
      {1413, errInvalidIndex},
      {1450, errInsufficientResources},
      {1460, errTimeout},
      {1630, errInvalidType},
      {14001, errSysSxsIncorrect},
  };
  for (const auto& [error, code] : rows) {
    EXPECT_EQ(resultFromSystemError(error), code) << error;
    // The same error inside an HRESULT of the Windows facility maps alike.
    EXPECT_EQ(resultFromSystemError(0x80070000u | error), code) << error;
  }
}

TEST(ResultFromSystemErrorTest, OtherValues) {
  // Below 0x10000: carried in facility 7.
  EXPECT_EQ(resultFromSystemError(4321), static_cast<int32_t>(0x800710E1u));
  EXPECT_EQ(resultFromSystemError(4), static_cast<int32_t>(0x80070004u));
  EXPECT_EQ(resultFromSystemError(0xFFFF), static_cast<int32_t>(0x8007FFFFu));
  // Non-negative values above: success.
  EXPECT_EQ(resultFromSystemError(0x00012345u), errOk);
  EXPECT_EQ(resultFromSystemError(0x7FFFFFFFu), errOk);
  // HRESULTs of the Windows facility (bits 16-27 hold 7).
  EXPECT_EQ(resultFromSystemError(0x80070002u), errSysFileNotFound);
  EXPECT_EQ(resultFromSystemError(0x80070005u), errAccessDenied);
  EXPECT_EQ(resultFromSystemError(0x800710E1u), static_cast<int32_t>(0x800710E1u));
  EXPECT_EQ(resultFromSystemError(0x90070002u), errSysFileNotFound);
  EXPECT_EQ(resultFromSystemError(0xC0070020u), errSysSharingViolation);
  // Any other negative value.
  EXPECT_EQ(resultFromSystemError(0x80004005u), errSysUnspecified);
  EXPECT_EQ(resultFromSystemError(0x80170002u), errSysUnspecified);
  EXPECT_EQ(resultFromSystemError(0x80010102u), errSysUnspecified);
  EXPECT_EQ(resultFromSystemError(0xFFFFFFFFu), errSysUnspecified);
}

TEST(ToModuleResultTest, TranslatesAFewCodes) {
  EXPECT_EQ(toModuleResult(errNotFound), errFileNotFound);
  EXPECT_EQ(toModuleResult(errSysFileNotFound), errFileNotFound);
  EXPECT_EQ(toModuleResult(errSysPathNotFound), errFileNotFound);
  EXPECT_EQ(toModuleResult(errNotInitialized), errWrongState);
  EXPECT_EQ(toModuleResult(errSysAlreadyExists), errAlreadyExists);
  EXPECT_EQ(toModuleResult(errFalse), 3);
  EXPECT_EQ(toModuleResult(static_cast<int32_t>(0x8000004Cu)), static_cast<int32_t>(0x800000C5u));
  EXPECT_EQ(toModuleResult(static_cast<int32_t>(0x80010105u)), static_cast<int32_t>(0x800000D1u));
  for (int32_t unchanged : {errOk, 3, errInvalidArgument, errSysSharingViolation, errAccessDenied,
                            errEntryNotFound, errFileNotFound, errOutOfMemory, errUnchanged}) {
    EXPECT_EQ(toModuleResult(unchanged), unchanged) << std::hex << unchanged;
  }
}

}  // namespace
