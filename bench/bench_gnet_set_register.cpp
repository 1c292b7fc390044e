// 139 SetRegister calls against a paced emulated reader at 19200 baud, on a pty or with "--hid" behind
// the emulated USB HID bridge. The registers written leave the reader's own line settings (0-4) and its
// alias (224-239) alone.

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"

int main(int argc, char** argv) {
  const std::optional<bench::BenchPort> port = bench::PortFromArgs(argc, argv);
  if (!port) return 1;
  bench::SimLines lines;
  msrsim::EmulatedReader* reader = lines.Add(port->name, bench::PacedReader());
  if (!reader) return 1;
  ucGNet gnet;
  if (!bench::OpenAt19200(gnet, port->name)) return 1;

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
  const std::string operation = port->Operation("139 SetRegister");
  std::printf("%s, %d failed or not stored\n", operation.c_str(), failures);
  bench::Report(operation, measured, bench::LineMs(bytes), 0);
  bench::PrintPacedResult(operation, measured, bench::LineMs(bytes),
                          bench::LineMs(bench::FrameBytes("A")) * kCount, port->Carrier());
  return failures == 0 ? 0 : 2;
}
