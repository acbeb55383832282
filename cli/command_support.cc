#include "command_support.h"

#include "failure.h"
#include "tally.h"
#include "trove/client.h"
#include "trove/host/object.h"
#include "value_text.h"

namespace trove::cli {

std::string operation(const std::string& command, const std::string& what) {
  return what.empty() ? command : command + " " + what;
}

std::string valueTypeNames() {
  std::string names;
  for (TroveTypeId type = 1; type < 64; ++type) {
    if (typeName(type).empty() || !typeHoldsValues(type)) continue;
    names += (names.empty() ? "" : ", ") + std::string(typeName(type));
  }
  return names;
}

TroveTypeId typeArgument(const std::string& name, const std::string& file, const std::string& op) {
  const TroveTypeId type = typeFromName(name);
  if (type == 0) {
    throw Failure(file, op, errInvalidArgument,
                  "unknown type \"" + name + "\" (types: " + valueTypeNames() + ")", kExitUsage);
  }
  if (!typeHoldsValues(type)) {
    throw Failure(file, op, errInvalidArgument, "type " + name + " holds no values", kExitUsage);
  }
  return type;
}

std::string storeText(const Key& key) {
  StoreOptions options;
  options.saveOnClose = false;
  Store memory = Store::openMemory("", options);
  // Clean marks the store changed even while it stays empty, so the save
  // below always writes the text.
  check(memory.object().call<TroveClean>(TROVE_SLOT_CLEAN), "prepare the export");
  key.copyTo(memory.root());
  memory.save();
  std::string text = memory.contents();
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

std::string warningLine(const std::string& file, const std::string& op, const std::string& text) {
  return "warning: " + displayPath(file) + ": " + op + ": " + text;
}

void warnAboutCopyLoss(const Key& key, const std::string& file, const std::string& op,
                       Output& output) {
  const Tally lost = copyLoss(key);
  if (lost.keys == 0 && lost.values == 0) return;
  output.warnings.push_back(warningLine(
      file, op, describe(lost) + " not copied (each name repeats an earlier sibling's)"));
}

}  // namespace trove::cli
