// An object of a registered interface, created and owned by the host: a
// three-word header and a zero-filled data area. The host runs its life
// cycle: construction (onDataInit 1), properties, initDone, method calls,
// close (once) and destruction (onDataInit 0); the destructor finishes
// whatever of close and destroy has not run yet, in that order.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "trove/abi.h"
#include "trove/host/interface.h"
#include "trove/host/status.h"
#include "trove/result_codes.h"

namespace trove::host {

class Host;
class StoreIo;

class Object {
 public:
  Object() = default;
  explicit Object(Status failure) : status_(std::move(failure)) {}
  Object(Object&& other) noexcept;
  Object& operator=(Object&& other) noexcept;
  ~Object();

  // Whether creation worked; a failed object carries the reason.
  const Status& status() const { return status_; }
  bool ok() const { return header_ != nullptr; }
  explicit operator bool() const { return ok(); }

  // The header address that every call takes.
  void* get() const { return header_; }
  void** holder() const { return header_ ? reinterpret_cast<void**>(&header_->services) : nullptr; }
  unsigned char* data() const { return header_ ? header_->data : nullptr; }
  uint32_t dataSize() const { return interface_ ? interface_->dataSize : 0; }
  const RegisteredInterface& interface() const { return *interface_; }
  // Word 1 as the construction hook left it, before the host put its working
  // services table there.
  void* constructedServices() const { return constructedServices_; }
  // Blocks the object's holder currently has from the host heap.
  size_t liveBlocks() const;

  // Properties, by the mode of their registered descriptor: constants (4, 12)
  // and read-only fields (1) can only be read; fields (3, 35) are read and
  // written at their data-area offsets with exactly their size; accessor
  // properties (0) call the module's getter or setter. A getter reports the
  // bytes used or needed through outSize.
  Status setProperty(uint32_t id, const void* value, uint32_t size);
  Status getProperty(uint32_t id, void* buffer, uint32_t size, uint32_t* outSize = nullptr) const;

  template <typename T>
  Status setField(uint32_t id, const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    return setProperty(id, &value, sizeof(T));
  }
  template <typename T>
  Status getField(uint32_t id, T* value) const {
    static_assert(std::is_trivially_copyable_v<T>);
    return getProperty(id, value, sizeof(T));
  }
  // The value, or T{} when it cannot be read.
  template <typename T>
  T field(uint32_t id) const {
    T value{};
    return getField(id, &value).ok() ? value : T{};
  }

  // The store name (UTF-16, handed over with its terminator).
  Status setName(std::u16string_view name);
  std::u16string name() const;
  // The root point: a key path, narrow text.
  Status setRootPoint(std::string_view path);
  std::string rootPoint() const;
  Status setRootKey(TroveKey key);
  TroveKey rootKey() const;  // TROVE_INVALID_KEY when it cannot be read
  // The store I/O object used when the name is empty (null clears it).
  Status setStoreIo(void* io);
  Status setStoreIo(StoreIo& io);

  // Life cycle.
  Status initDone();
  Status close();    // runs onClose once; later calls return its first result
  Status destroy();  // closes if needed, runs onDataInit(0), frees the memory
  bool closed() const { return closed_; }

  // Calls slot `slot` of the registered method table with this object first.
  // A missing entry gives errMethodNotFound.
  template <typename Fn, typename... Args>
  std::invoke_result_t<Fn, void*, Args...> call(uint32_t slot, Args&&... args) const {
    return invoke<Fn>(interface_ ? interface_->methodEntry(slot) : nullptr,
                      std::forward<Args>(args)...);
  }
  // Calls slot `slot` of the object's own method table (word 0), which the
  // host cannot reach through the registered one: flush lives there.
  template <typename Fn, typename... Args>
  std::invoke_result_t<Fn, void*, Args...> callOwn(uint32_t slot, Args&&... args) const {
    void* entry = header_ && header_->methods ? header_->methods[slot] : nullptr;
    return invoke<Fn>(entry, std::forward<Args>(args)...);
  }
  int32_t flush() const { return callOwn<TroveFlush>(TROVE_SLOT_FLUSH); }

 private:
  friend class Host;
  Object(std::shared_ptr<std::atomic<size_t>> reclaimed,
         std::shared_ptr<const RegisteredInterface> interface, TroveHostObject* header);

  template <typename Fn, typename... Args>
  std::invoke_result_t<Fn, void*, Args...> invoke(void* entry, Args&&... args) const {
    using Result = std::invoke_result_t<Fn, void*, Args...>;
    if (!entry) return static_cast<Result>(errMethodNotFound);
    return reinterpret_cast<Fn>(entry)(header_, std::forward<Args>(args)...);
  }
  const TrovePropertyDescriptor* descriptor(uint32_t id, Status* failure) const;
  void* hook(uint32_t slot) const;
  void release();

  std::shared_ptr<std::atomic<size_t>> reclaimed_;  // the host's count of reclaimed blocks
  std::shared_ptr<const RegisteredInterface> interface_;
  TroveHostObject* header_ = nullptr;
  void* constructedServices_ = nullptr;
  bool closed_ = false;
  Status closeStatus_;
  Status status_;
};

}  // namespace trove::host
