// The host's trace formatter and sinks: what a module's trace line turns into.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "trove/host/status.h"
#include "trove/host/trace.h"
#include "trove/result_codes.h"

namespace {

using trove::host::formatResult;
using trove::host::formatTrace;

TEST(TraceFormat, IntegersTakeTheirLp64Sizes) {
  EXPECT_EQ(formatTrace("%d %i %u %x %X", -5, 7, 0xFFFFFFFFu, 255u, 0xABCu),
            "-5 7 4294967295 ff ABC");
  // 64-bit conversions consume 64-bit arguments and leave the next 32-bit one in place.
  EXPECT_EQ(formatTrace("%ld|%d|%lx|%lu|%li", int64_t{-1}, 42, uint64_t{0x1234567890},
                        uint64_t{18446744073709551615u}, int64_t{-9000000000}),
            "-1|42|1234567890|18446744073709551615|-9000000000");
  EXPECT_EQ(formatTrace("%.08lX", uint64_t{0xABCDEF}), "00ABCDEF");
  EXPECT_EQ(formatTrace("%.08lX", uint64_t{0x123456789ABCDEF0}), "123456789ABCDEF0");
  EXPECT_EQ(formatTrace("%lX", uint64_t{0xFEDCBA9876543210}), "FEDCBA9876543210");
}

TEST(TraceFormat, FlagsWidthsAndPrecisions) {
  EXPECT_EQ(formatTrace("%5d|%-5d|%05d|%+d|% d", 42, 42, 42, 42, 42), "   42|42   |00042|+42| 42");
  EXPECT_EQ(formatTrace("%#x|%#o|%.3d", 255u, 8u, 7), "0xff|010|007");
  EXPECT_EQ(formatTrace("%*d|%-*d|", 4, 1, 3, 2), "   1|2  |");
  EXPECT_EQ(formatTrace("%.3s|%-6s|%6s", "abcdef", "ab", "cd"), "abc|ab    |    cd");
  EXPECT_EQ(formatTrace("%c%c", 'o', 'k'), "ok");
  EXPECT_EQ(formatTrace("%td", static_cast<std::ptrdiff_t>(-3)), "-3");
}

TEST(TraceFormat, LengthModifiersFloatsPointersAndStars) {
  // hh and h narrow the promoted int; ll, j and z take 64 bits. The trailing
  // %d shows every argument was consumed at its own size.
  EXPECT_EQ(
      formatTrace("%hhd|%hhu|%hx|%lld|%llu|%jd|%zu|%d", 0x1FF, 0x1FF, 0x12345, int64_t{-9000000000},
                  uint64_t{18446744073709551615u}, int64_t{-7}, size_t{9}, 42),
      "-1|255|2345|-9000000000|18446744073709551615|-7|9|42");
  EXPECT_EQ(formatTrace("%.2f|%Lg|%p|%d", 1.5, 2.5L, reinterpret_cast<void*>(0x10), 7),
            "1.50|2.5|0x10|7");
  // A negative '*' width left-aligns; a negative '*' precision is none.
  EXPECT_EQ(formatTrace("%*d|%.*s|%.*s|", -3, 1, 2, "abc", -1, "abc"), "1  |ab|abc|");
}

TEST(TraceFormat, WideTextBoundaries) {
  // A high surrogate pairs only with a low one; a low one alone is unpaired.
  const char16_t unpaired[] = {0xDC00, 0xD800, 0xE000, 0};
  EXPECT_EQ(formatTrace("%S", unpaired), "\xEF\xBF\xBD\xEF\xBF\xBD\xEE\x80\x80");
  // The edges of the two- and four-byte forms.
  EXPECT_EQ(formatTrace("%S", u"\u0080\U00010000\U0010FFFF"),
            "\xC2\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  // The precision counts UTF-16 units: a pair it cuts in two is unpaired.
  EXPECT_EQ(formatTrace("%.1S|%.2S|%.3S", u"\U0001F600x", u"\U0001F600x", u"\U0001F600x"),
            "\xEF\xBF\xBD|\xF0\x9F\x98\x80|\xF0\x9F\x98\x80x");
}

TEST(TraceFormat, NarrowAndWideText) {
  EXPECT_EQ(formatTrace("[%s]", "trove"), "[trove]");
  EXPECT_EQ(formatTrace("[%s]", static_cast<const char*>(nullptr)), "[(null)]");
  EXPECT_EQ(formatTrace("%S", u"h\u00e9llo"), "h\xC3\xA9llo");
  EXPECT_EQ(formatTrace("%S", u"\u20AC"), "\xE2\x82\xAC");
  // A surrogate pair becomes one four-byte character.
  EXPECT_EQ(formatTrace("%S", u"\U0001F600"), "\xF0\x9F\x98\x80");
  // An unpaired surrogate shows as the replacement character.
  const char16_t unpaired[] = {0xD800, u'x', 0};
  EXPECT_EQ(formatTrace("%S", unpaired), "\xEF\xBF\xBDx");
  EXPECT_EQ(formatTrace("%S", static_cast<const char16_t*>(nullptr)), "(null)");
  EXPECT_EQ(formatTrace("[%6S|%-4S|%.2S]", u"ab", u"c", u"wxyz"), "[    ab|c   |wx]");
  // Mixed with numbers, every argument lands where it belongs.
  EXPECT_EQ(
      formatTrace("trove\tsave to temporary file %S, backup mode: %u", u"/tmp/a.xml.tmp7", 2u),
      "trove\tsave to temporary file /tmp/a.xml.tmp7, backup mode: 2");
}

TEST(TraceFormat, ResultCodesPrintWithTheirMeaning) {
  EXPECT_EQ(formatResult(errInvalidArgument), "0x80000046 (Invalid argument)");
  EXPECT_EQ(formatTrace("%terr", errInvalidArgument), "0x80000046 (Invalid argument)");
  EXPECT_EQ(formatTrace("Registry(IID_REGISTRY)registered [%terr]", errNotSupported),
            "Registry(IID_REGISTRY)registered [0x80000042 (Not supported)]");
  EXPECT_EQ(formatTrace("%terr", errOk), "0x00000000 (No error)");
  EXPECT_EQ(formatTrace("%terr", errSysSharingViolation).substr(0, 12), "0x80010104 (");
  EXPECT_NE(formatTrace("%terr", errSysSharingViolation), "0x80010104 (Unknown result code)");
  EXPECT_EQ(formatTrace("%terr", static_cast<int32_t>(0x8123ABCDu)),
            "0x8123abcd (Unknown result code)");
  // The conversion ends after "terr"; what follows is text, and the
  // arguments after it are still in step.
  EXPECT_EQ(formatTrace("trove\t%s %s (0x%x:%d): %terr!", "PropertiesMap::SetValue", "v", 0xBEEFu,
                        4, errReadOnly),
            "trove\tPropertiesMap::SetValue v (0xbeef:4): 0x800000c1 (Unknown result code)!");
  EXPECT_EQ(formatTrace("%-32terr|", errOk), "0x00000000 (No error)           |");
}

TEST(TraceFormat, PercentSignsAndUnknownConversions) {
  EXPECT_EQ(formatTrace("100%% done"), "100% done");
  // An unknown conversion is copied and consumes nothing.
  EXPECT_EQ(formatTrace("%q %d", 5), "%q 5");
  EXPECT_EQ(formatTrace("%n%d", 6), "%n6");
  EXPECT_EQ(formatTrace("cut %"), "cut %");
  EXPECT_EQ(formatTrace("cut %-5"), "cut %-5");
  EXPECT_EQ(formatTrace(""), "");
  EXPECT_EQ(formatTrace(nullptr), "");
}

TEST(TraceFormat, LongOutputIsNotCut) {
  std::string text(1000, 'k');
  EXPECT_EQ(formatTrace("<%s>", text.c_str()), "<" + text + ">");
  std::string padded = formatTrace("%300d", 1);
  ASSERT_EQ(padded.size(), 300u);
  EXPECT_EQ(padded.back(), '1');
}

TEST(TraceSinks, StderrSinkKeepsTheSeriousLines) {
  trove::host::StderrTraceSink sink;
  testing::internal::CaptureStderr();
  sink.write({200, "registration failed", nullptr});
  sink.write({300, "an error", nullptr});
  sink.write({350, "a warning", nullptr});
  sink.write({400, "saving", nullptr});
  sink.write({600, "a call", nullptr});
  std::string written = testing::internal::GetCapturedStderr();
  EXPECT_EQ(written, "trace 200: registration failed\ntrace 300: an error\ntrace 350: a warning\n");

  trove::host::StderrTraceSink everything(trove::host::kTraceLevelAll);
  testing::internal::CaptureStderr();
  everything.write({600, "a call", nullptr});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "trace 600: a call\n");
}

TEST(TraceSinks, CapturingSinkKeepsEveryLineInOrder) {
  trove::host::CapturingTraceSink sink;
  EXPECT_EQ(sink.last().level, 0u);
  int object = 0;
  sink.write({600, "first", &object});
  sink.write({300, "second", nullptr});
  sink.write({600, "third", nullptr});
  ASSERT_EQ(sink.count(), 3u);
  EXPECT_EQ(sink.lines()[0].object, &object);
  EXPECT_EQ(sink.texts(), (std::vector<std::string>{"first", "second", "third"}));
  ASSERT_EQ(sink.linesAt(600).size(), 2u);
  EXPECT_EQ(sink.linesAt(600)[1].text, "third");
  EXPECT_EQ(sink.last().text, "third");
  EXPECT_TRUE(sink.contains("eco"));
  EXPECT_FALSE(sink.contains("fourth"));
  sink.clear();
  EXPECT_EQ(sink.count(), 0u);

  // Lines from several threads all arrive.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&sink] {
      for (int i = 0; i < 500; ++i) sink.write({600, "line", nullptr});
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sink.count(), 2000u);
}

TEST(TraceSinks, CallbackSinkSeesEachLine) {
  std::vector<uint32_t> levels;
  trove::host::CallbackTraceSink sink(
      [&levels](const trove::host::TraceLine& line) { levels.push_back(line.level); });
  sink.write({350, "x", nullptr});
  sink.write({500, "y", nullptr});
  EXPECT_EQ(levels, (std::vector<uint32_t>{350, 500}));
}

TEST(Status, CarriesCodeAndContext) {
  trove::host::Status plain(errOk);
  EXPECT_TRUE(plain.ok());
  EXPECT_EQ(plain, errOk);
  trove::host::Status created(errKeyCreated);
  EXPECT_TRUE(created.ok()) << "success codes other than 0 are success";
  trove::host::Status failed(errInvalidArgument, "cannot open x");
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.code(), errInvalidArgument);
  EXPECT_EQ(failed.message(), "cannot open x [0x80000046 (Invalid argument)]");
  EXPECT_EQ(trove::host::Status(errNotFound).message(), "0x8000004c (Not found)");
}

}  // namespace
