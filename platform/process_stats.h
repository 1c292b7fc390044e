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

}  // namespace platform
