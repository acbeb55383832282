#include "base/result_messages.h"

#include "trove/result_codes.h"

namespace trove {
namespace {

struct SystemError {
  uint32_t error;
  int32_t code;
};

constexpr SystemError kSystemErrors[] = {
    {0, errOk},
    {1, errNotSupported},  // ERROR_INVALID_FUNCTION
    {2, errSysFileNotFound},
    {3, errSysPathNotFound},
    {5, errAccessDenied},
    {6, errSysInvalidHandle},
    {8, errOutOfMemory},
    {21, errNotReady},
    {24, errInvalidSize},
    {31, errUnspecified},
    {32, errSysSharingViolation},
    {33, errSysSharingViolation},  // ERROR_LOCK_VIOLATION
    {50, errNotSupported},
    {53, errSysPathNotFound},  // ERROR_BAD_NETPATH
    {80, errSysAlreadyExists},
    {87, errInvalidArgument},
    {111, errBufferTooSmall},  // ERROR_BUFFER_OVERFLOW
    {112, errOutOfSpace},
    {122, errBufferTooSmall},
    {123, errSysInvalidPathName},
    {126, errSysModuleNotFound},
    {127, errSysSymbolNotFound},
    {160, errInvalidArgument},  // ERROR_BAD_ARGUMENTS
    {183, errSysAlreadyExists},
    {234, errBufferTooSmall},   // ERROR_MORE_DATA
    {267, errSysPathNotFound},  // ERROR_DIRECTORY
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

}  // namespace

int32_t resultFromSystemError(uint32_t error) {
  for (const SystemError& row : kSystemErrors) {
    if (row.error == error) {
      return row.code;
    }
  }
  if (error < 0x10000) {
    return static_cast<int32_t>(0x80070000u | error);
  }
  if (static_cast<int32_t>(error) >= 0) {
    return errOk;
  }
  // An HRESULT of the Windows facility carries the error in its low bits.
  if (((error >> 16) & 0xFFF) == kFacilityWindows) {
    return resultFromSystemError(error & 0xFFFF);
  }
  return errSysUnspecified;
}

int32_t toModuleResult(int32_t code) {
  switch (code) {
    case errNotFound:
    case errSysFileNotFound:
    case errSysPathNotFound:
      return errFileNotFound;
    case errNotInitialized:
      return errWrongState;
    case errSysAlreadyExists:
      return errAlreadyExists;
    case errFalse:
      return 3;
    default:
      return code;
  }
}

}  // namespace trove
