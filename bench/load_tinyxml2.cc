// tinyxml2: the DOM walked element by element, values read from their text.
#include <tinyxml2.h>

#include <stdexcept>

#include "loader.h"

namespace trove_bench {

namespace {

using tinyxml2::XMLElement;

class Tinyxml2Loader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    document_ = std::make_unique<tinyxml2::XMLDocument>();
    if (document_->Parse(bytes.data(), bytes.size()) != tinyxml2::XML_SUCCESS) {
      throw std::runtime_error(std::string("tinyxml2: ") + document_->ErrorStr());
    }
  }

  Tally walk() override {
    Tally tally;
    XMLElement* root = document_->RootElement();
    XMLElement* node = root ? root->FirstChildElement() : nullptr;
    while (node) {
      const char* element = node->Name();
      const char* name = node->Attribute("name");
      if (!name) name = "";
      if (isKeyElement(element)) {
        tally.key(name);
        if (XMLElement* child = node->FirstChildElement()) {
          node = child;
          continue;
        }
      } else {
        tally.text(name, element, node->GetText());
      }
      while (node != root && !node->NextSiblingElement()) node = node->Parent()->ToElement();
      node = node == root ? nullptr : node->NextSiblingElement();
    }
    return tally;
  }

  bool canSave() const override { return true; }
  size_t save(const Shape&) override {
    tinyxml2::XMLPrinter printer;
    document_->Print(&printer);
    return static_cast<size_t>(printer.CStrSize());
  }

  void release() override { document_.reset(); }

 private:
  std::unique_ptr<tinyxml2::XMLDocument> document_;
};

}  // namespace

std::unique_ptr<Loader> makeTinyxml2Loader() {
  return std::make_unique<Tinyxml2Loader>();
}

}  // namespace trove_bench
