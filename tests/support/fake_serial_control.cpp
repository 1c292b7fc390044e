#include "tests/support/fake_serial_control.h"

#include <algorithm>
#include <cerrno>

#include "platform/line_settings.h"

namespace msrtest {

FakeSerialControl::FakeSerialControl() : device_state_(*platform::ParseLineSettings(settings_)) {}

bool FakeSerialControl::SetSettings(const std::string& settings) {
  const auto state = platform::ParseLineSettings(settings);
  if (!state) return false;
  settings_ = settings;
  log_.push_back("settings " + settings);
  if (open_) Store(*state);
  return true;
}

platform::PortResult FakeSerialControl::SetPortOpen(bool open) {
  if (open == open_) return {};
  if (open && !open_result_.ok) {
    log_.push_back("open failed");
    last_error_ = open_result_.message;
    return open_result_;
  }
  open_ = open;
  input_.clear();
  if (open) Store(*platform::ParseLineSettings(settings_));
  log_.push_back(open ? "open" : "close");
  last_error_.clear();
  return {};
}

platform::Bytes FakeSerialControl::CommInput() {
  const size_t take =
      input_len_ > 0 ? std::min(input_.size(), static_cast<size_t>(input_len_)) : input_.size();
  platform::Bytes taken(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(take));
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(take));
  return taken;
}

bool FakeSerialControl::CommOutput(const platform::Bytes& data) {
  if (!open_) return false;
  writes_.push_back(data);
  if (OnOutput) OnOutput(data);
  return true;
}

int FakeSerialControl::GetCommState(int32_t handle, platform::CommState& state) {
  if (!open_ || handle != kOpenHandle) return EBADF;
  if (get_state_error_ == 0) state = device_state_;
  return get_state_error_;
}

int FakeSerialControl::SetCommState(int32_t handle, const platform::CommState& state) {
  ++set_state_calls_;
  if (!open_ || handle != kOpenHandle) return EBADF;
  if (set_state_error_ != 0) return set_state_error_;
  log_.push_back("set state " + std::to_string(state.BaudRate) + "," + std::to_string(state.Parity) + "," +
                 std::to_string(state.ByteSize) + "," + std::to_string(state.StopBits));
  Store(state);
  return 0;
}

void FakeSerialControl::Receive(const std::string& bytes) {
  if (!open_) return;
  for (char byte : bytes) {
    if (!(null_discard_ && byte == 0)) input_.push_back(static_cast<uint8_t>(byte));
  }
  if (r_threshold_ > 0 && input_.size() >= static_cast<size_t>(r_threshold_)) {
    RaiseCommEvent(platform::kCommEvReceive);
  }
}

void FakeSerialControl::RaiseCommEvent(int16_t code) {
  comm_event_ = code;
  // The handler may replace OnComm while it runs.
  if (const std::function<void()> handler = OnComm) handler();
}

}  // namespace msrtest
