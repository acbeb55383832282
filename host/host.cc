#include "trove/host.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>

#include "host_directory.h"

namespace trove::host {

// The root object's methods. The root's word 2 leads back to its host; a
// root whose host has gone keeps answering without recording anything, since
// a module that is still loaded may hold on to it.
struct RootCalls {
  static Host* hostOf(void* root) { return static_cast<Host*>(static_cast<void**>(root)[2]); }

  static int32_t registerInterface(void* root, uint32_t iid, uint32_t pluginId, uint32_t subtype,
                                   uint32_t version, uint32_t vendorId, void** internalTable,
                                   uint32_t internalCount, void** methodTable, uint32_t methodCount,
                                   const TrovePropertyDescriptor* propertyTable,
                                   uint32_t propertyCount, uint32_t dataSize, uint32_t flags) {
    Host* host = hostOf(root);
    if (!host) return errWrongState;
    RegisteredInterface record;
    record.iid = iid;
    record.pluginId = pluginId;
    record.subtype = subtype;
    record.version = version;
    record.vendorId = vendorId;
    record.internalTable = internalTable;
    record.internalCount = internalCount;
    record.methodTable = methodTable;
    record.methodCount = methodCount;
    record.propertyTable = propertyTable;
    record.propertyCount = propertyCount;
    record.dataSize = dataSize;
    record.flags = flags;
    return host->onRegisterInterface(record);
  }

  static int32_t resolveHostFunction(void* root, void** cell, uint32_t first, uint32_t function,
                                     uint32_t second) {
    Host* host = hostOf(root);
    if (host) return host->onResolve(cell, first, function, second) ? errOk : errNotFound;
    void* found = knownFunction(first, function, second);
    if (found && cell) *cell = found;
    return found ? errOk : errNotFound;
  }

  static void* knownFunction(uint32_t first, uint32_t function, uint32_t second) {
    if (first == TROVE_HOST_TRACE_FIRST && function == TROVE_HOST_TRACE_FUNCTION &&
        second == TROVE_HOST_TRACE_SECOND) {
      return reinterpret_cast<void*>(&hostTrace);
    }
    if (first == TROVE_HOST_STRING_ASSIGN_FIRST && function == TROVE_HOST_STRING_ASSIGN_FUNCTION &&
        second == TROVE_HOST_STRING_ASSIGN_SECOND) {
      return reinterpret_cast<void*>(&assignStringObject);
    }
    return nullptr;
  }

  static int32_t notSupported(void*) { return errNotSupported; }

  static void** methodTable() {
    static void* table[32] = {};
    static const bool filled = [] {
      for (void*& slot : table) slot = reinterpret_cast<void*>(&notSupported);
      table[TROVE_ROOT_SLOT_REGISTER_INTERFACE] = reinterpret_cast<void*>(&registerInterface);
      table[TROVE_ROOT_SLOT_RESOLVE_FUNCTION] = reinterpret_cast<void*>(&resolveHostFunction);
      return true;
    }();
    (void)filled;
    return table;
  }
};

namespace {

// Root objects are never freed: a module keeps the root it was given for as
// long as it stays loaded, which may be longer than the host lives.
void** newRootObject(Host* host) {
  static std::mutex mutex;
  static auto* roots = new std::vector<void**>;
  void** root = new void* [3] { RootCalls::methodTable(), servicesTable(), host };
  std::lock_guard lock(mutex);
  roots->push_back(root);
  return root;
}

bool fileExists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

}  // namespace

int32_t hostTrace(void* object, uint32_t level, const char* format, va_list args) {
  if (!directory::anySinkKeeps(level)) return errOk;
  std::shared_ptr<TraceSink> sink = directory::sinkFor(object);
  if (level > sink->maxLevel()) return errOk;
  TraceLine line;
  line.level = level;
  line.text = formatTraceV(format, args);
  line.object = object;
  sink->write(line);
  return errOk;
}

Host::Host(HostOptions options) : options_(std::move(options)) {
  sink_ = options_.traceSink ? options_.traceSink : std::make_shared<StderrTraceSink>();
  root_ = newRootObject(this);
  directory::addHost(this);
  directory::addObject(root_, this);
}

Host::~Host() {
  directory::removeHost(this);
  root_[2] = nullptr;  // the root stays, orphaned
}

Module Host::openModule(const std::string& path) {
  ::dlerror();
  void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = ::dlerror();
    std::string reason = why ? why : "unknown reason";
    if (!fileExists(path)) {
      return Module(Status(errSysModuleNotFound, "cannot load module " + path + ": no such file"),
                    path);
    }
    return Module(Status(errSysBadImageSignature,
                         "cannot load module " + path + ": not a loadable module (" + reason + ")"),
                  path);
  }
  Module module;
  module.path_ = path;
  module.handle_ = std::shared_ptr<void>(handle, [](void* h) { ::dlclose(h); });
  void* entry = ::dlsym(handle, TROVE_MODULE_ENTRY_NAME);
  if (!entry) {
    module.status_ = Status(errSysSymbolNotFound,
                            "cannot load module " + path + ": it has no " TROVE_MODULE_ENTRY_NAME);
    module.handle_.reset();
    return module;
  }
  module.entry_ = reinterpret_cast<TroveModuleEntry>(entry);
  return module;
}

Module Host::openModule() {
  ModuleSearch search = findModule();
  if (search.found.empty()) return Module(Status(errSysModuleNotFound, search.notFoundMessage()));
  return openModule(search.found);
}

Status Host::registerModule(const Module& module) {
  if (!module.entry_) {
    return Status(errInvalidArgument, "cannot register module " + module.path_ + ": not loaded");
  }
  {
    std::lock_guard lock(mutex_);
    registeringModule_ = module.handle_;
  }
  int32_t cell = errOk;
  int32_t accepted = module.entry_(root_, TROVE_REASON_REGISTER, &cell);
  {
    std::lock_guard lock(mutex_);
    registeringModule_.reset();
  }
  if (!accepted) {
    int32_t code = cell < 0 ? cell : errUnexpected;
    return Status(code, "module " + module.path_ + " did not register");
  }
  return Status(cell);
}

Module Host::loadModule(const std::string& path) {
  Module module = openModule(path);
  if (!module.ok()) return module;
  Status registered = registerModule(module);
  if (!registered.ok()) module.status_ = registered;
  return module;
}

Module Host::loadModule() {
  ModuleSearch search = findModule();
  if (search.found.empty()) return Module(Status(errSysModuleNotFound, search.notFoundMessage()));
  return loadModule(search.found);
}

RootCounters Host::counters() const {
  RootCounters counters;
  counters.registerInterface = registerCalls_.load();
  counters.resolveHostFunction = resolveCalls_.load();
  counters.resolveTrace = resolveTraceCalls_.load();
  counters.resolveStringAssign = resolveStringAssignCalls_.load();
  counters.resolveUnknown = resolveUnknownCalls_.load();
  return counters;
}

void Host::resetCounters() {
  registerCalls_ = 0;
  resolveCalls_ = 0;
  resolveTraceCalls_ = 0;
  resolveStringAssignCalls_ = 0;
  resolveUnknownCalls_ = 0;
}

std::shared_ptr<const RegisteredInterface> Host::findInterface(uint32_t iid) const {
  std::lock_guard lock(mutex_);
  auto found = interfaces_.find(iid);
  return found == interfaces_.end() ? nullptr : found->second;
}

int32_t Host::onRegisterInterface(const RegisteredInterface& incoming) {
  ++registerCalls_;
  int32_t answer = options_.root.registerResult;
  if (answer < 0) return answer;
  if ((incoming.internalCount && !incoming.internalTable) ||
      (incoming.methodCount && !incoming.methodTable) ||
      (incoming.propertyCount && !incoming.propertyTable)) {
    return errInvalidArgument;
  }
  auto record = std::make_shared<RegisteredInterface>(incoming);
  record->internalEntries.assign(incoming.internalTable,
                                 incoming.internalTable + incoming.internalCount);
  record->methodEntries.assign(incoming.methodTable, incoming.methodTable + incoming.methodCount);
  record->properties.assign(incoming.propertyTable,
                            incoming.propertyTable + incoming.propertyCount);
  std::lock_guard lock(mutex_);
  record->module = registeringModule_;
  interfaces_[incoming.iid] = std::move(record);
  return answer;
}

void* Host::onResolve(void** cell, uint32_t first, uint32_t function, uint32_t second) {
  ++resolveCalls_;
  void* found = RootCalls::knownFunction(first, function, second);
  if (found == reinterpret_cast<void*>(&hostTrace)) {
    ++resolveTraceCalls_;
    if (!options_.root.provideTrace) found = nullptr;
  } else if (found) {
    ++resolveStringAssignCalls_;
    if (!options_.root.provideStringAssign) found = nullptr;
  } else {
    ++resolveUnknownCalls_;
  }
  if (found && cell) *cell = found;
  return found;
}

void Host::setTraceSink(std::shared_ptr<TraceSink> sink) {
  {
    std::lock_guard lock(mutex_);
    sink_ = sink ? std::move(sink) : std::make_shared<StderrTraceSink>();
  }
  directory::sinksChanged();
}

std::shared_ptr<TraceSink> Host::traceSink() const {
  std::lock_guard lock(mutex_);
  return sink_;
}

CapturingTraceSink& Host::captureTrace() {
  auto sink = std::make_shared<CapturingTraceSink>();
  CapturingTraceSink& capture = *sink;
  setTraceSink(std::move(sink));
  return capture;
}

Object Host::createObject(uint32_t iid) {
  std::shared_ptr<const RegisteredInterface> interface = findInterface(iid);
  if (!interface) {
    return Object(Status(errNoInterface, "cannot create an object: interface " +
                                             std::to_string(iid) + " is not registered"));
  }
  size_t dataSize = (static_cast<size_t>(interface->dataSize) + 7) & ~size_t{7};
  auto* header = static_cast<TroveHostObject*>(std::calloc(1, TROVE_HOST_HEADER_SIZE + dataSize));
  if (!header) {
    return Object(Status(errOutOfMemory, "cannot create an object of interface " +
                                             std::to_string(iid) + ": out of memory"));
  }
  header->services = servicesTable();
  header->hostWord = this;
  directory::addObject(header, this);
  Object object(reclaimedBlocks_, interface, header);
  if (auto construct = reinterpret_cast<TroveOnDataInit>(
          interface->internalEntry(TROVE_INTERNAL_ON_DATA_INIT))) {
    int32_t constructed = construct(header, 1);
    object.constructedServices_ = header->services;
    if (constructed < 0) {
      // Not constructed: nothing to close or destroy, only memory to give back.
      object.release();
      return Object(Status(constructed, "construction of an object of interface " +
                                            std::to_string(iid) + " failed"));
    }
  }
  // The constructor leaves its own placeholder in word 1; from now on the
  // object works through the host's services.
  header->services = servicesTable();
  return object;
}

}  // namespace trove::host
