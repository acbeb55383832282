#include "sample_store.h"

#include <cctype>
#include <cstdio>

namespace trove_bench {

namespace {

std::string groupName(int group) {
  char text[16];
  std::snprintf(text, sizeof text, "Group%02d", group);
  return text;
}

std::string itemName(int item) {
  char text[16];
  std::snprintf(text, sizeof text, "Item%04d", item);
  return text;
}

// Eight bytes that differ from item to item, as upper-case hex.
std::string tokenOf(int item) {
  uint64_t bits = static_cast<uint64_t>(item) * 0x9E3779B97F4A7C15ull + 0x6A09E667F3BCC909ull;
  char text[17];
  std::snprintf(text, sizeof text, "%016llX", static_cast<unsigned long long>(bits));
  return text;
}

void appendValue(std::string& out, const char* type, const char* name, const std::string& text) {
  out += "            <";
  out += type;
  out += " name=\"";
  out += name;
  out += "\">";
  out += text;
  out += "</";
  out += type;
  out += ">\r\n";
}

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

uint32_t widthOf(int item) {
  return 640 + static_cast<uint32_t>(item * 37 % 1280);
}
std::string titleOf(int item) {
  return "Item " + std::to_string(item) + " & friends";
}
bool enabledOf(int item) {
  return item % 3 != 0;
}
double scaleOf(int item) {
  return 1.0 + (item % 8) * 0.125;
}

std::string storeText(int keys) {
  std::string out;
  out.reserve(static_cast<size_t>(keys) * 420 + 64);
  out += "<propertiesmap>\r\n";
  for (int first = 0; first < keys; first += kKeysPerGroup) {
    out += "    <key name=\"" + groupName(first / kKeysPerGroup) + "\">\r\n";
    for (int item = first; item < keys && item < first + kKeysPerGroup; ++item) {
      out += "        <key name=\"" + itemName(item) + "\">\r\n";
      char number[32];
      appendValue(out, "tDWORD", "Width", std::to_string(widthOf(item)));
      appendValue(out, "tDWORD", "Height", std::to_string(480 + item * 53 % 720));
      appendValue(out, "tBOOL", "Enabled", enabledOf(item) ? "1" : "0");
      appendValue(out, "tSTRING", "Title", "Item " + std::to_string(item) + " &amp; friends");
      std::snprintf(number, sizeof number, "%f", scaleOf(item));
      appendValue(out, "tDOUBLE", "Scale", number);
      appendValue(out, "tWORD", "Retries", std::to_string(item % 10));
      appendValue(out, "tBINARY", "Token", tokenOf(item));
      std::snprintf(number, sizeof number, "%04d", item);
      appendValue(out, "tSTRING", "Path",
                  std::string("/home/user/projects/item") + number + "/settings.conf");
      out += "        </key>\r\n";
    }
    out += "    </key>\r\n";
  }
  out += "</propertiesmap>\r\n";
  return out;
}

std::vector<Setting> spreadSettings(int keys, int count) {
  static const char* const kNames[] = {"width", "TITLE", "Enabled", "scale"};
  std::vector<Setting> settings;
  settings.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    // An odd stride visits the whole store, not only every hundredth key.
    const int item = static_cast<int>((static_cast<int64_t>(i) * keys / count + i * 7) % keys);
    Setting setting;
    const std::string path = groupName(item / kKeysPerGroup) + "/" + itemName(item);
    setting.keyPath = i % 2 ? lower(path) : upper(path);
    setting.name = kNames[i % 4];
    setting.kind = static_cast<SettingKind>(i % 4);
    setting.item = item;
    settings.push_back(std::move(setting));
  }
  return settings;
}

double foldWidth(double sum, uint32_t width) {
  return sum + width;
}
double foldTitle(double sum, const std::string& title) {
  const double last = title.empty() ? 0 : static_cast<unsigned char>(title.back());
  return sum + static_cast<double>(title.size()) + last;
}
double foldEnabled(double sum, bool enabled) {
  return sum + (enabled ? 3 : 1);
}
double foldScale(double sum, double scale) {
  return sum + scale * 8;
}

double expectedChecksum(const std::vector<Setting>& settings) {
  double sum = 0;
  for (const Setting& setting : settings) {
    switch (setting.kind) {
      case SettingKind::kWidth:
        sum = foldWidth(sum, widthOf(setting.item));
        break;
      case SettingKind::kTitle:
        sum = foldTitle(sum, titleOf(setting.item));
        break;
      case SettingKind::kEnabled:
        sum = foldEnabled(sum, enabledOf(setting.item));
        break;
      case SettingKind::kScale:
        sum = foldScale(sum, scaleOf(setting.item));
        break;
    }
  }
  return sum;
}

}  // namespace trove_bench
