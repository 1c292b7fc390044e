#include "platform/pty.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/system_error.h"

namespace platform {
namespace {

bool Fail(PtyPair& pair, std::string& error, const char* step) {
  const int code = errno;
  error = std::string(step) + " - " + GetSystemErrorText(code);
  ClosePty(pair);
  return false;
}

}  // namespace

bool OpenPty(PtyPair& pair, std::string& error) {
  pair = PtyPair{};
  error.clear();
  pair.master_fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (pair.master_fd < 0) return Fail(pair, error, "posix_openpt");
  if (grantpt(pair.master_fd) != 0) return Fail(pair, error, "grantpt");
  if (unlockpt(pair.master_fd) != 0) return Fail(pair, error, "unlockpt");

  char name[128] = {};
  if (ptsname_r(pair.master_fd, name, sizeof name) != 0) return Fail(pair, error, "ptsname");
  pair.slave_path = name;

  // Holding the slave open keeps the line alive between hosts: without it the master reads EIO (hang-up)
  // every time the last host closes the port, and the settings a host applied would be lost.
  pair.slave_fd = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (pair.slave_fd < 0) return Fail(pair, error, "open slave");

  // Raw: no echo, no line editing, no CR/LF translation, so every byte passes as it is.
  termios attrs{};
  if (tcgetattr(pair.slave_fd, &attrs) != 0) return Fail(pair, error, "tcgetattr");
  cfmakeraw(&attrs);
  attrs.c_cflag |= CLOCAL | CREAD;
  attrs.c_cc[VMIN] = 0;
  attrs.c_cc[VTIME] = 0;
  if (tcsetattr(pair.slave_fd, TCSANOW, &attrs) != 0) return Fail(pair, error, "tcsetattr");
  return true;
}

void ClosePty(PtyPair& pair) {
  if (pair.slave_fd >= 0) close(pair.slave_fd);
  if (pair.master_fd >= 0) close(pair.master_fd);
  pair.slave_fd = -1;
  pair.master_fd = -1;
  pair.slave_path.clear();
}

}  // namespace platform
