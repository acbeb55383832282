#include "trove/result_messages.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "trove/result_codes.h"

namespace trove {
namespace {

struct Message {
  int32_t code;
  std::string_view text;
};

constexpr Message kFrameworkMessages[] = {
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

constexpr Message kPlatformMessages[] = {
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

template <std::size_t N>
std::string_view lookUp(const Message (&table)[N], int32_t code) {
  auto found = std::find_if(std::begin(table), std::end(table),
                            [code](const Message& m) { return m.code == code; });
  return found != std::end(table) ? found->text : kUnknownResultMessage;
}

}  // namespace

std::string_view describeResult(int32_t code) {
  return lookUp(kFrameworkMessages, code);
}

std::string_view describePlatformResult(int32_t code) {
  return lookUp(kPlatformMessages, code);
}

std::string_view describeAnyResult(int32_t code) {
  switch (facilityOf(code)) {
    case kFacilityFramework:
      return describeResult(code);
    case kFacilityPlatform:
      return describePlatformResult(code);
    default:
      return kUnknownResultMessage;
  }
}

}  // namespace trove
