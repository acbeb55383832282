#include "trace_directive.h"

#include <cstring>

namespace trove::host {
namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// A run of digits, or '*' for a number taken from the arguments.
const char* parseNumber(const char* at, int* number) {
  if (*at == '*') {
    *number = kTraceNumberFromArgument;
    return at + 1;
  }
  if (!isDigit(*at)) return at;
  int value = 0;
  while (isDigit(*at)) value = value * 10 + (*at++ - '0');
  *number = value;
  return at;
}

const char* parseLength(const char* at, std::string_view* length) {
  if ((at[0] == 'h' && at[1] == 'h') || (at[0] == 'l' && at[1] == 'l')) {
    *length = std::string_view(at, 2);
    return at + 2;
  }
  if (*at != '\0' && std::strchr("hlzjtL", *at)) {
    *length = std::string_view(at, 1);
    return at + 1;
  }
  return at;
}

TraceConversion conversionOf(char letter) {
  switch (letter) {
    case 'd':
    case 'i':
      return TraceConversion::Signed;
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      return TraceConversion::Unsigned;
    case 'c':
      return TraceConversion::Character;
    case 'p':
      return TraceConversion::Pointer;
    case 's':
      return TraceConversion::Narrow;
    case 'S':
      return TraceConversion::Wide;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return TraceConversion::Floating;
    default:
      return TraceConversion::Verbatim;
  }
}

// The directive after the '%' at `percent`: flags, width, precision, then
// "terr" or a length and a letter.
const char* parseDirective(const char* percent, TracePiece* piece) {
  const char* at = percent + 1;
  const char* flags = at;
  while (*at != '\0' && std::strchr("-+ #0", *at)) ++at;
  piece->flags = std::string_view(flags, static_cast<size_t>(at - flags));
  at = parseNumber(at, &piece->width);
  if (*at == '.') {
    piece->precision = 0;  // a lone '.' is precision 0, as in printf
    at = parseNumber(at + 1, &piece->precision);
  }
  if (std::strncmp(at, "terr", 4) == 0) {
    piece->conversion = TraceConversion::Result;
    at += 4;
  } else {
    at = parseLength(at, &piece->length);
    piece->letter = *at;
    // A format that ends inside a directive leaves it cut off: it is copied
    // to the end as it stands.
    if (*at != '\0') ++at;
    piece->conversion = conversionOf(piece->letter);
  }
  piece->text = std::string_view(percent, static_cast<size_t>(at - percent));
  return at;
}

}  // namespace

const char* parseTracePiece(const char* at, TracePiece* piece) {
  *piece = TracePiece{};
  if (at[0] != '%') {
    const char* next = std::strchr(at, '%');
    size_t run = next ? static_cast<size_t>(next - at) : std::strlen(at);
    piece->text = std::string_view(at, run);
    return at + run;
  }
  if (at[1] == '%') {
    piece->text = std::string_view(at + 1, 1);
    return at + 2;
  }
  return parseDirective(at, piece);
}

}  // namespace trove::host
