// tty and hidraw devices that come and go, as udev announces them once its rules have run (so the node,
// its links and its permissions exist when an arrival is reported).
#include <libudev.h>

#include <cstring>
#include <optional>

#include "platform/hotplug.h"

namespace platform {
namespace {

class UdevDeviceSource final : public DeviceEventSource {
 public:
  UdevDeviceSource(udev* context, udev_monitor* monitor) : context_(context), monitor_(monitor) {}
  ~UdevDeviceSource() override {
    udev_monitor_unref(monitor_);
    udev_unref(context_);
  }
  UdevDeviceSource(const UdevDeviceSource&) = delete;
  UdevDeviceSource& operator=(const UdevDeviceSource&) = delete;

  int Descriptor() const override { return udev_monitor_get_fd(monitor_); }

  std::vector<DeviceEvent> TakeEvents() override {
    std::vector<DeviceEvent> events;
    // The monitor's socket is non-blocking: receive returns nullptr once it is drained.
    while (udev_device* device = udev_monitor_receive_device(monitor_)) {
      if (auto event = EventOf(device)) events.push_back(std::move(*event));
      udev_device_unref(device);
    }
    return events;
  }

 private:
  static std::optional<DeviceEvent> EventOf(udev_device* device) {
    const char* action = udev_device_get_action(device);
    const char* node = udev_device_get_devnode(device);
    if (action == nullptr || node == nullptr) return std::nullopt;
    DeviceEvent event;
    if (std::strcmp(action, "add") == 0) {
      event.action = DeviceEvent::Action::kAdded;
    } else if (std::strcmp(action, "remove") == 0) {
      event.action = DeviceEvent::Action::kRemoved;
    } else {
      return std::nullopt;  // "change", "bind" ...: the port is still the same port
    }
    event.node = node;
    for (udev_list_entry* link = udev_device_get_devlinks_list_entry(device); link != nullptr;
         link = udev_list_entry_get_next(link)) {
      event.links.emplace_back(udev_list_entry_get_name(link));
    }
    return event;
  }

  udev* context_;
  udev_monitor* monitor_;
};

std::unique_ptr<DeviceEventSource> OpenUdevEventSource(const char* subsystem, std::string* why) {
  auto fail = [why](std::string reason) -> std::unique_ptr<DeviceEventSource> {
    if (why) *why = std::move(reason);
    return nullptr;
  };
  udev* context = udev_new();
  if (context == nullptr) return fail("udev is not available");
  udev_monitor* monitor = udev_monitor_new_from_netlink(context, "udev");
  if (monitor == nullptr) {
    udev_unref(context);
    return fail("cannot open udev's netlink socket");
  }
  if (udev_monitor_filter_add_match_subsystem_devtype(monitor, subsystem, nullptr) < 0 ||
      udev_monitor_enable_receiving(monitor) < 0) {
    udev_monitor_unref(monitor);
    udev_unref(context);
    return fail(std::string("cannot listen to udev's ") + subsystem + " events");
  }
  return std::make_unique<UdevDeviceSource>(context, monitor);
}

}  // namespace

std::unique_ptr<DeviceEventSource> OpenTtyEventSource(std::string* why) {
  return OpenUdevEventSource("tty", why);
}

std::unique_ptr<DeviceEventSource> OpenHidrawEventSource(std::string* why) {
  return OpenUdevEventSource("hidraw", why);
}

}  // namespace platform
