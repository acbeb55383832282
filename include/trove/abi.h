// The binary interface between a plug-in host and the trove registry module
// on 64-bit Linux (x86-64, System V, LP64). Every table entry is a plain C
// function pointer whose first argument is the object it is called on.
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

#define TROVE_INVALID_KEY UINT64_C(0xFFFFFFFFFFFFFFFF)

// A host object: three pointer-sized words, then the data area (8-aligned).
// The pointer passed to every call is the address of `methods`.
typedef struct TroveHostObject {
  void** methods;
  void** services;
  void* hostWord;
  unsigned char data[];
} TroveHostObject;

#define TROVE_HOST_HEADER_SIZE 24

// ---- The module file ------------------------------------------------------

#define TROVE_MODULE_ENTRY_NAME "ModuleEntry"
#define TROVE_REASON_REGISTER 100u

typedef int32_t (*TroveModuleEntry)(void* first, uint32_t reason, void* third);

// ---- Root object ----------------------------------------------------------

#define TROVE_ROOT_SLOT_REGISTER_INTERFACE 0
#define TROVE_ROOT_SLOT_RESOLVE_FUNCTION 14

typedef struct TrovePropertyDescriptor TrovePropertyDescriptor;

typedef int32_t (*TroveRegisterInterface)(
    void* root, uint32_t iid, uint32_t pluginId, uint32_t subtype, uint32_t version,
    uint32_t vendorId, void** internalTable, uint32_t internalCount, void** methodTable,
    uint32_t methodCount, const TrovePropertyDescriptor* propertyTable, uint32_t propertyCount,
    uint32_t dataSize, uint32_t flags);

typedef int32_t (*TroveResolveHostFunction)(void* root, void** cell, uint32_t first,
                                            uint32_t functionNumber, uint32_t second);

// ---- Object services (word 1 of every object; the holder is &object->services)

#define TROVE_SERVICE_ALLOC 52
#define TROVE_SERVICE_REALLOC 53
#define TROVE_SERVICE_FREE 54
#define TROVE_SERVICES_COUNT 82

typedef int32_t (*TroveHostAlloc)(void** holder, void** block, uint32_t size);
typedef int32_t (*TroveHostRealloc)(void** holder, void** block, void* old, uint32_t size);
typedef int32_t (*TroveHostFree)(void** holder, void* block);

// ---- Host functions found by number ----------------------------------------

#define TROVE_HOST_TRACE_FIRST 1u
#define TROVE_HOST_TRACE_FUNCTION 0x5EC5256Cu
#define TROVE_HOST_TRACE_SECOND 2u
typedef int32_t (*TroveHostTrace)(void* object, uint32_t level, const char* format, va_list args);

#define TROVE_HOST_STRING_ASSIGN_FIRST 38u
#define TROVE_HOST_STRING_ASSIGN_FUNCTION 0x0A02700Bu
#define TROVE_HOST_STRING_ASSIGN_SECOND 0u
typedef int32_t (*TroveHostStringAssign)(void* stringObject, uint32_t a, uint32_t b,
                                         const void* data, uint32_t sizeBytes,
                                         uint32_t codePage);

// A string object begins with its UTF-16 characters and their count.
typedef struct TroveStringObject {
  const char16_t* chars;
  uint32_t length;
} TroveStringObject;

// ---- Registered tables ------------------------------------------------------

#define TROVE_IID_REGISTRY 13u
#define TROVE_PLUGIN_ID 43003u
#define TROVE_INTERFACE_VERSION 1u
#define TROVE_VENDOR_ID 85u
#define TROVE_DATA_SIZE 200u

#define TROVE_INTERNAL_COUNT 12
#define TROVE_INTERNAL_ON_DATA_INIT 1
#define TROVE_INTERNAL_ON_INIT_DONE 3
#define TROVE_INTERNAL_ON_CLOSE 5
typedef int32_t (*TroveOnDataInit)(void* object, uint32_t create);
typedef int32_t (*TroveOnInitDone)(void* object);
typedef int32_t (*TroveOnClose)(void* object);

typedef int32_t (*TroveAccessor)(void* object, uint32_t* outSize, uint32_t propertyId,
                                 void* buffer, uint32_t size);

struct TrovePropertyDescriptor {
  uint64_t id;
  uint64_t value;  // constant, pointer to constant bytes, or data-area offset
  uint64_t size;
  uint64_t mode;
  TroveAccessor get;
  TroveAccessor set;
};

// Property modes.
#define TROVE_MODE_ACCESSORS 0u
#define TROVE_MODE_FIELD_READ 1u
#define TROVE_MODE_FIELD_READ_WRITE 3u
#define TROVE_MODE_CONSTANT 4u
#define TROVE_MODE_CONSTANT_BYTES 12u
#define TROVE_MODE_FIELD_HOST 35u

// Property ids of the Registry interface.
#define TROVE_PROP_VERSION 0x21A00082u
#define TROVE_PROP_DESCRIPTION 0x20900083u
#define TROVE_PROP_READ_ONLY 0x20601000u
#define TROVE_PROP_RESERVED_1002 0x20401002u
#define TROVE_PROP_RESERVED_1003 0x20401003u
#define TROVE_PROP_SAVE_ON_CLOSE 0x20601004u
#define TROVE_PROP_OPEN_FLAGS 0x2040004Au
#define TROVE_PROP_ROOT_POINT 0x20901005u
#define TROVE_PROP_ROOT_KEY 0x20C01006u
#define TROVE_PROP_NAME 0x20900040u
#define TROVE_PROP_STORE_IO 0x33201000u
#define TROVE_PROP_USE_LOCKING 0x30601001u
#define TROVE_PROP_BACKUP_MODE 0x30201002u
#define TROVE_PROP_NAME_CODE_PAGE 0x21B00040u
#define TROVE_PROPERTY_COUNT 14

#define TROVE_OPEN_CREATE_IF_MISSING 0x2u

// Method slots of the Registry interface (methodTable has 23 entries, the
// last null; an object's own table has flush in slot 22).
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

typedef int32_t (*TroveOpenKey)(void* obj, uint64_t* out, uint64_t parent, const char* path,
                                uint32_t create);
typedef int32_t (*TroveOpenKeyByIndex)(void* obj, uint64_t* out, uint64_t key, uint32_t index);
typedef int32_t (*TroveOpenNextKey)(void* obj, uint64_t* out, uint64_t key);
typedef int32_t (*TroveCloseKey)(void* obj, uint64_t key);
typedef int32_t (*TroveGetKeyName)(void* obj, uint32_t* required, uint64_t key, char* buffer,
                                   uint32_t size, uint32_t full);
typedef int32_t (*TroveGetKeyNameByIndex)(void* obj, uint32_t* required, uint64_t key,
                                          uint32_t index, char* buffer, uint32_t size,
                                          uint32_t full);
typedef int32_t (*TroveGetValue)(void* obj, uint32_t* required, uint64_t key, const char* name,
                                 uint32_t* type, void* buffer, uint32_t size);
typedef int32_t (*TroveGetValueByIndex)(void* obj, uint32_t* required, uint64_t key,
                                        uint32_t index, uint32_t* type, void* buffer,
                                        uint32_t size);
typedef int32_t (*TroveGetValueNameByIndex)(void* obj, uint32_t* required, uint64_t key,
                                            uint32_t index, char* buffer, uint32_t size);
typedef int32_t (*TroveSetValue)(void* obj, uint64_t key, const char* name, uint32_t type,
                                 const void* buffer, uint32_t size, uint32_t create);
typedef int32_t (*TroveSetValueByIndex)(void* obj, uint64_t key, uint32_t index, uint32_t type,
                                        const void* buffer, uint32_t size, uint32_t create);
typedef int32_t (*TroveGetKeyCount)(void* obj, uint32_t* count, uint64_t key);
typedef int32_t (*TroveGetValueCount)(void* obj, uint32_t* count, uint64_t key);
typedef int32_t (*TroveDeleteKey)(void* obj, uint64_t key, const char* path);
typedef int32_t (*TroveDeleteKeyByInd)(void* obj, uint64_t key, uint32_t index);
typedef int32_t (*TroveDeleteValue)(void* obj, uint64_t key, const char* name);
typedef int32_t (*TroveDeleteValueByInd)(void* obj, uint64_t key, uint32_t index);
typedef int32_t (*TroveClean)(void* obj);
typedef int32_t (*TroveCopyKey)(void* obj, uint64_t sourceKey, void* destination,
                                uint64_t destinationKey);
typedef int32_t (*TroveCopyKeyByPath)(void* obj, const char* path, void* destination);
typedef int32_t (*TroveSetRootKey)(void* obj, uint64_t key);
typedef int32_t (*TroveSetRootStr)(void* obj, const char* path);
typedef int32_t (*TroveFlush)(void* obj);

// ---- Store I/O objects --------------------------------------------------------

#define TROVE_IO_SLOT_READ 0
#define TROVE_IO_SLOT_WRITE 1
#define TROVE_IO_SLOT_SIZE 2
#define TROVE_IO_SLOT_COMPLETE 4
typedef int32_t (*TroveIoRead)(void* io, uint32_t* countRead, uint64_t offset, void* buffer,
                               uint32_t size);
typedef int32_t (*TroveIoWrite)(void* io, uint32_t* countWritten, uint64_t offset,
                                const void* buffer, uint32_t size);
typedef int32_t (*TroveIoSize)(void* io, uint64_t* size, uint32_t which);
typedef int32_t (*TroveIoComplete)(void* io);

// ---- Type identifiers -------------------------------------------------------------

enum TroveTypeIds {
  TROVE_TVOID = 1, TROVE_TBYTE = 2, TROVE_TWORD = 3, TROVE_TDWORD = 4, TROVE_TQWORD = 5,
  TROVE_TBOOL = 6, TROVE_TCHAR = 7, TROVE_TWCHAR = 8, TROVE_TSTRING = 9, TROVE_TWSTRING = 10,
  TROVE_TERROR = 11, TROVE_TPTR = 12, TROVE_TINT = 13, TROVE_TUINT = 14, TROVE_TSBYTE = 15,
  TROVE_TSHORT = 17, TROVE_TLONG = 18, TROVE_TLONGLONG = 19, TROVE_TIID = 20, TROVE_TPID = 21,
  TROVE_TORIG_ID = 22, TROVE_TOS_ID = 23, TROVE_TVID = 24, TROVE_TPROPID = 25,
  TROVE_TVERSION = 26, TROVE_TCODEPAGE = 27, TROVE_TLCID = 28, TROVE_TDATA = 29,
  TROVE_TDATETIME = 30, TROVE_TFUNC_PTR = 31, TROVE_TDOUBLE = 32, TROVE_TBINARY = 48,
  TROVE_TIFACEPTR = 49, TROVE_TOBJECT = 50, TROVE_TEXPORT = 51, TROVE_TIMPORT = 52,
  TROVE_TTRACE_LEVEL = 53, TROVE_TTYPE_ID = 54, TROVE_TVECTOR = 55, TROVE_TSTRING_OBJ = 56,
  TROVE_TSERIALIZABLE = 57, TROVE_TBUFFER = 58, TROVE_TSTR_DSC = 59, TROVE_TSIZE_T = 60,
  TROVE_TIMPL_ID = 61, TROVE_TMSG_ID = 62, TROVE_TMSGCLS_ID = 63
};

// Trace levels.
#define TROVE_TRACE_REGISTRATION 200u
#define TROVE_TRACE_ERROR 300u
#define TROVE_TRACE_WARNING 350u
#define TROVE_TRACE_SAVE 400u
#define TROVE_TRACE_BACKUP 500u
#define TROVE_TRACE_CALL 600u

#ifdef __cplusplus
}
#endif

#endif
