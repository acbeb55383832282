// Boost.PropertyTree: read_xml from a string stream, as its users read a
// configuration file; attributes live in an "<xmlattr>" child.
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <sstream>
#include <stdexcept>
#include <vector>

#include "loader.h"

namespace trove_bench {

namespace {

using boost::property_tree::ptree;

const char* nameOf(const ptree& node) {
  const auto attributes = node.find("<xmlattr>");
  if (attributes == node.not_found()) return "";
  const auto name = attributes->second.find("name");
  return name == attributes->second.not_found() ? "" : name->second.data().c_str();
}

class PtreeLoader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    tree_.clear();
    std::istringstream in{std::string(bytes)};
    try {
      boost::property_tree::read_xml(in, tree_);
    } catch (const boost::property_tree::xml_parser_error& error) {
      throw std::runtime_error(std::string("boost_ptree: ") + error.what());
    }
  }

  Tally walk() override {
    Tally tally;
    std::vector<const ptree*> pending;
    const auto root = tree_.find("propertiesmap");
    if (root != tree_.not_found()) pending.push_back(&root->second);
    while (!pending.empty()) {
      const ptree* node = pending.back();
      pending.pop_back();
      for (const auto& [element, child] : *node) {
        if (element == "<xmlattr>") continue;
        if (element == "key") {
          tally.key(nameOf(child));
          pending.push_back(&child);
        } else {
          tally.text(nameOf(child), element.c_str(), child.data().c_str());
        }
      }
    }
    return tally;
  }

  bool canSave() const override { return true; }
  size_t save(const Shape&) override {
    std::ostringstream out;
    boost::property_tree::write_xml(out, tree_);
    return static_cast<size_t>(out.tellp());
  }

  void release() override { tree_.clear(); }

 private:
  ptree tree_;
};

}  // namespace

std::unique_ptr<Loader> makePtreeLoader() {
  return std::make_unique<PtreeLoader>();
}

}  // namespace trove_bench
