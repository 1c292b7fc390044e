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
  control_->SetSettings(std::to_string(rate) + ",N,8,1");
}

HostLine::~HostLine() {
  control_->SetPortOpen(false);
  platform::SetUserPortMapSource(nullptr);
}

bool HostLine::Open() {
  return control_->SetPortOpen(true).ok;
}

bool HostLine::SetRate(uint32_t rate) {
  return control_->SetSettings(std::to_string(rate) + ",N,8,1");
}

void HostLine::Send(const std::string& bytes) {
  control_->CommOutput(platform::Bytes(bytes.begin(), bytes.end()));
}

std::string HostLine::ReceiveFrame(int timeout_ms) {
  const int64_t deadline = platform::MonotonicMs() + timeout_ms;
  for (;;) {
    const size_t cr = received_.find('\r');
    if (cr != std::string::npos) {
      std::string frame = received_.substr(0, cr + 1);
      received_.erase(0, cr + 1);
      return frame;
    }
    if (platform::MonotonicMs() >= deadline || !control_->PortOpen()) break;
    loop_.WaitForEvents(5);
    const platform::Bytes in = control_->CommInput();
    received_.append(in.begin(), in.end());
  }
  std::string rest;
  rest.swap(received_);
  return rest;
}

std::string HostLine::Receive(size_t count, int timeout_ms) {
  const int64_t deadline = platform::MonotonicMs() + timeout_ms;
  while (received_.size() < count && platform::MonotonicMs() < deadline && control_->PortOpen()) {
    loop_.WaitForEvents(5);
    const platform::Bytes in = control_->CommInput();
    received_.append(in.begin(), in.end());
  }
  std::string got = received_.substr(0, count);
  received_.erase(0, got.size());
  return got;
}

std::string HostLine::ReceiveFor(int ms) {
  const int64_t deadline = platform::MonotonicMs() + ms;
  while (platform::MonotonicMs() < deadline && control_->PortOpen()) {
    loop_.WaitForEvents(5);
    const platform::Bytes in = control_->CommInput();
    received_.append(in.begin(), in.end());
  }
  std::string got;
  got.swap(received_);
  return got;
}

std::string HostLine::Ask(const std::string& text, int timeout_ms) {
  Send("\x02" + text + "\r");
  return ReceiveFrame(timeout_ms);
}

bool HostLine::WaitClosed(int timeout_ms) {
  const int64_t deadline = platform::MonotonicMs() + timeout_ms;
  while (control_->PortOpen() && platform::MonotonicMs() < deadline) loop_.WaitForEvents(5);
  return !control_->PortOpen();
}

}  // namespace msrsim_test
