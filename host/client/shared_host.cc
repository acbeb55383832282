#include <atomic>
#include <mutex>

#include "store_state.h"
#include "trove/client/error.h"
#include "trove/client/module.h"

namespace trove {

namespace client_detail {

namespace {

std::mutex loadMutex;
std::atomic<host::Host*> instance{nullptr};
std::string loadedPath;  // guarded by loadMutex; set once with instance

// Loads the module (from `path`, or by the search when it is empty) into a
// host that lives as long as the process, so the module stays loaded for
// every store. Callers hold loadMutex.
host::Host& createLocked(const std::string& path) {
  auto host = std::make_unique<host::Host>();
  host::Module module = path.empty() ? host->loadModule() : host->loadModule(path);
  if (!module.ok()) {
    const host::Status& status = module.status();
    throw Error(status.code(),
                status.context().empty() ? "load the trove module" : status.context());
  }
  loadedPath = module.path();
  instance = host.release();
  return *instance;
}

}  // namespace

host::Host& sharedHost() {
  if (host::Host* host = instance.load()) return *host;
  std::lock_guard lock(loadMutex);
  if (host::Host* host = instance.load()) return *host;
  return createLocked({});
}

}  // namespace client_detail

void loadModule(const std::string& path) {
  if (path.empty()) throw Error(errInvalidArgument, "load the trove module: the path is empty");
  std::lock_guard lock(client_detail::loadMutex);
  if (client_detail::instance.load()) {
    if (client_detail::loadedPath == path) return;
    throw Error(errAlreadyDone, "load the trove module " + path + ": " + client_detail::loadedPath +
                                    " is loaded already");
  }
  client_detail::createLocked(path);
}

std::string modulePath() {
  client_detail::sharedHost();
  std::lock_guard lock(client_detail::loadMutex);
  return client_detail::loadedPath;
}

}  // namespace trove
