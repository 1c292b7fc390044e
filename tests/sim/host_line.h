#pragma once
// The host's end of an emulated reader's line, opened the way the program opens a port: through the
// platform's serial control, listed as "COM"n by a user port map entry for the reader's path.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/event_loop.h"
#include "platform/serial_control.h"

namespace msrsim_test {

class HostLine {
 public:
  HostLine(const std::string& path, uint32_t rate = 19200, int com_number = 42);
  ~HostLine();

  bool Open();
  bool IsOpen() const { return control_->PortOpen(); }
  bool SetRate(uint32_t rate);

  void Send(const std::string& bytes);
  // Everything received until a CR arrived (kept) or `timeout_ms` passed.
  std::string ReceiveFrame(int timeout_ms = 1000);
  // Everything received until `count` bytes came or `timeout_ms` passed.
  std::string Receive(size_t count, int timeout_ms = 1000);
  // Everything received within `ms`.
  std::string ReceiveFor(int ms);
  // Sends STX, `text`, CR and returns the reply frame.
  std::string Ask(const std::string& text, int timeout_ms = 1000);
  // Runs the loop until the port closed (the line hung up) or `timeout_ms` passed.
  bool WaitClosed(int timeout_ms);

 private:
  platform::PollEventLoop loop_;
  std::unique_ptr<platform::SerialControl> control_;
  std::string received_;
};

}  // namespace msrsim_test
