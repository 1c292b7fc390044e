#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "platform/comm_state.h"
#include "platform/fd_io.h"
#include "platform/line_settings.h"
#include "platform/linux/serial_line.h"
#include "platform/pty.h"

// The line under the serial control: the pty that stands in for a device, the termios state, the
// settings text.
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

TEST(CommStateOnPty, RatesRoundTripAndNothingElseChanges) {
  PtyPair pair;
  std::string error;
  ASSERT_TRUE(OpenPty(pair, error)) << error;
  ASSERT_EQ(ConfigureMarkedRawLine(pair.slave_fd), 0);
  termios before{};
  ASSERT_EQ(tcgetattr(pair.slave_fd, &before), 0);

  for (const uint32_t rate : {14400u, 56000u, 128000u, 256000u, 1050u, 110u, 115200u}) {
    ASSERT_EQ(WriteCommState(pair.slave_fd, {rate, 8, kParityNone, kStopBitsTwo}), 0) << rate;
    CommState state;
    ASSERT_EQ(ReadCommState(pair.slave_fd, state), 0);
    // A pty keeps the rate and the stop bits; it always runs 8 data bits without parity.
    EXPECT_EQ(state.BaudRate, rate);
    EXPECT_EQ(state.StopBits, kStopBitsTwo);
  }
  termios after{};
  ASSERT_EQ(tcgetattr(pair.slave_fd, &after), 0);
  EXPECT_EQ(after.c_iflag, before.c_iflag);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  EXPECT_EQ(std::string(after.c_cc, after.c_cc + NCCS), std::string(before.c_cc, before.c_cc + NCCS));

  EXPECT_EQ(WriteCommState(pair.slave_fd, {9600, 4, kParityNone, kStopBitsOne}), EINVAL);
  EXPECT_EQ(WriteCommState(pair.slave_fd, {9600, 8, 5, kStopBitsOne}), EINVAL);
  EXPECT_EQ(WriteCommState(pair.slave_fd, {0, 8, kParityNone, kStopBitsOne}), EINVAL);
  CommState state;
  const int not_a_tty = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(ReadCommState(not_a_tty, state), ENOTTY);
  CloseFd(not_a_tty);

  // With errors marked, the kernel doubles a data byte 0xFF so it cannot be taken for a mark.
  const uint8_t sent[] = {'a', 0xFF, '\r'};
  ASSERT_EQ(WriteFd(pair.master_fd, sent, sizeof sent), 3);
  uint8_t got[16] = {};
  ASSERT_EQ(WaitReadable(pair.slave_fd, 1000), 1);
  const long n = ReadFd(pair.slave_fd, got, sizeof got);
  EXPECT_EQ(std::string(got, got + std::max(n, 0L)), "a\xff\xff\r");
  ClosePty(pair);
}

TEST(LineSettings, AcceptsOnlyTheFourFieldForm) {
  const auto parsed = ParseLineSettings(" 14400 ,e, 7,1.5");
  ASSERT_TRUE(parsed.has_value());
  EXPECT_EQ(parsed->BaudRate, 14400u);
  EXPECT_EQ(parsed->Parity, kParityEven);
  EXPECT_EQ(parsed->ByteSize, 7);
  EXPECT_EQ(parsed->StopBits, kStopBitsOneAndHalf);
  EXPECT_EQ(ParseLineSettings("0,m,4,2")->Parity, kParityMark);
  for (const char* bad :
       {"9600,N,8", "9600,N,8,1,1", "9600,X,8,1", "9600,N,9,1", "9600,N,3,1", "9600,N,8,3", "9600,N,8,1.0",
        "-9600,N,8,1", "96x0,N,8,1", ",N,8,1", "9600,NO,8,1", "99999999999,N,8,1"}) {
    EXPECT_FALSE(ParseLineSettings(bad).has_value()) << bad;
  }
}

}  // namespace
}  // namespace platform
