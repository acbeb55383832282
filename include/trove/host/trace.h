// Trace lines written by a module through the host's trace function: the
// printf-style formatter with the host's own conversions, and the sinks that
// receive the formatted lines.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace trove::host {

// Formats like printf with LP64 sizes (%d %i %u %x %X %o %c take 32 bits,
// %ld %li %lu %lx %lX 64 bits, %s narrow text, %S NUL-terminated UTF-16
// text, %p a pointer, %% a percent sign) plus %terr, a 32-bit result code
// printed as "0x80000046 (Invalid argument)". Flags, widths and precisions
// apply as in printf, also to %S and %terr. An unknown conversion is copied
// as it stands and consumes no argument.
std::string formatTraceV(const char* format, va_list args);
std::string formatTrace(const char* format, ...);

// "0x" and eight lower-case hex digits, a blank, the message in parentheses.
std::string formatResult(int32_t code);
// The message alone: "Invalid argument".
std::string resultMessage(int32_t code);

// The lower a level, the more serious the line: 200 a failed registration,
// 300 errors, 350 store warnings, 400-500 save progress, 600 every call.
inline constexpr uint32_t kTraceLevelErrors = 300;
inline constexpr uint32_t kTraceLevelWarnings = 350;
inline constexpr uint32_t kTraceLevelAll = 0xFFFFFFFFu;

struct TraceLine {
  uint32_t level = 0;
  std::string text;
  const void* object = nullptr;  // the object the line is about
};

class TraceSink {
 public:
  virtual ~TraceSink() = default;
  // Called from whichever thread the module traces on.
  virtual void write(const TraceLine& line) = 0;
  // The highest level this sink keeps. Lines above it are neither formatted
  // nor handed to write(), so a quiet sink costs the module's calls nothing.
  virtual uint32_t maxLevel() const { return kTraceLevelAll; }
};

// Writes "trace <level>: <text>" to standard error for lines whose level is
// at most maxLevel; the rest is dropped. The default shows errors and
// warnings and keeps the per-call chatter out.
class StderrTraceSink : public TraceSink {
 public:
  explicit StderrTraceSink(uint32_t maxLevel = kTraceLevelWarnings) : maxLevel_(maxLevel) {}
  void write(const TraceLine& line) override;
  uint32_t maxLevel() const override { return maxLevel_; }

 private:
  uint32_t maxLevel_;
};

// Hands every line to a function (for tools that print or count lines).
class CallbackTraceSink : public TraceSink {
 public:
  explicit CallbackTraceSink(std::function<void(const TraceLine&)> callback)
      : callback_(std::move(callback)) {}
  void write(const TraceLine& line) override { callback_(line); }

 private:
  std::function<void(const TraceLine&)> callback_;
};

// Drops every line: for programs that report errors their own way. Costs the
// module's calls nothing, since nothing is formatted for it.
class SilentTraceSink : public TraceSink {
 public:
  void write(const TraceLine&) override {}
  uint32_t maxLevel() const override { return 0; }
};

// Keeps every line, for tests. Safe to use from several threads.
class CapturingTraceSink : public TraceSink {
 public:
  void write(const TraceLine& line) override;

  std::vector<TraceLine> lines() const;
  std::vector<TraceLine> linesAt(uint32_t level) const;
  std::vector<std::string> texts() const;
  size_t count() const;
  // The last line, or an empty line with level 0 when there is none.
  TraceLine last() const;
  // Whether some line's text contains `fragment`.
  bool contains(std::string_view fragment) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<TraceLine> lines_;
};

}  // namespace trove::host
