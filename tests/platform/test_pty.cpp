#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "platform/fd_io.h"
#include "platform/pty.h"

namespace platform {
namespace {

std::string ReadSome(int fd) {
  uint8_t buffer[64];
  const long n = WaitReadable(fd, 1000) == 1 ? ReadFd(fd, buffer, sizeof buffer) : 0;
  return n > 0 ? std::string(buffer, buffer + n) : std::string();
}

TEST(Pty, RawNonBlockingLineThatOutlivesHostsAndHangsUpWhenClosed) {
  PtyPair pair;
  std::string error;
  ASSERT_TRUE(OpenPty(pair, error)) << error;
  uint8_t byte = 0;
  EXPECT_EQ(ReadFd(pair.master_fd, &byte, 1), -EAGAIN);

  // Raw: CR, LF, ^C, ^D and 0xFF pass unchanged, and nothing is echoed back to the device.
  const std::string to_host("\x02V\r\n\x03\x04\xff", 7);
  ASSERT_EQ(WriteFd(pair.master_fd, reinterpret_cast<const uint8_t*>(to_host.data()), to_host.size()), 7);
  EXPECT_EQ(ReadSome(pair.slave_fd), to_host);
  EXPECT_EQ(WaitReadable(pair.master_fd, 20), 0) << "the line echoed its input";

  // A host opening and closing the port does not end the line for the next one.
  int host = open(pair.slave_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(host, 0);
  CloseFd(host);
  ASSERT_EQ(WriteFd(pair.slave_fd, reinterpret_cast<const uint8_t*>("x\r"), 2), 2);
  EXPECT_EQ(ReadSome(pair.master_fd), "x\r");

  host = open(pair.slave_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(host, 0);
  ClosePty(pair);
  EXPECT_EQ(pair.master_fd, -1);
  pollfd pfd{host, POLLIN, 0};
  ASSERT_EQ(poll(&pfd, 1, 1000), 1);
  EXPECT_TRUE(pfd.revents & POLLHUP) << pfd.revents;
  CloseFd(host);
}

}  // namespace
}  // namespace platform
