#include "tests/support/pty_com_port.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/fd_io.h"
#include "platform/serial_registry.h"

namespace test_support {

PtyComPort::PtyComPort(int number) {
  std::string error;
  if (!platform::OpenPty(pair_, error)) {
    ADD_FAILURE() << "cannot open a pty: " << error;
    return;
  }
  const platform::PortMapEntry entry{"COM" + std::to_string(number), pair_.slave_path};
  platform::SetUserPortMapSource([entry] { return std::vector<platform::PortMapEntry>{entry}; });
}

PtyComPort::~PtyComPort() {
  platform::SetUserPortMapSource(nullptr);
  platform::ClosePty(pair_);
}

bool PtyComPort::Send(const std::string& bytes) {
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  return platform::WriteFd(pair_.master_fd, data, bytes.size()) == static_cast<long>(bytes.size());
}

std::string PtyComPort::Receive(size_t count, int timeout_ms, platform::EventLoop& loop) {
  std::string got;
  uint8_t buffer[4096];
  for (const int64_t end = platform::MonotonicMs() + timeout_ms;
       got.size() < count && platform::MonotonicMs() < end;) {
    loop.WaitForEvents(1);
    for (long n; (n = platform::ReadFd(pair_.master_fd, buffer, sizeof buffer)) > 0;)
      got.append(buffer, buffer + n);
  }
  return got;
}

}  // namespace test_support
