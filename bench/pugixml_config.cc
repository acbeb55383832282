#include "pugixml_config.h"

#include <cstring>
#include <stdexcept>

#include "ascii_names.h"
#include "bench_files.h"

namespace trove_bench {

namespace {

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

pugi::xml_node childNamed(pugi::xml_node parent, std::string_view name, bool key) {
  for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element) continue;
    if ((std::strcmp(child.name(), "key") == 0) != key) continue;
    if (equalsIgnoringCase(child.attribute("name").value(), name)) return child;
  }
  return {};
}

}  // namespace

PugixmlConfig::PugixmlConfig(const std::string& path) : path_(path) {
  const pugi::xml_parse_result result = document_.load_file(path.c_str());
  if (!result) throw std::runtime_error("pugixml: " + path + ": " + result.description());
}

pugi::xml_node PugixmlConfig::findValue(std::string_view keyPath, std::string_view name) const {
  pugi::xml_node node = document_.child("propertiesmap");
  forEachSegment(keyPath, [&](std::string_view segment) {
    node = childNamed(node, segment, true);
    return static_cast<bool>(node);
  });
  pugi::xml_node value = node ? childNamed(node, name, false) : pugi::xml_node();
  if (!value)
    throw std::runtime_error("pugixml: no " + std::string(keyPath) + " " + std::string(name));
  return value;
}

double PugixmlConfig::find(const std::vector<Setting>& settings) const {
  double sum = 0;
  for (const Setting& setting : settings) {
    const pugi::xml_text text = findValue(setting.keyPath, setting.name).text();
    switch (setting.kind) {
      case SettingKind::kWidth:
        sum = foldWidth(sum, text.as_uint());
        break;
      case SettingKind::kTitle:
        sum = foldTitle(sum, text.get());
        break;
      case SettingKind::kEnabled:
        sum = foldEnabled(sum, text.as_bool());
        break;
      case SettingKind::kScale:
        sum = foldScale(sum, text.as_double());
        break;
    }
  }
  return sum;
}

void PugixmlConfig::change(const std::vector<Setting>& settings, uint32_t round) const {
  for (int i = 0; i < kChangedSettings && i < static_cast<int>(settings.size()); ++i) {
    findValue(settings[i].keyPath, "WIDTH").text().set(changedWidth(round + i));
  }
}

void PugixmlConfig::write(WriteMode mode) {
  if (mode == WriteMode::kPlain) {
    if (!document_.save_file(path_.c_str(), "    ")) {
      throw std::runtime_error("pugixml: cannot save " + path_);
    }
    return;
  }
  StringWriter writer;
  document_.save(writer, "    ");
  replaceDurably(path_, writer.text);
}

}  // namespace trove_bench
