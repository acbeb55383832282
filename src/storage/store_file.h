// Loading the store when an object is initialised, and saving it with a
// temporary file and rotating backups when it is closed.
#pragma once

#include <cstdint>

namespace trove {

class PropertiesMap;

// The load behind onInitDone: attach, read the named file or the I/O object,
// parse, apply a pending root point, create a missing file on request, create
// the lock. A negative result clears saveOnClose.
int32_t loadStore(PropertiesMap* map);

// Parses one store image (after an optional UTF-8 byte order mark).
int32_t readFromBuffer(PropertiesMap* map, const char* bytes, uint32_t length);

// Slot 22 of the object's method table: writes the store back if it changed.
int32_t flush(void* object);

// Whether the store name ends with "profiles.xml" (always backed up).
bool isDefaultStoreName(const char16_t* name, uint64_t length);

}  // namespace trove
