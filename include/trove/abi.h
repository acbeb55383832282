// The binary interface between a plug-in host and the trove registry module
// on 64-bit Linux (x86-64, System V, LP64). Every table entry is a plain C
// function pointer whose first argument is the object it is called on.
//
// Conventions that hold for every call below unless its comment says
// otherwise:
//
// Results. Every call returns a TroveResult (result_codes.h): negative is
//   failure, zero or positive success. Test the sign: errKeyCreated and
//   errUnchanged are successes too. No exception escapes into the host.
// Out-parameters (pointers written by the callee) may be null; they are then
//   not written.
// Copy-out. A call that hands out bytes takes (buffer, size, uint32_t*
//   required). It first stores the number of bytes the result needs in
//   *required, then: a null buffer with size 0 is a size query and succeeds
//   (errOk); a null buffer with a non-zero size is errInvalidArgument; a size
//   below the need is errBufferTooSmall and writes nothing; otherwise the
//   bytes are copied and the result is errOk. Each call says whether the
//   need counts a terminating NUL.
// Text. Key and value names and paths are NUL-terminated UTF-8 and compare
//   case-insensitively under Unicode full case folding; a lookup by name
//   takes the first match. The store name is UTF-16 (char16_t).
// Memory. The module keeps no pointer the caller passes in, except the root
//   object and the store I/O object (see there); it copies what it keeps.
//   What it keeps for an object (the tree, its names and values, a pending
//   root point) comes from that object's services and goes back through them
//   by the object's destruction. It never frees memory it did not allocate.
// Threads. The module starts no thread and may be called from any thread.
//   Calls on one object are kept apart only by its lock (see
//   TROVE_PROP_USE_LOCKING); without it the host must not overlap them.
//   Property accessors, field writes and the life-cycle hooks take no lock:
//   the host makes them while no other call runs on the object.
// Tracing. Every Registry method writes one line at TROVE_TRACE_CALL through
//   the host's trace function, unless its comment says otherwise.
#ifndef TROVE_ABI_H
#define TROVE_ABI_H

#include <stdarg.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t TroveResult;   // see result_codes.h
typedef uint64_t TroveKey;     // 0: the current root key
typedef uint32_t TroveTypeId;  // 1..63, see the TROVE_T* constants

// Key handles. A TroveKey is the identity of a key in the object's tree:
// opening a key costs nothing, and closing one releases nothing. Every call
// checks a handle against the keys of the tree, so a handle designates its
// key only while the key exists and lies at or below the current root key;
// the handle of a deleted key, of a key outside the root key and a made-up
// value designate nothing and are never followed. A
// key made later may reuse a deleted key's identity. Handle 0 is the current
// root key. TROVE_INVALID_KEY is what a failed open stores and designates
// nothing.
//
// The root key is the document root (the unnamed top of the tree) or any key
// below it. Handles, indexes, counts, Clean and full key names all work
// within it. Loading sets it to the document root and then applies a root
// point set before the load; SetRootKey, SetRootStr and the root properties
// move it. It is not stored, and moving it changes nothing to save.
#define TROVE_INVALID_KEY UINT64_C(0xFFFFFFFFFFFFFFFF)

// A host object: three pointer-sized words, then the data area (8-aligned).
// The pointer passed to every call is the address of `methods`.
//   methods   the object's method table;
//   services  its object services (TROVE_SERVICE_*), reached through the
//             holder &object->services;
//   hostWord  the host's own; the module never touches it.
// The host allocates header and data area zero-filled: the module relies on
// the zeros for every property field and never writes them at construction.
typedef struct TroveHostObject {
  void** methods;
  void** services;
  void* hostWord;
  unsigned char data[];
} TroveHostObject;

// Bytes before the data area; field offsets of properties count from there.
#define TROVE_HOST_HEADER_SIZE 24

// ---- The module file ------------------------------------------------------

// libtrove_registry.so exports this one symbol with C linkage.
#define TROVE_MODULE_ENTRY_NAME "ModuleEntry"
#define TROVE_REASON_REGISTER 100u

// ModuleEntry(first, reason, third).
//   Any reason but TROVE_REASON_REGISTER: does nothing, returns 1.
//   TROVE_REASON_REGISTER: `first` is the host's root object, `third` an
//   int32_t* result cell (may be null). The module keeps the root object for
//   as long as it stays loaded: the host must keep it valid that long. It
//   writes errOk to the cell, calls the root's registerInterface once with
//   its tables, and writes that call's result to the cell (errInvalidArgument
//   for a root without registerInterface). Returns 1 when the result is not
//   negative. Otherwise returns 0 after tracing, on the root object, a
//   refused registerInterface's result at TROVE_TRACE_REGISTRATION and then
//   a refusal line at TROVE_TRACE_ERROR. A later call registers again with
//   the same tables.
typedef int32_t (*TroveModuleEntry)(void* first, uint32_t reason, void* third);

// ---- Root object ----------------------------------------------------------

// Method slots of the root object the module calls. Its services (word 1)
// serve the memory that belongs to no Registry object.
#define TROVE_ROOT_SLOT_REGISTER_INTERFACE 0
#define TROVE_ROOT_SLOT_RESOLVE_FUNCTION 14

typedef struct TrovePropertyDescriptor TrovePropertyDescriptor;

// Called once per registration with iid TROVE_IID_REGISTRY, pluginId
// TROVE_PLUGIN_ID, subtype 0, version TROVE_INTERFACE_VERSION, vendorId
// TROVE_VENDOR_ID, the three tables with their counts (TROVE_INTERNAL_COUNT,
// TROVE_METHOD_COUNT, TROVE_PROPERTY_COUNT), dataSize TROVE_DATA_SIZE and
// flags 0. The tables are module-wide and stay valid while the module is
// loaded; the host may keep the pointers but must not write through them.
// A negative result refuses the registration.
typedef int32_t (*TroveRegisterInterface)(void* root, uint32_t iid, uint32_t pluginId,
                                          uint32_t subtype, uint32_t version, uint32_t vendorId,
                                          void** internalTable, uint32_t internalCount,
                                          void** methodTable, uint32_t methodCount,
                                          const TrovePropertyDescriptor* propertyTable,
                                          uint32_t propertyCount, uint32_t dataSize,
                                          uint32_t flags);

// Stores the address of the host function selected by (first,
// functionNumber, second) in *cell, or leaves *cell null when the host has
// none. The result is ignored; only *cell counts. The module asks at a
// function's first use and keeps the address for the rest of its life; while
// *cell stays null it asks again at every use. May be called from several
// threads at once.
typedef int32_t (*TroveResolveHostFunction)(void* root, void** cell, uint32_t first,
                                            uint32_t functionNumber, uint32_t second);

// ---- Object services (word 1 of every object; the holder is &object->services)
//
// The module calls these through the root object (the buffer a store file is
// read into) and through each Registry object (everything the object keeps:
// its tree, names, values, the pending root point, temporary blocks of one
// call). A block always goes back through the holder it came from. They are
// called from whichever thread runs a module call, without a lock of the
// module's: the host makes them thread-safe. Zero-filled blocks and the
// outcome of size 0 are the host's choice; the module needs neither.

#define TROVE_SERVICE_ALLOC 52
#define TROVE_SERVICE_REALLOC 53
#define TROVE_SERVICE_FREE 54
#define TROVE_SERVICES_COUNT 82  // a services table has at least this many

// Stores a new block of `size` bytes in *block and returns a non-negative
// result, or returns a negative one. A null *block counts as failure.
typedef int32_t (*TroveHostAlloc)(void** holder, void** block, uint32_t size);
// As C realloc: on success *block holds a block of `size` bytes that starts
// with the content of `old` (up to the smaller size), and `old` is the
// host's again. On failure *block is null and `old` stays the module's.
typedef int32_t (*TroveHostRealloc)(void** holder, void** block, void* old, uint32_t size);
// Takes back a block of this holder; the result is ignored.
typedef int32_t (*TroveHostFree)(void** holder, void* block);

// ---- Host functions found by number ----------------------------------------
//
// Looked up through TroveResolveHostFunction with the numbers below. A host
// that offers neither still runs the module: without hostTrace nothing is
// traced, without hostStringAssign reading a value as TROVE_TSTRING_OBJ gives
// errNotSupported.

#define TROVE_HOST_TRACE_FIRST 1u
#define TROVE_HOST_TRACE_FUNCTION 0x5EC5256Cu
#define TROVE_HOST_TRACE_SECOND 2u
// One trace line about `object` (a Registry object, or the root object for
// registration lines) at `level` (TROVE_TRACE_*). `format` is printf with
// LP64 sizes: %d %i %u %x take 32-bit arguments, %ld %li %lu %lx %lX 64-bit
// ones, %s a const char*, %S a NUL-terminated const char16_t*, %terr an
// int32_t result code, %% a percent sign; flags, width and precision as in
// printf. The host reads `args` with va_arg or a va_copy of it; the module
// calls va_end.
// The result is ignored. Called on any thread, possibly while the object's
// lock is held: the host must not call back into that object from here.
typedef int32_t (*TroveHostTrace)(void* object, uint32_t level, const char* format, va_list args);

#define TROVE_HOST_STRING_ASSIGN_FIRST 38u
#define TROVE_HOST_STRING_ASSIGN_FUNCTION 0x0A02700Bu
#define TROVE_HOST_STRING_ASSIGN_SECOND 0u
// Makes `stringObject` (a TroveStringObject of the caller's) hold a text.
// The module passes a = 0, b = 0xFFFF, `data` UTF-16 text ending in a NUL
// unit, `sizeBytes` counting that NUL, and codePage 1200 (UTF-16LE). `data`
// is freed when the call returns: the host copies it. The result is the
// result of the GetValue call that asked for it.
typedef int32_t (*TroveHostStringAssign)(void* stringObject, uint32_t a, uint32_t b,
                                         const void* data, uint32_t sizeBytes, uint32_t codePage);

// A string object begins with its UTF-16 characters and their count.
// Values are exchanged with one by passing its address as the buffer and
// TROVE_TSTRING_OBJ as the type: writing reads `length` units from `chars`
// (a null `chars` is the empty text); reading goes through hostStringAssign.
typedef struct TroveStringObject {
  const char16_t* chars;
  uint32_t length;
} TroveStringObject;

// ---- Registered tables ------------------------------------------------------

#define TROVE_IID_REGISTRY 13u
#define TROVE_PLUGIN_ID 43003u
#define TROVE_INTERFACE_VERSION 1u
#define TROVE_VENDOR_ID 85u
#define TROVE_DATA_SIZE 200u  // bytes of data area per object

// Life cycle of a Registry object, in this order:
//   1. The host allocates header and data area zero-filled.
//   2. onDataInit(object, 1).
//   3. The host points word 1 (services) at its working services table.
//   4. The host sets properties (store name, flags, store I/O, locking,
//      backup mode, root point).
//   5. onInitDone(object): the store is loaded.
//   6. Registry method calls, from any threads.
//   7. onClose(object).
//   8. onDataInit(object, 0), then the host frees the memory.
// Methods called before onInitDone find no tree: handles designate nothing,
// SetRootKey and SetRootStr give errWrongState, Clean does nothing.

// internalTable: TROVE_INTERNAL_COUNT entries, null except the three below.
#define TROVE_INTERNAL_COUNT 12
#define TROVE_INTERNAL_ON_DATA_INIT 1
#define TROVE_INTERNAL_ON_INIT_DONE 3
#define TROVE_INTERNAL_ON_CLOSE 5
// create != 0: constructs the object in its data area: an empty tree, an
// empty name, no lock. Writes word 0 (the object's own method table,
// TROVE_METHOD_COUNT slots with flush in TROVE_SLOT_FLUSH) and word 1 (a
// placeholder services table whose entries do no work). The host must point
// word 1 at working services before the next call on the object.
// create == 0: destroys it, giving back through the object's services every
// block the object still holds, and its lock and name. The host calls it once
// after onClose. Always returns 0 (also for a null object).
typedef int32_t (*TroveOnDataInit)(void* object, uint32_t create);
// Loads the store and returns the load's result. With a store name
// (TROVE_PROP_NAME) the file of that name, converted to UTF-8 and relative
// to the current directory unless it begins with "/", is read whole while
// held open with an exclusive flock; a name with a '%' draws a warning and is
// used as it stands. Without a name the store I/O object (TROVE_PROP_STORE_IO)
// is read; without either the store starts empty. A leading UTF-8 byte order
// mark is skipped. Then the pending root point is applied (named store only),
// and the lock is made if TROVE_PROP_USE_LOCKING is set.
// Results: errOk (also for an empty file, and with neither name nor I/O);
// errFileNotFound (the file or its directory is missing; with
// TROVE_OPEN_CREATE_IF_MISSING the directories and an empty file are made
// instead and the result is theirs); errXmlFormat (malformed text: what was
// read before the fault stays in the tree); errInvalidSize (4 GiB or more);
// errOutOfMemory; errSysSharingViolation (the file is locked elsewhere),
// errAccessDenied and other platform codes; errEntryNotFound (the pending
// root point names no key; it stays pending); a failure of the I/O object.
// A negative result clears TROVE_PROP_SAVE_ON_CLOSE, so a store that did not
// load is never written over. The object stays usable whatever the result.
// A null object gives errInvalidArgument.
typedef int32_t (*TroveOnInitDone)(void* object);
// If TROVE_PROP_SAVE_ON_CLOSE is set, calls flush (TROVE_SLOT_FLUSH).
// Always returns 0: the save's failures show only in trace lines.
typedef int32_t (*TroveOnClose)(void* object);

// Getter and setter of an accessor property. `outSize` receives the bytes
// used or needed (each property says which), `propertyId` is not looked at,
// `buffer` and `size` carry the value. Accessors take no lock and trace
// their call at TROVE_TRACE_CALL.
typedef int32_t (*TroveAccessor)(void* object, uint32_t* outSize, uint32_t propertyId, void* buffer,
                                 uint32_t size);

// One property. A property id carries its TroveTypeId in bits 20-27 and a
// property number in bits 0-19; bits 28-31 (2 or 3) are the host's.
struct TrovePropertyDescriptor {
  uint64_t id;
  uint64_t value;     // constant, pointer to constant bytes, or data-area offset
  uint64_t size;      // bytes of the constant or field; 0 for accessors
  uint64_t mode;      // TROVE_MODE_*
  TroveAccessor get;  // TROVE_MODE_ACCESSORS only, else null
  TroveAccessor set;  // TROVE_MODE_ACCESSORS only, else null
};

// Property modes, as bits: 1 the host reads the field, 2 it writes it, 4 a
// constant held in `value`, 8 (with 4) a constant whose bytes `value` points
// to, 32 the host's own; 0: served by get and set. Fields are plain memory
// in the data area at offset `value`: the host reads and writes them
// directly.
#define TROVE_MODE_ACCESSORS 0u
#define TROVE_MODE_FIELD_READ 1u
#define TROVE_MODE_FIELD_READ_WRITE 3u
#define TROVE_MODE_CONSTANT 4u
#define TROVE_MODE_CONSTANT_BYTES 12u
#define TROVE_MODE_FIELD_HOST 35u

// Property ids of the Registry interface, in table order.
// Constant 1 (4 bytes, mode 4).
#define TROVE_PROP_VERSION 0x21A00082u
// Constant "properties map" with its NUL (15 bytes, mode 12).
#define TROVE_PROP_DESCRIPTION 0x20900083u
// Field at 24, uint32_t, mode 3. Non-zero: SetValue, SetValueByIndex,
// DeleteKey, DeleteKeyByInd, DeleteValue, DeleteValueByInd and Clean fail
// with errReadOnly before they look at their arguments, and OpenKey does when
// it would create a key.
#define TROVE_PROP_READ_ONLY 0x20601000u
// Field at 28, uint32_t, mode 35: kept for the host, never read.
#define TROVE_PROP_RESERVED_1002 0x20401002u
// Field at 32, uint32_t, mode 1: kept for the host, never written (stays 0).
#define TROVE_PROP_RESERVED_1003 0x20401003u
// Field at 36, uint32_t, mode 3. Non-zero: onClose saves the store. A failed
// load clears it.
#define TROVE_PROP_SAVE_ON_CLOSE 0x20601004u
// Field at 96, uint32_t, mode 35, read by onInitDone: only
// TROVE_OPEN_CREATE_IF_MISSING counts.
#define TROVE_PROP_OPEN_FLAGS 0x2040004Au
// Accessors. The path of the root key from the document root, key names
// joined by '\' ("" for the document root).
//   get: the path by the copy-out rule, the need counting the NUL; before
//     onInitDone errWrongState.
//   set: `buffer` holds `size` bytes of UTF-8 path (no NUL needed); a null
//     buffer is errInvalidArgument. After onInitDone the root key moves to
//     that key below the document root ("" the document root) or the call
//     fails with errEntryNotFound and nothing moves. Before it the text is
//     kept and applied by onInitDone to a named store (a store read from an
//     I/O object ignores it). *outSize is 0.
#define TROVE_PROP_ROOT_POINT 0x20901005u
// Accessors. The root key's handle, 8 bytes (a TroveKey).
//   get: after onInitDone the handle by the copy-out rule (need 8); before it
//     the pending root point text by the copy-out rule, the need counting the
//     NUL (0 when none is pending).
//   set: `buffer` holds a TroveKey and `size` is at least 8, else
//     errInvalidArgument. 0 selects the document root; any key of the tree,
//     also outside the current root key, becomes the root key; another value
//     is errEntryNotFound; before onInitDone errWrongState. *outSize is 0.
#define TROVE_PROP_ROOT_KEY 0x20C01006u
// Accessors. The store name: the file path as UTF-16, "" for none.
//   get: *outSize = 2 * units + 2 (with the NUL unit). Unlike copy-out, a
//     size below that is errBufferTooSmall even for a null buffer; otherwise
//     the name and its NUL are copied into a non-null buffer and the result is
//     errOk.
//   set: `buffer` holds the name and a NUL unit, `size` their bytes. A null
//     buffer or an odd size is errInvalidArgument, untraced; size 0 is
//     errOutOfMemory; on failure the old name stays. Read by the next
//     onInitDone and flush; setting it loads nothing.
#define TROVE_PROP_NAME 0x20900040u
// Field at 104, a pointer to a store I/O object (TROVE_IO_SLOT_*), mode 35.
// Used when the store name is empty: read by onInitDone, written by flush.
// The module keeps the pointer: the object must stay valid until onClose has
// returned or the field is cleared.
#define TROVE_PROP_STORE_IO 0x33201000u
// Field at 112, uint32_t, mode 3. Non-zero when onInitDone runs: the object
// gets a reader/writer lock, and each method holds it shared or exclusive (as
// its slot says) for the call. A reader enters whenever no writer holds it,
// also while writers wait; a writer waits until no one holds it, and is let
// in before waiting readers. A failed wait is the method's result.
// The lock is not re-entrant for a writer and never held between calls.
// Change the field after onInitDone only while no call runs.
#define TROVE_PROP_USE_LOCKING 0x30601001u
// Field at 116, uint8_t, mode 3: what a save keeps of the previous store N.
// 0: nothing; 1: the previous store as "N.bak2"; 2: also a copy as "N.bak"
// unless that exists, after which the save sets the field to 1. A store
// whose name ends in "profiles.xml" always keeps "N.bak2".
#define TROVE_PROP_BACKUP_MODE 0x30201002u
// Constant 1200 (4 bytes, mode 4): TROVE_PROP_NAME is UTF-16LE.
#define TROVE_PROP_NAME_CODE_PAGE 0x21B00040u
#define TROVE_PROPERTY_COUNT 14

// TROVE_PROP_OPEN_FLAGS bit: create a missing store file, and the missing
// directories on its path, at load.
#define TROVE_OPEN_CREATE_IF_MISSING 0x2u

// Method slots of the Registry interface (methodTable has 23 entries, the
// last null; an object's own table has flush in slot 22). Entry i of
// methodTable passes the call unchanged to slot i of the table in word 0 of
// the object it is given.
enum TroveRegistrySlot {
  TROVE_SLOT_OPEN_KEY = 0,
  TROVE_SLOT_OPEN_KEY_BY_INDEX = 1,
  TROVE_SLOT_OPEN_NEXT_KEY = 2,
  TROVE_SLOT_CLOSE_KEY = 3,
  TROVE_SLOT_GET_KEY_NAME = 4,
  TROVE_SLOT_GET_KEY_NAME_BY_INDEX = 5,
  TROVE_SLOT_GET_VALUE = 6,
  TROVE_SLOT_GET_VALUE_BY_INDEX = 7,
  TROVE_SLOT_GET_VALUE_NAME_BY_INDEX = 8,
  TROVE_SLOT_SET_VALUE = 9,
  TROVE_SLOT_SET_VALUE_BY_INDEX = 10,
  TROVE_SLOT_GET_KEY_COUNT = 11,
  TROVE_SLOT_GET_VALUE_COUNT = 12,
  TROVE_SLOT_DELETE_KEY = 13,
  TROVE_SLOT_DELETE_KEY_BY_IND = 14,
  TROVE_SLOT_DELETE_VALUE = 15,
  TROVE_SLOT_DELETE_VALUE_BY_IND = 16,
  TROVE_SLOT_CLEAN = 17,
  TROVE_SLOT_COPY_KEY = 18,
  TROVE_SLOT_COPY_KEY_BY_PATH = 19,
  TROVE_SLOT_SET_ROOT_KEY = 20,
  TROVE_SLOT_SET_ROOT_STR = 21,
  TROVE_SLOT_FLUSH = 22
};
#define TROVE_METHOD_COUNT 23

// The Registry methods. Indexes count from 0 in list order; the lists keep
// insertion order. "Shared" and "exclusive" name the lock a method holds
// when locking is on. Every method may also give a failure of the lock and
// errOutOfMemory.
//
// Paths name a key below a starting key by names separated by "/" or "\".
// While the rest of the path holds a "/", a name ends at the next "/" (and
// may hold "\"); after that it ends at the next "\". A trailing separator is
// ignored; an empty path is the starting key itself, and an empty name (a
// leading separator, or two in a row) ends the path at the key reached.

// Shared when `create` is 0, else exclusive. Stores in *out the key at
// `path` below `parent` (a null path: `parent` itself; for parent 0 the root
// key's own non-zero handle), or TROVE_INVALID_KEY on any failure. With
// `create`, missing keys on the path are appended as new last subkeys.
// errOk found; errKeyCreated created (a success); errEntryNotFound missing
// and not created; errInvalidKey `parent` designates nothing; errReadOnly it
// would create on a read-only object; errOutOfMemory (keys made for earlier
// names of the path stay).
typedef int32_t (*TroveOpenKey)(void* obj, uint64_t* out, uint64_t parent, const char* path,
                                uint32_t create);
// Shared. Stores in *out subkey `index` of `key`, or TROVE_INVALID_KEY.
// errEntryNotFound when `key` designates nothing or has no such subkey.
typedef int32_t (*TroveOpenKeyByIndex)(void* obj, uint64_t* out, uint64_t key, uint32_t index);
// Shared. Stores in *out the subkey after `key` in its parent's list, or
// TROVE_INVALID_KEY with errInvalidKey when there is none: `key` is the last,
// is 0 or the root key, or designates nothing. Enumerate with
// OpenKeyByIndex(0), then OpenNextKey until errInvalidKey.
typedef int32_t (*TroveOpenNextKey)(void* obj, uint64_t* out, uint64_t key);
// Shared. Releases nothing and checks nothing (closing is optional); errOk.
typedef int32_t (*TroveCloseKey)(void* obj, uint64_t key);
// Shared. The name of `key`.
// full == 0: its own name by the copy-out rule, the need counting the NUL.
// full != 0: the names from the root key down to `key` joined by "\"; the
//   root key's name comes first unless it is the document root. *required
//   gets the length WITHOUT the NUL. A null buffer is a size query (errOk)
//   whatever `size`. The buffer must hold the name and its NUL; a smaller one
//   is errBufferTooSmall for the root key itself, and for a key below it
//   errUnspecified with *required 0.
// errInvalidKey when `key` designates nothing (*required untouched).
typedef int32_t (*TroveGetKeyName)(void* obj, uint32_t* required, uint64_t key, char* buffer,
                                   uint32_t size, uint32_t full);
// Shared. As GetKeyName, for subkey `index` of `key`; errEntryNotFound when
// `key` designates nothing or has no such subkey (*required untouched).
typedef int32_t (*TroveGetKeyNameByIndex)(void* obj, uint32_t* required, uint64_t key,
                                          uint32_t index, char* buffer, uint32_t size,
                                          uint32_t full);
// Shared. Value `name` of `key` in binary form (see "Value types") by the
// copy-out rule. *type is in and out: a null pointer or *type 0 ask for the
// stored type (0 is replaced by it); any other type converts the value
// through its text form (a text that type cannot read fails as that type
// does); a type without a binary form is errOutOfMemory. A tBINARY value
// exactly `size` bytes long is handed out as it is, whatever type was asked.
// TROVE_TSTRING_OBJ: `buffer` is a TroveStringObject (null:
// errInvalidArgument) that receives the text through hostStringAssign;
// *required is 0 and the result is hostStringAssign's.
// errInvalidKey; errEntryNotFound no such value; errInvalidArgument null name.
// A value X whose text is exactly "![CDATA[" stands for value "noname" of
// the subkey at path X when that exists: GetValue and SetValue by name reach
// the latter.
typedef int32_t (*TroveGetValue)(void* obj, uint32_t* required, uint64_t key, const char* name,
                                 uint32_t* type, void* buffer, uint32_t size);
// Shared. As GetValue, for value `index` of `key`, without the "noname"
// redirection.
typedef int32_t (*TroveGetValueByIndex)(void* obj, uint32_t* required, uint64_t key, uint32_t index,
                                        uint32_t* type, void* buffer, uint32_t size);
// Shared. The name of value `index` of `key` by the copy-out rule, the need
// counting the NUL. Past the last value the need is 0 and the result errOk.
// errInvalidKey with *required 0.
typedef int32_t (*TroveGetValueNameByIndex)(void* obj, uint32_t* required, uint64_t key,
                                            uint32_t index, char* buffer, uint32_t size);
// Exclusive. Writes value `name` of `key` from `size` bytes at `buffer` in
// `type`. An existing value keeps its stored type: bytes of another type are
// converted through their text form, except that a stored tWSTRING takes the
// bytes as UTF-16 text whatever `type` says. A missing value is appended
// with `type` when `create` is non-zero, else errEntryNotFound.
// TROVE_TSTRING_OBJ: `buffer` is a TroveStringObject, `size` is ignored,
// and the text is written as tWSTRING; it cannot create a value
// (errOutOfMemory). A type without a binary form is errOutOfMemory. A write
// in the stored type that finds the value equal does not mark the store
// changed. A failed write leaves the value as it was.
// errReadOnly; errInvalidKey (this alone writes no trace line);
// errInvalidArgument for a null name, a null buffer or too few bytes for the
// type; the stored type's failure for a text it cannot read.
typedef int32_t (*TroveSetValue)(void* obj, uint64_t key, const char* name, uint32_t type,
                                 const void* buffer, uint32_t size, uint32_t create);
// Exclusive. As SetValue, for value `index` of `key`, and errInvalidKey is
// traced too. Creating at an index equal to the count appends a value named
// "noname" and the index in decimal ("noname3"); above the count is
// errInvalidArgument.
typedef int32_t (*TroveSetValueByIndex)(void* obj, uint64_t key, uint32_t index, uint32_t type,
                                        const void* buffer, uint32_t size, uint32_t create);
// Shared. *count = the number of subkeys of `key`; 0 with errInvalidKey.
typedef int32_t (*TroveGetKeyCount)(void* obj, uint32_t* count, uint64_t key);
// Shared. *count = the number of values of `key`; 0 with errInvalidKey.
typedef int32_t (*TroveGetValueCount)(void* obj, uint32_t* count, uint64_t key);
// Exclusive. Removes the key at `path` below `key` with everything under it.
// errReadOnly; errInvalidKey; errEntryNotFound; errInvalidArgument for a null
// path or one that names `key` itself (empty, or starting with a separator).
typedef int32_t (*TroveDeleteKey)(void* obj, uint64_t key, const char* path);
// Exclusive. Removes subkey `index` of `key` with everything under it.
// errReadOnly; errInvalidKey; errEntryNotFound no such subkey.
typedef int32_t (*TroveDeleteKeyByInd)(void* obj, uint64_t key, uint32_t index);
// Exclusive. Removes the first value named `name` of `key` (no "noname"
// redirection). errReadOnly; errInvalidKey; errEntryNotFound;
// errInvalidArgument null name.
typedef int32_t (*TroveDeleteValue)(void* obj, uint64_t key, const char* name);
// Exclusive. Removes value `index` of `key`. errReadOnly; errInvalidKey;
// errEntryNotFound.
typedef int32_t (*TroveDeleteValueByInd)(void* obj, uint64_t key, uint32_t index);
// Exclusive. Removes every value and subkey of the root key; the root key
// itself stays. Marks the store changed even when it was empty. errReadOnly.
typedef int32_t (*TroveClean)(void* obj);
// Shared on this object for the whole copy. Copies `sourceKey` of this
// object into `destinationKey` of `destination`, any object whose word 0 is a
// method table in TroveRegistrySlot order with OpenKey, CloseKey and
// SetValue. First the key's values in order: a value of the same name in the
// destination is overwritten in its own type, else the value is appended.
// Then its subkeys in order, each opened by name in both objects (made in the
// destination when missing) and copied whole before the next; of two sibling
// names equal under case folding the first is copied twice. No rollback:
// what was copied before a failure stays. The result is errOk or the first
// failure of any call (for example errReadOnly from the destination).
// Success marks this object changed. No trace line of its own; every call it
// makes writes its own.
// errInvalidArgument: a null destination, this object itself, or a table
// without those slots. Two copies in opposite directions between the same
// two locked objects at the same time wait for each other for ever.
typedef int32_t (*TroveCopyKey)(void* obj, uint64_t sourceKey, void* destination,
                                uint64_t destinationKey);
// As CopyKey, from the key at `path` below this object's root key (opened
// with OpenKey, errEntryNotFound when missing) into the destination's root
// key.
typedef int32_t (*TroveCopyKeyByPath)(void* obj, const char* path, void* destination);
// No lock: move the root key only while no other call runs. `key` 0 selects
// the document root; any key of the tree, also outside the current root
// key, becomes the root key. errEntryNotFound for any other value (the root
// key stays); errWrongState before onInitDone.
typedef int32_t (*TroveSetRootKey)(void* obj, uint64_t key);
// No lock, as SetRootKey. The key at `path` below the document root (not the
// current root key) becomes the root key; "" selects the document root.
// errEntryNotFound (the root key stays); errInvalidArgument null path;
// errWrongState before onInitDone.
typedef int32_t (*TroveSetRootStr)(void* obj, const char* path);
// Slot 22 of the object's own table only (methodTable has no entry for it).
// Writes the store if anything changed since it was loaded or last written,
// holding the lock shared while it reads the tree. A named store N is
// written to "N.tmp<thread id in hex>", forced to disk, the backups of
// TROVE_PROP_BACKUP_MODE are made, and the file is renamed over N (retried
// while access is denied); a failed write leaves N as it was. Without a name
// the store I/O object receives the whole text in one write at offset 0,
// then complete; without either nothing is written. A success clears the
// changed mark. Returns errOk when nothing changed, else the save's result.
// Traces its steps at TROVE_TRACE_ERROR to TROVE_TRACE_BACKUP.
typedef int32_t (*TroveFlush)(void* obj);

// ---- Store I/O objects --------------------------------------------------------
//
// A host object (TroveHostObject) whose method table holds these slots; the
// module never uses its services. Read at load: size, then one read of that
// many bytes from offset 0 (bytes it does not fill read as zeros); a size of
// 0 is an empty store, one that no 32-bit count holds is refused
// (errInvalidSize). Written at save: one write of the whole store text at
// offset 0 with a null countWritten, then complete.

#define TROVE_IO_SLOT_READ 0
#define TROVE_IO_SLOT_WRITE 1
#define TROVE_IO_SLOT_SIZE 2
#define TROVE_IO_SLOT_COMPLETE 4
// A negative result fails the load.
typedef int32_t (*TroveIoRead)(void* io, uint32_t* countRead, uint64_t offset, void* buffer,
                               uint32_t size);
// Its result is the save's; the store must now hold exactly these bytes.
typedef int32_t (*TroveIoWrite)(void* io, uint32_t* countWritten, uint64_t offset,
                                const void* buffer, uint32_t size);
// *size = the bytes of the content; `which` is 0. A negative result fails
// the load.
typedef int32_t (*TroveIoSize)(void* io, uint64_t* size, uint32_t which);
// Ends a save; the result is ignored.
typedef int32_t (*TroveIoComplete)(void* io);

// ---- Type identifiers -------------------------------------------------------------
//
// Value types. A value is stored in one of 33 types and always handed out in
// its binary form:
//   tBYTE tSBYTE tCHAR 1 byte; tWORD tSHORT tWCHAR 2; tDWORD tINT tUINT
//   tLONG tERROR tBOOL tIID tPID tORIG_ID tOS_ID tVID tPROPID tVERSION
//   tCODEPAGE tLCID tTYPE_ID 4; tQWORD tLONGLONG tDATA tDATETIME tFUNC_PTR
//   tDOUBLE 8 (host byte order). These give exactly their size and take at
//   least it (the first bytes count).
//   tSTRING: UTF-8 text; tWSTRING: UTF-16 text. Written without or with a
//   NUL (the text ends at the first); handed out with one, an empty text as
//   0 bytes.
//   tBINARY, tPTR: any number of bytes, handed out as written.
//   tVOID: nothing; reads 0 bytes, writing changes nothing.
// The other identifiers have no binary form: no value has them, and asking
// for one is errOutOfMemory. TROVE_TSTRING_OBJ only names a string object
// exchanged with GetValue and SetValue.

enum TroveTypeIds {
  TROVE_TVOID = 1,
  TROVE_TBYTE = 2,
  TROVE_TWORD = 3,
  TROVE_TDWORD = 4,
  TROVE_TQWORD = 5,
  TROVE_TBOOL = 6,
  TROVE_TCHAR = 7,
  TROVE_TWCHAR = 8,
  TROVE_TSTRING = 9,
  TROVE_TWSTRING = 10,
  TROVE_TERROR = 11,
  TROVE_TPTR = 12,
  TROVE_TINT = 13,
  TROVE_TUINT = 14,
  TROVE_TSBYTE = 15,
  TROVE_TSHORT = 17,
  TROVE_TLONG = 18,
  TROVE_TLONGLONG = 19,
  TROVE_TIID = 20,
  TROVE_TPID = 21,
  TROVE_TORIG_ID = 22,
  TROVE_TOS_ID = 23,
  TROVE_TVID = 24,
  TROVE_TPROPID = 25,
  TROVE_TVERSION = 26,
  TROVE_TCODEPAGE = 27,
  TROVE_TLCID = 28,
  TROVE_TDATA = 29,
  TROVE_TDATETIME = 30,
  TROVE_TFUNC_PTR = 31,
  TROVE_TDOUBLE = 32,
  TROVE_TBINARY = 48,
  TROVE_TIFACEPTR = 49,
  TROVE_TOBJECT = 50,
  TROVE_TEXPORT = 51,
  TROVE_TIMPORT = 52,
  TROVE_TTRACE_LEVEL = 53,
  TROVE_TTYPE_ID = 54,
  TROVE_TVECTOR = 55,
  TROVE_TSTRING_OBJ = 56,
  TROVE_TSERIALIZABLE = 57,
  TROVE_TBUFFER = 58,
  TROVE_TSTR_DSC = 59,
  TROVE_TSIZE_T = 60,
  TROVE_TIMPL_ID = 61,
  TROVE_TMSG_ID = 62,
  TROVE_TMSGCLS_ID = 63
};

// Trace levels: the lower, the more serious.
#define TROVE_TRACE_REGISTRATION 200u  // a refused registration's result
#define TROVE_TRACE_ERROR 300u         // errors: refusal, failed save steps
#define TROVE_TRACE_WARNING 350u       // store file warnings ('%' in the name, above 10 MB)
#define TROVE_TRACE_SAVE 400u          // save progress
#define TROVE_TRACE_BACKUP 500u        // backup steps
#define TROVE_TRACE_CALL 600u          // one line per method or accessor call

#ifdef __cplusplus
}
#endif

#endif
