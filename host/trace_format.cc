// The host's trace formatter: printf with LP64 sizes, UTF-16 text through %S
// and result codes through %terr.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "trove/result_messages.h"
#include "trove/host/trace.h"

namespace trove::host {
namespace {

struct Spec {
  std::string flags;
  int width = -1;      // -1: none
  int precision = -1;  // -1: none
  std::string length;  // "", "hh", "h", "l", "ll", "z", "j", "t", "L"
  bool leftAlign() const { return flags.find('-') != std::string::npos; }
};

// Builds the printf spec for snprintf from the parsed parts.
std::string printfSpec(const Spec& spec, char conversion) {
  std::string out = "%" + spec.flags;
  if (spec.width >= 0) out += std::to_string(spec.width);
  if (spec.precision >= 0) out += "." + std::to_string(spec.precision);
  out += spec.length;
  out += conversion;
  return out;
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
  const char* p = format;
  while (*p) {
    if (*p != '%') {
      const char* next = std::strchr(p, '%');
      size_t run = next ? static_cast<size_t>(next - p) : std::strlen(p);
      out.append(p, run);
      p += run;
      continue;
    }
    const char* start = p++;
    if (*p == '%') {
      out += '%';
      ++p;
      continue;
    }
    Spec spec;
    while (*p && std::strchr("-+ #0", *p)) spec.flags += *p++;
    if (*p == '*') {
      int w = va_arg(args, int);
      if (w < 0) {
        spec.flags += '-';
        w = -w;
      }
      spec.width = w;
      ++p;
    } else {
      while (*p >= '0' && *p <= '9')
        spec.width = (spec.width < 0 ? 0 : spec.width * 10) + (*p++ - '0');
    }
    if (*p == '.') {
      ++p;
      spec.precision = 0;
      if (*p == '*') {
        int precision = va_arg(args, int);
        spec.precision = precision < 0 ? -1 : precision;
        ++p;
      } else {
        while (*p >= '0' && *p <= '9') spec.precision = spec.precision * 10 + (*p++ - '0');
      }
    }
    if (std::strncmp(p, "terr", 4) == 0) {
      appendPadded(out, formatResult(static_cast<int32_t>(va_arg(args, int))), spec);
      p += 4;
      continue;
    }
    if ((p[0] == 'h' && p[1] == 'h') || (p[0] == 'l' && p[1] == 'l')) {
      spec.length.assign(p, 2);
      p += 2;
    } else if (*p && std::strchr("hlzjtL", *p)) {
      spec.length = *p++;
    }
    char conversion = *p;
    switch (conversion) {
      case 'd':
      case 'i':
        appendSigned(out, spec, conversion, args);
        break;
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        appendUnsigned(out, spec, conversion, args);
        break;
      case 'c': {
        Spec plain = spec;
        plain.length.clear();
        appendPrintf(out, printfSpec(plain, 'c'), va_arg(args, int));
        break;
      }
      case 'p': {
        Spec plain = spec;
        plain.length.clear();
        appendPrintf(out, printfSpec(plain, 'p'), va_arg(args, void*));
        break;
      }
      case 's': {
        const char* text = va_arg(args, const char*);
        Spec plain = spec;
        plain.length.clear();
        appendPrintf(out, printfSpec(plain, 's'), text ? text : "(null)");
        break;
      }
      case 'S': {
        const char16_t* text = va_arg(args, const char16_t*);
        appendPadded(out, utf16ForDisplay(text, spec.precision), spec);
        break;
      }
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
      case 'a':
      case 'A': {
        Spec plain = spec;
        if (plain.length != "L") plain.length.clear();
        if (spec.length == "L") {
          appendPrintf(out, printfSpec(plain, conversion), va_arg(args, long double));
        } else {
          appendPrintf(out, printfSpec(plain, conversion), va_arg(args, double));
        }
        break;
      }
      default:
        // Unknown or cut off: copy it as it stands, consume nothing.
        if (conversion == 0) {
          out.append(start);
          va_end(args);
          return out;
        }
        out.append(start, static_cast<size_t>(p - start) + 1);
        break;
    }
    ++p;
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
