// 200 ControlCommand(GetHIDVersion) through the emulated USB HID bridge: what one control command costs
// (a request report out, the bridge's reply report back, the wait on the loop between). The bridge
// answers itself, without the reader's UART, so no line time bounds it.

#include <algorithm>
#include <cstring>
#include <vector>

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"
#include "comm/clsGHIDComm.h"
#include "sim/hid_bridge.h"

int main() {
  bench::SimLines lines;
  if (!lines.Add("HID1", bench::PacedReader())) return 1;
  ucGNet gnet;
  if (!bench::OpenAt19200(gnet, "HID1")) return 1;

  constexpr int kCommands = 200;
  const hid_reports::Bytes expected(msrsim::HidBridge::kVersionText,
                                    msrsim::HidBridge::kVersionText + std::strlen(msrsim::HidBridge::kVersionText));
  int failures = 0;
  std::vector<int64_t> samples;
  const int64_t start = platform::MonotonicMicros();
  for (int i = 0; i < kCommands; ++i) {
    const int64_t command_start = platform::MonotonicMicros();
    hid_reports::Bytes version;
    if (!gnet.HidPort().ControlCommand(hid_reports::GetHIDVersion, {}, &version) || version != expected) {
      ++failures;
    }
    samples.push_back(platform::MonotonicMicros() - command_start);
  }
  const double mean_us = static_cast<double>(platform::MonotonicMicros() - start) / kCommands;
  std::sort(samples.begin(), samples.end());
  const auto median_us = static_cast<double>(samples[samples.size() / 2]);
  const auto max_us = static_cast<double>(samples.back());

  std::printf("%d ControlCommand(GetHIDVersion) via the emulated HID bridge, %d failed\n", kCommands, failures);
  std::printf("  per command (mean)    %8.1f us\n", mean_us);
  std::printf("  per command (median)  %8.1f us\n", median_us);
  std::printf("  slowest               %8.1f us\n", max_us);
  char note[120];
  std::snprintf(note, sizeof note, "mean of %d commands; median %.1f us, slowest %.1f us", kCommands, median_us,
                max_us);
  bench::PrintTimeResult("ControlCommand(GetHIDVersion) via HID bridge, per command", mean_us / 1000, note);
  return failures == 0 ? 0 : 2;
}
