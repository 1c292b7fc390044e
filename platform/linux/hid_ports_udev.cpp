// Finding HID bridges on Linux: udev lists the hidraw nodes, and the HID device each belongs to carries
// the USB identity, the product name and the serial number.
#include <libudev.h>

#include "platform/hid_ports.h"

namespace platform {
namespace {

std::string Property(udev_device* device, const char* name) {
  const char* value = udev_device_get_property_value(device, name);
  return value == nullptr ? std::string() : std::string(value);
}

// The bridge behind one hidraw node, or nothing when the node belongs to another HID device.
std::optional<FoundHidDevice> BridgeOf(udev_device* node) {
  const char* path = udev_device_get_devnode(node);
  udev_device* hid = udev_device_get_parent_with_subsystem_devtype(node, "hid", nullptr);
  if (path == nullptr || hid == nullptr || !IsHidBridgeId(Property(hid, "HID_ID"))) return std::nullopt;
  return FoundHidDevice{path, Property(hid, "HID_NAME"), Property(hid, "HID_UNIQ")};
}

}  // namespace

std::vector<FoundHidDevice> FindHidBridgeNodes() {
  std::vector<FoundHidDevice> found;
  udev* context = udev_new();
  if (context == nullptr) return found;
  udev_enumerate* enumerate = udev_enumerate_new(context);
  if (enumerate != nullptr && udev_enumerate_add_match_subsystem(enumerate, "hidraw") >= 0 &&
      udev_enumerate_scan_devices(enumerate) >= 0) {
    for (udev_list_entry* entry = udev_enumerate_get_list_entry(enumerate); entry != nullptr;
         entry = udev_list_entry_get_next(entry)) {
      udev_device* node = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
      if (node == nullptr) continue;  // gone between listing and looking
      if (std::optional<FoundHidDevice> bridge = BridgeOf(node)) found.push_back(std::move(*bridge));
      udev_device_unref(node);  // also releases the parent, which it owns
    }
  }
  udev_enumerate_unref(enumerate);
  udev_unref(context);
  return found;
}

}  // namespace platform
