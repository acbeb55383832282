#include "trove/client/error.h"

#include <cstdio>

#include "trove/result_codes.h"
#include "trove/result_messages.h"

namespace trove {

namespace {

struct NamedCode {
  int32_t code;
  const char* name;
  const char* description;  // for codes whose framework message says nothing
};

// The codes a store user meets; the module's own codes have no framework
// message, so they get a short description here.
constexpr NamedCode kNamedCodes[] = {
    {errOk, "errOk", nullptr},
    {errFalse, "errFalse", nullptr},
    {errUnchanged, "errUnchanged", "value unchanged"},
    {errKeyCreated, "errKeyCreated", "key created"},
    {errUnexpected, "errUnexpected", nullptr},
    {errOutOfMemory, "errOutOfMemory", nullptr},
    {errNotSupported, "errNotSupported", nullptr},
    {errNotImplemented, "errNotImplemented", nullptr},
    {errBufferTooSmall, "errBufferTooSmall", nullptr},
    {errAccessDenied, "errAccessDenied", nullptr},
    {errInvalidArgument, "errInvalidArgument", nullptr},
    {errNotMatched, "errNotMatched", nullptr},
    {errUnspecified, "errUnspecified", nullptr},
    {errNotFound, "errNotFound", nullptr},
    {errOutOfSpace, "errOutOfSpace", nullptr},
    {errUnknownException, "errUnknownException", nullptr},
    {errXmlFormat, "errXmlFormat", "the store is not well-formed XML"},
    {errReadOnly, "errReadOnly", "the store is read-only"},
    {errWrongState, "errWrongState", "the store is not in a state for this"},
    {errFileNotFound, "errFileNotFound", "the store file or its directory does not exist"},
    {errAlreadyExists, "errAlreadyExists", "it exists already"},
    {errEntryNotFound, "errEntryNotFound", "no such key or value"},
    {errInvalidKey, "errInvalidKey", "the key is not valid (deleted, or outside the root key)"},
    {errSysFileNotFound, "errSysFileNotFound", nullptr},
    {errSysPathNotFound, "errSysPathNotFound", nullptr},
    {errSysSharingViolation, "errSysSharingViolation",
     "the store is in use by another program (sharing violation)"},
    {errSysAlreadyExists, "errSysAlreadyExists", nullptr},
    {errSysInvalidPathName, "errSysInvalidPathName", nullptr},
};

const NamedCode* find(int32_t code) {
  for (const auto& named : kNamedCodes) {
    if (named.code == code) return &named;
  }
  return nullptr;
}

std::string hex(int32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", static_cast<uint32_t>(code));
  return text;
}

}  // namespace

std::string resultName(int32_t code) {
  const NamedCode* named = find(code);
  return named ? named->name : hex(code);
}

std::string resultMessage(int32_t code) {
  const NamedCode* named = find(code);
  std::string text = named && named->description ? std::string(named->description)
                                                 : std::string(describeAnyResult(code));
  return text + " (" + hex(code) + ")";
}

Error::Error(int32_t code, std::string context)
    : std::runtime_error(context.empty() ? resultMessage(code)
                                         : context + ": " + resultMessage(code)),
      code_(code),
      context_(std::move(context)) {}

int32_t check(int32_t code, const std::string& context) {
  if (code < 0) throw Error(code, context);
  return code;
}

}  // namespace trove
