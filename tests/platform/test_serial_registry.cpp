#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/serial_registry.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

// "COM1=/dev/ttyS0 COM9=/dev/pts/3*": the result in one line; "*" marks an entry of the user map.
std::string Listing(const std::vector<SerialPortInfo>& ports) {
  std::string text;
  for (const SerialPortInfo& port : ports) {
    text += (text.empty() ? "" : " ") + port.name + "=" + port.device + (port.from_user_map ? "*" : "");
  }
  return text;
}

struct NumberingCase {
  const char* what;
  std::vector<std::string> devices;  // names under /dev
  std::vector<PortMapEntry> user_map;
  const char* expected;
};

TEST(SerialPortNumbering, AutomaticNumbersAndTheUserMap) {
  const NumberingCase cases[] = {
      {"on-board ports keep n+1, adapters fill the gaps",
       {"ttyUSB0", "ttyS1", "ttyS0", "ttyACM0", "ttyS3"},
       {},
       "COM1=/dev/ttyS0 COM2=/dev/ttyS1 COM3=/dev/ttyACM0 COM4=/dev/ttyS3 COM5=/dev/ttyUSB0"},
      {"adapters in name order, numbers by value",
       {"ttyUSB10", "ttyUSB2", "ttyUSB1"},
       {},
       "COM1=/dev/ttyUSB1 COM2=/dev/ttyUSB2 COM3=/dev/ttyUSB10"},
      {"no number beyond COM256", {"ttyS255", "ttyS256"}, {}, "COM1=/dev/ttyS256 COM256=/dev/ttyS255"},
      {"a pty is added", {"ttyS0"}, {{"COM9", "/dev/pts/3"}}, "COM1=/dev/ttyS0 COM9=/dev/pts/3*"},
      {"a claimed number pushes the automatic device on",
       {"ttyS0", "ttyUSB0"},
       {{"com1", "/dev/pts/3"}},
       "COM1=/dev/pts/3* COM2=/dev/ttyS0 COM3=/dev/ttyUSB0"},
      {"a claimed device is listed once",
       {"ttyUSB0", "ttyUSB1"},
       {{"COM12", "/dev/ttyUSB0"}},
       "COM1=/dev/ttyUSB1 COM12=/dev/ttyUSB0*"},
      {"bad names are ignored",
       {},
       {{"COM0", "/dev/a"},
        {"COM257", "/dev/b"},
        {"PORT3", "/dev/c"},
        {"COM2x", "/dev/e"},
        {"COM5", ""},
        {" Com256 ", "/dev/f"}},
       "COM256=/dev/f*"},
      {"the first entry for a number or a device counts",
       {},
       {{"COM2", "/dev/a"}, {"COM2", "/dev/b"}, {"COM3", "/dev/a"}},
       "COM2=/dev/a*"},
  };
  for (const NumberingCase& c : cases) {
    std::vector<FoundDevice> devices;
    for (const std::string& name : c.devices) devices.push_back({"/dev/" + name, ""});
    EXPECT_EQ(Listing(AssignPortNumbers(devices, c.user_map)), c.expected) << c.what;
  }
  // With COM1 to COM16 taken, an adapter gets the next free number above them.
  std::vector<FoundDevice> crowded{{"/dev/ttyUSB0", ""}};
  for (int i = 0; i < 16; ++i) crowded.push_back({"/dev/ttyS" + std::to_string(i), ""});
  EXPECT_EQ(AssignPortNumbers(crowded, {}).back().name, "COM17");
}

TEST(SerialPortRegistry, ReadsSysfsAndMatchesTheUserMapByRealPath) {
  test_support::TempDir tree("sysfs");
  const fs::path sys = tree.File("sys");
  const fs::path dev = tree.File("dev");
  // tty name, its folder, the device folder it links to, the UART type ("" for none).
  const char* ttys[][4] = {
      {"ttyS0", "pnp0/00:01/tty/ttyS0", "pnp0/00:01", "4"},
      {"ttyS1", "platform/serial8250/tty/ttyS1", "platform/serial8250", "0"},  // placeholder, no UART
      {"ttyS2", "platform/serial8250/tty/ttyS2", "platform/serial8250", "4"},  // no /dev node
      {"ttyUSB0", "usb1/1-2/1-2:1.0/ttyUSB0/tty/ttyUSB0", "usb1/1-2/1-2:1.0/ttyUSB0", ""},
      {"ttyACM0", "usb1/1-3/1-3:1.0/tty/ttyACM0", "usb1/1-3/1-3:1.0", ""},
      {"tty1", "virtual/tty/tty1", "", ""},  // no device behind it
  };
  fs::create_directories(sys / "class/tty");
  fs::create_directories(dev / "serial/by-id");
  for (const auto& [name, folder, device, type] : ttys) {
    fs::create_directories(sys / "devices" / folder);
    fs::create_directory_symlink(sys / "devices" / folder, sys / "class/tty" / name);
    if (*device) fs::create_directory_symlink(sys / "devices" / device, sys / "devices" / folder / "device");
    if (*type) tree.WriteFile("sys/devices/" + std::string(folder) + "/type", std::string(type) + "\n");
    if (std::string(name) != "ttyS2") tree.WriteFile("dev/" + std::string(name), "");
  }
  tree.WriteFile("sys/devices/usb1/1-2/manufacturer", "FTDI\n");
  tree.WriteFile("sys/devices/usb1/1-2/product", "FT232R USB UART\n");
  tree.WriteFile("sys/devices/usb1/1-3/product", "Card Reader\n");
  // The adapter's serial number; the card reader has none, and the host controller's is not its.
  tree.WriteFile("sys/devices/usb1/1-2/serial", "A50285BI\n");
  tree.WriteFile("sys/devices/usb1/serial", "0000:00:14.0\n");
  SetSysfsRootForTesting(sys);
  SetDeviceFolderForTesting(dev);

  auto ports = ListSerialPorts();
  const std::string d = dev.string();
  EXPECT_EQ(Listing(ports), "COM1=" + d + "/ttyS0 COM2=" + d + "/ttyACM0 COM3=" + d + "/ttyUSB0");
  ASSERT_EQ(ports.size(), 3u);
  EXPECT_EQ(ports[1].description, "Card Reader");
  EXPECT_EQ(ports[2].description, "FTDI FT232R USB UART");
  EXPECT_EQ(ports[1].usb_serial, "");
  EXPECT_EQ(ports[2].usb_serial, "A50285BI");

  // The user's by-id link is the adapter itself: it takes COM2 and is shown as the user wrote it.
  const std::string by_id = d + "/serial/by-id/usb-FTDI-if00";
  fs::create_symlink(dev / "ttyUSB0", by_id);
  SetUserPortMapSource([by_id] { return std::vector<PortMapEntry>{{"COM2", by_id}}; });
  EXPECT_EQ(Listing(ListSerialPorts()), "COM1=" + d + "/ttyS0 COM2=" + by_id + "* COM3=" + d + "/ttyACM0");
  EXPECT_EQ(FindSerialPort(2).value_or(SerialPortInfo{}).description, "FTDI FT232R USB UART");
  EXPECT_EQ(FindSerialPort(2).value_or(SerialPortInfo{}).usb_serial, "A50285BI");
  EXPECT_FALSE(FindSerialPort(4).has_value());

  SetUserPortMapSource(nullptr);
  SetSysfsRootForTesting("");
  SetDeviceFolderForTesting("");
}

}  // namespace
}  // namespace platform
