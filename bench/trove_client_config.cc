#include "trove_client_config.h"

namespace trove_bench {

TroveClientConfig::TroveClientConfig(const std::string& path)
    : store_(trove::Store::openFile(path)), root_(store_.root()) {}

double TroveClientConfig::find(const std::vector<Setting>& settings) const {
  double sum = 0;
  for (const Setting& setting : settings) {
    const trove::Key key = root_.open(setting.keyPath);
    switch (setting.kind) {
      case SettingKind::kWidth:
        sum = foldWidth(sum, key.get<uint32_t>(setting.name));
        break;
      case SettingKind::kTitle:
        sum = foldTitle(sum, key.get<std::string>(setting.name));
        break;
      case SettingKind::kEnabled:
        sum = foldEnabled(sum, key.get<bool>(setting.name));
        break;
      case SettingKind::kScale:
        sum = foldScale(sum, key.get<double>(setting.name));
        break;
    }
  }
  return sum;
}

void TroveClientConfig::change(const std::vector<Setting>& settings, uint32_t round) const {
  for (int i = 0; i < kChangedSettings && i < static_cast<int>(settings.size()); ++i) {
    root_.open(settings[i].keyPath).set<uint32_t>("WIDTH", changedWidth(round + i));
  }
}

void TroveClientConfig::write(WriteMode) {
  store_.close();
}

}  // namespace trove_bench
