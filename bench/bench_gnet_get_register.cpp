// 256 GetRegister calls, every register once, against a paced emulated reader at 19200 baud.

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"

int main() {
  bench::SimLines lines;
  if (!lines.Add("COM1", bench::PacedReader())) return 1;
  ucGNet gnet;
  if (!bench::OpenAt19200(gnet, "COM1")) return 1;

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
  std::printf("256 GetRegister, %d failed\n", failures);
  bench::Report("256 GetRegister", measured, bench::LineMs(bytes), 0);
  bench::PrintPacedResult("256 GetRegister", measured, bench::LineMs(bytes),
                          bench::LineMs(bench::FrameBytes("A0000")) * 256);
  return failures == 0 ? 0 : 2;
}
