// Round trips of SendGNetCMD over a pty against a reader that answers at once, and the software time
// per transaction beyond the pty's own echo time. The line time is what the same exchange needs on a
// real line at 19200 baud (10 bits a byte).

#include <cstdio>

#include "bench/pty_responder.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/serial_registry.h"

namespace {

constexpr int kRounds = 2000;
constexpr const char* kReply = "\x02" "A,1.00\r";

// The pty's own round trip: write a frame on the slave, wait for the reply, no protocol code involved.
double RawEchoMicros(const platform::PtyPair& pty) {
  const uint8_t frame[] = {0x02, 'V', 0x0D};
  uint8_t buffer[64];
  const int64_t start = platform::MonotonicMicros();
  for (int i = 0; i < kRounds; ++i) {
    platform::WriteFd(pty.slave_fd, frame, sizeof frame);
    bool done = false;
    while (!done && platform::WaitReadable(pty.slave_fd, 1000) > 0) {
      const long n = platform::ReadFd(pty.slave_fd, buffer, sizeof buffer);
      for (long k = 0; k < n; ++k) done = done || buffer[k] == 0x0D;
    }
  }
  return static_cast<double>(platform::MonotonicMicros() - start) / kRounds;
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

  const std::string device = responder.Pty().slave_path;
  platform::SetUserPortMapSource([device] { return std::vector<platform::PortMapEntry>{{"COM250", device}}; });
  ucGNet gnet;
  gnet.SetCommPort("COM250");
  gnet.SetPortOpen(true);
  if (!gnet.PortOpen()) {
    std::fprintf(stderr, "cannot open %s\n", device.c_str());
    return 1;
  }
  gnet.SetSettings("19200,N,8,1");
  int failures = 0;
  const int64_t start = platform::MonotonicMicros();
  for (int i = 0; i < kRounds; ++i) {
    if (gnet.SendGNetCMD("V", false, false) != "A,1.00") ++failures;
  }
  const double per_us = static_cast<double>(platform::MonotonicMicros() - start) / kRounds;
  gnet.SetPortOpen(false);

  const double line_us = (3 + 8) * 10 * 1e6 / 19200.0;  // request and reply bytes at 19200 baud
  std::printf("SendGNetCMD round trips over a pty, %d rounds, %d failed\n", kRounds, failures);
  std::printf("  round trips per second        %10.0f\n", 1e6 / per_us);
  std::printf("  time per transaction          %10.1f us\n", per_us);
  std::printf("  pty echo time (no protocol)   %10.1f us\n", raw_us);
  std::printf("  software time per transaction %10.1f us\n", per_us - raw_us);
  std::printf("  line time at 19200 baud       %10.1f us\n", line_us);
  std::printf("  ratio (transaction + line) / line  %6.3f\n", (per_us - raw_us + line_us) / line_us);
  return failures == 0 ? 0 : 2;
}
