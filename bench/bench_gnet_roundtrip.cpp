// Round trips of SendGNetCMD over a pty against a reader that answers at once, and the software time
// per transaction beyond the pty's own echo time. The line time is what the same exchange needs on a
// real line at 19200 baud (10 bits a byte).

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/pty_responder.h"
#include "bench/result_line.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"

namespace {

constexpr int kRounds = 2000;
constexpr const char* kReply =
    "\x02"
    "A,1.00\r";

// Single round trips vary with scheduling by tens of microseconds; the median of many is steady.
double Median(std::vector<int64_t> samples) {
  std::sort(samples.begin(), samples.end());
  return static_cast<double>(samples[samples.size() / 2]);
}

// The pty's own round trip: write a frame on the slave, wait for the reply, no protocol code involved.
double RawEchoMicros(const platform::PtyPair& pty) {
  const uint8_t frame[] = {0x02, 'V', 0x0D};
  uint8_t buffer[64];
  std::vector<int64_t> samples;
  for (int i = 0; i < kRounds; ++i) {
    const int64_t start = platform::MonotonicMicros();
    platform::WriteFd(pty.slave_fd, frame, sizeof frame);
    bool done = false;
    while (!done && platform::WaitReadable(pty.slave_fd, 1000) > 0) {
      const long n = platform::ReadFd(pty.slave_fd, buffer, sizeof buffer);
      for (long k = 0; k < n; ++k) done = done || buffer[k] == 0x0D;
    }
    samples.push_back(platform::MonotonicMicros() - start);
  }
  return Median(samples);
}

}  // namespace

int main() {
  PtyResponder responder(kReply);
  std::string error;
  if (!responder.Start(error)) {
    std::fprintf(stderr, "cannot open a pty: %s\n", error.c_str());
    return 1;
  }
  const double raw_us = RawEchoMicros(responder.Pty());

  ucGNet gnet;
  if (!responder.OpenEngine(gnet)) return 1;
  int failures = 0;
  std::vector<int64_t> samples;
  const int64_t all_start = platform::MonotonicMicros();
  for (int i = 0; i < kRounds; ++i) {
    const int64_t start = platform::MonotonicMicros();
    if (gnet.SendGNetCMD("V", false, false) != "A,1.00") ++failures;
    samples.push_back(platform::MonotonicMicros() - start);
  }
  const double rate = kRounds * 1e6 / static_cast<double>(platform::MonotonicMicros() - all_start);
  const double per_us = Median(samples);
  gnet.SetPortOpen(false);

  const double line_us = bench::LineMs(bench::FrameBytes("V") + bench::FrameBytes("A,1.00")) * 1000;
  std::printf("SendGNetCMD round trips over a pty, %d rounds, %d failed\n", kRounds, failures);
  std::printf("  round trips per second        %10.0f\n", rate);
  std::printf("  time per transaction (median) %10.1f us\n", per_us);
  std::printf("  pty echo time (median)        %10.1f us\n", raw_us);
  std::printf("  software time per transaction %10.1f us\n", per_us - raw_us);
  std::printf("  line time at 19200 baud       %10.1f us\n", line_us);
  const double ratio = (per_us - raw_us + line_us) / line_us;
  std::printf("  ratio (transaction + line) / line  %6.3f\n", ratio);
  char note[200];
  std::snprintf(note, sizeof note,
                "median of %d over a pty that does not pace; ratio = (time - pty echo %.1f us + line) / line",
                kRounds, raw_us);
  bench::PrintResult("SendGNetCMD round trip, " + std::to_string(std::lround(rate)) + "/s", per_us / 1000,
                     line_us / 1000, 0, ratio, note);
  return failures == 0 ? 0 : 2;
}
