// CPU used while a transaction waits for a reply that never comes: three attempts of 1 s each, 3 s of
// waiting in all. The wait blocks on the event loop, so the figure should be a small fraction of 1%.

#include <cstdio>

#include "bench/pty_responder.h"
#include "bench/result_line.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/process_stats.h"

int main() {
  PtyResponder silent("");
  std::string error;
  if (!silent.Start(error)) {
    std::fprintf(stderr, "cannot open a pty: %s\n", error.c_str());
    return 1;
  }
  ucGNet gnet;
  if (!silent.OpenEngine(gnet)) return 1;
  gnet.SetGNetTimeout(1000);
  const int64_t cpu_start = platform::ThreadCpuMicros();
  const int64_t start = platform::MonotonicMicros();
  const std::string reply = gnet.SendGNetCMD("V", false, false);
  const double wall_ms = static_cast<double>(platform::MonotonicMicros() - start) / 1000.0;
  const double cpu_ms = static_cast<double>(platform::ThreadCpuMicros() - cpu_start) / 1000.0;
  std::printf("Wait with no reply (3 attempts x 1000 ms)%s\n", reply.empty() ? "" : " -- unexpected reply!");
  std::printf("  wall time          %8.1f ms\n", wall_ms);
  std::printf("  CPU time           %8.2f ms\n", cpu_ms);
  std::printf("  share of one core  %8.3f %%\n", 100.0 * cpu_ms / wall_ms);
  // Three requests go out; the three 1000 ms time-outs are the wait itself.
  const double line_ms = bench::LineMs(3 * bench::FrameBytes("V"));
  const double mandated_ms = 3 * 1000.0;
  char note[120];
  std::snprintf(note, sizeof note, "3 time-outs of 1000 ms; the waiting thread alone used %.3f %% of a core",
                100.0 * cpu_ms / wall_ms);
  bench::PrintResult("Wait with no reply", wall_ms, line_ms, mandated_ms, wall_ms / (line_ms + mandated_ms),
                     note);
  return reply.empty() ? 0 : 2;
}
