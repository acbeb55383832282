// Values of a key: appending, lookup by name or index (with the CDATA
// redirect), and removal. Every name lookup goes through firstValueNamed.
#include <cstdio>
#include <cstring>
#include <new>

#include "base/case_folding.h"
#include "trove/result_codes.h"
#include "xml/list_cursor.h"
#include "xml/name_index.h"
#include "xml/tree_memory.h"
#include "xml/xml_list.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

// A tSTRING value whose whole text is this marker stands for the "noname"
// value of the child key that carries the value's name.
constexpr char kRedirectMarker[] = "![CDATA[";
constexpr uint32_t kRedirectMarkerSize = sizeof(kRedirectMarker);  // with its NUL: 9
constexpr char kRedirectedName[] = "noname";

bool isRedirect(const ValueCodec* codec) {
  // Only a string's text can be the marker; asking a number for its text
  // would cost a formatting on every lookup.
  const TypeId type = codec->GetType();
  if (type != TROVE_TSTRING && type != TROVE_TWSTRING) return false;
  char text[kRedirectMarkerSize] = {};
  uint32_t reported = 0;
  if (codec->ToText(text, kRedirectMarkerSize, &reported) < 0) return false;
  return reported == kRedirectMarkerSize &&
         std::memcmp(text, kRedirectMarker, kRedirectMarkerSize) == 0;
}

}  // namespace

XmlValue* XmlNode::firstValueNamed(const char* name) const {
  const std::size_t length = std::strlen(name);
  const uint32_t hash = foldedNameHash(name, length);
  if (valueIndex != nullptr) return valueIndex->find(name, length, hash);
  for (XmlValue* value = listFront(values); value != nullptr; value = listNext(values, value)) {
    if (hasName(value, name, length, hash)) return value;
  }
  return nullptr;
}

void XmlNode::appendValue(XmlValue* value) {
  listAppend(values, value);
  indexAppended(owner, values, valueIndex, value);
}

// The record, its name and its codec share one block, which the codec's
// release gives back.
void XmlNode::destroyValue(XmlValue* value) {
  if (value->next != nullptr) {
    if (valueIndex != nullptr) valueIndex->remove(value, values);
    listUnlink(values, value);
    stamp = newListStamp();
    if (values.count == 0) {
      NameIndex<XmlValue>::destroy(valueIndex);
      valueIndex = nullptr;
    }
  }
  releaseValueCodec(owner, value->codec());
}

// All of them go: the index is dropped first rather than kept up to date.
void XmlNode::releaseValues() {
  NameIndex<XmlValue>::destroy(valueIndex);
  valueIndex = nullptr;
  while (XmlValue* value = listFront(values)) destroyValue(value);
}

// Builds a record for `name`, fills its codec from the binary form (text ==
// null) or from the text, and appends it. Nothing is left behind on failure.
int32_t XmlNode::makeValue(const char* name, TypeId type, const void* data, uint32_t size,
                           const char* text) {
  if (owner == nullptr) return errWrongState;
  const uint32_t codecBytes = codecSize(type);
  if (codecBytes == 0) return errOutOfMemory;  // a type without a codec
  if (name == nullptr) return errInvalidArgument;
  const std::size_t length = std::strlen(name);
  const std::size_t recordAt =
      (codecBytes + kCodecAlignment - 1) / kCodecAlignment * kCodecAlignment;
  void* block = treeAlloc(owner, recordAt + sizeof(XmlValue) + length + 1);
  if (block == nullptr) return errOutOfMemory;
  auto* value = new (static_cast<char*>(block) + recordAt) XmlValue();
  value->next = nullptr;
  value->prev = nullptr;
  std::memcpy(value->name(), name, length + 1);
  value->nameHash = foldedNameHash(name, length);
  value->codecOffset = static_cast<uint32_t>(recordAt);
  ValueCodec* codec = constructValueCodec(owner, type, block);
  const int32_t result = text != nullptr ? codec->FromText(text) : codec->SetBinary(data, size);
  if (result < 0) {
    destroyValue(value);
    return result;
  }
  appendValue(value);
  return errOk;
}

int32_t XmlNode::appendValueFromBinary(const char* name, TypeId type, const void* data,
                                       uint32_t size) {
  return makeValue(name, type, data, size, nullptr);
}

int32_t XmlNode::appendValueFromText(const char* name, TypeId type, const char* text) {
  // A missing text is refused here rather than handed to a codec.
  if (text == nullptr) return owner == nullptr ? errWrongState : errInvalidArgument;
  return makeValue(name, type, nullptr, 0, text);
}

int32_t XmlNode::addValue(const char* name, TypeId type, const void* data, uint32_t size) {
  if (name == nullptr) return errInvalidArgument;
  if (findValue(name) != nullptr) return errAlreadyExists;
  return appendValueFromBinary(name, type, data, size);
}

int32_t XmlNode::addValueAt(uint32_t index, TypeId type, const void* data, uint32_t size) {
  const uint32_t count = valueCount();
  if (index > count) return errInvalidArgument;
  if (index < count) return errAlreadyExists;
  char name[100];
  std::snprintf(name, sizeof(name), "%s%d", kRedirectedName, static_cast<int>(index));
  return appendValueFromBinary(name, type, data, size);
}

// A redirect leads to the "noname" value of the key at the value's name, and
// that value may redirect in turn. The chain is followed in a loop: after the
// first step every lookup goes down one "noname" key, so it ends with the tree.
ValueCodec* XmlNode::findValue(const char* name) const {
  if (name == nullptr) return nullptr;
  const XmlNode* node = this;
  ValueCodec* fallback = nullptr;  // the marker whose redirect is being followed
  for (;;) {
    XmlValue* value = node->firstValueNamed(name);
    if (value == nullptr) return fallback;
    if (!isRedirect(value->codec())) return value->codec();
    const XmlNode* target = node->findPath(name, nullptr);
    if (target == nullptr) return value->codec();
    fallback = value->codec();
    node = target;
    name = kRedirectedName;
  }
}

ValueCodec* XmlNode::valueAt(uint32_t index) const {
  XmlValue* value = listAtIndex(values, stamp, index);
  return value != nullptr ? value->codec() : nullptr;
}

const char* XmlNode::valueNameAt(uint32_t index) const {
  XmlValue* value = listAtIndex(values, stamp, index);
  return value != nullptr ? value->name() : nullptr;
}

int32_t XmlNode::removeValue(const char* name) {
  if (name == nullptr) return errInvalidArgument;
  XmlValue* value = firstValueNamed(name);
  if (value == nullptr) return errEntryNotFound;
  destroyValue(value);
  return errOk;
}

int32_t XmlNode::removeValueAt(uint32_t index) {
  XmlValue* value = listAtIndex(values, stamp, index);
  if (value == nullptr) return errEntryNotFound;
  destroyValue(value);
  return errOk;
}

}  // namespace trove
