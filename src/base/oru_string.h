// oru::basic_string_t: the framework's string of 16-bit code units, always
// followed by a NUL that the size does not count. Up to 7 units live in the
// object itself; longer texts live in a block from the process heap. The
// field layout is fixed: the string is embedded at a fixed offset of an
// object's data area, so it keeps the framework's allocator field, which
// strings made by this module leave null.
//
// The module only names its store with it: a string is built once from
// text, moved into place and read. Building fails with std::length_error
// "oru::basic_string_t constructor" past the length limit and std::bad_alloc
// without memory; nothing is left allocated then.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>

namespace oru {

template <class CharT>
class basic_string_t {
 public:
  using value_type = CharT;
  using size_type = uint64_t;
  using view_type = std::basic_string_view<CharT>;

  static constexpr size_type kInlineCapacity = 7;
  static constexpr size_type max_size() { return 0x7FFFFFFFFFFFFFFEull; }

  basic_string_t() noexcept { makeEmptyInline(); }

  basic_string_t(const CharT* text, size_type count) {
    makeEmptyInline();
    if (count > max_size()) {
      throw std::length_error("oru::basic_string_t constructor");
    }
    if (count > kInlineCapacity) {
      auto* block = static_cast<CharT*>(std::malloc((count + 1) * sizeof(CharT)));
      if (block == nullptr) {
        throw std::bad_alloc();
      }
      data_ = block;
      capacity_ = count;
    }
    std::memcpy(data_, text, count * sizeof(CharT));
    data_[count] = CharT();
    size_ = count;
  }

  explicit basic_string_t(view_type text) : basic_string_t(text.data(), text.size()) {}

  basic_string_t(const basic_string_t&) = delete;
  basic_string_t& operator=(const basic_string_t&) = delete;

  basic_string_t(basic_string_t&& other) noexcept { takeFrom(other); }

  basic_string_t& operator=(basic_string_t&& other) noexcept {
    if (this != &other) {
      releaseStorage();
      takeFrom(other);
    }
    return *this;
  }

  ~basic_string_t() { releaseStorage(); }

  size_type size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  const CharT* data() const noexcept { return data_; }
  const CharT* c_str() const noexcept { return data_; }
  view_type view() const noexcept { return view_type(data_, size_); }

 private:
  void makeEmptyInline() noexcept {
    data_ = inline_;
    size_ = 0;
    capacity_ = kInlineCapacity;
    allocator_ = nullptr;
    std::memset(inline_, 0, sizeof(inline_));
  }

  void releaseStorage() noexcept {
    if (data_ != inline_) {
      std::free(data_);
    }
  }

  // Moves other's content into this string, whose storage is already given
  // up, and leaves other empty and inline.
  void takeFrom(basic_string_t& other) noexcept {
    if (other.data_ == other.inline_) {
      std::memcpy(inline_, other.inline_, sizeof(inline_));
      data_ = inline_;
    } else {
      data_ = other.data_;
    }
    size_ = other.size_;
    capacity_ = other.capacity_;
    allocator_ = nullptr;
    other.makeEmptyInline();
  }

  CharT* data_;
  uint64_t size_;
  uint64_t capacity_;
  void* allocator_;
  CharT inline_[kInlineCapacity + 1];
};

using wstring_t = basic_string_t<char16_t>;

static_assert(sizeof(wstring_t) == 48, "the string is embedded at a fixed place of the data area");
static_assert(std::is_standard_layout_v<wstring_t>);

}  // namespace oru
