// A byte stream of Registry calls against one object (and a second one as a
// copy destination): opening and creating keys, setting values, reading them
// in other types and buffer sizes, deleting, enumerating, copying, moving the
// root key. Handles that went stale stay in play. After every call the
// object must still answer consistently: an enumeration finds exactly the
// counted keys, and at the end the tree writes, reads back the same, and the
// destroyed objects leave nothing on the host heap.
#include "frame/lifecycle.h"
#include "fuzz_support.h"
#include "object/properties_map.h"
#include "registry/registry_methods.h"
#include "services/host_services.h"
#include "trove/host.h"

namespace {

using namespace trove;

constexpr const char* kNames[] = {
    "",   "a",  "A",    "b",        "a/b",      "a\\b",    "A/B/c",  "\xC3\x9F", "SS",    "ss",
    "x/", "/y", "a//b", "\xC3\xA9", "\xC3\x89", "noname0", "noname", "![CDATA[", "k\\l/m"};
constexpr uint32_t kTypes[] = {TROVE_TDWORD,
                               TROVE_TSTRING,
                               TROVE_TWSTRING,
                               TROVE_TBINARY,
                               TROVE_TBYTE,
                               TROVE_TINT,
                               TROVE_TQWORD,
                               TROVE_TBOOL,
                               TROVE_TCHAR,
                               TROVE_TDOUBLE,
                               TROVE_TSBYTE,
                               TROVE_TWCHAR,
                               TROVE_TSTRING_OBJ,
                               TROVE_TVOID,
                               TROVE_TFUNC_PTR,
                               TROVE_TPTR,
                               0,
                               16,
                               63,
                               200};

// The host whose root object the module talks to; trace lines are dropped.
host::Host& quietHost() {
  static host::Host* host = new host::Host(
      {.traceSink = std::make_shared<host::CallbackTraceSink>([](const host::TraceLine&) {})});
  return *host;
}

// A Registry object made the way the host makes one, loaded without a store
// file: an empty store in memory.
class Object {
 public:
  Object() : memory_(TROVE_DATA_SIZE) {
    setRootObject(quietHost().root());
    onDataInit(get(), 1);
    static_cast<void**>(get())[1] = host::servicesTable();
  }
  ~Object() {
    onDataInit(get(), 0);
    fuzz::check(memory_.liveBlocks() == 0, "a destroyed object left blocks on the host heap");
  }
  void* get() const { return memory_.get(); }
  PropertiesMap& map() const { return *PropertiesMap::from(get()); }

 private:
  host::HeapObject memory_;
};

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), end_(data + size) {}
  bool more() const { return data_ < end_; }
  uint8_t byte() { return more() ? *data_++ : 0; }
  uint32_t small() { return byte() % 8; }
  template <typename T, size_t N>
  const T& pick(const T (&items)[N]) {
    return items[byte() % N];
  }
  // A name from the pool, or up to 15 bytes from the input.
  std::string name() {
    const uint8_t choice = byte();
    if (choice < 200) return kNames[choice % std::size(kNames)];
    std::string text;
    for (size_t n = choice % 16; n > 0 && more(); --n) text += static_cast<char>(byte());
    return text.c_str();
  }
  std::string bytes() {
    std::string text;
    for (size_t n = byte() % 24; n > 0 && more(); --n) text += static_cast<char>(byte());
    return text;
  }

 private:
  const uint8_t* data_;
  const uint8_t* end_;
};

// Keys the calls gave out, plus 0 (the root key) and the failed-open value.
class Handles {
 public:
  uint64_t pick(Input& in) { return handles_[in.byte() % handles_.size()]; }
  void add(uint64_t handle) {
    if (handles_.size() < 24)
      handles_.push_back(handle);
    else
      handles_[handle % handles_.size()] = handle;
  }

 private:
  std::vector<uint64_t> handles_{0, TROVE_INVALID_KEY};
};

// Enumerating a key's subkeys by index then by OpenNextKey finds exactly as
// many keys as GetKeyCount reports.
void checkEnumeration(void* obj, uint64_t key) {
  uint32_t count = 0;
  if (GetKeyCount(obj, &count, key) != errOk) return;
  uint64_t child = TROVE_INVALID_KEY;
  uint32_t found = 0;
  int32_t result = OpenKeyByIndex(obj, &child, key, 0);
  while (result == errOk && found <= count) {
    ++found;
    uint64_t byIndex = TROVE_INVALID_KEY;
    fuzz::check(OpenKeyByIndex(obj, &byIndex, key, found - 1) == errOk && byIndex == child,
                "OpenKeyByIndex and OpenNextKey disagree");
    result = OpenNextKey(obj, &child, child);
  }
  fuzz::check(found == count, "an enumeration found a different number of keys",
              std::to_string(found) + " of " + std::to_string(count));
  uint32_t values = 0;
  fuzz::check(GetValueCount(obj, &values, key) == errOk, "GetValueCount on a counted key");
  for (uint32_t i = 0; i < values; ++i) {
    uint32_t required = 0;
    fuzz::check(GetValueNameByIndex(obj, &required, key, i, nullptr, 0) == errOk && required > 0,
                "a counted value has no name");
  }
}

void call(Input& in, Object& object, Object& other, Handles& handles, Handles& otherHandles) {
  void* obj = object.get();
  uint64_t out = 0;
  uint32_t required = 0;
  char text[64];
  const uint8_t op = in.byte() % 21;
  switch (op) {
    case 0: {
      const std::string path = in.name();
      const uint64_t parent = handles.pick(in);
      if (OpenKey(obj, &out, parent, in.byte() & 1 ? nullptr : path.c_str(), in.byte() & 1) >= 0)
        handles.add(out);
      break;
    }
    case 1:
      if (OpenKeyByIndex(obj, &out, handles.pick(in), in.small()) >= 0) handles.add(out);
      break;
    case 2:
      if (OpenNextKey(obj, &out, handles.pick(in)) >= 0) handles.add(out);
      break;
    case 3: {
      const uint64_t key = handles.pick(in);
      const uint32_t full = in.byte() & 1;
      const uint32_t size = in.byte() % sizeof(text);
      GetKeyName(obj, &required, key, in.byte() & 1 ? nullptr : text, size, full);
      break;
    }
    case 4: {
      const uint64_t key = handles.pick(in);
      const uint32_t index = in.small();
      const uint32_t full = in.byte() & 1;
      GetKeyNameByIndex(obj, &required, key, index, text, in.byte() % sizeof(text), full);
      break;
    }
    case 5:
    case 6: {
      const uint64_t key = handles.pick(in);
      const std::string name = in.name();
      const uint32_t index = in.small();
      const uint32_t type = in.pick(kTypes);
      const std::string data = in.bytes();
      const uint32_t create = in.byte() & 1;
      std::u16string units(data.begin(), data.end());
      TroveStringObject string{units.c_str(), static_cast<uint32_t>(units.size())};
      const void* buffer = type == TROVE_TSTRING_OBJ ? static_cast<const void*>(&string)
                                                     : static_cast<const void*>(data.data());
      const auto size = static_cast<uint32_t>(data.size());
      if (op == 5)
        SetValue(obj, key, name.c_str(), type, buffer, size, create);
      else
        SetValueByIndex(obj, key, index, type, buffer, size, create);
      break;
    }
    case 7:
    case 8: {
      const uint64_t key = handles.pick(in);
      const std::string name = in.name();
      const uint32_t index = in.small();
      uint32_t type = in.pick(kTypes);
      const uint32_t size = in.byte() % sizeof(text);
      if (type == TROVE_TSTRING_OBJ) {
        host::StringObject string;
        if (op == 7)
          GetValue(obj, &required, key, name.c_str(), &type, string.get(), 0);
        else
          GetValueByIndex(obj, &required, key, index, &type, string.get(), 0);
      } else if (op == 7) {
        GetValue(obj, &required, key, name.c_str(), &type, size ? text : nullptr, size);
      } else {
        GetValueByIndex(obj, &required, key, index, &type, size ? text : nullptr, size);
      }
      break;
    }
    case 9: {
      const uint64_t key = handles.pick(in);
      const uint32_t index = in.small();
      GetValueNameByIndex(obj, &required, key, index, text, in.byte() % sizeof(text));
      break;
    }
    case 10:
      checkEnumeration(obj, handles.pick(in));
      break;
    case 11:
      DeleteKey(obj, handles.pick(in), in.name().c_str());
      break;
    case 12: {
      const uint64_t key = handles.pick(in);
      DeleteKeyByInd(obj, key, in.small());
      break;
    }
    case 13: {
      const uint64_t key = handles.pick(in);
      DeleteValue(obj, key, in.name().c_str());
      break;
    }
    case 14: {
      const uint64_t key = handles.pick(in);
      DeleteValueByInd(obj, key, in.small());
      break;
    }
    case 15:
      if (in.byte() < 16) Clean(obj);
      break;
    case 16: {
      // Into the other object, or into this one (also into the copied key's own
      // subtree). A copy holds its source shared, so with locking on a copy
      // into the same object would wait for itself: only without locking.
      const bool self = (in.byte() & 1) && !object.map().useLocking;
      const uint64_t source = handles.pick(in);
      const uint64_t target = self ? handles.pick(in) : otherHandles.pick(in);
      CopyKey(obj, source, self ? obj : other.get(), target);
      break;
    }
    case 17: {
      const bool self = (in.byte() & 1) && !object.map().useLocking;
      CopyKeyByPath(obj, in.name().c_str(), self ? obj : other.get());
      break;
    }
    case 18:
      SetRootKey(obj, handles.pick(in));
      break;
    case 19:
      SetRootStr(obj, in.byte() & 1 ? nullptr : in.name().c_str());
      break;
    case 20:
      checkEnumeration(other.get(), otherHandles.pick(in));
      break;
  }
}

// The tree writes (unless it holds a tWCHAR value, which has no text form)
// and reads back as the same text.
void checkWrites(const Object& object) {
  std::string text;
  const int32_t written = object.map().document.serialize(text);
  if (written == errUnspecified) return;
  fuzz::check(written == errOk, "the tree does not write", std::to_string(written));
  fuzz::Document reread;
  fuzz::check(reread.parse(text) == errOk, "the written tree does not read back", text);
  std::string again;
  fuzz::check(reread.get().serialize(again) == errOk, "the reread tree does not write", text);
  // Keys that differ only in case or hold separators normalise on the first
  // reload; a second round must change nothing.
  fuzz::Document third;
  fuzz::check(third.parse(again) == errOk, "the rewritten tree does not read back", again);
  std::string last;
  fuzz::check(third.get().serialize(last) == errOk && last == again, "writing is not stable",
              again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return -1;
  Input in(data, size);
  Object object, other;
  // Locking on for half the inputs: the guards must not change any result.
  object.map().useLocking = in.byte() & 1;
  fuzz::check(onInitDone(object.get()) == errOk && onInitDone(other.get()) == errOk,
              "an object without a store file does not load");
  Handles handles, otherHandles;
  for (int i = 0; i < 4; ++i) {
    uint64_t key = 0;
    if (OpenKey(other.get(), &key, 0, kNames[i + 1], 1) >= 0) otherHandles.add(key);
  }
  while (in.more()) call(in, object, other, handles, otherHandles);
  checkEnumeration(object.get(), 0);
  checkWrites(object);
  checkWrites(other);
  return 0;
}
