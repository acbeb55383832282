#include "trove/client/store.h"

#include <exception>

#include "close_error_report.h"
#include "kept_attributes.h"
#include "retry_pause.h"
#include "store_recovery.h"
#include "store_state.h"
#include "trove/client/error.h"
#include "trove/client/store_file_error.h"
#include "unicode_text.h"

namespace trove {

namespace client_detail {

int32_t ReplacingMemoryIo::write(uint32_t* countWritten, uint64_t offset, const void* buffer,
                                 uint32_t size) {
  if (offset == 0) setContents({});
  return MemoryStoreIo::write(countWritten, offset, buffer, size);
}

void StoreState::loadObject() {
  host::Host& host = sharedHost();
  object = host.createObject(TROVE_IID_REGISTRY);
  const std::string where = "open " + label();
  check(object.status().code(), where);

  if (!path.empty()) {
    std::u16string name = utf16FromUtf8(filePath);
    check(object.setName(name).code(), where);
  } else {
    check(object.setStoreIo(*memory).code(), where);
  }
  check(object.setField<uint32_t>(TROVE_PROP_READ_ONLY, options.readOnly ? 1 : 0).code(), where);
  check(object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, options.saveOnClose ? 1 : 0).code(),
        where);
  check(object
            .setField<uint32_t>(TROVE_PROP_OPEN_FLAGS,
                                options.createIfMissing ? TROVE_OPEN_CREATE_IF_MISSING : 0)
            .code(),
        where);
  check(object.setField<uint32_t>(TROVE_PROP_USE_LOCKING, options.locking ? 1 : 0).code(), where);
  check(object.setField<uint8_t>(TROVE_PROP_BACKUP_MODE, options.backupMode).code(), where);
  if (!options.rootPoint.empty()) check(object.setRootPoint(options.rootPoint).code(), where);

  host::Status loaded = object.initDone();
  if (!loaded.ok()) {
    object = host::Object();  // a failed load writes nothing on close
    throw Error(loaded.code(), where);
  }
}

// The module holds a store file exclusively while it reads it, so another
// program's load of the same file refuses this one for the milliseconds it
// takes. That is waited out as long as the writer lock would be.
void StoreState::loadFileObject() {
  RetryPause retry(options.lockWait);
  for (;;) {
    try {
      loadObject();
      return;
    } catch (const Error& error) {
      if (error.code() != errSysSharingViolation || !retry.pause()) throw;
    }
  }
}

void StoreState::load() {
  if (path.empty()) {
    loadObject();
  } else {
    loadFile();
  }
  changed.store(false, std::memory_order_relaxed);
  handedOut.store(false);
  journal.clear();
  if (journaling()) rootPath = rootKeyName();
  open = true;
}

std::string StoreState::rootKeyName() {
  uint32_t length = 0;
  check(call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &length, TroveKey{0},
                              static_cast<char*>(nullptr), 0u, 1u),
        "open " + label());
  std::string name(length + 1, '\0');  // the full name's size counts no NUL
  check(call<TroveGetKeyName>(TROVE_SLOT_GET_KEY_NAME, &length, TroveKey{0}, name.data(),
                              static_cast<uint32_t>(name.size()), 1u),
        "open " + label());
  name.resize(length);
  return name;
}

std::string StoreState::journalPath(const std::string& fullName, std::string_view below) const {
  std::string relative = fullName;
  if (!rootPath.empty()) {
    relative.erase(0, rootPath.size());
    if (!relative.empty()) relative.erase(0, 1);  // the separator after the root key's name
  }
  if (below.empty()) return relative;
  return relative.empty() ? std::string(below) : relative + "\\" + std::string(below);
}

void StoreState::loadFile() {
  filePath = followLinks(path);
  requireRegularFile(filePath, "open " + label());
  if (options.readOnly) {
    try {
      loadFileObject();
    } catch (const Error& error) {
      // The name is empty in the middle of another writer's save, or after
      // a crashed one: under the lock the save is over, or the store is
      // restored.
      if (error.code() != errFileNotFound || !options.recover || !hasCopies(filePath)) throw;
      StoreLock held(filePath, options.lockWait, label());
      restoreUnderLock();
      loadFileObject();
    }
    return;
  }
  // A writer loads under the lock, so what it loads is another writer's
  // whole save, and the file's identity tells that save from later ones.
  if (!lock.held()) lock = StoreLock(filePath, options.lockWait, label());
  try {
    restoreUnderLock();
    loadFileObject();
  } catch (...) {
    lock.release();
    throw;
  }
  // A load that made the store's directory could not lock before it.
  if (options.lockWhileOpen && !lock.held()) lock = StoreLock(filePath, options.lockWait, label());
  loadedFile = identify(filePath);
  if (!options.lockWhileOpen) lock.release();
}

void StoreState::restoreUnderLock() {
  if (!options.recover) return;
  const std::string from = restoreIfMissing(filePath, label());
  if (!from.empty()) {
    notify("restored " + filePath + " from " + from +
           " (the store file was missing after an interrupted save)");
  }
}

void StoreState::notify(const std::string& message) const {
  if (options.onRecovery) {
    options.onRecovery(message);
  } else if (std::shared_ptr<host::TraceSink> sink = sharedHost().traceSink()) {
    sink->write(host::TraceLine{host::kTraceLevelWarnings, message, nullptr});
  }
}

int32_t StoreState::saveFile() {
  if (!lock.held()) lock = StoreLock(filePath, options.lockWait, label());
  const std::string action = "save " + label();
  if (identify(filePath) != loadedFile) {
    if (!journaling() || handedOut) {
      throw StoreFileError(errWrongState, action,
                           "another writer replaced " + filePath +
                               " after this store loaded it; nothing was written");
    }
    // Load the other writer's save (restored, if an interrupted one left the
    // name empty) and make this store's changes again on it.
    object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 0);
    restoreUnderLock();
    requireRegularFile(filePath, action);
    loadFileObject();
    journal.replay(object, label());
  }
  KeptAttributes kept(filePath);
  return object.flush();
}

void StoreState::unload(bool forceSave, bool reopening) {
  if (!open) return;
  open = false;
  ++generation;
  // The close hook always answers 0, so the store is flushed here, where the
  // result can be reported, and the close then has nothing left to write.
  int32_t saved = errOk;
  std::exception_ptr failure;
  if (forceSave || options.saveOnClose) {
    try {
      const bool mayWrite = !path.empty() && !options.readOnly && changed.load();
      saved = mayWrite ? saveFile() : object.flush();
    } catch (...) {
      failure = std::current_exception();
    }
  }
  object.setField<uint32_t>(TROVE_PROP_SAVE_ON_CLOSE, 0);
  object = host::Object();
  if (!reopening || failure || saved < 0) lock.release();
  if (failure) std::rethrow_exception(failure);
  check(saved, "save " + label());
}

}  // namespace client_detail

using client_detail::StoreState;

Store Store::openFile(const std::string& path, const StoreOptions& options) {
  // An empty name would make the module read the (absent) I/O object.
  if (path.empty()) throw Error(errInvalidArgument, "open: the store file name is empty");
  auto state = std::make_shared<StoreState>();
  state->path = path;
  state->options = options;
  state->load();
  return Store(std::move(state));
}

Store Store::openMemory(std::string_view contents, const StoreOptions& options) {
  auto state = std::make_shared<StoreState>();
  state->options = options;
  state->memory = std::make_unique<client_detail::ReplacingMemoryIo>(contents);
  state->load();
  return Store(std::move(state));
}

Store::Store(Store&&) noexcept = default;
Store& Store::operator=(Store&& other) noexcept {
  if (this != &other) {
    try {
      close();
    } catch (...) {
      // As in the destructor: the old file is intact, the changes are lost.
      client_detail::reportCloseError(std::current_exception());
    }
    state_ = std::move(other.state_);
  }
  return *this;
}

Store::~Store() {
  try {
    close();
  } catch (...) {
    // A destructor cannot throw: the handler hears of it. The previous store
    // file is intact, the changes are lost.
    client_detail::reportCloseError(std::current_exception());
  }
}

Key Store::root() const {
  if (!state_ || !state_->open) throw Error(errWrongState, "the store is closed");
  TroveKey handle = TROVE_INVALID_KEY;
  check(state_->call<TroveOpenKey>(TROVE_SLOT_OPEN_KEY, &handle, TroveKey{0},
                                   static_cast<const char*>(nullptr), 0u),
        "open the root key of " + state_->label());
  return Key(state_, handle, state_->generation);
}

void Store::save() {
  if (!state_ || !state_->open) throw Error(errWrongState, "the store is closed");
  state_->unload(true, true);
  state_->load();
}

void Store::close() {
  if (state_) state_->unload(false);
}

bool Store::isOpen() const {
  return state_ && state_->open;
}

const std::string& Store::path() const {
  static const std::string none;  // a moved-from store
  return state_ ? state_->path : none;
}

std::string Store::contents() const {
  return state_ && state_->memory ? state_->memory->contents() : std::string();
}

host::Object& Store::object() const {
  if (!state_) throw Error(errWrongState, "the store was moved away");
  state_->markChanged();  // calls through it are not seen here
  state_->handedOut.store(true);
  return state_->object;
}

void setTraceSink(std::shared_ptr<host::TraceSink> sink) {
  client_detail::sharedHost().setTraceSink(std::move(sink));
}

}  // namespace trove
