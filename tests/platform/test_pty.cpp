#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "platform/fd_io.h"
#include "platform/pty.h"

namespace platform {
namespace {

std::string ReadAll(int fd, size_t expected) {
  std::string got;
  uint8_t buffer[256];
  while (got.size() < expected && WaitReadable(fd, 1000) == 1) {
    const long n = ReadFd(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    got.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
  }
  return got;
}

TEST(Pty, CarriesRawBytesBothWaysAndNeverBlocks) {
  PtyPair pair;
  std::string error;
  ASSERT_TRUE(OpenPty(pair, error)) << error;
  ASSERT_EQ(pair.slave_path.rfind("/dev/pts/", 0), 0u) << pair.slave_path;

  // Nothing waiting: a non-blocking read says so instead of hanging.
  uint8_t byte = 0;
  EXPECT_EQ(ReadFd(pair.master_fd, &byte, 1), -EAGAIN);
  EXPECT_EQ(WaitReadable(pair.master_fd, 20), 0);

  // Raw mode: CR, LF, ^C, ^D and 0xFF pass unchanged and nothing is echoed back.
  const std::string to_host("\x02V\r\n\x03\x04\xff", 7);
  ASSERT_EQ(WriteFd(pair.master_fd, reinterpret_cast<const uint8_t*>(to_host.data()), to_host.size()), 7);
  EXPECT_EQ(ReadAll(pair.slave_fd, to_host.size()), to_host);
  EXPECT_EQ(WaitReadable(pair.master_fd, 20), 0) << "the slave echoed input";

  const std::string to_reader(
      "\x02"
      "D00\r",
      5);
  ASSERT_EQ(WriteFd(pair.slave_fd, reinterpret_cast<const uint8_t*>(to_reader.data()), to_reader.size()), 5);
  EXPECT_EQ(ReadAll(pair.master_fd, to_reader.size()), to_reader);
  ClosePty(pair);
  EXPECT_EQ(pair.master_fd, -1);
  EXPECT_EQ(pair.slave_fd, -1);
}

TEST(Pty, LineSurvivesHostsAndHangsUpWhenClosed) {
  PtyPair pair;
  std::string error;
  ASSERT_TRUE(OpenPty(pair, error)) << error;
  const std::string path = pair.slave_path;

  // A host that opens and closes the port does not end the line for the next one.
  int host = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(host, 0);
  CloseFd(host);
  const uint8_t ping = 'x';
  ASSERT_EQ(WriteFd(pair.slave_fd, &ping, 1), 1);
  EXPECT_EQ(ReadAll(pair.master_fd, 1), "x");

  host = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(host, 0);
  ClosePty(pair);
  pollfd pfd{host, POLLIN, 0};
  ASSERT_EQ(poll(&pfd, 1, 1000), 1);
  EXPECT_TRUE(pfd.revents & POLLHUP) << pfd.revents;
  CloseFd(host);
}

}  // namespace
}  // namespace platform
