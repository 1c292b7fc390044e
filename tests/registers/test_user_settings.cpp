// The per-user settings file: its place, the application's settings, and the port maps that the emulator
// writes and the port lists read.

#include "registers/user_settings.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/hid_ports.h"
#include "platform/seqpacket.h"
#include "platform/serial_registry.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::ScopedEnv;
using test_support::TempDir;

TEST(UserSettings, LiveInTheXdgFolderAndFallBackToDefaults) {
  TempDir dir;
  ScopedEnv xdg("XDG_CONFIG_HOME", dir.path());
  EXPECT_EQ(UserSettingsPath(), dir.File("zk4100_MSR/settings.ini"));
  EXPECT_EQ(GetUserSetting("COMM", "Port", "COM4"), "COM4");
  EXPECT_TRUE(dir.List().empty());  // reading creates nothing

  ASSERT_TRUE(SaveUserSetting("COMM", "Port", "COM7"));
  ASSERT_TRUE(SaveUserSetting("General", "Cache", "FALSE"));
  EXPECT_EQ(GetUserSetting("comm", "port", "COM4"), "COM7");
  EXPECT_EQ(dir.ReadFile("zk4100_MSR/settings.ini"), "[COMM]\nPort = COM7\n[General]\nCache = FALSE\n");
}

TEST(UserSettings, PortMapEntriesReachThePortListAndLeaveOnlyWithTheirDevice) {
  TempDir dir;
  ScopedEnv xdg("XDG_CONFIG_HOME", dir.path());
  TempDir no_hardware;  // an empty sysfs, so this machine's own ports stay out of the list
  platform::SetSysfsRootForTesting(no_hardware.path());
  InstallUserPortMap();

  ASSERT_TRUE(RegisterUserPort("COM3", "/dev/pts/71"));
  ASSERT_TRUE(RegisterUserPort("COM5", "/dev/pts/72"));
  std::optional<platform::SerialPortInfo> port = platform::FindSerialPort(3);
  ASSERT_TRUE(port.has_value());
  EXPECT_EQ(port->device, "/dev/pts/71");
  EXPECT_TRUE(port->from_user_map);

  // A second emulator took COM3 over; the first one ending must not remove the new line.
  ASSERT_TRUE(RegisterUserPort("COM3", "/dev/pts/80"));
  EXPECT_FALSE(UnregisterUserPort("COM3", "/dev/pts/71"));
  EXPECT_EQ(platform::FindSerialPort(3)->device, "/dev/pts/80");
  EXPECT_TRUE(UnregisterUserPort("COM3", "/dev/pts/80"));
  EXPECT_FALSE(platform::FindSerialPort(3).has_value());
  EXPECT_EQ(platform::FindSerialPort(5)->device, "/dev/pts/72");

  platform::SetUserPortMapSource(nullptr);
  platform::SetSysfsRootForTesting("");
}

TEST(UserSettings, HidPortMapLinesReachTheBridgeList) {
  TempDir dir;
  ScopedEnv xdg("XDG_CONFIG_HOME", dir.path());
  platform::SetHidDevicesForTesting(std::vector<platform::FoundHidDevice>{});  // no real bridges
  InstallUserPortMap();
  std::string error;
  const int listener = platform::ListenSeqpacket(dir.File("bridge.sock"), error);

  ASSERT_TRUE(RegisterUserHidPort("HID2", dir.File("bridge.sock")));
  const std::optional<platform::HidPortInfo> port = platform::FindHidPort(2);
  EXPECT_TRUE(port.has_value() && port->emulated && port->device == dir.File("bridge.sock"));
  EXPECT_FALSE(UnregisterUserHidPort("HID2", dir.File("another.sock")));
  EXPECT_TRUE(UnregisterUserHidPort("HID2", dir.File("bridge.sock")));
  EXPECT_TRUE(platform::ListHidPorts().empty());

  close(listener);
  platform::SetUserPortMapSource(nullptr);
  platform::SetUserHidPortMapSource(nullptr);
  platform::SetHidDevicesForTesting(std::nullopt);
}

}  // namespace
