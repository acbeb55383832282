// Strict value texts: what a careful program or user means by a number,
// instead of the store's lenient rules (which read "12abc" as hexadecimal
// and "-1" as 4294967295 for a tDWORD).
//
// Accepted per type: whole numbers in decimal or with 0x in hexadecimal (a
// minus sign only for the signed types), within the type's range; tDOUBLE a
// decimal number ("1.5", "-2e-3", "inf", "nan"); tBOOL true, false, 1 or 0;
// tCHAR exactly one byte; tBINARY and tPTR pairs of hexadecimal digits;
// tWSTRING valid UTF-8; tSTRING anything; tVOID and tFUNC_PTR only "". No
// white space, no trailing characters.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "trove/abi.h"
#include "trove/client/value_types.h"

namespace trove {

// Which rules read a value's text.
enum class TextRules {
  store,   // the module's own rules, as for the store file
  strict,  // the forms above
};

// The accepted form of `type` in words, e.g. "a whole number from 0 to 255,
// in decimal or as 0x hexadecimal".
std::string strictTextForm(TroveTypeId type);

// The binary form (as the binary interface exchanges it) of `text` read
// strictly as `type`. Throws Error(errInvalidArgument) whose message quotes
// the text and gives the accepted form.
Bytes parseStrictText(TroveTypeId type, std::string_view text);

// Why the store file's text form of `type` would not give back the value
// that `text` means (a double's lost digits, a character outside the Basic
// Multilingual Plane), or nothing when it keeps it. `text` must be strict.
std::optional<std::string> storedTextLoss(TroveTypeId type, std::string_view text);

}  // namespace trove
