#include "trove/host/object.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host_directory.h"
#include "trove/host.h"

namespace trove::host {
namespace {

// Mode bits of a property descriptor: 1 the host reads the field, 2 it
// writes it, 4 a constant (8: whose bytes word 2 points to); 0 alone means
// getter and setter. Further bits (32) are carried but change nothing here.
constexpr uint64_t kModeRead = 1;
constexpr uint64_t kModeWrite = 2;
constexpr uint64_t kModeConstant = 4;
constexpr uint64_t kModeConstantBytes = 8;

std::string hexId(uint32_t id) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", id);
  return text;
}

// The copy-out rule: a null buffer with size 0 asks for the size; a null
// buffer with a size is an error; a short buffer gets nothing.
Status copyOut(const void* source, uint32_t needed, void* buffer, uint32_t size,
               uint32_t* outSize) {
  *outSize = needed;
  if (!buffer) return size ? errInvalidArgument : errOk;
  if (size < needed) return errBufferTooSmall;
  std::memcpy(buffer, source, needed);
  return errOk;
}

}  // namespace

Object::Object(std::shared_ptr<std::atomic<size_t>> reclaimed,
               std::shared_ptr<const RegisteredInterface> interface, TroveHostObject* header)
    : reclaimed_(std::move(reclaimed)), interface_(std::move(interface)), header_(header) {}

Object::Object(Object&& other) noexcept {
  *this = std::move(other);
}

Object& Object::operator=(Object&& other) noexcept {
  if (this != &other) {
    destroy();
    reclaimed_ = std::move(other.reclaimed_);
    interface_ = std::move(other.interface_);
    header_ = std::exchange(other.header_, nullptr);
    constructedServices_ = std::exchange(other.constructedServices_, nullptr);
    closed_ = std::exchange(other.closed_, false);
    closeStatus_ = std::move(other.closeStatus_);
    status_ = std::move(other.status_);
  }
  return *this;
}

Object::~Object() {
  destroy();
}

size_t Object::liveBlocks() const {
  return header_ ? HostHeap::instance().liveBlocks(holder()) : 0;
}

void* Object::hook(uint32_t slot) const {
  return interface_ ? interface_->internalEntry(slot) : nullptr;
}

const TrovePropertyDescriptor* Object::descriptor(uint32_t id, Status* failure) const {
  if (!header_) {
    *failure = Status(errWrongState, "the object does not exist");
    return nullptr;
  }
  const TrovePropertyDescriptor* found = interface_->findProperty(id);
  if (!found)
    *failure = Status(errPropertyNotFound, "property " + hexId(id) + " is not registered");
  return found;
}

Status Object::setProperty(uint32_t id, const void* value, uint32_t size) {
  Status failure;
  const TrovePropertyDescriptor* property = descriptor(id, &failure);
  if (!property) return failure;
  if (property->mode == TROVE_MODE_ACCESSORS) {
    if (!property->set) return Status(errAccessDenied, "property " + hexId(id) + " has no setter");
    uint32_t outSize = 0;
    return property->set(header_, &outSize, id, const_cast<void*>(value), size);
  }
  if ((property->mode & kModeConstant) || !(property->mode & kModeWrite)) {
    return Status(errAccessDenied, "property " + hexId(id) + " is read-only");
  }
  if (!value) return Status(errInvalidArgument, "no value for property " + hexId(id));
  if (size != property->size) {
    return Status(errInvalidSize, "property " + hexId(id) + " takes " +
                                      std::to_string(property->size) + " bytes, not " +
                                      std::to_string(size));
  }
  if (property->value + property->size > dataSize()) {
    return Status(errInvalidArgument, "property " + hexId(id) + " lies outside the data area");
  }
  std::memcpy(data() + property->value, value, size);
  return errOk;
}

Status Object::getProperty(uint32_t id, void* buffer, uint32_t size, uint32_t* outSize) const {
  uint32_t ignored = 0;
  if (!outSize) outSize = &ignored;
  *outSize = 0;
  Status failure;
  const TrovePropertyDescriptor* property = descriptor(id, &failure);
  if (!property) return failure;
  if (property->mode == TROVE_MODE_ACCESSORS) {
    if (!property->get) return Status(errAccessDenied, "property " + hexId(id) + " has no getter");
    return property->get(header_, outSize, id, buffer, size);
  }
  uint32_t needed = static_cast<uint32_t>(property->size);
  if (property->mode & kModeConstant) {
    if (property->mode & kModeConstantBytes) {
      return copyOut(reinterpret_cast<const void*>(property->value), needed, buffer, size, outSize);
    }
    if (needed > sizeof property->value) {
      return Status(errInvalidArgument, "constant property " + hexId(id) + " is too large");
    }
    return copyOut(&property->value, needed, buffer, size, outSize);
  }
  if (!(property->mode & kModeRead)) {
    return Status(errAccessDenied, "property " + hexId(id) + " cannot be read");
  }
  if (property->value + property->size > dataSize()) {
    return Status(errInvalidArgument, "property " + hexId(id) + " lies outside the data area");
  }
  return copyOut(data() + property->value, needed, buffer, size, outSize);
}

Status Object::setName(std::u16string_view name) {
  std::u16string text(name);
  text.push_back(u'\0');
  return setProperty(TROVE_PROP_NAME, text.data(), static_cast<uint32_t>(text.size() * 2));
}

std::u16string Object::name() const {
  uint32_t needed = 0;
  getProperty(TROVE_PROP_NAME, nullptr, 0, &needed);
  if (needed < 2) return {};
  std::vector<char16_t> buffer(needed / 2 + 1, u'\0');
  if (!getProperty(TROVE_PROP_NAME, buffer.data(), needed, &needed).ok()) return {};
  return std::u16string(buffer.data());
}

Status Object::setRootPoint(std::string_view path) {
  const char* text = path.data() ? path.data() : "";
  return setProperty(TROVE_PROP_ROOT_POINT, text, static_cast<uint32_t>(path.size()));
}

std::string Object::rootPoint() const {
  uint32_t needed = 0;
  getProperty(TROVE_PROP_ROOT_POINT, nullptr, 0, &needed);
  if (needed == 0) return {};
  std::vector<char> buffer(needed + 1, '\0');
  if (!getProperty(TROVE_PROP_ROOT_POINT, buffer.data(), needed, &needed).ok()) return {};
  return std::string(buffer.data());
}

Status Object::setRootKey(TroveKey key) {
  return setProperty(TROVE_PROP_ROOT_KEY, &key, sizeof key);
}

TroveKey Object::rootKey() const {
  TroveKey key = TROVE_INVALID_KEY;
  uint32_t used = 0;
  if (!getProperty(TROVE_PROP_ROOT_KEY, &key, sizeof key, &used).ok() || used != sizeof key) {
    return TROVE_INVALID_KEY;
  }
  return key;
}

Status Object::setStoreIo(void* io) {
  return setField<void*>(TROVE_PROP_STORE_IO, io);
}

Status Object::setStoreIo(StoreIo& io) {
  return setStoreIo(io.get());
}

Status Object::initDone() {
  if (!header_) return Status(errWrongState, "the object does not exist");
  auto done = reinterpret_cast<TroveOnInitDone>(hook(TROVE_INTERNAL_ON_INIT_DONE));
  return done ? Status(done(header_)) : Status(errOk);
}

Status Object::close() {
  if (!header_) return Status(errWrongState, "the object does not exist");
  if (closed_) return closeStatus_;
  closed_ = true;
  auto onClose = reinterpret_cast<TroveOnClose>(hook(TROVE_INTERNAL_ON_CLOSE));
  closeStatus_ = onClose ? Status(onClose(header_)) : Status(errOk);
  return closeStatus_;
}

Status Object::destroy() {
  if (!header_) return errOk;
  close();
  auto destroyHook = reinterpret_cast<TroveOnDataInit>(hook(TROVE_INTERNAL_ON_DATA_INIT));
  Status result = destroyHook ? Status(destroyHook(header_, 0)) : Status(errOk);
  release();
  return result;
}

// Gives the memory back: blocks the object's holder still has (the host
// reclaims them with the object), then the object itself.
void Object::release() {
  size_t reclaimed = HostHeap::instance().reclaim(holder());
  if (reclaimed_) *reclaimed_ += reclaimed;
  directory::removeObject(header_);
  std::free(header_);
  header_ = nullptr;
  interface_.reset();
}

}  // namespace trove::host
