#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/hotplug.h"
#include "platform/serial_registry.h"
#include "tests/support/fake_device_events.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

using test_support::DeviceAdded;
using test_support::DeviceRemoved;
using test_support::FakeDeviceEvents;

// The machine's own ports stay out: the port list is the map a test sets.
class HotplugTest : public ::testing::Test {
 protected:
  HotplugTest() { SetSysfsRootForTesting(no_hardware_.path()); }
  ~HotplugTest() override {
    SetUserPortMapSource(nullptr);
    SetSysfsRootForTesting("");
  }

  void SetPorts(std::vector<PortMapEntry> ports) {
    SetUserPortMapSource([ports] { return ports; });
  }

  // Starts a monitor on a fake source that records what the window would hear.
  FakeDeviceEvents& Start() {
    auto source = std::make_unique<FakeDeviceEvents>();
    FakeDeviceEvents& fake = *source;
    monitor_ = std::make_unique<HotplugMonitor>(std::move(source));
    monitor_->OnArrival = [this](const std::string& name) { heard_.push_back("+" + name); };
    monitor_->OnRemoval = [this](const std::string& name) { heard_.push_back("-" + name); };
    return fake;
  }

  // Runs the loop until `count` reports arrived or a second passed.
  std::vector<std::string> Heard(size_t count) {
    const int64_t start = MonotonicMs();
    while (heard_.size() < count && MonotonicMs() - start < 1000) CurrentEventLoop().WaitForEvents(20);
    CurrentEventLoop().WaitForEvents(10);  // and nothing more after them
    return heard_;
  }

 private:
  test_support::TempDir no_hardware_{"hotplug"};
  std::unique_ptr<HotplugMonitor> monitor_;
  std::vector<std::string> heard_;
};

using Reports = std::vector<std::string>;

TEST_F(HotplugTest, ArrivalsAreReportedByTheirComNameOnlyForPortsOfTheList) {
  FakeDeviceEvents& source = Start();
  // Plugged in after the monitor started: known by the time its event comes.
  SetPorts({{"COM5", "/dev/ttyUSB3"}, {"COM7", "/dev/serial/by-id/usb-FTDI_FT232R-if00"}});
  source.Send(
      {DeviceAdded("/dev/tty1"),  // a console, no serial port of the list
       DeviceAdded("/dev/ttyUSB3"),
       DeviceAdded("/dev/ttyUSB4", {"/dev/serial/by-path/pci-0", "/dev/serial/by-id/usb-FTDI_FT232R-if00"})});
  EXPECT_EQ(Heard(2), (Reports{"+COM5", "+COM7"}));
}

TEST_F(HotplugTest, ARemovedDeviceKeepsTheNameItHadWhileItWasThere) {
  SetPorts({{"COM5", "/dev/ttyUSB3"}, {"COM6", "/dev/ttyUSB4"}});
  FakeDeviceEvents& source = Start();
  // The device is gone from the system's list before its event is read.
  SetPorts({{"COM6", "/dev/ttyUSB4"}});
  source.Send({DeviceRemoved("/dev/ttyUSB3")});
  EXPECT_EQ(Heard(1), (Reports{"-COM5"}));

  // Plugged back in under the same node, and pulled again: the list in between is the one that counts.
  SetPorts({{"COM9", "/dev/ttyUSB3"}, {"COM6", "/dev/ttyUSB4"}});
  source.Send({DeviceAdded("/dev/ttyUSB3")});
  EXPECT_EQ(Heard(2), (Reports{"-COM5", "+COM9"}));
  SetPorts({{"COM6", "/dev/ttyUSB4"}});
  source.Send({DeviceRemoved("/dev/ttyUSB3"), DeviceRemoved("/dev/ttyUSB3")});
  // The second removal of the same node finds no port any more.
  EXPECT_EQ(Heard(3), (Reports{"-COM5", "+COM9", "-COM9"}));
}

TEST(HotplugMonitor, WithoutASourceItStaysIdle) {
  HotplugMonitor monitor(nullptr);
  EXPECT_FALSE(monitor.Active());
}

TEST(HotplugMonitor, TheUdevSourceOpensOrSaysWhyNot) {
  std::string why;
  std::unique_ptr<DeviceEventSource> source = OpenTtyEventSource(&why);
  if (source == nullptr) {
    // Containers often have no udev: the program then runs without following devices.
    EXPECT_FALSE(why.empty());
    return;
  }
  EXPECT_GE(source->Descriptor(), 0);
  // Nothing plugged in: taking events does not block and finds none that are not tty devices.
  const int64_t start = MonotonicMs();
  for (const DeviceEvent& event : source->TakeEvents()) EXPECT_FALSE(event.node.empty());
  EXPECT_LT(MonotonicMs() - start, 100);
}

}  // namespace
}  // namespace platform
