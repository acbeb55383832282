#include "base/case_folding.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "base/case_folding_table.h"

namespace {

using trove::caseFold;
using trove::namesEqual;

std::vector<uint32_t> fold(uint32_t c) {
  trove::FoldedCodePoint f = caseFold(c);
  EXPECT_LE(f.start, 2u);
  return std::vector<uint32_t>(f.begin(), f.end());
}

using CodePoints = std::vector<uint32_t>;

TEST(CaseFoldTest, TableHoldsExactlyTheMappingsOfUnicode11) {
  int byCount[4] = {0, 0, 0, 0};
  for (uint32_t c = 0; c < 0x110000; ++c) {
    trove::FoldedCodePoint f = caseFold(c);
    uint32_t n = f.count();
    ASSERT_GE(n, 1u);
    ASSERT_LE(n, 3u);
    if (n > 1 || f.slots[2] != c) {
      ++byCount[n];
    }
  }
  EXPECT_EQ(byCount[1], 1376);
  EXPECT_EQ(byCount[2], 88);
  EXPECT_EQ(byCount[3], 16);

  // Every entry sits at the slot its code point hashes to, once.
  std::set<uint32_t> codePoints;
  for (std::size_t i = 0; i < trove::case_folding::kEntryCount; ++i) {
    const auto& entry = trove::case_folding::kEntries[i];
    codePoints.insert(entry.codePoint);
    uint32_t slot =
        trove::case_folding::kHash[entry.codePoint & 0x1FF] ^ ((entry.codePoint >> 8) & 0x1FF);
    EXPECT_EQ(slot, i);
    EXPECT_LE(entry.poolIndex + entry.count, trove::case_folding::kPoolSize);
  }
  EXPECT_EQ(codePoints.size(), 1480u);
}

TEST(CaseFoldTest, KnownFoldings) {
  EXPECT_EQ(fold(0x0041), (CodePoints{0x0061}));
  EXPECT_EQ(fold(0x0061), (CodePoints{0x0061}));
  EXPECT_EQ(fold(0x00DF), (CodePoints{0x0073, 0x0073}));
  EXPECT_EQ(fold(0x1E9E), (CodePoints{0x0073, 0x0073}));  // full, not the simple U+00DF
  EXPECT_EQ(fold(0x0130), (CodePoints{0x0069, 0x0307}));
  EXPECT_EQ(fold(0x0149), (CodePoints{0x02BC, 0x006E}));
  EXPECT_EQ(fold(0xFB03), (CodePoints{0x0066, 0x0066, 0x0069}));
  EXPECT_EQ(fold(0x0390), (CodePoints{0x03B9, 0x0308, 0x0301}));
  EXPECT_EQ(fold(0x00B5), (CodePoints{0x03BC}));
  EXPECT_EQ(fold(0x03A3), (CodePoints{0x03C3}));
  EXPECT_EQ(fold(0x212A), (CodePoints{0x006B}));
  EXPECT_EQ(fold(0x0400), (CodePoints{0x0450}));
  EXPECT_EQ(fold(0x10400), (CodePoints{0x10428}));
  EXPECT_EQ(fold(0x1E921), (CodePoints{0x1E943}));
  EXPECT_EQ(fold(0xAB70), (CodePoints{0x13A0}));
  // Assigned in 11.0: folded.
  EXPECT_EQ(fold(0x1C90), (CodePoints{0x10D0}));
  EXPECT_EQ(fold(0xA7B8), (CodePoints{0xA7B9}));
  EXPECT_EQ(fold(0x16E40), (CodePoints{0x16E60}));
  // Assigned later: folds to itself.
  EXPECT_EQ(fold(0xA7C2), (CodePoints{0xA7C2}));
  EXPECT_EQ(fold(0xA7C0), (CodePoints{0xA7C0}));
  EXPECT_EQ(fold(0x2C2F), (CodePoints{0x2C2F}));
  EXPECT_EQ(fold(0x10570), (CodePoints{0x10570}));
  // Lower case, unassigned and out-of-range code points are left alone.
  EXPECT_EQ(fold(0x00E9), (CodePoints{0x00E9}));
  EXPECT_EQ(fold(0xFFFD), (CodePoints{0xFFFD}));
  EXPECT_EQ(fold(0x10FFFF), (CodePoints{0x10FFFF}));
  EXPECT_EQ(fold(0x7FFFFFFF), (CodePoints{0x7FFFFFFF}));
}

TEST(NamesEqualTest, FoldsCase) {
  EXPECT_TRUE(namesEqual("", ""));
  EXPECT_TRUE(namesEqual("Software", "SOFTWARE"));
  EXPECT_TRUE(namesEqual("STRASSE",
                         "stra\xC3\x9F"
                         "e"));
  EXPECT_TRUE(
      namesEqual("stra\xC3\x9F"
                 "e",
                 "STRASSE"));
  EXPECT_TRUE(namesEqual("\xE1\xBA\x9E", "ss"));   // U+1E9E
  EXPECT_TRUE(namesEqual("\xEF\xAC\x83", "FFI"));  // U+FB03
  EXPECT_TRUE(
      namesEqual("\xE2\x84\xAA"
                 "elvin",
                 "kelvin"));                                        // Kelvin sign
  EXPECT_TRUE(namesEqual("\xC4\xB0", "i\xCC\x87"));                 // U+0130 and i + U+0307
  EXPECT_TRUE(namesEqual("\xF0\x90\x90\x80", "\xF0\x90\x90\xA8"));  // Deseret
  EXPECT_TRUE(namesEqual("\xCE\xA3", "\xCF\x82"));                  // capital sigma, final sigma

  EXPECT_FALSE(namesEqual("abc", "abcd"));
  EXPECT_FALSE(namesEqual("abcd", "abc"));
  EXPECT_FALSE(namesEqual("a", ""));
  EXPECT_FALSE(namesEqual("\xC3\x9F", "s"));
  EXPECT_FALSE(namesEqual("\xC3\x9F", "sss"));
  EXPECT_FALSE(namesEqual("\xC4\xB0", "i"));
  EXPECT_FALSE(namesEqual("e", "\xC3\xA9"));
  EXPECT_FALSE(namesEqual("\xEA\x9F\x82", "\xEA\x9F\x83"));  // U+A7C2 is newer than 11.0
  EXPECT_TRUE(namesEqual(nullptr, ""));
}

TEST(NamesEqualTest, DecodesMalformedUtf8Leniently) {
  const char* replacement = "\xEF\xBF\xBD";
  // Bad lead bytes: one U+FFFD each.
  EXPECT_TRUE(namesEqual("\x80", replacement));
  EXPECT_TRUE(namesEqual("\xFF", replacement));
  EXPECT_TRUE(namesEqual("\xF8\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"));
  // A sequence cut by the end: one U+FFFD, and the end stays the end.
  EXPECT_TRUE(namesEqual("a\xC3", "A\xEF\xBF\xBD"));
  EXPECT_TRUE(namesEqual("a\xE2\x82", "A\xEF\xBF\xBD"));
  EXPECT_TRUE(namesEqual("\xF0\x9F\x98", replacement));
  EXPECT_FALSE(namesEqual("a\xE2\x82", "A\xEF\xBF\xBD\xEF\xBF\xBD"));
  // Bad continuation bytes: the sequence is consumed and gives U+FFFD.
  EXPECT_TRUE(namesEqual("\xC3\x41", replacement));
  EXPECT_FALSE(namesEqual("\xC3\x41",
                          "\xEF\xBF\xBD"
                          "A"));
  EXPECT_TRUE(
      namesEqual("\xE2\xC2\x82"
                 "b",
                 "\xEF\xBF\xBD"
                 "B"));
  // Only the continuation bytes ORed together are checked.
  EXPECT_TRUE(namesEqual("\xE2\x01\x82", "\xE2\x81\x82"));
  // Overlong forms and surrogates are taken as they come.
  EXPECT_TRUE(namesEqual("\xC1\x81", "a"));
  EXPECT_TRUE(namesEqual("\xE0\x81\x81", "A"));
  EXPECT_TRUE(namesEqual("\xED\xA0\x80", "\xED\xA0\x80"));
  EXPECT_FALSE(namesEqual("\xED\xA0\x80", replacement));
}

TEST(NamesEqualTest, ComparesACountedSegmentInPlace) {
  const char* path = "SOFTWARE/Vendor";
  EXPECT_TRUE(namesEqual(path, 8, "software"));
  EXPECT_FALSE(namesEqual(path, 8, "softwar"));
  EXPECT_FALSE(namesEqual(path, 9, "software"));
  EXPECT_TRUE(namesEqual(path + 9, 6, "VENDOR"));
  EXPECT_TRUE(namesEqual(path, 0, ""));
  EXPECT_FALSE(namesEqual(path, 0, "s"));
  // The count ends a sequence even where the bytes go on.
  EXPECT_TRUE(namesEqual("\xC3\xA9", 1, "\xEF\xBF\xBD"));
  EXPECT_TRUE(namesEqual("STRASSE\\x", 7,
                         "stra\xC3\x9F"
                         "e"));
}

}  // namespace
