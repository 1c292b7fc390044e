// Finding serial devices on Linux: sysfs knows every tty and the hardware behind it.
#include <filesystem>
#include <fstream>
#include <mutex>

#include "platform/serial_registry.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

struct RegistryConfig {
  std::string sysfs_root = "/sys";
  std::string device_folder = "/dev";
  PortMapSource user_map;
};

std::mutex g_mutex;
RegistryConfig g_config;

RegistryConfig Config() {
  std::lock_guard lock(g_mutex);
  return g_config;
}

std::string ReadAttribute(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  if (!in || !std::getline(in, line)) return {};
  while (!line.empty() && (line.back() == ' ' || line.back() == '\r' || line.back() == '\t')) line.pop_back();
  return line;
}

// The serial core shows the UART it detected as `type`; 0 means no UART answered. The 8250 driver
// registers a fixed number of such placeholder ports whether or not the hardware exists.
bool IsPlaceholderUart(const fs::path& tty_dir) {
  std::error_code ec;
  if (!fs::exists(tty_dir / "type", ec)) return false;
  const std::string type = ReadAttribute(tty_dir / "type");
  return type.empty() || type == "0";
}

// What the USB device behind a tty says of itself.
struct UsbStrings {
  std::string description;  // "FTDI FT232R USB UART"
  std::string serial;       // "A50285BI"
};

// The USB device's own strings, found a few levels above the tty's device (the interface, then the device
// itself). The serial number is taken from the same level as the description: a level further up is a
// hub or the host controller, whose serial number says nothing about the adapter.
UsbStrings ReadUsbStrings(const fs::path& device_dir) {
  std::error_code ec;
  fs::path dir = fs::canonical(device_dir, ec);
  if (ec) return {};
  for (int level = 0; level < 4 && dir.has_relative_path(); ++level, dir = dir.parent_path()) {
    const std::string manufacturer = ReadAttribute(dir / "manufacturer");
    const std::string product = ReadAttribute(dir / "product");
    if (manufacturer.empty() && product.empty()) continue;
    UsbStrings strings{{}, ReadAttribute(dir / "serial")};
    if (manufacturer.empty() || product.empty()) {
      strings.description = manufacturer + product;
    } else if (product.rfind(manufacturer, 0) == 0) {
      strings.description = product;  // many adapters repeat the maker in the product string
    } else {
      strings.description = manufacturer + " " + product;
    }
    return strings;
  }
  return {};
}

std::vector<FoundDevice> FindDevices(const RegistryConfig& config) {
  std::vector<FoundDevice> found;
  std::error_code ec;
  const fs::path class_dir = fs::path(config.sysfs_root) / "class" / "tty";
  for (const fs::directory_entry& entry : fs::directory_iterator(class_dir, ec)) {
    const fs::path tty_dir = entry.path();
    const std::string name = tty_dir.filename().string();
    std::error_code link_ec;
    // Virtual terminals, the console and ptys have no hardware device behind them.
    if (!fs::exists(tty_dir / "device", link_ec)) continue;
    if (IsPlaceholderUart(tty_dir)) continue;
    const fs::path node = fs::path(config.device_folder) / name;
    if (name.rfind("ttyS", 0) == 0 && !fs::exists(node, link_ec)) continue;
    UsbStrings usb = ReadUsbStrings(tty_dir / "device");
    found.push_back({node.string(), std::move(usb.description), std::move(usb.serial)});
  }
  return found;
}

// Two names of one device (a /dev/serial/by-id link and its target) must count as one.
std::string Resolve(const std::string& device) {
  std::error_code ec;
  const fs::path real = fs::canonical(device, ec);
  return ec ? device : real.string();
}

}  // namespace

void SetUserPortMapSource(PortMapSource source) {
  std::lock_guard lock(g_mutex);
  g_config.user_map = std::move(source);
}

void SetSysfsRootForTesting(const std::string& root) {
  std::lock_guard lock(g_mutex);
  g_config.sysfs_root = root.empty() ? "/sys" : root;
}

void SetDeviceFolderForTesting(const std::string& folder) {
  std::lock_guard lock(g_mutex);
  g_config.device_folder = folder.empty() ? "/dev" : folder;
}

std::vector<SerialPortInfo> ListSerialPorts() {
  const RegistryConfig config = Config();
  std::vector<FoundDevice> found = FindDevices(config);
  for (FoundDevice& device : found) device.device = Resolve(device.device);

  const std::vector<PortMapEntry> user_map =
      config.user_map ? config.user_map() : std::vector<PortMapEntry>{};
  std::vector<PortMapEntry> resolved_map = user_map;
  for (PortMapEntry& entry : resolved_map) entry.device = Resolve(entry.device);

  std::vector<SerialPortInfo> ports = AssignPortNumbers(found, resolved_map);
  // A user entry is shown as the user wrote it: a by-id link stays valid when adapters are renumbered.
  for (SerialPortInfo& port : ports) {
    if (!port.from_user_map) continue;
    for (size_t i = 0; i < resolved_map.size(); ++i) {
      if (resolved_map[i].device == port.device) {
        port.device = user_map[i].device;
        break;
      }
    }
  }
  return ports;
}

std::optional<SerialPortInfo> FindSerialPort(int number) {
  for (SerialPortInfo& port : ListSerialPorts()) {
    if (port.number == number) return std::move(port);
  }
  return std::nullopt;
}

}  // namespace platform
