// The device-independent half of following devices: which port name a node has, and when the window
// hears of it. The system's half (udev) is in platform/linux/hotplug_udev.cpp.
#include "platform/hotplug.h"

#include "platform/hid_ports.h"
#include "platform/serial_registry.h"

namespace platform {

namespace {

template <typename Port>
std::vector<std::pair<std::string, std::string>> NamesOf(std::vector<Port> ports) {
  std::vector<std::pair<std::string, std::string>> names;
  for (Port& port : ports) names.emplace_back(std::move(port.device), std::move(port.name));
  return names;
}

}  // namespace

DeviceNamer SerialPortNames() {
  return [] { return NamesOf(ListSerialPorts()); };
}

DeviceNamer HidPortNames() {
  return [] { return NamesOf(ListHidPorts()); };
}

HotplugMonitor::HotplugMonitor(std::unique_ptr<DeviceEventSource> source, DeviceNamer namer)
    : source_(std::move(source)), namer_(std::move(namer)) {
  if (!source_) return;
  Remember();
  watch_ = CurrentEventLoop().WatchDescriptor(source_->Descriptor(), kIoReadable,
                                              [this](unsigned) { TakeAndDispatch(); });
}

HotplugMonitor::~HotplugMonitor() = default;

void HotplugMonitor::TakeAndDispatch() {
  for (const DeviceEvent& event : source_->TakeEvents()) Dispatch(event);
}

void HotplugMonitor::Dispatch(const DeviceEvent& event) {
  if (event.action == DeviceEvent::Action::kAdded) {
    // A new device gets its number now; the list from before does not know it yet.
    Remember();
    const std::string name = NameOf(event);
    if (!name.empty() && OnArrival) OnArrival(name);
    return;
  }
  const std::string name = NameOf(event);
  names_.erase(event.node);
  for (const std::string& link : event.links) names_.erase(link);
  if (!name.empty() && OnRemoval) OnRemoval(name);
}

void HotplugMonitor::Remember() {
  // Added to what is known, never replacing it: devices pulled out together (a hub, one cable) are all gone
  // from the list when the first removal is read, and each still needs the name it had.
  for (auto& [node, name] : namer_()) names_[node] = name;
}

std::string HotplugMonitor::NameOf(const DeviceEvent& event) const {
  if (auto found = names_.find(event.node); found != names_.end()) return found->second;
  // A port the user mapped by one of the node's links ("/dev/serial/by-id/...").
  for (const std::string& link : event.links) {
    if (auto found = names_.find(link); found != names_.end()) return found->second;
  }
  return {};
}

}  // namespace platform
