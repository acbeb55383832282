// The Registry methods, with the exact C signatures of the method table.
// Each takes the PropertiesMap object first and returns a result code.
#pragma once

#include <cstdint>

namespace trove {

int32_t OpenKey(void* obj, uint64_t* out, uint64_t parent, const char* path, uint32_t create);
int32_t OpenKeyByIndex(void* obj, uint64_t* out, uint64_t key, uint32_t index);
int32_t OpenNextKey(void* obj, uint64_t* out, uint64_t key);
int32_t CloseKey(void* obj, uint64_t key);
int32_t GetKeyName(void* obj, uint32_t* required, uint64_t key, char* buffer, uint32_t size,
                   uint32_t full);
int32_t GetKeyNameByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index, char* buffer,
                          uint32_t size, uint32_t full);
int32_t GetValue(void* obj, uint32_t* required, uint64_t key, const char* name, uint32_t* type,
                 void* buffer, uint32_t size);
int32_t GetValueByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index, uint32_t* type,
                        void* buffer, uint32_t size);
int32_t GetValueNameByIndex(void* obj, uint32_t* required, uint64_t key, uint32_t index,
                            char* buffer, uint32_t size);
int32_t SetValue(void* obj, uint64_t key, const char* name, uint32_t type, const void* buffer,
                 uint32_t size, uint32_t create);
int32_t SetValueByIndex(void* obj, uint64_t key, uint32_t index, uint32_t type, const void* buffer,
                        uint32_t size, uint32_t create);
int32_t GetKeyCount(void* obj, uint32_t* count, uint64_t key);
int32_t GetValueCount(void* obj, uint32_t* count, uint64_t key);
int32_t DeleteKey(void* obj, uint64_t key, const char* path);
int32_t DeleteKeyByInd(void* obj, uint64_t key, uint32_t index);
int32_t DeleteValue(void* obj, uint64_t key, const char* name);
int32_t DeleteValueByInd(void* obj, uint64_t key, uint32_t index);
int32_t Clean(void* obj);
int32_t CopyKey(void* obj, uint64_t sourceKey, void* destination, uint64_t destinationKey);
int32_t CopyKeyByPath(void* obj, const char* path, void* destination);
int32_t SetRootKey(void* obj, uint64_t key);
int32_t SetRootStr(void* obj, const char* path);

}  // namespace trove
