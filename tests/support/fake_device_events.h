#pragma once
// A device-event source that a test feeds: events are queued, and a byte in a pipe wakes the event loop
// the way the device manager's socket would.

#include <deque>
#include <string>
#include <vector>

#include "platform/hotplug.h"

namespace test_support {

class FakeDeviceEvents final : public platform::DeviceEventSource {
 public:
  FakeDeviceEvents();
  ~FakeDeviceEvents() override;
  FakeDeviceEvents(const FakeDeviceEvents&) = delete;
  FakeDeviceEvents& operator=(const FakeDeviceEvents&) = delete;

  int Descriptor() const override { return fds_[0]; }
  std::vector<platform::DeviceEvent> TakeEvents() override;

  // Queues `events` and wakes the loop; they are taken on its next turn.
  void Send(std::vector<platform::DeviceEvent> events);

 private:
  int fds_[2] = {-1, -1};
  int pending_wakes_ = 0;
  std::deque<platform::DeviceEvent> queued_;
};

platform::DeviceEvent DeviceAdded(std::string node, std::vector<std::string> links = {});
platform::DeviceEvent DeviceRemoved(std::string node);

}  // namespace test_support
