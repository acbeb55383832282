// A two-minute tour of trove's client API: open (or create) a store, write
// and read typed values, walk the tree, and let close() save it atomically.
//
//   ./build/examples/quickstart /tmp/settings.xml
#include <cstdio>
#include <iostream>

#include "trove/client.h"

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : "settings.xml";
  try {
    auto store = trove::Store::openFile(path, {.createIfMissing = true, .backupMode = 1});

    // Keys are created with their missing ancestors; names ignore case.
    trove::Key window = store.createKey("Application/Window");
    window.set<uint32_t>("Width", 1280);
    window.set<uint32_t>("Height", 800);
    window.set<std::string>("Title", "Quickstart");

    // Typed reads, with a default for values that may be missing.
    const uint32_t width = window.get<uint32_t>("width");
    const bool maximized = window.get("Maximized", false);
    std::cout << "width " << width << ", maximized " << maximized << "\n";

    // Any value can be read in another type through its text form.
    std::cout << "width as text: " << window.get<std::string>("Width") << "\n";

    // Subkeys and values enumerate in the order they were added.
    for (const trove::Key& key : store.root().subkeys()) {
      std::cout << key.name() << "\n";
      for (const trove::Key& child : key.subkeys()) {
        std::cout << "  " << child.name() << "\n";
        for (const trove::ValueInfo& value : child.values()) {
          std::cout << "    " << value.name << " (" << trove::typeName(value.type)
                    << ") = " << child.text(value.name) << "\n";
        }
      }
    }

    // The store is written back here: to a temporary file first, then moved
    // into place, with the previous version kept as settings.xml.bak2.
    store.close();
  } catch (const trove::Error& error) {
    std::cerr << "quickstart: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
