#include "base/oru_string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "trove/result_codes.h"

namespace {

using oru::wstring_t;

std::u16string text(const wstring_t& s) {
  return std::u16string(s.view());
}

// Counts references, allocations and their sizes; fills freed blocks with a
// pattern so that reading a block after it was given back shows; can be told
// to refuse allocations.
class CountingAllocator : public oru::Allocator {
 public:
  ~CountingAllocator() {
    for (auto& [block, bytes] : live_) {
      ::operator delete(block);
    }
  }

  uint32_t addRef() override { return ++references; }
  uint32_t release() override { return --references; }
  void* allocate(std::size_t bytes) override {
    if (failAfter == 0) {
      return nullptr;
    }
    if (failAfter > 0) {
      --failAfter;
    }
    allocationSizes.push_back(bytes);
    void* block = ::operator new(bytes);
    live_[block] = bytes;
    return block;
  }
  void free(void* block) override {
    auto found = live_.find(block);
    ASSERT_NE(found, live_.end()) << "freed a block this allocator did not give out";
    std::memset(block, 0xEE, found->second);
    ::operator delete(block);
    live_.erase(found);
    ++frees;
  }

  std::size_t liveBlocks() const { return live_.size(); }

  uint32_t references = 1;
  int failAfter = -1;  // allocations left before refusing; -1 never refuses
  std::vector<std::size_t> allocationSizes;
  int frees = 0;

 private:
  std::map<void*, std::size_t> live_;
};

TEST(OruStringTest, LayoutIsPointerSizeCapacityAllocatorInlineArea) {
  CountingAllocator allocator;
  {
    wstring_t s(&allocator, 0);
    s.append(u"abc", 3);
    unsigned char raw[sizeof(wstring_t)];
    std::memcpy(raw, static_cast<const void*>(&s), sizeof raw);
    const char16_t* data;
    uint64_t size, capacity;
    oru::Allocator* owner;
    std::memcpy(&data, raw + 0, 8);
    std::memcpy(&size, raw + 8, 8);
    std::memcpy(&capacity, raw + 16, 8);
    std::memcpy(&owner, raw + 24, 8);
    EXPECT_EQ(data, s.data());
    EXPECT_EQ(static_cast<const void*>(data),
              static_cast<const void*>(reinterpret_cast<const char*>(&s) + 32));
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(capacity, 7u);
    EXPECT_EQ(owner, &allocator);
    EXPECT_EQ(std::memcmp(raw + 32, u"abc\0", 8), 0);
  }
  EXPECT_EQ(allocator.references, 1u);
}

TEST(OruStringTest, EmptyStringIsInlineAndTerminated) {
  wstring_t s;
  EXPECT_TRUE(s.empty());
  EXPECT_TRUE(s.isInline());
  EXPECT_EQ(s.capacity(), 7u);
  EXPECT_EQ(s.c_str()[0], u'\0');
  EXPECT_EQ(s.allocator(), nullptr);
}

TEST(OruStringTest, GrowthRuleMovesTheEighthUnitToA30ByteBlock) {
  CountingAllocator allocator;
  {
    wstring_t s(&allocator, 0);
    EXPECT_EQ(allocator.references, 2u);
    s.append(u"1234567", 7);
    EXPECT_TRUE(s.isInline());
    EXPECT_TRUE(allocator.allocationSizes.empty());
    EXPECT_EQ(s.c_str()[7], u'\0');

    s.push_back(u'8');
    EXPECT_FALSE(s.isInline());
    ASSERT_EQ(allocator.allocationSizes.size(), 1u);
    EXPECT_EQ(allocator.allocationSizes[0], 30u);
    EXPECT_EQ(s.capacity(), 14u);
    EXPECT_EQ(text(s), u"12345678");
    EXPECT_EQ(s.c_str()[8], u'\0');

    // Doubling: 14 full units plus one more gives capacity 28 (58 bytes).
    s.append(u"9abcdef", 6);
    EXPECT_EQ(allocator.allocationSizes.size(), 1u);
    s.push_back(u'g');
    ASSERT_EQ(allocator.allocationSizes.size(), 2u);
    EXPECT_EQ(allocator.allocationSizes[1], 58u);
    EXPECT_EQ(s.capacity(), 28u);
    EXPECT_EQ(allocator.frees, 1);
    EXPECT_EQ(text(s), u"123456789abcdeg");

    // A request beyond twice the capacity takes exactly what is needed.
    std::u16string big(100, u'x');
    s.append(big.data(), big.size());
    EXPECT_EQ(s.capacity(), 115u);
    EXPECT_EQ(allocator.allocationSizes.back(), 232u);
    EXPECT_EQ(s.size(), 115u);
  }
  EXPECT_EQ(allocator.liveBlocks(), 0u);
  EXPECT_EQ(allocator.references, 1u);
}

TEST(OruStringTest, AppendingItsOwnContent) {
  CountingAllocator allocator;
  {
    // Inline to inline.
    wstring_t a(&allocator, 0);
    a.append(u"abc", 3);
    a.append(a.data(), a.size());
    EXPECT_EQ(text(a), u"abcabc");

    // Inline to a heap block.
    a.append(a.data(), a.size());
    EXPECT_EQ(text(a), u"abcabcabcabc");
    EXPECT_FALSE(a.isInline());

    // A heap block that must grow: the old block stays readable during the copy.
    wstring_t b(&allocator, 0);
    b.append(u"0123456789", 10);
    ASSERT_EQ(b.capacity(), 14u);
    int freesBefore = allocator.frees;
    b.append(b);
    EXPECT_EQ(text(b), u"01234567890123456789");
    EXPECT_EQ(allocator.frees, freesBefore + 1);

    // A heap block with room to spare.
    ASSERT_GE(b.capacity() - b.size(), 5u);
    b.append(b.data() + 2, 5);
    EXPECT_EQ(text(b), u"0123456789012345678923456");

    // A substring of itself.
    wstring_t c(u"hello, world");
    c.append(c, 7);
    EXPECT_EQ(text(c), u"hello, worldworld");
    EXPECT_EQ(c.c_str()[c.size()], u'\0');
  }
  EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(OruStringTest, ConstructorsCopyMoveAndSwap) {
  CountingAllocator allocator;
  {
    wstring_t hinted(&allocator, 20);
    ASSERT_EQ(allocator.allocationSizes.size(), 1u);
    EXPECT_EQ(allocator.allocationSizes[0], 42u);
    EXPECT_EQ(hinted.capacity(), 20u);
    EXPECT_TRUE(hinted.empty());
    EXPECT_EQ(hinted.c_str()[0], u'\0');

    wstring_t small(&allocator, 5);
    EXPECT_TRUE(small.isInline());
    EXPECT_EQ(allocator.allocationSizes.size(), 1u);

    hinted.append(u"a long text on the heap", 23);
    wstring_t copy(hinted);
    EXPECT_EQ(copy, hinted);
    EXPECT_NE(copy.data(), hinted.data());
    EXPECT_EQ(copy.allocator(), &allocator);
    EXPECT_EQ(allocator.references, 4u);

    // Moving a heap string takes its block without allocating.
    std::size_t allocations = allocator.allocationSizes.size();
    const char16_t* block = copy.data();
    wstring_t moved(std::move(copy));
    EXPECT_EQ(moved.data(), block);
    EXPECT_EQ(allocator.allocationSizes.size(), allocations);
    EXPECT_TRUE(copy.empty());
    EXPECT_TRUE(copy.isInline());
    EXPECT_EQ(copy.allocator(), nullptr);
    EXPECT_EQ(text(moved), u"a long text on the heap");

    // Moving an inline string copies its units into the new inline area.
    wstring_t shortText(u"abc");
    wstring_t movedShort(std::move(shortText));
    EXPECT_TRUE(movedShort.isInline());
    EXPECT_EQ(text(movedShort), u"abc");
    EXPECT_TRUE(shortText.empty());

    movedShort.swap(moved);
    EXPECT_EQ(text(movedShort), u"a long text on the heap");
    EXPECT_EQ(movedShort.allocator(), &allocator);
    EXPECT_EQ(text(moved), u"abc");
    EXPECT_TRUE(moved.isInline());
    EXPECT_EQ(moved.data()[3], u'\0');
    EXPECT_EQ(moved.allocator(), nullptr);

    wstring_t assigned;
    assigned = movedShort;
    EXPECT_EQ(assigned, movedShort);
    assigned = wstring_t(u"x");
    EXPECT_EQ(text(assigned), u"x");
    EXPECT_EQ(assigned.allocator(), nullptr);
  }
  EXPECT_EQ(allocator.liveBlocks(), 0u);
  EXPECT_EQ(allocator.references, 1u);
}

TEST(OruStringTest, LengthAndRangeErrorsKeepTheContent) {
  try {
    wstring_t s(u"x", ~uint64_t{0});
    FAIL() << "no length error";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "oru::basic_string_t constructor");
  }

  wstring_t s(u"abc");
  try {
    s.reserve_extra(wstring_t::kLengthLimit - 3, nullptr);
    FAIL() << "no length error";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "oru::basic_string_t::reserve_extra()");
  }
  try {
    s.resize_extra_at(wstring_t::kLengthLimit - 3, 1, nullptr);
    FAIL() << "no length error";
  } catch (const std::length_error& e) {
    EXPECT_STREQ(e.what(), "oru::basic_string_t::resize_extra_at");
  }
  wstring_t other(u"12");
  try {
    s.append(other, 3);
    FAIL() << "no range error";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "oru::basic_string_t::append()");
  }
  s.append(other, 2);  // at the end: appends nothing
  EXPECT_EQ(text(s), u"abc");
  EXPECT_EQ(s.try_resize(~uint64_t{0}), errUnspecified);
  EXPECT_EQ(text(s), u"abc");
}

TEST(OruStringTest, ExhaustedMemoryRaisesBadAllocationAndKeepsTheContent) {
  CountingAllocator allocator;
  {
    wstring_t s(&allocator, 0);
    s.append(u"1234567", 7);
    allocator.failAfter = 0;
    try {
      s.push_back(u'8');
      FAIL() << "no bad_alloc";
    } catch (const std::bad_alloc& e) {
      EXPECT_STREQ(e.what(), "bad allocation");
    }
    EXPECT_EQ(text(s), u"1234567");
    EXPECT_EQ(s.try_resize(50), errOutOfMemory);
    EXPECT_EQ(text(s), u"1234567");
    EXPECT_THROW(s.insert(0, u'x'), std::bad_alloc);
    EXPECT_EQ(text(s), u"1234567");
    EXPECT_THROW(wstring_t(&allocator, 100), std::bad_alloc);
    EXPECT_EQ(allocator.references, 2u);  // the failed construction gave its reference back

    allocator.failAfter = -1;
    EXPECT_EQ(s.try_resize(9), errOk);
    EXPECT_EQ(s.size(), 9u);
    EXPECT_EQ(s[7], u'\0');
    EXPECT_EQ(s[8], u'\0');
  }
  EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(OruStringTest, ResizeExtraAtOpensAGap) {
  wstring_t s(static_cast<oru::Allocator*>(nullptr), 10);
  s.append(u"abc", 3);
  const char16_t* block = s.data();
  s.resize_extra_at(2, 0, nullptr);
  EXPECT_EQ(s.size(), 5u);
  EXPECT_EQ(s.data(), block);
  EXPECT_EQ(std::u16string(s.data() + 2, 3), u"abc");
  EXPECT_EQ(s.c_str()[5], u'\0');

  // Growing: the units around the gap land in their places in the new block.
  wstring_t g(u"abcdefg");
  g.resize_extra_at(3, 2, nullptr);
  EXPECT_EQ(g.size(), 10u);
  EXPECT_EQ(g.capacity(), 14u);
  EXPECT_EQ(std::u16string(g.data(), 2), u"ab");
  EXPECT_EQ(std::u16string(g.data() + 5, 5), u"cdefg");
  EXPECT_EQ(g.c_str()[10], u'\0');

  EXPECT_THROW(g.resize_extra_at(1, 11, nullptr), std::out_of_range);
}

TEST(OruStringTest, ResizeInsertAndClear) {
  wstring_t s(u"ab");
  s.resize(5, u'-');
  EXPECT_EQ(text(s), u"ab---");
  s.resize(12, u'+');
  EXPECT_EQ(text(s), u"ab---+++++++");
  EXPECT_EQ(s.c_str()[12], u'\0');
  s.resize(1, u'?');
  EXPECT_EQ(text(s), u"a");
  EXPECT_EQ(s.c_str()[1], u'\0');

  wstring_t path(u"dir");
  path.insert(3, u'\\');
  path.append(u"file");
  path.insert(0, u'/');
  EXPECT_EQ(text(path), u"/dir\\file");

  const std::u16string outside = u"XYZ";
  path.insert(4, outside.data(), outside.data() + 3);
  EXPECT_EQ(text(path), u"/dirXYZ\\file");

  // A range inside the string is copied first; growing must not spoil it.
  wstring_t self(u"0123456789abcd");
  ASSERT_EQ(self.capacity(), 14u);
  self.insert(2, self.data() + 5, self.data() + 14);
  EXPECT_EQ(text(self), u"0156789abcd23456789abcd");
  self.insert(0, self.data(), self.data() + 2);
  EXPECT_EQ(text(self), u"010156789abcd23456789abcd");

  EXPECT_THROW(self.insert(100, u'x'), std::out_of_range);

  self.clear();
  EXPECT_TRUE(self.empty());
  EXPECT_EQ(self.c_str()[0], u'\0');
  EXPECT_GE(self.capacity(), 14u);
}

TEST(OruStringTest, HolderDefersTheReleaseOfTheOldBlock) {
  CountingAllocator allocator;
  {
    wstring_t s(&allocator, 0);
    s.append(u"0123456789", 10);
    const char16_t* old = s.data();
    {
      oru::BlockHolder holder;
      s.reserve_extra(10, &holder);
      EXPECT_EQ(holder.block(), old);
      EXPECT_EQ(holder.allocator(), &allocator);
      EXPECT_EQ(holder.capacity(), 14u);
      EXPECT_EQ(allocator.frees, 0);
      EXPECT_EQ(std::u16string(old, 10), u"0123456789");
      EXPECT_EQ(s.size(), 10u);
      EXPECT_EQ(s.capacity(), 28u);
    }
    EXPECT_EQ(allocator.frees, 1);
  }
  EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(OruStringTest, ProcessHeapStringsWork) {
  wstring_t s;
  for (int i = 0; i < 1000; ++i) {
    s.push_back(static_cast<char16_t>(u'a' + i % 26));
  }
  EXPECT_EQ(s.size(), 1000u);
  EXPECT_EQ(s[999], static_cast<char16_t>(u'a' + 999 % 26));
  wstring_t copy(s);
  EXPECT_TRUE(copy == s);
  copy[0] = u'Z';
  EXPECT_FALSE(copy == s);
  wstring_t ranged;
  ranged.append_range(s.data(), s.data() + 26);
  EXPECT_EQ(text(ranged), u"abcdefghijklmnopqrstuvwxyz");
}

}  // namespace
