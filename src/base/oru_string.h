// oru::basic_string_t: the framework's string of 16-bit code units, always
// followed by a NUL that the size does not count. Up to 7 units live in the
// object itself; longer texts live in a block from the string's allocator (or
// the process heap). The field layout is fixed: the string is embedded at a
// fixed offset of an object's data area.
//
// Every operation that fails leaves the previous content intact: a new block
// is made and filled before the old one is given up.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>
#include <type_traits>

#include "base/oru_allocator.h"
#include "base/standard_errors.h"
#include "trove/result_codes.h"

namespace oru {

template <class CharT>
class basic_string_t {
 public:
  using value_type = CharT;
  using size_type = uint64_t;
  using view_type = std::basic_string_view<CharT>;

  static constexpr size_type kInlineCapacity = 7;
  // Growth is refused from n >= kLengthLimit - size on.
  static constexpr size_type kLengthLimit = 0x7FFFFFFFFFFFFFFFull;
  static constexpr size_type max_size() { return kLengthLimit - 1; }

  basic_string_t() noexcept { makeEmptyInline(); }

  // Takes a reference on `allocator`; a hint above the inline capacity
  // allocates a block of that capacity at once.
  basic_string_t(Allocator* allocator, size_type capacityHint) {
    makeEmptyInline();
    adoptAllocator(allocator);
    if (capacityHint > kInlineCapacity) {
      if (capacityHint > max_size()) {
        dropAllocator();
        throwLengthError("oru::basic_string_t constructor");
      }
      CharT* block = tryAllocateBlock(capacityHint);
      if (block == nullptr) {
        dropAllocator();
        throwBadAlloc();
      }
      block[0] = CharT();
      data_ = block;
      capacity_ = capacityHint;
    }
  }

  basic_string_t(const CharT* text, size_type count) {
    makeEmptyInline();
    if (count > max_size()) {
      throwLengthError("oru::basic_string_t constructor");
    }
    append(text, count);
  }

  explicit basic_string_t(view_type text) : basic_string_t(text.data(), text.size()) {}

  basic_string_t(const basic_string_t& other) {
    makeEmptyInline();
    adoptAllocator(other.allocator_);
    try {
      append(other.data_, other.size_);
    } catch (...) {
      dropAllocator();
      throw;
    }
  }

  basic_string_t(basic_string_t&& other) noexcept {
    makeEmptyInline();
    takeFrom(other);
  }

  basic_string_t& operator=(const basic_string_t& other) {
    if (this != &other) {
      basic_string_t copy(other);
      swap(copy);
    }
    return *this;
  }

  basic_string_t& operator=(basic_string_t&& other) noexcept {
    if (this != &other) {
      releaseStorage();
      makeEmptyInline();
      takeFrom(other);
    }
    return *this;
  }

  ~basic_string_t() { releaseStorage(); }

  // --- Observers ---------------------------------------------------------
  size_type size() const noexcept { return size_; }
  size_type length() const noexcept { return size_; }
  size_type capacity() const noexcept { return capacity_; }
  bool empty() const noexcept { return size_ == 0; }
  bool isInline() const noexcept { return data_ == inline_; }
  Allocator* allocator() const noexcept { return allocator_; }
  const CharT* data() const noexcept { return data_; }
  CharT* data() noexcept { return data_; }
  const CharT* c_str() const noexcept { return data_; }
  const CharT* begin() const noexcept { return data_; }
  const CharT* end() const noexcept { return data_ + size_; }
  CharT* begin() noexcept { return data_; }
  CharT* end() noexcept { return data_ + size_; }
  view_type view() const noexcept { return view_type(data_, size_); }
  const CharT& operator[](size_type index) const noexcept { return data_[index]; }
  CharT& operator[](size_type index) noexcept { return data_[index]; }
  CharT back() const noexcept { return data_[size_ - 1]; }

  friend bool operator==(const basic_string_t& a, const basic_string_t& b) noexcept {
    return a.view() == b.view();
  }
  friend bool operator==(const basic_string_t& a, view_type b) noexcept { return a.view() == b; }

  // --- Growth ------------------------------------------------------------

  // Makes room for n more units. The old block goes to `holder` (or is freed
  // at once without one); the size is unchanged and no NUL is written.
  void reserve_extra(size_type n, BlockHolder* holder) {
    if (n <= capacity_ - size_) {
      return;
    }
    size_type newCapacity = grownCapacity(n, "oru::basic_string_t::reserve_extra()");
    CharT* block = allocateBlock(newCapacity);
    std::memcpy(block, data_, size_ * sizeof(CharT));
    replaceBlock(block, newCapacity, holder);
  }

  // Opens a gap of n units at pos; the gap's content is left to the caller.
  // A pos beyond the size raises std::out_of_range (a gap there would leave
  // units nobody wrote).
  void resize_extra_at(size_type n, size_type pos, BlockHolder* holder) {
    if (pos > size_) {
      throwOutOfRange("oru::basic_string_t::resize_extra_at");
    }
    if (n == 0) {
      return;
    }
    if (n <= capacity_ - size_) {
      std::memmove(data_ + pos + n, data_ + pos, (size_ - pos) * sizeof(CharT));
    } else {
      size_type newCapacity = grownCapacity(n, "oru::basic_string_t::resize_extra_at");
      CharT* block = allocateBlock(newCapacity);
      std::memcpy(block, data_, pos * sizeof(CharT));
      std::memcpy(block + pos + n, data_ + pos, (size_ - pos) * sizeof(CharT));
      replaceBlock(block, newCapacity, holder);
    }
    size_ += n;
    data_[size_] = CharT();
  }

  // --- Appending ---------------------------------------------------------

  // Appends n units; the text may lie inside this string.
  basic_string_t& append(const CharT* text, size_type n) {
    if (n == 0) {
      return *this;
    }
    BlockHolder holder;
    reserve_extra(n, &holder);
    std::memmove(data_ + size_, text, n * sizeof(CharT));
    size_ += n;
    data_[size_] = CharT();
    return *this;
  }

  basic_string_t& append(view_type text) { return append(text.data(), text.size()); }

  basic_string_t& append(const basic_string_t& other) { return append(other.data_, other.size_); }

  // Appends other's units from pos on.
  basic_string_t& append(const basic_string_t& other, size_type pos) {
    if (pos > other.size_) {
      throwOutOfRange("oru::basic_string_t::append()");
    }
    return append(other.data_ + pos, other.size_ - pos);
  }

  // Appends [first, last), which must lie outside this string.
  basic_string_t& append_range(const CharT* first, const CharT* last) {
    size_type n = static_cast<size_type>(last - first);
    if (n == 0) {
      return *this;
    }
    reserve_extra(n, nullptr);
    std::memcpy(data_ + size_, first, n * sizeof(CharT));
    size_ += n;
    data_[size_] = CharT();
    return *this;
  }

  void push_back(CharT unit) { append(&unit, 1); }

  basic_string_t& operator+=(view_type text) { return append(text); }
  basic_string_t& operator+=(const basic_string_t& other) { return append(other); }
  basic_string_t& operator+=(CharT unit) {
    push_back(unit);
    return *this;
  }

  // --- Inserting and resizing --------------------------------------------

  // Inserts [first, last) at pos; a range inside this string is copied first.
  void insert(size_type pos, const CharT* first, const CharT* last) {
    if (pos > size_) {
      throwOutOfRange("oru::basic_string_t::insert()");
    }
    size_type n = static_cast<size_type>(last - first);
    if (n == 0) {
      return;
    }
    std::less<const CharT*> before;
    bool inside = !before(first, data_) && before(first, data_ + capacity_ + 1);
    if (inside) {
      basic_string_t copy(first, n);
      insert(pos, copy.data_, copy.data_ + n);
      return;
    }
    BlockHolder holder;
    resize_extra_at(n, pos, &holder);
    std::memcpy(data_ + pos, first, n * sizeof(CharT));
  }

  void insert(size_type pos, CharT unit) {
    if (pos > size_) {
      throwOutOfRange("oru::basic_string_t::insert()");
    }
    BlockHolder holder;
    resize_extra_at(1, pos, &holder);
    data_[pos] = unit;
  }

  // Truncates to n, or extends to n with `fill` units.
  void resize(size_type n, CharT fill = CharT()) {
    if (n > capacity_) {
      reserve_extra(n - size_, nullptr);
    }
    for (size_type i = size_; i < n; ++i) {
      data_[i] = fill;
    }
    size_ = n;
    data_[size_] = CharT();
  }

  // resize(n, 0) reporting errOk, errOutOfMemory for exhausted memory and
  // errUnspecified for any other failure.
  int32_t try_resize(size_type n) noexcept {
    try {
      resize(n, CharT());
      return errOk;
    } catch (const std::bad_alloc&) {
      return errOutOfMemory;
    } catch (...) {
      return errUnspecified;
    }
  }

  void clear() noexcept {
    size_ = 0;
    data_[0] = CharT();
  }

  basic_string_t& assign(const CharT* text, size_type n) {
    basic_string_t replacement(allocator_, 0);
    replacement.append(text, n);
    swap(replacement);
    return *this;
  }

  // Exchanges contents and allocators.
  void swap(basic_string_t& other) noexcept {
    if (this == &other) {
      return;
    }
    basic_string_t temporary(std::move(other));
    other.takeFrom(*this);
    takeFrom(temporary);
  }

 private:
  void makeEmptyInline() noexcept {
    data_ = inline_;
    size_ = 0;
    capacity_ = kInlineCapacity;
    allocator_ = nullptr;
    for (CharT& unit : inline_) {
      unit = CharT();
    }
  }

  void adoptAllocator(Allocator* allocator) noexcept {
    allocator_ = allocator;
    if (allocator_ != nullptr) {
      allocator_->addRef();
    }
  }

  void dropAllocator() noexcept {
    if (allocator_ != nullptr) {
      allocator_->release();
      allocator_ = nullptr;
    }
  }

  void releaseStorage() noexcept {
    if (data_ != inline_) {
      freeTo(allocator_, data_);
    }
    dropAllocator();
  }

  // Moves other's content and allocator into this (empty, inline, without
  // allocator) string and leaves other empty and inline.
  void takeFrom(basic_string_t& other) noexcept {
    if (other.data_ == other.inline_) {
      std::memcpy(inline_, other.inline_, sizeof(inline_));
      data_ = inline_;
    } else {
      data_ = other.data_;
    }
    size_ = other.size_;
    capacity_ = other.capacity_;
    allocator_ = other.allocator_;
    other.makeEmptyInline();
  }

  size_type grownCapacity(size_type n, const char* lengthMessage) const {
    if (n >= kLengthLimit - size_) {
      throwLengthError(lengthMessage);
    }
    size_type wanted = size_ + n;
    size_type doubled = capacity_ > max_size() / 2 ? max_size() : capacity_ * 2;
    return wanted > doubled ? wanted : doubled;
  }

  CharT* tryAllocateBlock(size_type capacity) const noexcept {
    return static_cast<CharT*>(allocateFrom(allocator_, (capacity + 1) * sizeof(CharT)));
  }

  CharT* allocateBlock(size_type capacity) const {
    CharT* block = tryAllocateBlock(capacity);
    if (block == nullptr) {
      throwBadAlloc();
    }
    return block;
  }

  void replaceBlock(CharT* block, size_type capacity, BlockHolder* holder) noexcept {
    if (data_ != inline_) {
      if (holder != nullptr) {
        holder->hold(data_, allocator_, capacity_);
      } else {
        freeTo(allocator_, data_);
      }
    }
    data_ = block;
    capacity_ = capacity;
  }

  CharT* data_;
  uint64_t size_;
  uint64_t capacity_;
  Allocator* allocator_;
  CharT inline_[kInlineCapacity + 1];
};

using wstring_t = basic_string_t<char16_t>;

static_assert(sizeof(wstring_t) == 48, "the string is embedded at a fixed place of the data area");
static_assert(std::is_standard_layout_v<wstring_t>);

}  // namespace oru
