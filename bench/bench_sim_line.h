#pragma once
// What the device-command benchmarks share: paced emulated readers at 19200 baud listed as "COM"n or,
// behind an emulated USB HID bridge, as "HID"n; an engine on them, and the line time the exchanged bytes
// need (10 bits a byte, both directions).

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/result_line.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/hid_ports.h"
#include "platform/serial_registry.h"
#include "sim/emulated_reader.h"

namespace bench {

// The port a benchmark's reader stands behind. The serial and the HID rows run the same program, so
// the two differ in the port alone.
struct BenchPort {
  std::string name = "COM1";
  bool hid = false;
  // The row's operation text; the HID rows say so.
  std::string Operation(const std::string& what) const { return hid ? what + " via HID bridge" : what; }
  // What hands the host's requests to the reader without line time.
  const char* Carrier() const { return hid ? "the emulated bridge" : "a pty"; }
};

// No argument: a pty as "COM1"; "--hid": the emulated bridge as "HID1". Anything else is refused.
inline std::optional<BenchPort> PortFromArgs(int argc, char** argv) {
  if (argc == 1) return BenchPort{};
  if (argc == 2 && std::strcmp(argv[1], "--hid") == 0) return BenchPort{"HID1", true};
  std::fprintf(stderr, "usage: %s [--hid]\n", argv[0]);
  return std::nullopt;
}

// A reader that sends at the line's byte time and answers without delay.
inline msrsim::ReaderConfig PacedReader() {
  msrsim::ReaderConfig config;
  config.pacing = true;
  config.latency_ms = 0;
  return config;
}

// Readers on pseudo-terminals and behind emulated bridges, the only ports the engine sees: this
// machine's own serial ports and bridges stay out.
class SimLines {
 public:
  SimLines() {
    platform::SetSysfsRootForTesting("/nonexistent-sysfs");
    platform::SetHidDevicesForTesting(std::vector<platform::FoundHidDevice>{});
  }
  ~SimLines() {
    platform::SetUserPortMapSource(nullptr);
    platform::SetUserHidPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
    platform::SetHidDevicesForTesting(std::nullopt);
  }

  // A reader listed as `port_name`: "COM"n puts it on a pty, "HID"n behind an emulated bridge.
  msrsim::EmulatedReader* Add(const std::string& port_name, msrsim::ReaderConfig config) {
    config.hid = port_name.rfind("HID", 0) == 0;
    auto reader = std::make_unique<msrsim::EmulatedReader>(config);
    std::string error;
    if (!reader->Start(&error)) {
      std::fprintf(stderr, "cannot start a reader: %s\n", error.c_str());
      return nullptr;
    }
    std::vector<platform::PortMapEntry>& map = config.hid ? hid_map_ : map_;
    map.push_back({port_name, reader->Path()});
    if (config.hid) {
      platform::SetUserHidPortMapSource([map] { return map; });
    } else {
      platform::SetUserPortMapSource([map] { return map; });
    }
    readers_.push_back(std::move(reader));
    return readers_.back().get();
  }

 private:
  std::vector<platform::PortMapEntry> map_;
  std::vector<platform::PortMapEntry> hid_map_;
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers_;
};

// Opens `port_name` at 19200 baud; false with a message when it cannot.
inline bool OpenAt19200(ucGNet& gnet, const std::string& port_name) {
  gnet.SetCommPort(port_name);
  gnet.SetPortOpen(true);
  if (!gnet.PortOpen()) {
    std::fprintf(stderr, "cannot open %s\n", port_name.c_str());
    return false;
  }
  gnet.SetSettings("19200,N,8,1");
  return true;
}

// One result line: the measured time, what the line needs, the waits the protocol itself mandates
// (time-outs and quiet periods that no implementation may shorten), and the ratio of the measured time
// to their sum.
inline void Report(const std::string& what, double measured_ms, double line_ms, double mandated_ms) {
  std::printf("%-34s %10.1f ms   line %9.1f ms   mandated %8.1f ms   ratio %6.3f\n", what.c_str(), measured_ms,
              line_ms, mandated_ms, measured_ms / (line_ms + mandated_ms));
}

inline double ElapsedMs(int64_t start_us) {
  return static_cast<double>(platform::MonotonicMicros() - start_us) / 1000.0;
}

}  // namespace bench
