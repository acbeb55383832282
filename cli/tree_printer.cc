#include "tree_printer.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "value_text.h"

namespace trove::cli {

namespace {

struct Row {
  std::string name;
  std::string type;
  std::string text;
};

// Columns are aligned by characters, not bytes: UTF-8 continuation bytes
// take no room of their own.
size_t displayWidth(std::string_view text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

void pad(std::ostream& out, const std::string& text, size_t width) {
  out << text << std::string(width - displayWidth(text), ' ');
}

std::vector<Row> rowsOf(const Store& store, const Key& key) {
  std::vector<Row> rows;
  uint32_t index = 0;
  for (const ValueInfo& value : key.values()) {
    const std::string type(typeName(value.type));
    const auto text = valueTextAt(store, key, index++);
    rows.push_back({value.name.empty() ? "\"\"" : escapeControls(value.name),
                    type.empty() ? "type " + std::to_string(value.type) : type,
                    text ? escapeControls(*text) : "(no text form)"});
  }
  return rows;
}

void printKey(const Store& store, const Key& key, std::ostream& out, size_t depth) {
  const std::string indent(depth * 2, ' ');
  const std::vector<Row> rows = rowsOf(store, key);
  size_t nameWidth = 0, typeWidth = 0;
  for (const Row& row : rows) {
    nameWidth = std::max(nameWidth, displayWidth(row.name));
    typeWidth = std::max(typeWidth, displayWidth(row.type));
  }
  for (const Row& row : rows) {
    out << indent;
    pad(out, row.name, nameWidth + 2);
    if (row.text.empty()) {
      out << row.type << '\n';  // no trailing blanks
    } else {
      pad(out, row.type, typeWidth + 2);
      out << row.text << '\n';
    }
  }
  for (const Key& subkey : key.subkeys()) {
    out << indent << escapeControls(subkey.name()) << "/\n";
    printKey(store, subkey, out, depth + 1);
  }
}

}  // namespace

std::string escapeControls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (byte < 0x20 || byte == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", byte);
      out += hex;
    } else {
      out += c;
    }
  }
  return out;
}

void printTree(const Store& store, const Key& key, std::ostream& out) {
  printKey(store, key, out, 0);
}

}  // namespace trove::cli
