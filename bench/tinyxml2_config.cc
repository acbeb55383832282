#include "tinyxml2_config.h"

#include <cstring>
#include <stdexcept>

#include "ascii_names.h"
#include "bench_files.h"

namespace trove_bench {

using tinyxml2::XMLElement;

namespace {

XMLElement* childNamed(XMLElement* parent, std::string_view name, bool key) {
  for (XMLElement* child = parent->FirstChildElement(); child;
       child = child->NextSiblingElement()) {
    if ((std::strcmp(child->Name(), "key") == 0) != key) continue;
    if (equalsIgnoringCase(child->Attribute("name"), name)) return child;
  }
  return nullptr;
}

}  // namespace

Tinyxml2Config::Tinyxml2Config(const std::string& path) : path_(path) {
  if (document_.LoadFile(path.c_str()) != tinyxml2::XML_SUCCESS) {
    throw std::runtime_error("tinyxml2: " + path + ": " + document_.ErrorStr());
  }
}

XMLElement* Tinyxml2Config::findValue(std::string_view keyPath, std::string_view name) {
  XMLElement* node = document_.FirstChildElement("propertiesmap");
  forEachSegment(keyPath, [&](std::string_view segment) {
    node = node ? childNamed(node, segment, true) : nullptr;
    return node != nullptr;
  });
  XMLElement* value = node ? childNamed(node, name, false) : nullptr;
  if (!value) {
    throw std::runtime_error("tinyxml2: no " + std::string(keyPath) + " " + std::string(name));
  }
  return value;
}

double Tinyxml2Config::find(const std::vector<Setting>& settings) {
  double sum = 0;
  for (const Setting& setting : settings) {
    XMLElement* value = findValue(setting.keyPath, setting.name);
    switch (setting.kind) {
      case SettingKind::kWidth:
        sum = foldWidth(sum, value->UnsignedText());
        break;
      case SettingKind::kTitle: {
        const char* text = value->GetText();
        sum = foldTitle(sum, text ? text : "");
        break;
      }
      case SettingKind::kEnabled:
        sum = foldEnabled(sum, value->BoolText());
        break;
      case SettingKind::kScale:
        sum = foldScale(sum, value->DoubleText());
        break;
    }
  }
  return sum;
}

void Tinyxml2Config::change(const std::vector<Setting>& settings, uint32_t round) {
  for (int i = 0; i < kChangedSettings && i < static_cast<int>(settings.size()); ++i) {
    findValue(settings[i].keyPath, "WIDTH")->SetText(changedWidth(round + i));
  }
}

void Tinyxml2Config::write(WriteMode mode) {
  if (mode == WriteMode::kPlain) {
    if (document_.SaveFile(path_.c_str()) != tinyxml2::XML_SUCCESS) {
      throw std::runtime_error("tinyxml2: cannot save " + path_ + ": " + document_.ErrorStr());
    }
    return;
  }
  tinyxml2::XMLPrinter printer;
  document_.Print(&printer);
  replaceDurably(path_,
                 std::string_view(printer.CStr(), static_cast<size_t>(printer.CStrSize() - 1)));
}

}  // namespace trove_bench
