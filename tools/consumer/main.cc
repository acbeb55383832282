// Counts its runs in a store file: `consumer FILE` prints the version, the
// module in use and the count. Every failure ends in a message and exit 1.
#include <filesystem>
#include <iostream>

#include "trove/client.h"
#include "trove/host.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: consumer FILE\n";
    return 2;
  }
  trove::host::Host host;
  trove::host::Module module = host.loadModule();
  if (!module) {
    std::cerr << "consumer: " << module.status() << "\n";
    return 1;
  }
#ifdef MODULE_FILE  // the module the CMake package names
  if (!std::filesystem::equivalent(module.path(), MODULE_FILE)) {
    std::cerr << "consumer: loaded " << module.path() << ", not " << MODULE_FILE << "\n";
    return 1;
  }
#endif
  try {
    auto store = trove::Store::openFile(argv[1], {.createIfMissing = true});
    trove::Key key = store.createKey("consumer");
    const uint32_t runs = key.get<uint32_t>("runs", 0) + 1;
    key.set("runs", runs);
    store.close();
    std::cout << "trove " << TROVE_VERSION_STRING << " module " << trove::modulePath() << " runs "
              << runs << "\n";
  } catch (const trove::Error& error) {
    std::cerr << "consumer: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
