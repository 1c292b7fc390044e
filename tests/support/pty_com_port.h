#pragma once
// A pseudo-terminal listed as "COM"n by a user port map, so a serial control opens it like a real port
// while the test plays the device on the master end.

#include <string>

#include "platform/event_loop.h"
#include "platform/pty.h"

namespace test_support {

class PtyComPort {
 public:
  explicit PtyComPort(int number);  // the map holds this one entry until destruction
  ~PtyComPort();
  PtyComPort(const PtyComPort&) = delete;
  PtyComPort& operator=(const PtyComPort&) = delete;

  bool ok() const { return pair_.master_fd >= 0; }
  const platform::PtyPair& pair() const { return pair_; }
  // Writes a few KiB at most to the device end.
  bool Send(const std::string& bytes);
  // Reads the device end until `count` bytes came or `timeout_ms` passed, running `loop` meanwhile.
  std::string Receive(size_t count, int timeout_ms, platform::EventLoop& loop);
  // Closes both ends held here: a host with the port open sees the device go away.
  void Hangup() { platform::ClosePty(pair_); }

 private:
  platform::PtyPair pair_;
};

}  // namespace test_support
