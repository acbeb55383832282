#include "trove_raw_config.h"

#include <stdexcept>

namespace trove_bench {

namespace {

void check(int32_t code, const std::string& what) {
  if (code < 0) throw std::runtime_error(what + ": " + trove::host::formatResult(code));
}

}  // namespace

trove::host::Host& benchHost() {
  static trove::host::Host* host = [] {
    auto* created = new trove::host::Host();
    trove::host::Module module = created->loadModule();
    if (!module.ok()) throw std::runtime_error(module.status().message());
    return created;
  }();
  return *host;
}

TroveRawConfig::TroveRawConfig(const std::string& path)
    : object_(benchHost().createObject(TROVE_IID_REGISTRY)) {
  check(object_.status().code(), "create object");
  // The paths the benchmarks use are ASCII.
  check(object_.setName(std::u16string(path.begin(), path.end())).code(), "set name");
  check(object_.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1).code(), "set save on close");
  check(object_.initDone().code(), "load " + path);
}

uint64_t TroveRawConfig::openKey(const std::string& path) const {
  uint64_t key = TROVE_INVALID_KEY;
  check(object_.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, uint64_t{0}, path.c_str(), 0u),
        "open key " + path);
  return key;
}

void TroveRawConfig::closeKey(uint64_t key) const {
  object_.call<TroveCloseKey>(TROVE_SLOT_CLOSE_KEY, key);
}

double TroveRawConfig::find(const std::vector<Setting>& settings) const {
  double sum = 0;
  for (const Setting& setting : settings) {
    const uint64_t key = openKey(setting.keyPath);
    uint32_t required = 0;
    uint32_t type = 0;
    const auto get = [&](uint32_t wanted, void* buffer, uint32_t size) {
      type = wanted;
      check(object_.call<TroveGetValue>(TROVE_SLOT_GET_VALUE, &required, key, setting.name.c_str(),
                                        &type, buffer, size),
            "get value " + setting.name);
    };
    switch (setting.kind) {
      case SettingKind::kWidth: {
        uint32_t width = 0;
        get(TROVE_TDWORD, &width, sizeof width);
        sum = foldWidth(sum, width);
        break;
      }
      case SettingKind::kTitle: {
        char title[256];
        get(TROVE_TSTRING, title, sizeof title);
        sum = foldTitle(sum, title);
        break;
      }
      case SettingKind::kEnabled: {
        uint32_t enabled = 0;
        get(TROVE_TBOOL, &enabled, sizeof enabled);
        sum = foldEnabled(sum, enabled != 0);
        break;
      }
      case SettingKind::kScale: {
        double scale = 0;
        get(TROVE_TDOUBLE, &scale, sizeof scale);
        sum = foldScale(sum, scale);
        break;
      }
    }
    closeKey(key);
  }
  return sum;
}

void TroveRawConfig::change(const std::vector<Setting>& settings, uint32_t round) const {
  for (int i = 0; i < kChangedSettings && i < static_cast<int>(settings.size()); ++i) {
    const uint64_t key = openKey(settings[i].keyPath);
    const uint32_t width = changedWidth(round + i);
    check(object_.call<TroveSetValue>(TROVE_SLOT_SET_VALUE, key, "WIDTH", uint32_t{TROVE_TDWORD},
                                      static_cast<const void*>(&width), uint32_t{sizeof width}, 0u),
          "set value WIDTH");
    closeKey(key);
  }
}

void TroveRawConfig::write(WriteMode) {
  check(object_.flush(), "save");
  object_.close();
}

}  // namespace trove_bench
