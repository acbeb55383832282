// Every result code that trove's module, host and tools use, as named constants.
//
// A result code is a signed 32-bit number: zero and positive values are
// success, negative values failure. Test the sign, never equality with 0:
// success codes other than 0 (errUnchanged, errKeyCreated) occur.
#ifndef TROVE_RESULT_CODES_H
#define TROVE_RESULT_CODES_H

#include <stdint.h>

#ifdef __cplusplus
#define TROVE_CODE(name, value) inline constexpr int32_t name = static_cast<int32_t>(value)
#else
#define TROVE_CODE(name, value) static const int32_t name = (int32_t)(value)
#endif

// Framework codes (facility 0), with messages.
TROVE_CODE(errOk, 0x00000000);
TROVE_CODE(errFalse, 0x00000001);
TROVE_CODE(errNoInterface, 0x80000001u);
TROVE_CODE(errUnexpected, 0x80000040u);
TROVE_CODE(errOutOfMemory, 0x80000041u);
TROVE_CODE(errNotSupported, 0x80000042u);
TROVE_CODE(errNotImplemented, 0x80000043u);
TROVE_CODE(errBufferTooSmall, 0x80000044u);
TROVE_CODE(errAccessDenied, 0x80000045u);
TROVE_CODE(errInvalidArgument, 0x80000046u);
TROVE_CODE(errNotMatched, 0x8000004Au);
TROVE_CODE(errUnspecified, 0x8000004Bu);
TROVE_CODE(errNotFound, 0x8000004Cu);
TROVE_CODE(errFound, 0x8000004Du);
TROVE_CODE(errLocked, 0x8000004Fu);
TROVE_CODE(errNotLocked, 0x80000050u);
TROVE_CODE(errCancelled, 0x80000051u);
TROVE_CODE(errMethodNotFound, 0x80000057u);
TROVE_CODE(errStackEmpty, 0x80000058u);
TROVE_CODE(errMediaError, 0x80000059u);
TROVE_CODE(errInvalidSignature, 0x8000005Au);
TROVE_CODE(errInvalidVersion, 0x8000005Bu);
TROVE_CODE(errInvalidSize, 0x8000005Cu);
TROVE_CODE(errInvalidType, 0x8000005Du);
TROVE_CODE(errInvalidIndex, 0x8000005Eu);
TROVE_CODE(errOutOfSpace, 0x80000062u);
TROVE_CODE(errNotReady, 0x80000063u);
TROVE_CODE(errLessThan, 0x80000064u);
TROVE_CODE(errMoreThan, 0x80000065u);
TROVE_CODE(errProhibited, 0x80000066u);
TROVE_CODE(errAlreadyDone, 0x80000067u);
TROVE_CODE(errNeedReboot, 0x80000068u);
TROVE_CODE(errBasesCorrupted, 0x80000069u);
TROVE_CODE(errInvalidState, 0x8000006Au);
TROVE_CODE(errNotInitialized, 0x8000006Bu);
TROVE_CODE(errInsufficientResources, 0x8000006Cu);
TROVE_CODE(errInvalidResult, 0x80000071u);
TROVE_CODE(errUnknownException, 0x80000072u);
TROVE_CODE(errMetaInfoNotFound, 0x80000076u);
TROVE_CODE(errNumericOverflow, 0x80000077u);
TROVE_CODE(errClassNotFound, 0x80000100u);
TROVE_CODE(errSettingsRequired, 0x80000101u);
TROVE_CODE(errUnexpectedSettings, 0x80000102u);
TROVE_CODE(errWrongSettingsType, 0x80000103u);
TROVE_CODE(errWrongSettingsRevision, 0x80000104u);
TROVE_CODE(errSettingsNotFound, 0x80000105u);
TROVE_CODE(errObjectUntrusted, 0x80000106u);
TROVE_CODE(errPropertyNotFound, 0x80000180u);
TROVE_CODE(errTimeout, 0x80000221u);

// The module's own codes (facility 0, no message of their own).
TROVE_CODE(errUnchanged, 0x00000047);   // success: a set found the value equal
TROVE_CODE(errKeyCreated, 0x0000D001);  // success: OpenKey created the key
TROVE_CODE(errXmlFormat, 0x800000C0u);
TROVE_CODE(errReadOnly, 0x800000C1u);
TROVE_CODE(errWrongState, 0x800000C2u);
TROVE_CODE(errFileNotFound, 0x800000C5u);
TROVE_CODE(errAlreadyExists, 0x800000D1u);
TROVE_CODE(errEntryNotFound, 0x8000D002u);
TROVE_CODE(errInvalidKey, 0x8000D004u);

// Platform codes (facility 1), with messages.
TROVE_CODE(errSysUnspecified, 0x80010100u);
TROVE_CODE(errSysInvalidHandle, 0x80010101u);
TROVE_CODE(errSysFileNotFound, 0x80010102u);
TROVE_CODE(errSysPathNotFound, 0x80010103u);
TROVE_CODE(errSysSharingViolation, 0x80010104u);
TROVE_CODE(errSysAlreadyExists, 0x80010105u);
TROVE_CODE(errSysWaitAbandoned, 0x80010106u);
TROVE_CODE(errSysSymbolNotFound, 0x80010107u);
TROVE_CODE(errSysSxsIncorrect, 0x80010108u);
TROVE_CODE(errSysInvalidPathName, 0x80010109u);
TROVE_CODE(errSysAnonymousToken, 0x80010110u);
TROVE_CODE(errSysInvalidPassword, 0x80010111u);
TROVE_CODE(errSysModuleNotFound, 0x80010112u);
TROVE_CODE(errSysBadImageSignature, 0x80010113u);
TROVE_CODE(errSysCloudRequestAborted, 0x80010114u);
TROVE_CODE(errSysMappingFailed, 0x80010115u);

#undef TROVE_CODE

#endif
