// 256 GetRegister calls, every register once, against a paced emulated reader at 19200 baud, on a pty or
// with "--hid" behind the emulated USB HID bridge.

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"

int main(int argc, char** argv) {
  const std::optional<bench::BenchPort> port = bench::PortFromArgs(argc, argv);
  if (!port) return 1;
  bench::SimLines lines;
  if (!lines.Add(port->name, bench::PacedReader())) return 1;
  ucGNet gnet;
  if (!bench::OpenAt19200(gnet, port->name)) return 1;

  int failures = 0;
  double bytes = 0;
  const int64_t start = platform::MonotonicMicros();
  for (int reg = 0; reg < 256; ++reg) {
    uint8_t value = 0;
    if (!gnet.GetRegister(reg, value)) ++failures;
    // "B" and two digits; "A", two value digits and two checksum digits.
    bytes += bench::FrameBytes("B00") + bench::FrameBytes("A0000");
  }
  const double measured = bench::ElapsedMs(start);
  const std::string operation = port->Operation("256 GetRegister");
  std::printf("%s, %d failed\n", operation.c_str(), failures);
  bench::Report(operation, measured, bench::LineMs(bytes), 0);
  bench::PrintPacedResult(operation, measured, bench::LineMs(bytes),
                          bench::LineMs(bench::FrameBytes("A0000")) * 256, port->Carrier());
  return failures == 0 ? 0 : 2;
}
