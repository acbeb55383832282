// trove through its binary interface: an object over the bytes, then every
// key by index (GetKeyCount, GetKeyNameByIndex, OpenKeyByIndex) and every
// value by index (GetValueCount, GetValueNameByIndex, GetValueByIndex with
// a type cell of 0, which hands the value over in its stored type).
#include <optional>
#include <stdexcept>
#include <vector>

#include "bytes_store_io.h"
#include "loader.h"
#include "plain_host.h"
#include "store_shapes.h"
#include "trove_raw_config.h"

namespace trove_bench {

namespace {

using trove::host::Object;

void check(int32_t code, const char* what) {
  if (code < 0)
    throw std::runtime_error(std::string(what) + ": " + trove::host::formatResult(code));
}

class TroveRawLoader : public Loader {
 public:
  explicit TroveRawLoader(bool plainHost) : plainHost_(plainHost) {}

  void prepare() override {
    if (plainHost_) {
      plain_.emplace();
    } else {
      benchHost();
    }
  }

  void parse(std::string_view bytes) override {
    io_.emplace(bytes);
    object_ = plainHost_ ? plain_->createObject() : benchHost().createObject(TROVE_IID_REGISTRY);
    if (!object_.ok()) throw std::runtime_error(object_.status().message());
    loadFromBytes(object_, *io_);
  }

  Tally walk() override {
    Tally tally;
    std::vector<uint64_t> pending{0};  // 0: the root key
    while (!pending.empty()) {
      const uint64_t key = pending.back();
      pending.pop_back();
      readValues(tally, key);
      uint32_t count = 0;
      check(object_.call<TroveGetKeyCount>(TROVE_SLOT_GET_KEY_COUNT, &count, key), "key count");
      for (uint32_t i = 0; i < count; ++i) {
        uint32_t required = 0;
        while (object_.call<TroveGetKeyNameByIndex>(
                   TROVE_SLOT_GET_KEY_NAME_BY_INDEX, &required, key, i, name_.data(),
                   static_cast<uint32_t>(name_.size()), 0u) == errBufferTooSmall) {
          name_.resize(required);
        }
        tally.key(name_.data());
        uint64_t child = TROVE_INVALID_KEY;
        check(object_.call<TroveOpenKeyByIndex>(TROVE_SLOT_OPEN_KEY_BY_INDEX, &child, key, i),
              "open key by index");
        pending.push_back(child);
      }
      if (key != 0) object_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, key);
    }
    return tally;
  }

  bool canSave() const override { return true; }
  size_t save(const Shape& shape) override {
    uint64_t key = TROVE_INVALID_KEY;
    check(object_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, uint64_t{0}, shape.dwordKey.c_str(),
                                     0u),
          "open key");
    // Another number and back: the store is changed, its text is not.
    for (const uint32_t number : {shape.dwordValue + 1, shape.dwordValue}) {
      check(object_.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, shape.dwordName.c_str(),
                                        uint32_t{TROVE_TDWORD}, static_cast<const void*>(&number),
                                        uint32_t{sizeof number}, 0u),
            "set value");
    }
    object_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, key);
    check(object_.flush(), "save");
    return io_->written().size();
  }

  void release() override {
    object_ = Object();
    io_.reset();
  }

 private:
  void readValues(Tally& tally, uint64_t key) {
    uint32_t count = 0;
    check(object_.call<TroveGetValueCount>(TROVE_SLOT_GET_VALUE_COUNT, &count, key), "value count");
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t required = 0;
      while (object_.call<TroveGetValueNameByIndex>(
                 TROVE_SLOT_GET_VALUE_NAME_BY_INDEX, &required, key, i, name_.data(),
                 static_cast<uint32_t>(name_.size())) == errBufferTooSmall) {
        name_.resize(required);
      }
      uint32_t type = 0;
      int32_t result;
      while ((result = object_.call<TroveGetValueByIndex>(
                  TROVE_SLOT_GET_VALUE_BY_INDEX, &required, key, i, &(type = 0),
                  static_cast<void*>(data_.data()), static_cast<uint32_t>(data_.size()))) ==
             errBufferTooSmall) {
        data_.resize(required);
      }
      check(result, "get value by index");
      // A string comes with its terminator.
      const size_t size = type == TROVE_TSTRING && required > 0 ? required - 1 : required;
      tally.binary(name_.data(), type, data_.data(), size);
    }
  }

  bool plainHost_;
  std::optional<PlainHost> plain_;
  std::optional<BytesStoreIo> io_;
  Object object_;
  std::vector<char> name_ = std::vector<char>(256);
  std::vector<unsigned char> data_ = std::vector<unsigned char>(4096);
};

}  // namespace

std::unique_ptr<Loader> makeTroveRawLoader(bool plainHost) {
  return std::make_unique<TroveRawLoader>(plainHost);
}

}  // namespace trove_bench
