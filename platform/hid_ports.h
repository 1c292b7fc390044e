#pragma once
// Which HID bridges this machine has and the "HID" number each one answers to.
//
// Real bridges are the kernel's hidraw nodes whose HID device carries the bridge's vendor and product
// numbers, found through udev. Entries of the per-user map (section HIDPorts of the settings file, e.g.
// "HID2 = /dev/hidraw3" or "HID1 = /run/user/1000/msrsim-1.hid") give a node a fixed number, or name the
// seqpacket socket of an emulated bridge; they win over the automatic numbers. An automatic number is the
// hidraw node's own number plus one when that is free, so a bridge keeps its number while it stays plugged
// in, whatever else comes and goes.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/serial_registry.h"

namespace platform {

inline constexpr unsigned kHidBridgeVendor = 0x2A7C;
inline constexpr unsigned kHidBridgeProduct = 0x0005;
inline constexpr int kHighestHidNumber = 256;

struct HidPortInfo {
  int number = 0;       // the n of "HID"n, 1 to 256
  std::string name;     // "HID1"
  std::string device;   // "/dev/hidraw2", or the path of an emulated bridge's socket
  std::string product;  // the device's product name ("... HID Bridge"); "msrsim bridge" for an emulated one
  std::string serial;   // the USB serial number where the device has one
  bool from_user_map = false;
  bool emulated = false;  // a seqpacket socket rather than a hidraw node
};

// The per-user map is read by the layer that owns the settings file; it installs a source here.
void SetUserHidPortMapSource(PortMapSource source);

// Every bridge, sorted by number. Asks udev and the user map afresh on each call. A user-map line whose
// socket or node does not exist is left out.
std::vector<HidPortInfo> ListHidPorts();
// The bridge that answers to "HID"`number`, if there is one.
std::optional<HidPortInfo> FindHidPort(int number);

// The numbering rules on their own, for tests: hidraw nodes as udev found them (path, product, serial).
struct FoundHidDevice {
  std::string device;  // "/dev/hidraw3"
  std::string product;
  std::string serial;
};
std::vector<HidPortInfo> AssignHidNumbers(const std::vector<FoundHidDevice>& devices,
                                          const std::vector<PortMapEntry>& user_map);

// The bridges' hidraw nodes as the system lists them now; empty where it cannot be asked.
std::vector<FoundHidDevice> FindHidBridgeNodes();
// True for a HID device identity "BUS:VVVVVVVV:PPPPPPPP" (hexadecimal, as udev's HID_ID shows it) that
// carries the bridge's vendor and product numbers.
bool IsHidBridgeId(const std::string& hid_id);

// Instead of asking udev, list these devices (tests); nullopt asks udev again.
void SetHidDevicesForTesting(std::optional<std::vector<FoundHidDevice>> devices);

}  // namespace platform
