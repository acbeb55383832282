// The content loaders: what the scanner reads becomes keys and values. The
// store dialect reads "key" elements and values named by type; any other XML
// is imported with elements as keys and attributes and text as tSTRING
// values. Open elements are kept on a list, not the stack: depth costs no
// stack.
#include "xml/store_loaders.h"

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "trove/abi.h"
#include "trove/result_codes.h"
#include "types/value_codec.h"
#include "xml/tree_memory.h"
#include "xml/xml_reader.h"
#include "xml/xml_tree.h"

namespace trove {
namespace {

constexpr std::string_view kStoreRoot = "propertiesmap";
constexpr std::string_view kKeyElement = "key";
constexpr std::string_view kNameAttribute = "name";
constexpr const char* kUnnamedValue = "noname";

const XmlAttribute* findNameAttribute(const std::vector<XmlAttribute>& list) {
  for (const XmlAttribute& attribute : list) {
    if (attribute.name == kNameAttribute) return &attribute;
  }
  return nullptr;
}

// A key element whose content is being read, and the node it loads into.
struct OpenKey {
  XmlNode* node;
  XmlTag tag;
};

// The levels of a content loader, kept on a list instead of the stack.
class OpenKeys {
 public:
  explicit OpenKeys(XmlNode* base) : base_(base) {}
  XmlNode* current() const { return open_.empty() ? base_ : open_.back().node; }
  bool atBase() const { return open_.empty(); }
  void enter(XmlNode* node, const XmlTag& tag) { open_.push_back(OpenKey{node, tag}); }
  // Leaves the innermost level; answers its element's tag.
  XmlTag leave() {
    XmlTag tag = open_.back().tag;
    open_.pop_back();
    return tag;
  }

 private:
  XmlNode* base_;
  std::vector<OpenKey> open_;
};

int32_t readValueElement(XmlNode* node, XmlReader& reader, const XmlTag& tag,
                         std::vector<XmlAttribute>& attributes, std::string& text) {
  int32_t type = typeIdFromName(tag.name, tag.nameLength);
  if (type < 0) return errInvalidArgument;
  if (reader.parseAttributes(tag, attributes) == Scan::Malformed) return errXmlFormat;
  const XmlAttribute* name = findNameAttribute(attributes);
  if (!name) return errInvalidArgument;
  if (tag.selfClosing()) return errXmlFormat;
  try {
    reader.readText(text);
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (const std::length_error&) {
    return errOutOfMemory;
  }
  return node->appendValueFromText(name->value.c_str(), static_cast<TypeId>(type), text.c_str());
}

}  // namespace

int32_t readKeyContent(XmlNode* node, XmlReader& reader) {
  OpenKeys levels(node);
  std::vector<XmlAttribute> attributes;
  std::string text;
  for (;;) {
    XmlTag tag;
    const TagRead answer = reader.readStartTag(tag, 0);
    if (answer == TagRead::Malformed) return errXmlFormat;
    if (answer != TagRead::Tag) {
      // Text, an end tag or the end: no more children at this level.
      if (levels.atBase()) return errOk;
      if (reader.finishElement(levels.leave()) == Scan::Malformed) return errXmlFormat;
      continue;
    }
    XmlNode* current = levels.current();
    if (tag.nameView() == kKeyElement) {
      if (reader.parseAttributes(tag, attributes) == Scan::Malformed) return errXmlFormat;
      const XmlAttribute* name = findNameAttribute(attributes);
      if (!name) return errInvalidArgument;
      XmlNode* key = current->createPath(name->value.c_str(), false);
      if (!key) return errOutOfMemory;
      if (!tag.selfClosing()) {
        levels.enter(key, tag);
        continue;
      }
    } else {
      int32_t result = readValueElement(current, reader, tag, attributes, text);
      if (result < 0) return result;
    }
    if (reader.finishElement(tag) == Scan::Malformed) return errXmlFormat;
  }
}

int32_t importContent(XmlNode* node, XmlReader& reader) {
  OpenKeys levels(node);
  std::vector<XmlAttribute> attributes;
  std::string text;
  for (;;) {
    XmlTag tag;
    TagRead answer = reader.readStartTag(tag, XmlReader::reportText);
    if (answer == TagRead::Text || answer == TagRead::CData) {
      // Text ends the import of this element's children; the parent's
      // finishElement skips whatever follows it.
      try {
        if (reader.readText(text)) {
          int32_t result =
              levels.current()->appendValueFromText(kUnnamedValue, TROVE_TSTRING, text.c_str());
          if (result < 0) return result;
        }
      } catch (const std::bad_alloc&) {
        return errOutOfMemory;
      } catch (const std::length_error&) {
        return errOutOfMemory;
      }
      answer = TagRead::NoTag;
    }
    if (answer == TagRead::Malformed) return errXmlFormat;
    if (answer != TagRead::Tag) {
      if (levels.atBase()) return errOk;
      if (reader.finishElement(levels.leave()) == Scan::Malformed) return errXmlFormat;
      continue;
    }

    if (reader.parseAttributes(tag, attributes) == Scan::Malformed) return errXmlFormat;
    XmlNode* current = levels.current();
    char* name = treeCopyName(current->owner, tag.name, tag.nameLength);
    if (!name) return errOutOfMemory;
    XmlNode* key = current->createPath(name, true);
    treeFree(current->owner, name);
    if (!key) return errOutOfMemory;

    for (const XmlAttribute& attribute : attributes) {
      int32_t result =
          key->appendValueFromText(attribute.name.c_str(), TROVE_TSTRING, attribute.value.c_str());
      if (result < 0) return result;
    }
    if (!tag.selfClosing()) {
      levels.enter(key, tag);
      continue;
    }
    if (reader.finishElement(tag) == Scan::Malformed) return errXmlFormat;
  }
}

int32_t XmlDocument::parse(const char* data, uint32_t size) {
  if (!root_) return errWrongState;
  try {
    XmlReader reader(data, size);
    XmlTag rootTag;
    const TagRead answer = reader.readStartTag(rootTag, 0);
    if (answer == TagRead::Malformed) return errXmlFormat;
    // Only whitespace, comments and processing instructions may precede the
    // root, and the root must have content.
    if (answer != TagRead::Tag || rootTag.selfClosing()) return errInvalidArgument;

    int32_t result;
    if (rootTag.nameView() == kStoreRoot) {
      result = readKeyContent(root_, reader);
    } else {
      // The generic import reads from the start again so that the root
      // element itself becomes a key.
      XmlReader importer(data, size);
      result = importContent(root_, importer);
    }
    if (result < 0) return result;
    if (reader.finishElement(rootTag) == Scan::Malformed) return errXmlFormat;
    return errOk;
  } catch (const std::bad_alloc&) {
    return errOutOfMemory;
  } catch (...) {
    return errUnknownException;
  }
}

}  // namespace trove
