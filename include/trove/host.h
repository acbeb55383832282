// trove's plug-in host: loads a module file, gives it a root object to
// register its interfaces with, creates objects of those interfaces, and
// serves the module's heap, trace and string functions.
//
//   trove::host::Host host;
//   auto& trace = host.captureTrace();
//   auto module = host.loadModule();           // the trove module, found as module_search.h says
//   auto object = host.createObject(TROVE_IID_REGISTRY);
//   object.setName(u"store.xml");
//   object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 1);
//   object.initDone();
//   TroveKey key;
//   object.call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &key, 0, "a/b", 1);
//
// Objects may outlive their host (their module stays loaded while they
// live), but their trace lines then go to the most recent host's sink.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "trove/abi.h"
#include "trove/host/heap.h"
#include "trove/host/interface.h"
#include "trove/host/module.h"
#include "trove/host/module_search.h"
#include "trove/host/object.h"
#include "trove/host/root.h"
#include "trove/host/status.h"
#include "trove/host/store_io.h"
#include "trove/host/string_object.h"
#include "trove/host/trace.h"
#include "trove/result_codes.h"
#include "trove/version.h"

namespace trove::host {

struct HostOptions {
  RootOptions root;
  // Where trace lines go; a StderrTraceSink with its default level when null.
  std::shared_ptr<TraceSink> traceSink;
};

class Host {
 public:
  explicit Host(HostOptions options = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Opens a module file and finds its entry point, without registering.
  // Without a path, the trove module is looked for as findModule() says; a
  // search that finds nothing fails with errSysModuleNotFound and a message
  // naming every place looked at.
  Module openModule(const std::string& path);
  Module openModule();
  // Opens a module file and calls its entry point with reason 100.
  Module loadModule(const std::string& path);
  Module loadModule();
  // Calls the entry point with reason 100, this host's root object and a
  // result cell. The status carries the cell's code; a FALSE return with a
  // successful cell still fails (errUnexpected).
  Status registerModule(const Module& module);

  // The root object (header address) that modules receive.
  void* root() const { return root_; }
  // How the root object answers; may be changed at any time.
  RootOptions& rootOptions() { return options_.root; }
  RootCounters counters() const;
  void resetCounters();

  // The latest registration of `iid`, or null.
  std::shared_ptr<const RegisteredInterface> findInterface(uint32_t iid) const;

  // Creates an object of a registered interface and runs its construction
  // hook. A failed object carries the reason in its status.
  Object createObject(uint32_t iid = TROVE_IID_REGISTRY);
  // Blocks that destroyed objects still held and the host reclaimed.
  size_t reclaimedBlocks() const { return reclaimedBlocks_->load(); }

  void setTraceSink(std::shared_ptr<TraceSink> sink);
  std::shared_ptr<TraceSink> traceSink() const;
  // Installs a fresh capturing sink and returns it (owned by the host).
  CapturingTraceSink& captureTrace();

  HostHeap& heap() const { return HostHeap::instance(); }

 private:
  friend class Object;
  friend struct RootCalls;
  int32_t onRegisterInterface(const RegisteredInterface& record);
  void* onResolve(void** cell, uint32_t first, uint32_t function, uint32_t second);

  HostOptions options_;
  void** root_ = nullptr;  // header of the root object
  mutable std::mutex mutex_;
  std::map<uint32_t, std::shared_ptr<const RegisteredInterface>> interfaces_;
  std::shared_ptr<void> registeringModule_;  // set while an entry point runs
  std::shared_ptr<TraceSink> sink_;
  std::atomic<uint32_t> registerCalls_{0};
  std::atomic<uint32_t> resolveCalls_{0};
  std::atomic<uint32_t> resolveTraceCalls_{0};
  std::atomic<uint32_t> resolveStringAssignCalls_{0};
  std::atomic<uint32_t> resolveUnknownCalls_{0};
  // Shared with the objects, which may outlive the host.
  std::shared_ptr<std::atomic<size_t>> reclaimedBlocks_ = std::make_shared<std::atomic<size_t>>(0);
};

// The trace function that resolveHostFunction gives out: formats the line and
// hands it to the sink of the host that owns `object` (or of the most recent
// host when the object is not one of the hosts').
int32_t hostTrace(void* object, uint32_t level, const char* format, va_list args);

}  // namespace trove::host
