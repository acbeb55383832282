// A key of an open store: a handle with the store it belongs to. Keys are
// cheap to copy; closing one releases nothing in the module, and a key whose
// store was saved (reloaded) or closed throws errInvalidKey.
#pragma once

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "trove/abi.h"
#include "trove/client/strict_text.h"
#include "trove/client/value_types.h"

namespace trove {

namespace client_detail {
struct StoreState;
}

struct ValueInfo {
  std::string name;
  TroveTypeId type = 0;
};

class SubkeyRange;
class ValueRange;

class Key {
 public:
  Key() = default;

  bool valid() const { return state_ != nullptr; }
  TroveKey handle() const { return handle_; }

  // The key's own name, and its full name from the store's root key
  // (names joined by backslashes).
  std::string name() const;
  std::string path() const;

  // The key at `path` below this one ("a/b" or "a\\b"); throws
  // errEntryNotFound when there is none.
  Key open(std::string_view path) const;
  std::optional<Key> find(std::string_view path) const;
  // Opens `path`, creating it and its missing ancestors.
  Key create(std::string_view path) const;
  // Deletes the key at `path` below this one, with everything below it.
  void removeKey(std::string_view path) const;

  uint32_t subkeyCount() const;
  uint32_t valueCount() const;
  SubkeyRange subkeys() const;
  ValueRange values() const;

  bool has(std::string_view name) const;
  // The stored type of a value (throws errEntryNotFound when it is missing).
  TroveTypeId type(std::string_view name) const;

  // Reads a value in type T, converting from the stored type through its
  // text form where they differ. Throws when it is missing or unconvertible.
  template <typename T>
  T get(std::string_view name) const {
    T value{};
    read(name, ValueType<T>::id, value);
    return value;
  }
  // As get, but gives `fallback` when the value does not exist.
  template <typename T>
  T get(std::string_view name, T fallback) const {
    if (!has(name)) return fallback;
    return get<T>(name);
  }
  std::string get(std::string_view name, const char* fallback) const {
    return get<std::string>(name, fallback);
  }
  // The value in type T, or nullopt when it does not exist; a value that
  // exists but cannot be read in T still throws.
  template <typename T>
  std::optional<T> getOptional(std::string_view name) const {
    if (!has(name)) return std::nullopt;
    return get<T>(name);
  }
  // As get, but with TextRules::strict a value stored in another type must
  // have a strict text of T's type ("12abc" is no uint32_t); throws
  // Error(errInvalidArgument) naming the accepted form otherwise.
  template <typename T>
  T get(std::string_view name, TextRules rules) const {
    if (rules == TextRules::store || type(name) == ValueType<T>::id) return get<T>(name);
    T value{};
    decode(parseStrictText(ValueType<T>::id, text(name)), value);
    return value;
  }
  // Writes a value, creating it in type T when it does not exist; an
  // existing value keeps its stored type and receives the converted value.
  template <typename T>
  void set(std::string_view name, const T& value) const {
    write(name, ValueType<T>::id, value);
  }
  void set(std::string_view name, const char* text) const { set(name, std::string(text)); }
  // Writes a value given in the text form of `type` ("0x1F", "true", "00FF").
  // With TextRules::strict the text must have the strict form (strict_text.h).
  void setText(std::string_view name, TroveTypeId type, std::string_view text,
               TextRules rules = TextRules::store) const;
  // As set and setText, but the value ends up in type T (or `type`) even when
  // it exists in another type. A value of another type is deleted and made
  // anew, so it moves to the end of the key's values; text the type refuses
  // changes nothing.
  template <typename T>
  void replace(std::string_view name, const T& value) const {
    removeUnless(name, ValueType<T>::id);
    set(name, value);
  }
  void replace(std::string_view name, const char* text) const { replace(name, std::string(text)); }
  void replaceText(std::string_view name, TroveTypeId type, std::string_view text,
                   TextRules rules = TextRules::store) const;
  // The value's text form in its stored type (what the store file holds).
  std::string text(std::string_view name) const;

  void remove(std::string_view name) const;
  // Copies this key's values and subkeys, at any depth, into `destination`
  // (which may belong to another store).
  void copyTo(const Key& destination) const;

 private:
  friend class Store;
  friend class SubkeyRange;
  friend class ValueRange;
  Key(std::shared_ptr<client_detail::StoreState> state, TroveKey handle, uint64_t generation)
      : state_(std::move(state)), handle_(handle), generation_(generation) {}

  client_detail::StoreState& state(const char* operation) const;
  std::string describe(std::string_view what) const;
  void readRaw(std::string_view name, TroveTypeId type, void* buffer, uint32_t size,
               uint32_t* required) const;
  void read(std::string_view name, TroveTypeId type, std::string& out) const;
  void read(std::string_view name, TroveTypeId type, std::u16string& out) const;
  void read(std::string_view name, TroveTypeId type, Bytes& out) const;
  void read(std::string_view name, TroveTypeId type, bool& out) const;
  template <typename T>
  void read(std::string_view name, TroveTypeId type, T& out) const {
    readRaw(name, type, &out, sizeof(T), nullptr);
  }
  static void decode(const Bytes& binary, std::string& out) {
    out.assign(binary.begin(), binary.end());
  }
  static void decode(const Bytes& binary, std::u16string& out);
  static void decode(const Bytes& binary, Bytes& out) { out = binary; }
  static void decode(const Bytes& binary, bool& out);
  template <typename T>
  static void decode(const Bytes& binary, T& out) {
    static_assert(isScalarValue<T>);
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(&out, binary.data(), binary.size() < sizeof(T) ? binary.size() : sizeof(T));
  }
  void writeRaw(std::string_view name, TroveTypeId type, const void* data, uint32_t size) const;
  // Deletes the value when it exists in a type other than `type`.
  void removeUnless(std::string_view name, TroveTypeId type) const;
  void writeText(std::string_view name, TroveTypeId type, std::string_view text, bool replacing,
                 TextRules rules) const;
  void write(std::string_view name, TroveTypeId type, const std::string& value) const;
  void write(std::string_view name, TroveTypeId type, const std::u16string& value) const;
  void write(std::string_view name, TroveTypeId type, const Bytes& value) const;
  void write(std::string_view name, TroveTypeId type, const bool& value) const;
  template <typename T>
  void write(std::string_view name, TroveTypeId type, const T& value) const {
    writeRaw(name, type, &value, sizeof(T));
  }

  std::shared_ptr<client_detail::StoreState> state_;
  TroveKey handle_ = 0;
  uint64_t generation_ = 0;
};

}  // namespace trove

#include "trove/client/key_ranges.h"
