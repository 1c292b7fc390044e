#pragma once
// Serial devices that come and go while the program runs: a USB adapter plugged in or pulled out. The
// system's device manager reports tty devices by their node ("/dev/ttyUSB0"); the monitor turns each node
// into the "COM" name the port list knows it by and tells the window, on the event loop's thread.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_loop.h"

namespace platform {

struct DeviceEvent {
  enum class Action { kAdded, kRemoved };
  Action action = Action::kAdded;
  std::string node;                // "/dev/ttyUSB0"
  std::vector<std::string> links;  // other names of the node ("/dev/serial/by-id/usb-FTDI_...")
};

// Where device events come from: a descriptor that turns readable while events wait, and the events.
class DeviceEventSource {
 public:
  virtual ~DeviceEventSource() = default;
  virtual int Descriptor() const = 0;
  // The events waiting now, oldest first; empty when there are none. Never blocks.
  virtual std::vector<DeviceEvent> TakeEvents() = 0;
};

// Events of the tty subsystem from udev. nullptr, with the reason in `why`, where udev cannot be asked
// (a container without its netlink socket): the program then simply does not follow devices.
std::unique_ptr<DeviceEventSource> OpenTtyEventSource(std::string* why = nullptr);

class HotplugMonitor {
 public:
  // Watches `source` on the current event loop. Without a source (nullptr) the monitor stays idle.
  explicit HotplugMonitor(std::unique_ptr<DeviceEventSource> source);
  ~HotplugMonitor();
  HotplugMonitor(const HotplugMonitor&) = delete;
  HotplugMonitor& operator=(const HotplugMonitor&) = delete;

  bool Active() const { return source_ != nullptr; }

  // Called with the port's "COM" name ("COM3"). Nodes that are no serial port of the port list (consoles,
  // pseudo-terminals nobody mapped) are not reported.
  std::function<void(const std::string& com_name)> OnArrival;
  std::function<void(const std::string& com_name)> OnRemoval;

 private:
  void TakeAndDispatch();
  void Dispatch(const DeviceEvent& event);
  // Node (or link) to "COM" name, as the port list stood when last asked.
  void Remember();
  std::string NameOf(const DeviceEvent& event) const;

  std::unique_ptr<DeviceEventSource> source_;
  std::unique_ptr<LoopWatch> watch_;
  // A removed device is gone from the system's list by the time its event comes: its name is the one it
  // had before.
  std::map<std::string, std::string> names_;
};

}  // namespace platform
