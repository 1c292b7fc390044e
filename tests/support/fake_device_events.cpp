#include "tests/support/fake_device_events.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace test_support {

FakeDeviceEvents::FakeDeviceEvents() {
  EXPECT_EQ(pipe(fds_), 0);
}

FakeDeviceEvents::~FakeDeviceEvents() {
  close(fds_[0]);
  close(fds_[1]);
}

std::vector<platform::DeviceEvent> FakeDeviceEvents::TakeEvents() {
  char wake;
  while (pending_wakes_ > 0 && read(fds_[0], &wake, 1) == 1) --pending_wakes_;
  std::vector<platform::DeviceEvent> events(queued_.begin(), queued_.end());
  queued_.clear();
  return events;
}

void FakeDeviceEvents::Send(std::vector<platform::DeviceEvent> events) {
  queued_.insert(queued_.end(), events.begin(), events.end());
  ASSERT_EQ(write(fds_[1], "x", 1), 1);
  ++pending_wakes_;
}

platform::DeviceEvent DeviceAdded(std::string node, std::vector<std::string> links) {
  return {platform::DeviceEvent::Action::kAdded, std::move(node), std::move(links)};
}

platform::DeviceEvent DeviceRemoved(std::string node) {
  return {platform::DeviceEvent::Action::kRemoved, std::move(node), {}};
}

}  // namespace test_support
