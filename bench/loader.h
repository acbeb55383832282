// One library's way of loading a store for the load benchmark: parse the
// bytes into its tree, walk every key and value reading each value in its
// stored type, save the tree to memory, drop it. The steps are timed apart.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tally.h"

namespace trove_bench {

struct Shape;

class Loader {
 public:
  virtual ~Loader() = default;

  // Makes ready what is not part of a load (a module, a host), outside
  // the times.
  virtual void prepare() {}
  // Throws std::runtime_error when the library refuses the bytes.
  virtual void parse(std::string_view bytes) = 0;
  virtual Tally walk() = 0;
  // Serializes the tree to memory and returns the size; only when canSave().
  // `shape` names a value that may be changed and set back first.
  virtual bool canSave() const { return false; }
  virtual size_t save(const Shape&) { return 0; }
  virtual void release() = 0;
};

struct LoaderKind {
  std::string name;           // as in the tables and for --libraries
  std::string note;           // one line for the key under the tables
  bool troveSide;             // trove's save must give back the input byte for byte
  bool walksInParse = false;  // SAX: the walk happens during the parse
  bool checkable = true;      // has a tally to compare with pugixml's
  std::function<std::unique_ptr<Loader>()> make;
};

// Every library this build has, in table order: the floor first, then the
// XML libraries, then trove.
std::vector<LoaderKind> loaderKinds();

// One per library, each in its own file.
std::unique_ptr<Loader> makeMemchrLoader();
std::unique_ptr<Loader> makePugixmlLoader();
std::unique_ptr<Loader> makeTinyxml2Loader();
std::unique_ptr<Loader> makeLibxml2Loader();
std::unique_ptr<Loader> makeExpatLoader();
std::unique_ptr<Loader> makePtreeLoader();
std::unique_ptr<Loader> makeTroveClientLoader();
// Through the binary interface, on the host library's heap or on a plain
// malloc-backed host.
std::unique_ptr<Loader> makeTroveRawLoader(bool plainHost);

}  // namespace trove_bench
