// Writing the whole store, in its canonical layout, to one medium.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace trove {

class PropertiesMap;

// Serializes the document (under the shared lock when locking is in force)
// and writes it to the open file in one write, then forces it to disk.
// Returns 0, the serializer's failure, the write's failure, errNotMatched
// for a short write, or the failure to reach the disk.
int32_t writeToFile(PropertiesMap* map, platform::FileHandle file);

// Serializes the document and writes it through the I/O object from offset
// 0, then tells the object the write is complete. Returns the write's result.
int32_t writeToIo(PropertiesMap* map, void* io);

}  // namespace trove
