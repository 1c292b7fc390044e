#pragma once
// Devices that come and go while the program runs: a serial adapter or a HID bridge plugged in or pulled
// out. The system's device manager reports them by their node ("/dev/ttyUSB0", "/dev/hidraw2"); the
// monitor turns each node into the name the port list knows it by ("COM3", "HID3") and tells the window,
// on the event loop's thread.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
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
// Events of the hidraw subsystem (HID bridges and every other HID device) from udev, likewise.
std::unique_ptr<DeviceEventSource> OpenHidrawEventSource(std::string* why = nullptr);

// The (node, name) pairs of a port list as it stands now.
using DeviceNamer = std::function<std::vector<std::pair<std::string, std::string>>()>;
DeviceNamer SerialPortNames();  // "/dev/ttyUSB0" -> "COM3", from ListSerialPorts
DeviceNamer HidPortNames();     // "/dev/hidraw2" -> "HID3", from ListHidPorts

class HotplugMonitor {
 public:
  // Watches `source` on the current event loop and names its nodes through `namer`. Without a source
  // (nullptr) the monitor stays idle.
  explicit HotplugMonitor(std::unique_ptr<DeviceEventSource> source, DeviceNamer namer = SerialPortNames());
  ~HotplugMonitor();
  HotplugMonitor(const HotplugMonitor&) = delete;
  HotplugMonitor& operator=(const HotplugMonitor&) = delete;

  bool Active() const { return source_ != nullptr; }

  // Called with the port's name ("COM3", "HID3"). Nodes that are no port of the list (consoles,
  // pseudo-terminals nobody mapped, keyboards and other HID devices) are not reported.
  std::function<void(const std::string& name)> OnArrival;
  std::function<void(const std::string& name)> OnRemoval;

 private:
  void TakeAndDispatch();
  void Dispatch(const DeviceEvent& event);
  // Node (or link) to port name, as the port list stood when last asked.
  void Remember();
  std::string NameOf(const DeviceEvent& event) const;

  std::unique_ptr<DeviceEventSource> source_;
  DeviceNamer namer_;
  std::unique_ptr<LoopWatch> watch_;
  // A removed device is gone from the system's list by the time its event comes: its name is the one it
  // had before, kept here until its removal is read.
  std::map<std::string, std::string> names_;
};

}  // namespace platform
