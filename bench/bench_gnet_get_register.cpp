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
  // A pseudo-terminal hands the request over at once; only the reply is paced by the reader.
  const double reply_ms = bench::LineMs(bench::FrameBytes("A0000")) * 256;
  std::printf("  reply direction alone needs %.1f ms on the line: ratio %.3f\n", reply_ms,
              measured / reply_ms);
  char note[160];
  std::snprintf(note, sizeof note,
                "a pty passes requests at once: the replies alone need %.1f ms, ratio %.3f", reply_ms,
                measured / reply_ms);
  bench::PrintResult("256 GetRegister", measured, bench::LineMs(bytes), 0, measured / bench::LineMs(bytes),
                     note);
  return failures == 0 ? 0 : 2;
}
