#include "platform/fd_io.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/clock.h"

namespace platform {

long ReadFd(int fd, uint8_t* buffer, size_t size) {
  for (;;) {
    const ssize_t n = read(fd, buffer, size);
    if (n >= 0) return static_cast<long>(n);
    if (errno != EINTR) return -errno;
  }
}

long WriteFd(int fd, const uint8_t* data, size_t size) {
  for (;;) {
    const ssize_t n = write(fd, data, size);
    if (n >= 0) return static_cast<long>(n);
    if (errno != EINTR) return -errno;
  }
}

void CloseFd(int fd) {
  // Not retried on EINTR: on Linux the descriptor is released even then, and a retry could close
  // a descriptor that another thread has just been given.
  if (fd >= 0) close(fd);
}

bool WouldBlock(long result) {
  return result == -EAGAIN || result == -EWOULDBLOCK;
}

int WaitReadable(int fd, int timeout_ms) {
  const int64_t deadline = timeout_ms < 0 ? -1 : MonotonicMs() + timeout_ms;
  for (;;) {
    int wait_ms = -1;
    if (deadline >= 0) {
      const int64_t left = deadline - MonotonicMs();
      wait_ms = left > 0 ? static_cast<int>(left) : 0;
    }
    pollfd pfd{fd, POLLIN, 0};
    const int n = poll(&pfd, 1, wait_ms);
    if (n > 0) {
      // A hang-up or error also counts as readable: the next read reports it.
      return 1;
    }
    if (n == 0) return 0;
    if (errno != EINTR) return -errno;
  }
}

}  // namespace platform
