#pragma once
// The host's end of an emulated reader's line, opened the way the program opens a port: through the
// platform's serial control, listed as "COM"n by a user port map entry for the reader's path.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/event_loop.h"
#include "platform/serial_control.h"

namespace msrsim_test {

class HostLine {
 public:
  HostLine(const std::string& path, uint32_t rate = 19200, int com_number = 42);
  ~HostLine();

  bool Open() { return control_->SetPortOpen(true).ok; }
  bool SetRate(uint32_t rate) { return control_->SetSettings(std::to_string(rate) + ",N,8,1"); }
  void Send(const std::string& bytes) { control_->CommOutput(platform::Bytes(bytes.begin(), bytes.end())); }

  // What arrived up to and including the first CR, or all that came within `timeout_ms`.
  std::string ReceiveFrame(int timeout_ms = 1000);
  // The first `count` bytes, or fewer when `timeout_ms` passed first.
  std::string Receive(size_t count, int timeout_ms = 1000);
  // Sends STX, `text`, CR and returns the reply frame.
  std::string Ask(const std::string& text, int timeout_ms = 1000);
  // True once the port closed because the line hung up.
  bool WaitClosed(int timeout_ms);

 private:
  // Runs the loop, collecting input, until `done` holds, the port closed or `timeout_ms` passed.
  void Collect(const std::function<bool()>& done, int timeout_ms);
  std::string Take(size_t count);

  platform::PollEventLoop loop_;
  std::unique_ptr<platform::SerialControl> control_;
  std::string received_;
};

}  // namespace msrsim_test
