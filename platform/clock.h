#pragma once
// Millisecond tick counter and sleeps.

#include <cstdint>
#include <string>

namespace platform {

// Milliseconds since an arbitrary fixed point (boot), as a signed 32-bit value that wraps from
// 0x7FFFFFFF to negative values and on through 0, like the tick counter the time-out code was written for.
int32_t GetTickCount();

// Moves the tick counter by `bias` milliseconds so tests can start just before a wrap.
void SetTickBiasForTesting(uint32_t bias);

// Milliseconds of a monotonic clock, 64-bit, never wrapping. For measuring and scheduling.
int64_t MonotonicMs();
int64_t MonotonicMicros();

// The local wall-clock time as "hh:mm:ss" (24-hour), for time stamps people read.
std::string LocalTimeHms();
// The current UTC time as "2026-11-24T21:41:17Z" (ISO 8601, seconds), for records read on other machines.
std::string UtcTimeIso8601();

// Blocks the calling thread. Prefer EventLoop::WaitForEvents on the user-interface thread.
void SleepMs(int ms);
void SleepMicros(int64_t us);

}  // namespace platform
