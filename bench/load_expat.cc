// expat: a streaming parser with no tree; keys are counted and values read
// in its callbacks, so its walk is part of its parse.
#include <expat.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "loader.h"

namespace trove_bench {

namespace {

class ExpatLoader : public Loader {
 public:
  void parse(std::string_view bytes) override {
    tally_ = Tally();
    depth_ = 0;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, &ExpatLoader::start, &ExpatLoader::end);
    XML_SetCharacterDataHandler(parser, &ExpatLoader::characters);
    const XML_Status status =
        XML_Parse(parser, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE);
    std::string error;
    if (status != XML_STATUS_OK) error = XML_ErrorString(XML_GetErrorCode(parser));
    XML_ParserFree(parser);
    if (!error.empty()) throw std::runtime_error("expat: " + error);
  }
  Tally walk() override { return tally_; }
  void release() override { tally_ = Tally(); }

 private:
  static const char* nameOf(const XML_Char** attributes) {
    for (; attributes[0]; attributes += 2) {
      if (std::strcmp(attributes[0], "name") == 0) return attributes[1];
    }
    return "";
  }
  static void start(void* data, const XML_Char* element, const XML_Char** attributes) {
    auto* self = static_cast<ExpatLoader*>(data);
    if (self->depth_++ == 0) return;  // the root element
    if (isKeyElement(element)) {
      self->tally_.key(nameOf(attributes));
    } else {
      self->inValue_ = true;
      self->element_ = element;
      self->name_ = nameOf(attributes);
      self->text_.clear();
    }
  }
  static void end(void* data, const XML_Char*) {
    auto* self = static_cast<ExpatLoader*>(data);
    --self->depth_;
    if (!self->inValue_) return;
    self->inValue_ = false;
    self->tally_.text(self->name_, self->element_.c_str(), self->text_.c_str());
  }
  static void characters(void* data, const XML_Char* text, int length) {
    auto* self = static_cast<ExpatLoader*>(data);
    if (self->inValue_) self->text_.append(text, static_cast<size_t>(length));
  }

  Tally tally_;
  int depth_ = 0;
  bool inValue_ = false;
  std::string element_, name_, text_;
};

}  // namespace

std::unique_ptr<Loader> makeExpatLoader() {
  return std::make_unique<ExpatLoader>();
}

}  // namespace trove_bench
