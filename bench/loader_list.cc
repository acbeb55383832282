#include "loader.h"

namespace trove_bench {

std::vector<LoaderKind> loaderKinds() {
  std::vector<LoaderKind> kinds;
  kinds.push_back({"memchr", "one memchr pass over the bytes for '<': the floor", false, false,
                   false, makeMemchrLoader});
  kinds.push_back({"pugixml", "pugixml 1.13, DOM", false, false, true, makePugixmlLoader});
  kinds.push_back({"tinyxml2", "tinyxml2 9, DOM", false, false, true, makeTinyxml2Loader});
#ifdef TROVE_BENCH_LIBXML2
  kinds.push_back(
      {"libxml2", "libxml2 2.9, DOM (xmlReadMemory)", false, false, true, makeLibxml2Loader});
#endif
#ifdef TROVE_BENCH_EXPAT
  kinds.push_back({"expat", "expat 2.5, SAX: values are read in the callbacks", false, true, true,
                   makeExpatLoader});
#endif
#ifdef TROVE_BENCH_PTREE
  kinds.push_back({"boost_ptree", "Boost.PropertyTree 1.74, read_xml from a string stream", false,
                   false, true, makePtreeLoader});
#endif
  kinds.push_back({"trove_client", "trove through the client API (host library's heap)", true,
                   false, true, makeTroveClientLoader});
  kinds.push_back({"trove_raw", "trove through the binary interface, host library's heap", true,
                   false, true, [] { return makeTroveRawLoader(false); }});
  kinds.push_back({"trove_raw_plain",
                   "trove through the binary interface, plain malloc-backed host without trace",
                   true, false, true, [] { return makeTroveRawLoader(true); }});
  return kinds;
}

}  // namespace trove_bench
