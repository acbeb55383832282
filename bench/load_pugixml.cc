// pugixml: the DOM walked through its node handles, values read from their
// text.
#include <pugixml.hpp>

#include <stdexcept>

#include "loader.h"

namespace trove_bench {

namespace {

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

class PugixmlLoader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    const pugi::xml_parse_result result = document_.load_buffer(bytes.data(), bytes.size());
    if (!result) throw std::runtime_error(std::string("pugixml: ") + result.description());
  }

  // Depth first without recursion: down to the first child, else on to the
  // next sibling of the node or of its nearest ancestor that has one.
  Tally walk() override {
    Tally tally;
    const pugi::xml_node root = document_.document_element();
    pugi::xml_node node = root.first_child();
    while (node) {
      if (node.type() == pugi::node_element) {
        const char* element = node.name();
        const char* name = node.attribute("name").value();
        if (isKeyElement(element)) {
          tally.key(name);
          if (node.first_child()) {
            node = node.first_child();
            continue;
          }
        } else {
          tally.text(name, element, node.child_value());
        }
      }
      while (node != root && !node.next_sibling()) node = node.parent();
      node = node == root ? pugi::xml_node() : node.next_sibling();
    }
    return tally;
  }

  bool canSave() const override { return true; }
  size_t save(const Shape&) override {
    StringWriter writer;
    document_.save(writer, "    ");
    return writer.text.size();
  }

  void release() override { document_.reset(); }

 private:
  pugi::xml_document document_;
};

}  // namespace

std::unique_ptr<Loader> makePugixmlLoader() {
  return std::make_unique<PugixmlLoader>();
}

}  // namespace trove_bench
