// Reading a trace format: the text runs and the printf-style directives it is
// made of, as written. Printing them is the formatter's job (trace_format.cc).
#pragma once

#include <string_view>

namespace trove::host {

// What a piece of a format prints.
enum class TraceConversion {
  Text,       // `text` as it stands (a run of text, or the '%' of "%%")
  Verbatim,   // an unknown or cut-off directive: `text` as written, no value
  Signed,     // %d %i
  Unsigned,   // %u %x %X %o
  Character,  // %c
  Pointer,    // %p
  Narrow,     // %s
  Wide,       // %S, NUL-terminated UTF-16
  Floating,   // %e %E %f %F %g %G %a %A
  Result,     // %terr, a 32-bit result code
};

// A width or precision that is absent, or given by an int argument ('*').
inline constexpr int kTraceNumberAbsent = -1;
inline constexpr int kTraceNumberFromArgument = -2;

// One piece of a format. Width and precision arguments ('*') are taken by
// every directive, Verbatim ones included, before its value.
struct TracePiece {
  TraceConversion conversion = TraceConversion::Text;
  std::string_view text;   // the piece as written; for "%%" the '%' alone
  char letter = 0;         // the printf conversion letter of a directive
  std::string_view flags;  // of "-+ #0", in the order written
  int width = kTraceNumberAbsent;
  int precision = kTraceNumberAbsent;
  std::string_view length;  // "", "hh", "h", "l", "ll", "z", "j", "t" or "L"
};

// Reads the piece that starts at `at` (not at the terminating NUL) and
// returns where the next one starts.
const char* parseTracePiece(const char* at, TracePiece* piece);

}  // namespace trove::host
