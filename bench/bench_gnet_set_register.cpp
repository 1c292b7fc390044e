// 139 SetRegister calls against a paced emulated reader at 19200 baud. The registers written leave the
// reader's own line settings (0-4) and its alias (224-239) alone.

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"

int main() {
  bench::SimLines lines;
  msrsim::EmulatedReader* reader = lines.Add("COM1", bench::PacedReader());
  if (!reader) return 1;
  ucGNet gnet;
  if (!bench::OpenAt19200(gnet, "COM1")) return 1;

  constexpr int kFirst = 0x10;
  constexpr int kCount = 139;
  int failures = 0;
  double bytes = 0;
  const int64_t start = platform::MonotonicMicros();
  for (int reg = kFirst; reg < kFirst + kCount; ++reg) {
    if (!gnet.SetRegister(reg, static_cast<uint8_t>(reg ^ 0x5A))) ++failures;
    // "C", register, ",", value and checksum digits; "A".
    bytes += bench::FrameBytes("C00,0000") + bench::FrameBytes("A");
  }
  const double measured = bench::ElapsedMs(start);
  for (int reg = kFirst; reg < kFirst + kCount; ++reg) {
    if (reader->Register(static_cast<uint8_t>(reg)) != static_cast<uint8_t>(reg ^ 0x5A)) ++failures;
  }
  std::printf("139 SetRegister, %d failed or not stored\n", failures);
  bench::Report("139 SetRegister", measured, bench::LineMs(bytes), 0);
  bench::PrintPacedResult("139 SetRegister", measured, bench::LineMs(bytes),
                          bench::LineMs(bench::FrameBytes("A")) * kCount);
  return failures == 0 ? 0 : 2;
}
