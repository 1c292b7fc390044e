#pragma once
// Which serial ports this machine has and the "COM" number each one answers to.
//
// Real devices come from sysfs; the legacy 8250 placeholders that exist without hardware are left out.
// On-board ports ttySn are COM(n+1); USB adapters (ttyUSB, ttyACM) take free numbers from 1 to 16, because
// the reader scan skips numbers above 16. Entries of the per-user map (section SerialPorts of the settings
// file, e.g. "COM3 = /dev/pts/7") add ports or give a device another number, and win over the automatic ones.

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct SerialPortInfo {
  int number = 0;           // the n of "COM"n
  std::string name;         // "COM3"
  std::string device;       // "/dev/ttyUSB0"
  std::string description;  // e.g. "FTDI FT232R USB UART", or empty
  bool from_user_map = false;
  // The USB adapter's serial number, e.g. "A50285BI"; empty where it has none. Given a default so that
  // the lists that know no serial number can leave it out.
  std::string usb_serial = {};
};

struct PortMapEntry {
  std::string name;    // "COM3" (any case)
  std::string device;  // path of the device
};

// The per-user map is read by the layer that owns the settings file; it installs a source here.
using PortMapSource = std::function<std::vector<PortMapEntry>()>;
void SetUserPortMapSource(PortMapSource source);

// Every port, sorted by number. Reads sysfs and the user map afresh on each call.
std::vector<SerialPortInfo> ListSerialPorts();
// The port that answers to "COM"`number`, if there is one.
std::optional<SerialPortInfo> FindSerialPort(int number);

// The numbering rules on their own, for tests: `devices` as found in sysfs (path, description, serial).
struct FoundDevice {
  std::string device;
  std::string description;
  std::string usb_serial = {};  // as in SerialPortInfo
};
std::vector<SerialPortInfo> AssignPortNumbers(const std::vector<FoundDevice>& devices,
                                              const std::vector<PortMapEntry>& user_map);

// Reads devices from another sysfs tree ("" restores /sys), so tests do not depend on this machine's ports.
void SetSysfsRootForTesting(const std::string& root);
// Looks for device nodes in another folder ("" restores /dev); the listed devices are then named there.
void SetDeviceFolderForTesting(const std::string& folder);

}  // namespace platform
