// The host's trace formatter: printf with LP64 sizes, UTF-16 text through %S
// and result codes through %terr. The format is read piece by piece
// (trace_directive.h); this file prints each piece from its arguments.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "trace_directive.h"
#include "trove/host/trace.h"
#include "trove/result_messages.h"

namespace trove::host {
namespace {

// A directive's printf form once its '*' arguments are taken.
struct Spec {
  std::string flags;
  int width = kTraceNumberAbsent;
  int precision = kTraceNumberAbsent;
  std::string_view length;
  bool leftAlign() const { return flags.find('-') != std::string::npos; }
};

// Takes the width and precision arguments a directive asks for, in that
// order. A negative width argument left-aligns, a negative precision is none.
Spec resolveSpec(const TracePiece& piece, va_list& args) {
  Spec spec;
  spec.flags = piece.flags;
  spec.width = piece.width;
  if (spec.width == kTraceNumberFromArgument) {
    int width = va_arg(args, int);
    if (width < 0) {
      spec.flags += '-';
      width = -width;
    }
    spec.width = width;
  }
  spec.precision = piece.precision;
  if (spec.precision == kTraceNumberFromArgument) {
    int precision = va_arg(args, int);
    spec.precision = precision < 0 ? kTraceNumberAbsent : precision;
  }
  spec.length = piece.length;
  return spec;
}

// Builds the printf spec for snprintf from the parsed parts.
std::string printfSpec(const Spec& spec, char conversion) {
  std::string out = "%" + spec.flags;
  if (spec.width >= 0) out += std::to_string(spec.width);
  if (spec.precision >= 0) out += "." + std::to_string(spec.precision);
  out += spec.length;
  out += conversion;
  return out;
}

// The printf directive for a conversion whose argument has one size only.
std::string printfSpecWithoutLength(Spec spec, char conversion) {
  spec.length = {};
  return printfSpec(spec, conversion);
}

template <typename T>
void appendPrintf(std::string& out, const std::string& spec, T value) {
  char small[128];
  int needed = std::snprintf(small, sizeof small, spec.c_str(), value);
  if (needed < 0) return;
  if (static_cast<size_t>(needed) < sizeof small) {
    out.append(small, static_cast<size_t>(needed));
    return;
  }
  std::string large(static_cast<size_t>(needed) + 1, '\0');
  std::snprintf(large.data(), large.size(), spec.c_str(), value);
  out.append(large.data(), static_cast<size_t>(needed));
}

void appendPadded(std::string& out, const std::string& text, const Spec& spec) {
  size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  size_t pad = text.size() < width ? width - text.size() : 0;
  if (!spec.leftAlign()) out.append(pad, ' ');
  out += text;
  if (spec.leftAlign()) out.append(pad, ' ');
}

void appendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// UTF-16 to UTF-8 for display: an unpaired surrogate shows as U+FFFD. The
// precision counts UTF-16 units, as printf's counts characters of %ls.
std::string utf16ForDisplay(const char16_t* text, int precision) {
  if (!text) return "(null)";
  size_t limit = precision >= 0 ? static_cast<size_t>(precision) : SIZE_MAX;
  std::string out;
  for (size_t i = 0; i < limit && text[i] != 0; ++i) {
    uint32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < limit && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    appendUtf8(out, c);
  }
  return out;
}

void appendSigned(std::string& out, const Spec& spec, char conversion, va_list& args) {
  std::string f = printfSpec(spec, conversion);
  if (spec.length == "l" || spec.length == "z" || spec.length == "t") {
    appendPrintf(out, f, va_arg(args, long));
  } else if (spec.length == "ll" || spec.length == "j") {
    appendPrintf(out, f, va_arg(args, long long));
  } else {
    // hh and h print the promoted int as printf narrows it.
    appendPrintf(out, f, va_arg(args, int));
  }
}

void appendUnsigned(std::string& out, const Spec& spec, char conversion, va_list& args) {
  std::string f = printfSpec(spec, conversion);
  if (spec.length == "l" || spec.length == "z" || spec.length == "t") {
    appendPrintf(out, f, va_arg(args, unsigned long));
  } else if (spec.length == "ll" || spec.length == "j") {
    appendPrintf(out, f, va_arg(args, unsigned long long));
  } else {
    appendPrintf(out, f, va_arg(args, unsigned int));
  }
}

void appendFloating(std::string& out, const Spec& spec, char conversion, va_list& args) {
  if (spec.length == "L") {
    appendPrintf(out, printfSpec(spec, conversion), va_arg(args, long double));
  } else {
    appendPrintf(out, printfSpecWithoutLength(spec, conversion), va_arg(args, double));
  }
}

// Prints one piece, taking from `args` exactly the arguments it consumes.
void appendPiece(std::string& out, const TracePiece& piece, va_list& args) {
  const Spec spec = resolveSpec(piece, args);
  switch (piece.conversion) {
    case TraceConversion::Text:
    case TraceConversion::Verbatim:
      out += piece.text;
      break;
    case TraceConversion::Signed:
      appendSigned(out, spec, piece.letter, args);
      break;
    case TraceConversion::Unsigned:
      appendUnsigned(out, spec, piece.letter, args);
      break;
    case TraceConversion::Character:
      appendPrintf(out, printfSpecWithoutLength(spec, 'c'), va_arg(args, int));
      break;
    case TraceConversion::Pointer:
      appendPrintf(out, printfSpecWithoutLength(spec, 'p'), va_arg(args, void*));
      break;
    case TraceConversion::Narrow: {
      const char* text = va_arg(args, const char*);
      appendPrintf(out, printfSpecWithoutLength(spec, 's'), text ? text : "(null)");
      break;
    }
    case TraceConversion::Wide:
      appendPadded(out, utf16ForDisplay(va_arg(args, const char16_t*), spec.precision), spec);
      break;
    case TraceConversion::Floating:
      appendFloating(out, spec, piece.letter, args);
      break;
    case TraceConversion::Result:
      appendPadded(out, formatResult(static_cast<int32_t>(va_arg(args, int))), spec);
      break;
  }
}

}  // namespace

std::string resultMessage(int32_t code) {
  return std::string(describeAnyResult(code));
}

std::string formatResult(int32_t code) {
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08x", static_cast<uint32_t>(code));
  return std::string(hex) + " (" + resultMessage(code) + ")";
}

std::string formatTraceV(const char* format, va_list incoming) {
  std::string out;
  if (!format) return out;
  va_list args;
  va_copy(args, incoming);
  TracePiece piece;
  for (const char* at = format; *at != '\0';) {
    at = parseTracePiece(at, &piece);
    appendPiece(out, piece, args);
  }
  va_end(args);
  return out;
}

std::string formatTrace(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = formatTraceV(format, args);
  va_end(args);
  return out;
}

}  // namespace trove::host
