#include "tests/support/fake_serial_control.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "platform/line_settings.h"

namespace msrtest {
namespace {

std::string StateText(const platform::CommState& state) {
  return std::to_string(state.BaudRate) + "," + std::to_string(state.Parity) + "," +
         std::to_string(state.ByteSize) + "," + std::to_string(state.StopBits);
}

}  // namespace

FakeSerialControl::FakeSerialControl() {
  device_state_ = *platform::ParseLineSettings(settings_);
}

bool FakeSerialControl::SetSettings(const std::string& settings) {
  const std::optional<platform::CommState> state = platform::ParseLineSettings(settings);
  if (!state) return false;
  settings_ = settings;
  log_.push_back("settings " + settings);
  if (open_) Store(*state);
  return true;
}

platform::PortResult FakeSerialControl::SetPortOpen(bool open) {
  if (open == open_) return platform::PortResult{};
  if (open) {
    if (!open_result_.ok) {
      log_.push_back("open failed");
      return last_result_ = open_result_;
    }
    open_ = true;
    input_.clear();
    Store(*platform::ParseLineSettings(settings_));
    log_.push_back("open");
  } else {
    if (!close_result_.ok) {
      log_.push_back("close failed");
      return last_result_ = close_result_;
    }
    open_ = false;
    input_.clear();
    log_.push_back("close");
  }
  return last_result_ = platform::PortResult{};
}

void FakeSerialControl::SetInBufferCount(int32_t count) {
  if (count == 0) input_.clear();
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
  written_.insert(written_.end(), data.begin(), data.end());
  writes_.push_back(data);
  if (OnOutput) OnOutput(data);
  return true;
}

int FakeSerialControl::GetCommState(int32_t handle, platform::CommState& state) {
  if (!open_ || handle != kOpenHandle) return EBADF;
  if (get_state_error_ != 0) return get_state_error_;
  state = device_state_;
  return 0;
}

int FakeSerialControl::SetCommState(int32_t handle, const platform::CommState& state) {
  ++set_state_calls_;
  if (!open_ || handle != kOpenHandle) return EBADF;
  if (set_state_error_ != 0) return set_state_error_;
  log_.push_back("set state " + StateText(state));
  Store(state);
  return 0;
}

void FakeSerialControl::Store(const platform::CommState& state) {
  device_state_ = store_filter_ ? store_filter_(state) : state;
}

void FakeSerialControl::Receive(const platform::Bytes& bytes) {
  if (!open_) return;
  for (uint8_t byte : bytes) {
    if (null_discard_ && byte == 0) continue;
    input_.push_back(byte);
  }
  if (r_threshold_ > 0 && input_.size() >= static_cast<size_t>(r_threshold_)) {
    RaiseCommEvent(platform::kCommEvReceive);
  }
}

void FakeSerialControl::ReceiveLater(platform::EventLoop& loop, const platform::Bytes& bytes) {
  loop.Post([this, alive = std::weak_ptr<bool>(alive_), bytes] {
    if (!alive.expired()) Receive(bytes);
  });
}

void FakeSerialControl::RaiseFramingError() {
  if (open_) RaiseCommEvent(platform::kCommEventFrame);
}

void FakeSerialControl::RaiseCommEvent(int16_t code) {
  comm_event_ = code;
  // The handler may replace OnComm while it runs.
  if (const std::function<void()> handler = OnComm) handler();
}

void FakeSerialControl::Unplug() {
  open_ = false;
  input_.clear();
  log_.push_back("close");
  RaiseCommEvent(platform::kCommEventDeviceLost);
}

}  // namespace msrtest
