// What the benchmark's own process holds: resident set sizes from
// /proc/self/status and the bytes malloc has handed out.
#pragma once

namespace trove_bench {

// A "Vm...:" line of /proc/self/status ("VmRSS:", "VmHWM:"), in kB; -1
// when there is none.
long long statusKb(const char* field);
// Resets the peak resident set (VmHWM) to the current one; false when the
// kernel does not allow it.
bool resetPeakRss();
// Bytes in use from malloc: in-use chunks plus mmapped blocks.
long long heapInUse();

}  // namespace trove_bench
