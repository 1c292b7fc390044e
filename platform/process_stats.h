#pragma once
// What this process has used so far, for benchmarks and tests of waiting code.

#include <cstdint>

namespace platform {

// User plus system CPU time of the whole process, in microseconds.
int64_t ProcessCpuMicros();
// CPU time of the calling thread only, in microseconds.
int64_t ThreadCpuMicros();
// Peak resident memory of the process, in kilobytes.
int64_t PeakResidentKb();

// CPU time (user plus system, every thread) that the process `pid` and its live descendants have used, in
// microseconds, with the time of the descendants they have already reaped: a worker that ends and is
// waited for between two calls moves into its parent's share instead of vanishing. The kernel counts in
// clock ticks (usually 10 ms), so the difference of two calls is exact only to that. A descendant that
// was orphaned (its parent ended first) is no longer found. -1 when there is no process `pid`.
int64_t ProcessTreeCpuMicros(int pid);
// How many processes that tree holds now, `pid` included; 0 when there is no process `pid`.
int ProcessTreeSize(int pid);

}  // namespace platform
