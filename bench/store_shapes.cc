#include "store_shapes.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <set>

namespace trove_bench {

namespace {

// splitmix64: a fixed seed gives the same store on every machine.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // In [0, bound).
  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(next() % bound); }
  bool chance(uint32_t percent) { return below(100) < percent; }
  template <typename T, size_t N>
  const T& pick(const T (&items)[N]) {
    return items[below(N)];
  }

 private:
  uint64_t state_;
};

// Appends text escaped as the store writer escapes it.
void appendEscaped(std::string& out, std::string_view text) {
  for (char c : text) {
    switch (c) {
      case '"':
        out += "&quot;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '\'':
        out += "&apos;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += c;
    }
  }
}

class Writer {
 public:
  explicit Writer(size_t reserve) {
    text.reserve(reserve);
    text += "<propertiesmap>\r\n";
  }
  void openKey(int depth, std::string_view name) {
    text.append(static_cast<size_t>(depth) * 4, ' ');
    text += "<key name=\"";
    appendEscaped(text, name);
    text += "\">\r\n";
    ++keys;
  }
  void closeKey(int depth) {
    text.append(static_cast<size_t>(depth) * 4, ' ');
    text += "</key>\r\n";
  }
  void value(int depth, const char* type, std::string_view name, std::string_view content) {
    text.append(static_cast<size_t>(depth) * 4, ' ');
    text += '<';
    text += type;
    text += " name=\"";
    appendEscaped(text, name);
    text += "\">";
    appendEscaped(text, content);
    text += "</";
    text += type;
    text += ">\r\n";
    ++values;
  }
  Shape finish(std::string id, std::string title) {
    text += "</propertiesmap>\r\n";
    Shape shape;
    shape.id = std::move(id);
    shape.title = std::move(title);
    shape.text = std::move(text);
    shape.keys = keys;
    shape.values = values;
    return shape;
  }

  std::string text;
  uint64_t keys = 0;
  uint64_t values = 0;
};

std::string withCommas(unsigned long long value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(at, ",");
  return digits;
}

std::string format(const char* pattern, unsigned long long number) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, number);
  return text;
}

// Names unique among siblings under case folding: trove merges same-named
// sibling keys on load, the XML libraries do not, and both must see the
// same tree.
class SiblingNames {
 public:
  std::string unique(std::string name) {
    std::string folded = name;
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (int n = 2; !used_.insert(folded).second; ++n) {
      folded = folded.substr(0, base(folded)) + std::to_string(n);
      name = name.substr(0, base(name)) + std::to_string(n);
    }
    return name;
  }

 private:
  static size_t base(const std::string& name) {
    size_t end = name.size();
    while (end > 0 && std::isdigit(static_cast<unsigned char>(name[end - 1]))) --end;
    return end;
  }
  std::set<std::string> used_;
};

const char* const kSectionWords[] = {
    "Application", "Components", "Profiles", "Network",  "Plugins",   "Devices",  "Interface",
    "Updates",     "Logging",    "Storage",  "Security", "Scheduler", "Accounts", "Sync",
    "Printing",    "Editor",     "Search",   "Backup",   "Telemetry", "Locale"};
const char* const kKeyWords[] = {
    "General", "Window",   "Layout",  "Recent",   "Toolbar", "Proxy",    "Cache",     "Fonts",
    "Colors",  "Shortcut", "Session", "History",  "Filters", "Columns",  "Panels",    "Rules",
    "Servers", "Channels", "Queue",   "Defaults", "Limits",  "Schedule", "Mappings",  "Options",
    "Display", "Sound",    "Input",   "Paths",    "Tabs",    "Views",    "Templates", "Policies"};
const char* const kValueWords[] = {
    "Width",    "Height",  "Left",     "Top",     "Enabled",  "Visible",  "Path",     "Url",
    "Timeout",  "Retries", "Port",     "Host",    "Language", "Theme",    "Scale",    "Opacity",
    "Token",    "Version", "Count",    "Size",    "Mode",     "Level",    "Interval", "Format",
    "Title",    "Caption", "Encoding", "Order",   "Priority", "Checksum", "Modified", "Created",
    "UserName", "Comment", "Pattern",  "Command", "Locale",   "Ratio",    "Offset",   "Limit"};
const char* const kDirectories[] = {"home/user/.config", "var/lib",   "opt/suite", "usr/share",
                                    "srv/data",          "tmp/cache", "etc/app"};
const char* const kFiles[] = {"settings.conf", "cache.db",    "layout.xml", "recent.list",
                              "report.pdf",    "archive.zip", "notes.txt",  "image_0042.png"};
const char* const kPhrases[] = {"Open recent files",
                                "Save & close",
                                "Größe der Schrift",
                                "Résumé des paramètres",
                                "Show \"hidden\" files",
                                "Tom's workspace",
                                "a < b > c",
                                "日本語の設定",
                                "Ошибка соединения",
                                "Default profile",
                                "Compact view — two columns",
                                ""};
const char* const kHosts[] = {"example.com", "intranet.local", "cdn.example.org",
                              "mail.example.net"};

std::string pathText(Random& random) {
  return std::string("/") + random.pick(kDirectories) + "/" + random.pick(kKeyWords) + "/" +
         format("%llu_", random.below(1000)) + random.pick(kFiles);
}

std::string urlText(Random& random) {
  return std::string("https://") + random.pick(kHosts) + "/api/v" +
         std::to_string(1 + random.below(3)) + "/" + random.pick(kKeyWords) +
         format("?id=%llu&lang=en", random.below(100000));
}

std::string guidText(Random& random) {
  const uint64_t a = random.next(), b = random.next();
  char text[48];
  std::snprintf(
      text, sizeof text, "{%08llX-%04llX-%04llX-%04llX-%012llX}",
      static_cast<unsigned long long>(a >> 32), static_cast<unsigned long long>((a >> 16) & 0xFFFF),
      static_cast<unsigned long long>(a & 0xFFFF), static_cast<unsigned long long>(b >> 48),
      static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFull));
  return text;
}

std::string hexText(Random& random, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += format("%02llX", random.below(256));
  return text;
}

// One setting of a mixed, configuration-like type.
void randomValue(Writer& out, Random& random, int depth, SiblingNames& names) {
  std::string name = random.pick(kValueWords);
  if (random.chance(30)) name += random.pick(kKeyWords);
  name = names.unique(name);
  const uint32_t roll = random.below(100);
  if (roll < 38) {
    const uint32_t kind = random.below(4);
    const std::string text = kind == 0   ? pathText(random)
                             : kind == 1 ? urlText(random)
                             : kind == 2 ? guidText(random)
                                         : std::string(random.pick(kPhrases));
    out.value(depth, "tSTRING", name, text);
  } else if (roll < 63) {
    const uint32_t magnitude = random.chance(70) ? 1000 : 4000000;
    out.value(depth, "tDWORD", name, std::to_string(random.below(magnitude)));
  } else if (roll < 78) {
    out.value(depth, "tBOOL", name, random.chance(50) ? "1" : "0");
  } else if (roll < 84) {
    char text[32];
    std::snprintf(text, sizeof text, "%f", random.below(100000) / 1024.0);
    out.value(depth, "tDOUBLE", name, text);
  } else if (roll < 89) {
    out.value(depth, "tBINARY", name, hexText(random, 4 + static_cast<int>(random.below(29))));
  } else if (roll < 93) {
    out.value(depth, "tQWORD", name,
              std::to_string(133000000000000000ull + random.next() % 10000000000000ull));
  } else if (roll < 97) {
    out.value(depth, "tINT", name, std::to_string(static_cast<int>(random.below(2001)) - 1000));
  } else {
    out.value(depth, "tWORD", name, std::to_string(random.below(65536)));
  }
}

// A key with its values and, above the leaves, a few subkeys of its own.
void randomKey(Writer& out, Random& random, int depth, const std::string& name) {
  out.openKey(depth, name);
  SiblingNames childNames;
  const uint32_t children = depth >= 5 ? 0 : random.below(depth <= 1 ? 6 : 4);
  for (uint32_t i = 0; i < children; ++i) {
    std::string child = random.pick(kKeyWords);
    if (random.chance(25)) child += std::to_string(random.below(50));
    randomKey(out, random, depth + 1, childNames.unique(child));
  }
  SiblingNames valueNames;
  const uint32_t values = random.below(depth <= 1 ? 8 : 23);
  for (uint32_t i = 0; i < values; ++i) randomValue(out, random, depth + 1, valueNames);
  out.closeKey(depth);
}

}  // namespace

Shape typicalStore(std::string id, std::string title, size_t bytes) {
  Writer out(bytes + 4096);
  Random random(0x7E57C0F1ull);
  SiblingNames sections;
  // The fixed first section holds the value the save benchmark touches.
  out.openKey(1, "Application");
  out.value(2, "tDWORD", "Build", "4711");
  out.closeKey(1);
  sections.unique("Application");
  while (out.text.size() < bytes) {
    randomKey(out, random, 1, sections.unique(random.pick(kSectionWords)));
  }
  Shape shape = out.finish(std::move(id), std::move(title));
  shape.dwordKey = "Application";
  shape.dwordName = "Build";
  shape.dwordValue = 4711;
  return shape;
}

Shape wideStore(int count) {
  Writer out(static_cast<size_t>(count) * 120 + 256);
  out.openKey(1, "Wide");
  for (int i = 0; i < count; ++i) {
    out.openKey(2, format("Entry%05llu", static_cast<unsigned>(i)));
    out.value(3, "tSTRING", "Value", format("/srv/data/entry%05llu", static_cast<unsigned>(i)));
    out.closeKey(2);
  }
  out.value(2, "tDWORD", "Count", std::to_string(count));
  out.closeKey(1);
  Shape shape = out.finish("wide", "wide, one key with " + withCommas(count) + " subkeys");
  shape.dwordKey = "Wide";
  shape.dwordName = "Count";
  shape.dwordValue = static_cast<uint32_t>(count);
  return shape;
}

Shape deepStore(int depth) {
  Writer out(static_cast<size_t>(depth) * depth * 13 + 256);
  for (int level = 1; level <= depth; ++level) {
    out.openKey(level, format("Level%04llu", static_cast<unsigned>(level)));
  }
  for (int level = depth; level >= 1; --level) {
    out.value(level + 1, "tDWORD", "Depth", std::to_string(level));
    out.closeKey(level);
  }
  Shape shape = out.finish("deep", "deep, a chain of " + withCommas(depth) + " keys");
  shape.dwordKey = "Level0001";
  shape.dwordName = "Depth";
  shape.dwordValue = 1;
  return shape;
}

Shape siblingStore(int count) {
  Writer out(static_cast<size_t>(count) * 90 + 256);
  for (int i = 0; i < count; ++i) {
    out.openKey(1, format("Key%07llu", static_cast<unsigned>(i)));
    out.value(2, "tDWORD", "Id", std::to_string(i * 7 % 1000003));
    out.closeKey(1);
  }
  Shape shape = out.finish("siblings", withCommas(count) + " sibling keys");
  shape.dwordKey = "Key0000000";
  shape.dwordName = "Id";
  shape.dwordValue = 0;
  return shape;
}

namespace {

constexpr int kSections = 10;
constexpr int kGroupsPerSection = 10;
constexpr int kGroups = kSections * kGroupsPerSection;

int leavesPerGroup(int keys) {
  return std::max(1, keys / kGroups);
}

uint32_t widthOfLeaf(int item) {
  return 640 + static_cast<uint32_t>(item) * 37 % 1280;
}

}  // namespace

Shape callStore(int keys) {
  const int perGroup = leavesPerGroup(keys);
  Writer out(static_cast<size_t>(perGroup) * kGroups * 160 + 4096);
  int item = 0;
  for (int section = 0; section < kSections; ++section) {
    out.openKey(1, format("Section%llu", static_cast<unsigned>(section)));
    for (int group = 0; group < kGroupsPerSection; ++group) {
      out.openKey(2, format("Group%llu", static_cast<unsigned>(group)));
      for (int i = 0; i < perGroup; ++i, ++item) {
        out.openKey(3, format("Item%06llu", static_cast<unsigned>(item)));
        out.value(4, "tDWORD", "Width", std::to_string(widthOfLeaf(item)));
        out.value(4, "tSTRING", "Title", format("Item %llu", static_cast<unsigned>(item)));
        out.closeKey(3);
      }
      out.closeKey(2);
    }
    out.closeKey(1);
  }
  Shape shape = out.finish("calls-" + std::to_string(keys), withCommas(keys) + " keys");
  const LeafPlace first = leafOf(keys, 0);
  shape.dwordKey = first.path;
  shape.dwordName = "Width";
  shape.dwordValue = first.width;
  return shape;
}

LeafPlace leafOf(int keys, int item) {
  const int perGroup = leavesPerGroup(keys);
  const int group = item / perGroup;
  LeafPlace place;
  place.parentPath = format("Section%llu", static_cast<unsigned>(group / kGroupsPerSection)) +
                     format("/Group%llu", static_cast<unsigned>(group % kGroupsPerSection));
  place.path = place.parentPath + format("/Item%06llu", static_cast<unsigned>(item));
  place.index = static_cast<uint32_t>(item % perGroup);
  place.width = widthOfLeaf(item);
  return place;
}

}  // namespace trove_bench
