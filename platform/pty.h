#pragma once
// Pseudo-terminal pairs, for the reader emulator and for tests that need a real termios line.

#include <string>

namespace platform {

struct PtyPair {
  int master_fd = -1;      // the emulator's end
  int slave_fd = -1;       // held open by the creator so the line survives hosts opening and closing it;
                           // also the handle on which the host's line settings can be read
  std::string slave_path;  // "/dev/pts/N": what a host opens
};

// Opens a new pair, both ends non-blocking, the slave in raw mode. On failure returns false and a message.
bool OpenPty(PtyPair& pair, std::string& error);
// Closes both ends; a host that has the slave open then sees a hang-up.
void ClosePty(PtyPair& pair);

}  // namespace platform
