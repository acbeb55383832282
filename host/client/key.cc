#include "trove/client/key.h"

#include <cstring>
#include <utility>
#include <vector>

#include "store_state.h"
#include "trove/client/error.h"
#include "unicode_text.h"

namespace trove {

using client_detail::StoreState;

namespace {

// The module takes names and paths as NUL-terminated text; most fit on the
// stack, so a call costs no allocation for them.
class Terminated {
 public:
  explicit Terminated(std::string_view text) {
    if (text.size() < sizeof local_) {
      std::memcpy(local_, text.data(), text.size());
      local_[text.size()] = '\0';
      data_ = local_;
    } else {
      long_.assign(text);
      data_ = long_.c_str();
    }
  }
  Terminated(const Terminated&) = delete;
  Terminated& operator=(const Terminated&) = delete;
  const char* c_str() const { return data_; }

 private:
  char local_[128];
  std::string long_;
  const char* data_;
};

// As check(), but the context is put into words only when the call failed.
template <typename Describe>
int32_t checkOr(int32_t code, Describe&& describe) {
  if (code < 0) throw Error(code, describe());
  return code;
}

}  // namespace

StoreState& Key::state(const char* operation) const {
  if (!state_) throw Error(errInvalidKey, std::string(operation) + ": no key");
  if (!state_->open || generation_ != state_->generation) {
    throw Error(errInvalidKey, std::string(operation) + " in " + state_->label() +
                                   ": the key was taken before the store was saved or closed");
  }
  return *state_;
}

std::string Key::describe(std::string_view what) const {
  return std::string(what) + " in " + (state_ ? state_->label() : std::string("no store"));
}

std::string Key::name() const {
  StoreState& s = state("name");
  uint32_t required = 0;
  checkOr(s.call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &required, handle_,
                                  static_cast<char*>(nullptr), 0u, 0u),
          [&] { return describe("key name"); });
  std::string text(required, '\0');
  if (required) {
    checkOr(s.call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &required, handle_, text.data(),
                                    static_cast<uint32_t>(text.size()), 0u),
            [&] { return describe("key name"); });
    text.resize(required - 1);
  }
  return text;
}

std::string Key::path() const {
  StoreState& s = state("key path");
  uint32_t length = 0;
  checkOr(s.call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &length, handle_,
                                  static_cast<char*>(nullptr), 0u, 1u),
          [&] { return describe("key path"); });
  // The full name's size query counts no NUL: add room for it.
  std::string text(length + 1, '\0');
  checkOr(s.call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &length, handle_, text.data(),
                                  static_cast<uint32_t>(text.size()), 1u),
          [&] { return describe("key path"); });
  text.resize(length);
  return text;
}

std::optional<Key> Key::find(std::string_view path) const {
  StoreState& s = state("open key");
  TroveKey found = TROVE_INVALID_KEY;
  const Terminated text(path);
  int32_t result = s.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &found, handle_, text.c_str(), 0u);
  if (result == errEntryNotFound) return std::nullopt;
  checkOr(result, [&] { return describe("open key " + std::string(path)); });
  return Key(state_, found, generation_);
}

Key Key::open(std::string_view path) const {
  std::optional<Key> found = find(path);
  if (!found) throw Error(errEntryNotFound, describe("open key " + std::string(path)));
  return std::move(*found);
}

Key Key::create(std::string_view path) const {
  StoreState& s = state("create key");
  TroveKey found = TROVE_INVALID_KEY;
  const Terminated text(path);
  const int32_t result =
      checkOr(s.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &found, handle_, text.c_str(), 1u),
              [&] { return describe("create key " + std::string(path)); });
  if (result == errKeyCreated) {
    s.markChanged();
    if (s.journaling()) s.journal.createKey(s.journalPath(this->path(), path));
  }
  return Key(state_, found, generation_);
}

void Key::removeKey(std::string_view path) const {
  StoreState& s = state("delete key");
  const Terminated text(path);
  checkOr(s.call<TroveDeleteKey>(TROVE_SLOT_DELETE_KEY, handle_, text.c_str()),
          [&] { return describe("delete key " + std::string(path)); });
  s.markChanged();
  if (s.journaling()) s.journal.deleteKey(s.journalPath(this->path(), path));
}

uint32_t Key::subkeyCount() const {
  uint32_t count = 0;
  checkOr(state("count keys").call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, handle_),
          [&] { return describe("count keys"); });
  return count;
}

uint32_t Key::valueCount() const {
  uint32_t count = 0;
  checkOr(
      state("count values").call<TroveGetValueCount>(TROVE_SLOT_GET_VALUE_COUNT, &count, handle_),
      [&] { return describe("count values"); });
  return count;
}

SubkeyRange Key::subkeys() const {
  return SubkeyRange(*this);
}
ValueRange Key::values() const {
  return ValueRange(*this);
}

Key SubkeyRange::at(const Key& parent, uint32_t index) {
  StoreState& s = parent.state("open key by index");
  TroveKey found = TROVE_INVALID_KEY;
  checkOr(s.call<TroveOpenKeyByIndex>(TROVE_SLOT_OPEN_KEY_BY_INDEX, &found, parent.handle_, index),
          [&] { return parent.describe("open key by index"); });
  return Key(parent.state_, found, parent.generation_);
}

ValueInfo ValueRange::at(const Key& key, uint32_t index) {
  StoreState& s = key.state("value by index");
  ValueInfo info;
  uint32_t required = 0;
  const auto where = [&] { return key.describe("value name by index"); };
  checkOr(s.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &required,
                                           key.handle(), index, static_cast<char*>(nullptr), 0u),
          where);
  if (required) {
    info.name.assign(required, '\0');
    checkOr(s.call<TroveGetValueNameByIndex>(TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &required,
                                             key.handle(), index, info.name.data(), required),
            where);
    info.name.resize(required - 1);
  }
  uint32_t type = 0;
  checkOr(s.call<TroveGetValueByIndex>(TROVE_SLOT_GET_VALUE_BY_INDEX, &required, key.handle(),
                                       index, &type, static_cast<void*>(nullptr), 0u),
          [&] { return key.describe("value type by index"); });
  info.type = type;
  return info;
}

bool Key::has(std::string_view name) const {
  StoreState& s = state("find value");
  const Terminated text(name);
  uint32_t type = 0, required = 0;
  int32_t result = s.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, handle_, text.c_str(),
                                         &type, static_cast<void*>(nullptr), 0u);
  if (result == errEntryNotFound) return false;
  checkOr(result, [&] { return describe("find value " + std::string(name)); });
  return true;
}

TroveTypeId Key::type(std::string_view name) const {
  StoreState& s = state("value type");
  const Terminated text(name);
  uint32_t type = 0, required = 0;
  checkOr(s.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, handle_, text.c_str(), &type,
                                static_cast<void*>(nullptr), 0u),
          [&] { return describe("value type " + std::string(name)); });
  return type;
}

void Key::readRaw(std::string_view name, TroveTypeId type, void* buffer, uint32_t size,
                  uint32_t* required) const {
  StoreState& s = state("get value");
  const Terminated text(name);
  uint32_t wanted = type, needed = 0;
  checkOr(s.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, required ? required : &needed, handle_,
                                text.c_str(), &wanted, buffer, size),
          [&] { return describe("get value " + std::string(name)); });
}

void Key::read(std::string_view name, TroveTypeId type, std::string& out) const {
  uint32_t required = 0;
  readRaw(name, type, nullptr, 0, &required);
  out.assign(required, '\0');
  if (required) {
    readRaw(name, type, out.data(), required, &required);
    out.resize(out.find('\0') == std::string::npos ? out.size() : out.find('\0'));
  }
}

void Key::read(std::string_view name, TroveTypeId type, std::u16string& out) const {
  uint32_t required = 0;
  readRaw(name, type, nullptr, 0, &required);
  out.assign(required / 2, u'\0');
  if (required) {
    readRaw(name, type, out.data(), required & ~1u, &required);
    const size_t end = out.find(u'\0');
    if (end != std::u16string::npos) out.resize(end);
  }
}

void Key::read(std::string_view name, TroveTypeId type, Bytes& out) const {
  uint32_t required = 0;
  readRaw(name, type, nullptr, 0, &required);
  out.assign(required, 0);
  if (required) readRaw(name, type, out.data(), required, &required);
}

void Key::read(std::string_view name, TroveTypeId type, bool& out) const {
  uint32_t value = 0;  // the store's booleans are 32 bits wide
  readRaw(name, type, &value, sizeof value, nullptr);
  out = value != 0;
}

void Key::writeRaw(std::string_view name, TroveTypeId type, const void* data, uint32_t size) const {
  StoreState& s = state("set value");
  const Terminated text(name);
  const int32_t result = checkOr(
      s.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, handle_, text.c_str(), type, data, size, 1u),
      [&] { return describe("set value " + std::string(name)); });
  if (result != errUnchanged) s.markChanged();
  if (s.journaling())
    s.journal.setValue(s.journalPath(path()), std::string(name), type, data, size);
}

void Key::write(std::string_view name, TroveTypeId type, const std::string& value) const {
  writeRaw(name, type, value.data(), static_cast<uint32_t>(value.size()));
}

void Key::write(std::string_view name, TroveTypeId type, const std::u16string& value) const {
  writeRaw(name, type, value.data(), static_cast<uint32_t>(value.size() * 2));
}

void Key::write(std::string_view name, TroveTypeId type, const Bytes& value) const {
  // A non-null pointer also for an empty block: the module refuses null data.
  static const uint8_t none = 0;
  writeRaw(name, type, value.empty() ? &none : value.data(), static_cast<uint32_t>(value.size()));
}

void Key::write(std::string_view name, TroveTypeId type, const bool& value) const {
  const uint32_t word = value ? 1 : 0;
  writeRaw(name, type, &word, sizeof word);
}

namespace {

// The binary form of `text` read by the module's own text rules for `type`:
// the text is converted on a scratch value of an empty in-memory store, so
// a text the type refuses changes nothing in the real store.
Bytes binaryFromText(TroveTypeId type, std::string_view text) {
  host::Object scratch = client_detail::sharedHost().createObject(TROVE_IID_REGISTRY);
  check(scratch.status().code(), "prepare a scratch value");
  check(scratch.initDone().code(), "prepare a scratch value");
  const std::string where = "read \"" + std::string(text) + "\" as " + std::string(typeName(type));
  static const uint8_t zero[8] = {};
  check(scratch.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, TroveKey{0}, "v", type, zero,
                                    type == TROVE_TBINARY || type == TROVE_TPTR ? 0u : 8u, 1u),
        where);
  const std::string value(text);
  check(scratch.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, TroveKey{0}, "v", uint32_t{TROVE_TSTRING},
                                    value.c_str(), static_cast<uint32_t>(value.size()), 0u),
        where);
  uint32_t required = 0, stored = type;
  check(scratch.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, TroveKey{0}, "v", &stored,
                                    static_cast<void*>(nullptr), 0u),
        where);
  Bytes bytes(required);
  if (required) {
    check(scratch.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, TroveKey{0}, "v", &stored,
                                      static_cast<void*>(bytes.data()), required),
          where);
  }
  return bytes;
}

}  // namespace

void Key::decode(const Bytes& binary, std::u16string& out) {
  out.assign(binary.size() / 2, u'\0');
  if (!out.empty()) std::memcpy(out.data(), binary.data(), out.size() * 2);
}

void Key::decode(const Bytes& binary, bool& out) {
  uint32_t word = 0;
  decode(binary, word);
  out = word != 0;
}

void Key::setText(std::string_view name, TroveTypeId type, std::string_view text,
                  TextRules rules) const {
  writeText(name, type, text, false, rules);
}

void Key::replaceText(std::string_view name, TroveTypeId type, std::string_view text,
                      TextRules rules) const {
  writeText(name, type, text, true, rules);
}

void Key::writeText(std::string_view name, TroveTypeId type, std::string_view text, bool replacing,
                    TextRules rules) const {
  if (rules == TextRules::strict) {
    const Bytes bytes = parseStrictText(type, text);  // refused text leaves the value as it was
    if (replacing) removeUnless(name, type);
    static const uint8_t none = 0;
    writeRaw(name, type, bytes.empty() ? &none : bytes.data(), static_cast<uint32_t>(bytes.size()));
    return;
  }
  if (type == TROVE_TWSTRING) {
    // Wide text is carried as UTF-16 bytes, not parsed from hexadecimal.
    const std::u16string wide = client_detail::utf16FromUtf8(text);
    if (replacing) removeUnless(name, type);
    write(name, type, wide);
    return;
  }
  // Parsed before anything is deleted, so refused text leaves the value as it was.
  const Bytes bytes = binaryFromText(type, text);
  if (replacing) removeUnless(name, type);
  static const uint8_t none = 0;
  writeRaw(name, type, bytes.empty() ? &none : bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void Key::removeUnless(std::string_view name, TroveTypeId type) const {
  StoreState& s = state("replace value");
  const Terminated text(name);
  uint32_t stored = 0, required = 0;
  int32_t result = s.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, handle_, text.c_str(),
                                         &stored, static_cast<void*>(nullptr), 0u);
  if (result == errEntryNotFound) return;
  checkOr(result, [&] { return describe("replace value " + std::string(name)); });
  if (stored != type) remove(name);
}

std::string Key::text(std::string_view name) const {
  std::string out;
  read(name, TROVE_TSTRING, out);
  return out;
}

void Key::remove(std::string_view name) const {
  StoreState& s = state("delete value");
  const Terminated text(name);
  checkOr(s.call<TroveDeleteValue>(TROVE_SLOT_DELETE_VALUE, handle_, text.c_str()),
          [&] { return describe("delete value " + std::string(name)); });
  s.markChanged();
  if (s.journaling()) s.journal.deleteValue(s.journalPath(path()), std::string(name));
}

void Key::copyTo(const Key& destination) const {
  StoreState& s = state("copy key");
  StoreState& d = destination.state("copy key");
  checkOr(s.call<TroveCopyKey>(TROVE_SLOT_COPY_KEY, handle_, d.object.get(), destination.handle_),
          [&] { return describe("copy key") + " to " + d.label(); });
  d.markChanged();
  if (d.journaling()) {
    // What was copied, as it is now, to be copied again over another
    // writer's save.
    auto copied = std::make_shared<Store>(Store::openMemory("", {.saveOnClose = false}));
    check(s.call<TroveCopyKey>(TROVE_SLOT_COPY_KEY, handle_, copied->object().get(), TroveKey{0}),
          describe("copy key"));
    d.journal.copyInto(std::move(copied), d.journalPath(destination.path()));
  }
}

}  // namespace trove
