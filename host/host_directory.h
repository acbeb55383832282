// Which host owns which object: the trace function receives only the object a
// line is about, and has to find the sink of that object's host.
#pragma once

#include <memory>

#include "trove/host/trace.h"

namespace trove::host {

class Host;

namespace directory {

void addHost(Host* host);
void removeHost(Host* host);
void addObject(const void* object, Host* host);
void removeObject(const void* object);

// The sink of the host owning `object`, else of the most recently created
// live host, else a standard-error sink with the default level.
std::shared_ptr<TraceSink> sinkFor(const void* object);
// Whether some sink a line could reach keeps lines of `level`. Lock-free.
bool anySinkKeeps(uint32_t level);
// To be called when a host's sink was replaced.
void sinksChanged();

}  // namespace directory
}  // namespace trove::host
