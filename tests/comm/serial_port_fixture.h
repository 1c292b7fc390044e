#pragma once
// A serial port object attached to a fake control and to a forwarding owner, with the comm trace
// captured for the test.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "comm/clsIMScomm.h"
#include "comm/clsMSComm.h"
#include "comm/comm_trace.h"
#include "tests/support/fake_serial_control.h"

class SerialPortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_sink_ = comm::SetTraceSink([this](const std::string& line) { traces_.push_back(line); });
    serial_.AttachCommObject(&owner_, &control_);
    owner_.Attach(&serial_);
  }
  void TearDown() override { comm::SetTraceSink(previous_sink_); }

  // Opens the fake port with `settings` on the device.
  void OpenWith(const std::string& settings) {
    ASSERT_TRUE(control_.SetSettings(settings));
    serial_.SetPortOpen(true);
    ASSERT_TRUE(control_.PortOpen());
  }

  msrtest::FakeSerialControl control_;  // declared first: it outlives the port object
  clsMSComm owner_;
  clsIMScomm serial_;
  std::vector<std::string> traces_;

 private:
  comm::TraceSink previous_sink_;
};
