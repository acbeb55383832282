// libxml2: xmlReadMemory into its tree, walked through the node links; the
// name attribute and the text are read from the nodes directly rather than
// through xmlGetProp and xmlNodeGetContent, which copy.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <stdexcept>

#include "loader.h"

namespace trove_bench {

namespace {

const char* text(const xmlChar* chars) {
  return reinterpret_cast<const char*>(chars);
}

const char* nameAttribute(const xmlNode* node) {
  for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
    if (xmlStrEqual(attribute->name, BAD_CAST "name") && attribute->children) {
      return text(attribute->children->content);
    }
  }
  return "";
}

const xmlNode* firstElement(const xmlNode* node) {
  while (node && node->type != XML_ELEMENT_NODE) node = node->next;
  return node;
}

class Libxml2Loader : public Loader {
 public:
  void prepare() override { xmlInitParser(); }

  void parse(std::string_view bytes) override {
    // XML_PARSE_HUGE lifts the nesting limit of 256 that would refuse the
    // deep store; NOBLANKS drops the indentation, as the DOMs above do.
    document_ = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                              XML_PARSE_NOBLANKS | XML_PARSE_HUGE | XML_PARSE_NONET);
    if (!document_) {
      const xmlError* error = xmlGetLastError();
      throw std::runtime_error(std::string("libxml2: ") + (error ? error->message : "refused"));
    }
  }

  Tally walk() override {
    Tally tally;
    const xmlNode* root = xmlDocGetRootElement(document_);
    const xmlNode* node = root ? firstElement(root->children) : nullptr;
    while (node) {
      const char* element = text(node->name);
      if (isKeyElement(element)) {
        tally.key(nameAttribute(node));
        if (const xmlNode* child = firstElement(node->children)) {
          node = child;
          continue;
        }
      } else {
        const xmlNode* content = node->children;
        tally.text(nameAttribute(node), element,
                   content && content->type == XML_TEXT_NODE ? text(content->content) : "");
      }
      while (node != root && !firstElement(node->next)) node = node->parent;
      node = node == root ? nullptr : firstElement(node->next);
    }
    return tally;
  }

  bool canSave() const override { return true; }
  size_t save(const Shape&) override {
    xmlChar* memory = nullptr;
    int size = 0;
    xmlDocDumpFormatMemory(document_, &memory, &size, 1);
    xmlFree(memory);
    return static_cast<size_t>(size);
  }

  void release() override {
    xmlFreeDoc(document_);
    document_ = nullptr;
  }

 private:
  xmlDoc* document_ = nullptr;
};

}  // namespace

std::unique_ptr<Loader> makeLibxml2Loader() {
  return std::make_unique<Libxml2Loader>();
}

}  // namespace trove_bench
