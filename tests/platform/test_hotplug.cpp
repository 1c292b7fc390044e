#include <gtest/gtest.h>
#include <unistd.h>

#include <utility>

#include "platform/clock.h"
#include "platform/hid_ports.h"
#include "platform/hotplug.h"
#include "platform/serial_registry.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

// Events a test queues; a byte in a pipe wakes the loop the way the device manager's socket would.
class FakeDeviceEvents final : public DeviceEventSource {
 public:
  FakeDeviceEvents() { EXPECT_EQ(pipe(fds_), 0); }
  ~FakeDeviceEvents() override {
    close(fds_[0]);
    close(fds_[1]);
  }
  int Descriptor() const override { return fds_[0]; }
  std::vector<DeviceEvent> TakeEvents() override {
    char wake;
    EXPECT_EQ(read(fds_[0], &wake, 1), 1);
    return std::exchange(queued_, {});
  }
  void Send(std::vector<DeviceEvent> events) {
    queued_ = std::move(events);
    ASSERT_EQ(write(fds_[1], "x", 1), 1);
  }

 private:
  int fds_[2] = {-1, -1};
  std::vector<DeviceEvent> queued_;
};

constexpr auto kAdded = DeviceEvent::Action::kAdded;
constexpr auto kRemoved = DeviceEvent::Action::kRemoved;

// A monitor on fake events that records what it reports: "+COM7", "-COM5".
struct MonitorUnderTest {
  explicit MonitorUnderTest(DeviceNamer namer) : monitor(std::unique_ptr<FakeDeviceEvents>(source), namer) {
    monitor.OnArrival = [this](const std::string& name) { heard.push_back("+" + name); };
    monitor.OnRemoval = [this](const std::string& name) { heard.push_back("-" + name); };
  }
  void Deliver(std::vector<DeviceEvent> events) {
    source->Send(std::move(events));
    CurrentEventLoop().WaitForEvents(500);
  }
  FakeDeviceEvents* source = new FakeDeviceEvents;  // owned by the monitor
  HotplugMonitor monitor;
  std::vector<std::string> heard;
};

TEST(HotplugMonitor, ReportsSerialPortsOfTheListByTheNameTheyHadWhenPresent) {
  test_support::TempDir no_hardware("hotplug");
  SetSysfsRootForTesting(no_hardware.path());  // the port list is the map set below, nothing else
  auto set_ports = [](std::vector<PortMapEntry> ports) { SetUserPortMapSource([ports] { return ports; }); };
  set_ports({{"COM5", "/dev/ttyUSB3"}});
  MonitorUnderTest monitor(SerialPortNames());

  // Known once plugged in; a console is no port of the list; a user may map a port by one of its links.
  set_ports({{"COM5", "/dev/ttyUSB3"}, {"COM7", "/dev/serial/by-id/usb-FTDI-if00"}});
  monitor.Deliver(
      {{kAdded, "/dev/tty1", {}},
       {kAdded, "/dev/ttyUSB4", {"/dev/serial/by-path/pci-0", "/dev/serial/by-id/usb-FTDI-if00"}}});
  // Gone from the list by the time its removal is read: the name is the one it had.
  set_ports({{"COM7", "/dev/serial/by-id/usb-FTDI-if00"}});
  monitor.Deliver({{kRemoved, "/dev/ttyUSB3", {}}, {kRemoved, "/dev/ttyUSB3", {}}});
  EXPECT_EQ(monitor.heard, (std::vector<std::string>{"+COM7", "-COM5"}));

  SetUserPortMapSource(nullptr);
  SetSysfsRootForTesting("");
  EXPECT_FALSE(HotplugMonitor(nullptr).Active());
}

TEST(HotplugMonitor, ReportsHidBridgesAndNoOtherHidDevice) {
  SetHidDevicesForTesting(std::vector<FoundHidDevice>{});
  MonitorUnderTest monitor(HidPortNames());
  SetHidDevicesForTesting(std::vector<FoundHidDevice>{{"/dev/hidraw3", "Bridge", ""}});
  monitor.Deliver({{kAdded, "/dev/hidraw3", {}}, {kAdded, "/dev/hidraw1", {}}});  // hidraw1: a keyboard
  // Pulled out together: both are gone from the list when the first removal is read.
  SetHidDevicesForTesting(std::vector<FoundHidDevice>{});
  monitor.Deliver({{kRemoved, "/dev/hidraw1", {}}, {kRemoved, "/dev/hidraw3", {}}});
  EXPECT_EQ(monitor.heard, (std::vector<std::string>{"+HID4", "-HID4"}));
  SetHidDevicesForTesting(std::nullopt);
}

TEST(HotplugMonitor, TheUdevSourcesOpenOrSayWhyNot) {
  for (auto open : {OpenTtyEventSource, OpenHidrawEventSource}) {
    std::string why;
    std::unique_ptr<DeviceEventSource> source = open(&why);
    if (source == nullptr) {
      EXPECT_FALSE(why.empty());  // containers often have no udev: devices are then not followed
      continue;
    }
    EXPECT_GE(source->Descriptor(), 0);
    const int64_t start = MonotonicMs();
    source->TakeEvents();  // nothing waiting: returns at once
    EXPECT_LT(MonotonicMs() - start, 100);
  }
}

}  // namespace
}  // namespace platform
