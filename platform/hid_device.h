#pragma once
// One HID bridge opened for report exchange: a hidraw node, or the seqpacket socket of an emulated bridge,
// which carries one report per packet exactly as hidraw does. The descriptor is watched by the event loop:
// every input report is handed over on the loop's thread as it arrives, nothing blocks and no thread is
// needed.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_loop.h"
#include "platform/serial_control.h"

namespace platform {

// Reports are numbered and 64 bytes long, the report ID first.
inline constexpr size_t kHidReportSize = 64;

class HidDevice {
 public:
  virtual ~HidDevice() = default;

  // Opens `path` (a hidraw node or a socket) for reading and writing. A failure says why, with its kind:
  // kNoPermission names the udev rule that grants access, kNotPresent a node or socket that is gone.
  virtual PortResult Open(const std::string& path) = 0;
  // Closes the device; no OnLost follows.
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
  // The open descriptor, or -1.
  virtual int Descriptor() const = 0;
  // What Open was last given.
  virtual const std::string& Path() const = 0;

  // Sends one output report (report ID first) without blocking. False when the device is closed, gone, or
  // cannot take the report now.
  virtual bool WriteReport(const std::vector<uint8_t>& report) = 0;
  // Hands over through OnReport, at once, every input report that waits now, so code that polls between
  // loop dispatches sees reports as they come. Never blocks; a device that is gone is left to the loop's
  // watch, which reports it. A device that hands reports over as they come needs nothing here.
  virtual void ReadWaiting() {}

  // Each input report as one read gave it (its length as the device sent it), on the loop's thread.
  std::function<void(const std::vector<uint8_t>& report)> OnReport;
  // The device went away (unplugged, the emulator ended): it is closed by the time this is called.
  std::function<void()> OnLost;
};

// The real device. Its descriptor is watched by `loop` (nullptr: the current loop when opened).
std::unique_ptr<HidDevice> CreateHidDevice(EventLoop* loop = nullptr);

// The line of the shipped udev rule to name when a bridge cannot be opened for lack of permission.
inline constexpr const char* kHidUdevRuleFile = "70-msrcfg-hid-bridge.rules";

}  // namespace platform
