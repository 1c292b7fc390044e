// One AutoScan over four ports, the reader on the last one and nothing answering on the others, against
// paced emulated readers at 19200 baud. A port where nothing answers costs the scan's reply time-out three
// times over; that and the settling pause before each poll are counted as mandated time.

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"

int main() {
  bench::SimLines lines;
  msrsim::ReaderConfig silent = bench::PacedReader();
  silent.silent = true;
  for (const char* name : {"COM1", "COM2", "COM3"}) {
    if (!lines.Add(name, silent)) return 1;
  }
  msrsim::ReaderConfig reader = bench::PacedReader();
  reader.identification = "KRD36AR,3TRACK,UART";
  if (!lines.Add("COM4", reader)) return 1;

  ucGNet gnet;
  std::string module;
  std::string port;
  int32_t rate = 19200;
  bool found = false;
  const int64_t start = platform::MonotonicMicros();
  gnet.AutoScan(module, "19200", port, rate, "KRD36AR", false, found);
  const double measured = bench::ElapsedMs(start);

  constexpr double kSettleMs = 20;
  const double silent_port_ms = 3 * ucGNet::kScanTimeoutMs + kSettleMs;
  const double mandated = 3 * silent_port_ms + kSettleMs;
  // Three polls on each silent port, one poll and its answer on the last.
  const double bytes = 3 * 3 * bench::FrameBytes("D") + bench::FrameBytes("D") +
                       bench::FrameBytes("A," + reader.identification);
  std::printf("AutoScan over 4 ports: %s on %s at %d\n", found ? module.c_str() : "nothing found",
              port.c_str(), rate);
  bench::Report("AutoScan, reader on the 4th port", measured, bench::LineMs(bytes), mandated);
  std::printf("  software time beyond line and mandated waits %7.1f ms\n",
              measured - bench::LineMs(bytes) - mandated);
  bench::PrintResult("AutoScan over 4 ports", measured, bench::LineMs(bytes), mandated,
                     measured / (bench::LineMs(bytes) + mandated),
                     "3 silent ports cost 3 reply time-outs of 500 ms each; 20 ms settling before each poll");
  return found && port == "COM4" ? 0 : 2;
}
