// Runs a program as a child and prints what it used, measured by the kernel rather than by the program:
//
//   bench_measure [--until PROBE] [--limit-ms N] -- PROGRAM [ARGS...]
//
// prints, after the child's own output,
//
//   MEASURE wall_ms=... cpu_ms=... maxrss_kb=... exit=...
//
// wall time from just before the start to the end, CPU time (user plus system, all threads) and peak
// resident memory. With --until, the shell command PROBE runs again and again while the child does; the
// moment it succeeds the child is killed, so every figure covers the time up to that moment ("exit=probe").
// A child that ends first, or a probe that has not succeeded after --limit-ms (default 30000), is a failure.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"

namespace {

struct Options {
  std::string probe;
  int64_t limit_ms = 30000;
  std::vector<std::string> program;
};

bool ParseOptions(int argc, char** argv, Options& options) {
  int i = 1;
  for (; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") break;
    if (i + 1 >= argc) return false;
    if (arg == "--until") {
      options.probe = argv[++i];
    } else if (arg == "--limit-ms") {
      options.limit_ms = std::atoll(argv[++i]);
    } else {
      return false;
    }
  }
  for (++i; i < argc; ++i) options.program.emplace_back(argv[i]);
  return !options.program.empty() && options.limit_ms > 0;
}

// Runs the probe once; true when it exited with 0.
bool ProbeSucceeds(const std::string& probe) {
  std::string error;
  const int pid = platform::StartChild({"/bin/sh", "-c", probe}, error);
  platform::ChildUsage usage;
  return pid > 0 && platform::WaitChild(pid, usage) && usage.exit_code == 0;
}

// Probes until the probe succeeds (then kills the child), the child ends, or the limit passes.
// True only in the first case; `usage` is the child's in every case.
bool RunUntilProbe(int pid, const Options& options, int64_t start_us, int64_t& end_us,
                   platform::ChildUsage& usage) {
  // A probe is a program start of its own; a short pause between them leaves the cores to the child.
  constexpr int kProbePauseMs = 5;
  while (platform::MonotonicMicros() - start_us < options.limit_ms * 1000) {
    if (platform::TryWaitChild(pid, usage)) return false;
    if (ProbeSucceeds(options.probe)) {
      end_us = platform::MonotonicMicros();
      platform::KillChild(pid);
      platform::WaitChild(pid, usage);
      return true;
    }
    platform::SleepMs(kProbePauseMs);
  }
  platform::KillChild(pid);
  platform::WaitChild(pid, usage);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) {
    std::fprintf(stderr, "usage: bench_measure [--until PROBE] [--limit-ms N] -- PROGRAM [ARGS...]\n");
    return 2;
  }
  std::string error;
  const int64_t start_us = platform::MonotonicMicros();
  const int pid = platform::StartChild(options.program, error);
  if (pid < 0) {
    std::fprintf(stderr, "bench_measure: %s\n", error.c_str());
    return 1;
  }
  platform::ChildUsage usage;
  int64_t end_us = 0;
  bool ok = true;
  std::string exit_text;
  if (options.probe.empty()) {
    ok = platform::WaitChild(pid, usage);
    end_us = platform::MonotonicMicros();
    exit_text = usage.signal != 0 ? "signal" + std::to_string(usage.signal) : std::to_string(usage.exit_code);
  } else {
    ok = RunUntilProbe(pid, options, start_us, end_us, usage);
    if (!ok) {
      std::fprintf(stderr, "bench_measure: the probe did not succeed while %s ran\n",
                   options.program[0].c_str());
      return 1;
    }
    exit_text = "probe";
  }
  std::fflush(stdout);
  std::printf("MEASURE wall_ms=%.1f cpu_ms=%.1f maxrss_kb=%lld exit=%s\n",
              static_cast<double>(end_us - start_us) / 1000.0, static_cast<double>(usage.cpu_micros) / 1000.0,
              static_cast<long long>(usage.max_resident_kb), exit_text.c_str());
  return ok ? 0 : 1;
}
