#include "tests/sim/host_line.h"

#include "platform/clock.h"
#include "platform/serial_registry.h"

namespace msrsim_test {

HostLine::HostLine(const std::string& path, uint32_t rate, int com_number)
    : control_(platform::CreateSerialControl(&loop_)) {
  const platform::PortMapEntry entry{"COM" + std::to_string(com_number), path};
  platform::SetUserPortMapSource([entry] { return std::vector<platform::PortMapEntry>{entry}; });
  control_->SetCommPort(static_cast<int16_t>(com_number));
  control_->SetInputMode(platform::kInputModeBinary);
  control_->SetRThreshold(1);
  SetRate(rate);
}

HostLine::~HostLine() {
  control_->SetPortOpen(false);
  platform::SetUserPortMapSource(nullptr);
}

void HostLine::Collect(const std::function<bool()>& done, int timeout_ms) {
  const int64_t deadline = platform::MonotonicMs() + timeout_ms;
  while (!done() && control_->PortOpen() && platform::MonotonicMs() < deadline) {
    loop_.WaitForEvents(5);
    const platform::Bytes in = control_->CommInput();
    received_.append(in.begin(), in.end());
  }
}

std::string HostLine::Take(size_t count) {
  std::string got = received_.substr(0, count);
  received_.erase(0, got.size());
  return got;
}

std::string HostLine::ReceiveFrame(int timeout_ms) {
  Collect([this] { return received_.find('\r') != std::string::npos; }, timeout_ms);
  const size_t cr = received_.find('\r');
  return Take(cr == std::string::npos ? received_.size() : cr + 1);
}

std::string HostLine::Receive(size_t count, int timeout_ms) {
  Collect([&] { return received_.size() >= count; }, timeout_ms);
  return Take(count);
}

std::string HostLine::Ask(const std::string& text, int timeout_ms) {
  Send("\002" + text + "\r");
  return ReceiveFrame(timeout_ms);
}

bool HostLine::WaitClosed(int timeout_ms) {
  Collect([] { return false; }, timeout_ms);
  return !control_->PortOpen();
}

}  // namespace msrsim_test
