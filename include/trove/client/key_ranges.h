// A key's subkeys and values as ranges, in list order: usable in range-for,
// with std::ranges algorithms and with views (filter, transform, ...).
// Elements are made when dereferenced; a range holds its key, so it may
// outlive the expression that made it, but not a save or close of the store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <ranges>
#include <utility>

#include "trove/client/key.h"

namespace trove {

namespace client_detail {

// A forward range over the indexes 0..count-1 of a key, dereferenced by
// Derived::at(key, index).
template <typename Element, typename Derived>
class IndexRange : public std::ranges::view_interface<Derived> {
 public:
  class iterator {
   public:
    using iterator_concept = std::forward_iterator_tag;
    // Dereferencing gives a value, not a reference: an input iterator to
    // code that still goes by the older categories.
    using iterator_category = std::input_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;

    iterator() = default;
    iterator(const Key* key, uint32_t index) : key_(key), index_(index) {}
    Element operator*() const { return Derived::at(*key_, index_); }
    iterator& operator++() {
      ++index_;
      return *this;
    }
    iterator operator++(int) {
      iterator old = *this;
      ++index_;
      return old;
    }
    bool operator==(const iterator& other) const { return index_ == other.index_; }

   private:
    const Key* key_ = nullptr;
    uint32_t index_ = 0;
  };

  IndexRange() = default;
  IndexRange(Key key, uint32_t count) : key_(std::move(key)), count_(count) {}
  iterator begin() const { return {&key_, 0}; }
  iterator end() const { return {&key_, count_}; }
  uint32_t size() const { return count_; }

 private:
  Key key_;
  uint32_t count_ = 0;
};

}  // namespace client_detail

// The subkeys of a key, as Keys.
class SubkeyRange : public client_detail::IndexRange<Key, SubkeyRange> {
 public:
  SubkeyRange() = default;
  explicit SubkeyRange(Key parent) : IndexRange(parent, parent.subkeyCount()) {}
  static Key at(const Key& parent, uint32_t index);
};

// The values of a key, as names with their stored types.
class ValueRange : public client_detail::IndexRange<ValueInfo, ValueRange> {
 public:
  ValueRange() = default;
  explicit ValueRange(Key key) : IndexRange(key, key.valueCount()) {}
  static ValueInfo at(const Key& key, uint32_t index);
};

}  // namespace trove
