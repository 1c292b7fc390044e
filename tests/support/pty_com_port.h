#pragma once
// A pseudo-terminal that the serial port registry lists as "COM"n, so a serial control opens it like a real
// port while the test plays the device on the master end.

#include <string>

#include "platform/event_loop.h"
#include "platform/pty.h"

namespace test_support {

class PtyComPort {
 public:
  // Installs a user port map with the one entry "COM<number> = <slave path>", removed again on destruction.
  explicit PtyComPort(int number);
  ~PtyComPort();
  PtyComPort(const PtyComPort&) = delete;
  PtyComPort& operator=(const PtyComPort&) = delete;

  bool ok() const { return pair_.master_fd >= 0; }
  const platform::PtyPair& pair() const { return pair_; }
  // Writes `bytes` (a few KiB at most: the line takes them at once) to the device end.
  bool Send(const std::string& bytes);
  // Reads the device end until `count` bytes came or `timeout_ms` passed, running `loop` meanwhile so that
  // a control's queued output keeps flowing.
  std::string Receive(size_t count, int timeout_ms, platform::EventLoop& loop);
  // Closes both ends held here: a host with the port open sees the device go away.
  void Hangup() { platform::ClosePty(pair_); }

 private:
  platform::PtyPair pair_;
};

}  // namespace test_support
