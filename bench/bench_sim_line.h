#pragma once
// What the device-command benchmarks share: paced emulated readers at 19200 baud listed as "COM"n, an
// engine on them, and the line time the exchanged bytes need (10 bits a byte, both directions).

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/result_line.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/serial_registry.h"
#include "sim/emulated_reader.h"

namespace bench {

// A reader that sends at the line's byte time and answers without delay.
inline msrsim::ReaderConfig PacedReader() {
  msrsim::ReaderConfig config;
  config.pacing = true;
  config.latency_ms = 0;
  return config;
}

// Readers on pseudo-terminals, the only serial ports the engine sees.
class SimLines {
 public:
  SimLines() { platform::SetSysfsRootForTesting("/nonexistent-sysfs"); }  // this machine's ports stay out
  ~SimLines() {
    platform::SetUserPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
  }

  msrsim::EmulatedReader* Add(const std::string& com_name, const msrsim::ReaderConfig& config) {
    auto reader = std::make_unique<msrsim::EmulatedReader>(config);
    std::string error;
    if (!reader->Start(&error)) {
      std::fprintf(stderr, "cannot start a reader: %s\n", error.c_str());
      return nullptr;
    }
    map_.push_back({com_name, reader->Path()});
    const std::vector<platform::PortMapEntry> map = map_;
    platform::SetUserPortMapSource([map] { return map; });
    readers_.push_back(std::move(reader));
    return readers_.back().get();
  }

 private:
  std::vector<platform::PortMapEntry> map_;
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers_;
};

// Opens `com_name` at 19200 baud; false with a message when it cannot.
inline bool OpenAt19200(ucGNet& gnet, const std::string& com_name) {
  gnet.SetCommPort(com_name);
  gnet.SetPortOpen(true);
  if (!gnet.PortOpen()) {
    std::fprintf(stderr, "cannot open %s\n", com_name.c_str());
    return false;
  }
  gnet.SetSettings("19200,N,8,1");
  return true;
}

// One result line: the measured time, what the line needs, the waits the protocol itself mandates
// (time-outs and quiet periods that no implementation may shorten), and the ratio of the measured time
// to their sum.
inline void Report(const char* what, double measured_ms, double line_ms, double mandated_ms) {
  std::printf("%-34s %10.1f ms   line %9.1f ms   mandated %8.1f ms   ratio %6.3f\n", what, measured_ms,
              line_ms, mandated_ms, measured_ms / (line_ms + mandated_ms));
}

inline double ElapsedMs(int64_t start_us) {
  return static_cast<double>(platform::MonotonicMicros() - start_us) / 1000.0;
}

}  // namespace bench
