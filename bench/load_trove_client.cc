// trove through its client API: Store::openMemory, then every key through
// subkeys() and every value through values() and get<T> in its stored type.
#include <cstring>
#include <optional>
#include <vector>

#include "loader.h"
#include "trove/client.h"

namespace trove_bench {

namespace {

void readValue(Tally& tally, const trove::Key& key, const trove::ValueInfo& value) {
  const std::string& name = value.name;
  switch (value.type) {
    case TROVE_TWORD:
      return tally.number(name, value.type, key.get<uint16_t>(name));
    case TROVE_TDWORD:
      return tally.number(name, value.type, key.get<uint32_t>(name));
    case TROVE_TQWORD:
      return tally.number(name, value.type, key.get<uint64_t>(name));
    case TROVE_TINT:
      return tally.number(name, value.type,
                          static_cast<uint64_t>(static_cast<int64_t>(key.get<int32_t>(name))));
    case TROVE_TBOOL:
      return tally.number(name, value.type, key.get<bool>(name));
    case TROVE_TDOUBLE: {
      const double number = key.get<double>(name);
      uint64_t bits;
      std::memcpy(&bits, &number, sizeof bits);
      return tally.number(name, value.type, bits);
    }
    case TROVE_TBINARY: {
      const trove::Bytes bytes = key.get<trove::Bytes>(name);
      return tally.bytes(name, value.type, bytes.data(), bytes.size());
    }
    default: {
      const std::string text = key.get<std::string>(name);
      return tally.bytes(name, value.type, text.data(), text.size());
    }
  }
}

class TroveClientLoader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    trove::StoreOptions options;
    options.saveOnClose = false;
    store_.emplace(trove::Store::openMemory(bytes, options));
  }

  Tally walk() override {
    Tally tally;
    std::vector<trove::Key> pending{store_->root()};
    while (!pending.empty()) {
      const trove::Key key = std::move(pending.back());
      pending.pop_back();
      for (const trove::ValueInfo& value : key.values()) readValue(tally, key, value);
      for (const trove::Key& child : key.subkeys()) {
        tally.key(child.name());
        pending.push_back(child);
      }
    }
    return tally;
  }

  void release() override { store_.reset(); }

 private:
  std::optional<trove::Store> store_;
};

}  // namespace

std::unique_ptr<Loader> makeTroveClientLoader() {
  return std::make_unique<TroveClientLoader>();
}

}  // namespace trove_bench
