#include "platform/process_stats.h"

#include <sys/resource.h>

#include <ctime>

namespace platform {
namespace {

int64_t CpuClockMicros(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1'000'000 + ts.tv_nsec / 1000;
}

}  // namespace

int64_t ProcessCpuMicros() { return CpuClockMicros(CLOCK_PROCESS_CPUTIME_ID); }

int64_t ThreadCpuMicros() { return CpuClockMicros(CLOCK_THREAD_CPUTIME_ID); }

int64_t PeakResidentKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace platform
