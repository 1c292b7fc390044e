// The kernel's termios2 interface: unlike the classic termios it carries the rate as a number, so rates
// without a B-constant (14400, 56000, 128000, 256000, any multiple of 150) can be set.
//
// <asm/termbits.h> and <termios.h> define the same names differently, so this file includes only the
// kernel's headers and declares ioctl itself.
#include <asm/ioctls.h>
#include <asm/termbits.h>

#include <cerrno>
#include <cstdint>

#include "platform/comm_state.h"
#include "platform/linux/serial_line.h"

extern "C" int ioctl(int fd, unsigned long request, ...);

namespace platform {
namespace {

int GetAttributes(int fd, termios2& attrs) {
  if (ioctl(fd, TCGETS2, &attrs) != 0) return errno != 0 ? errno : EIO;
  return 0;
}

int SetAttributes(int fd, const termios2& attrs) {
  if (ioctl(fd, TCSETS2, &attrs) != 0) return errno != 0 ? errno : EIO;
  return 0;
}

struct SizeFlag {
  uint8_t bits;
  tcflag_t flag;
};
constexpr SizeFlag kSizes[] = {{5, CS5}, {6, CS6}, {7, CS7}, {8, CS8}};

struct ParityFlags {
  uint8_t code;
  tcflag_t flags;  // within PARENB | PARODD | CMSPAR
};
// Stick parity (CMSPAR) sends the parity bit as PARODD says: set gives mark, clear gives space.
constexpr ParityFlags kParities[] = {
    {kParityNone, 0},
    {kParityOdd, PARENB | PARODD},
    {kParityEven, PARENB},
    {kParityMark, PARENB | CMSPAR | PARODD},
    {kParitySpace, PARENB | CMSPAR},
};
constexpr tcflag_t kParityMask = PARENB | PARODD | CMSPAR;

// Rates of the classic B-constants, for a driver that reports one of them without filling in c_ospeed.
struct RateCode {
  tcflag_t code;
  uint32_t rate;
};
constexpr RateCode kRateCodes[] = {
    {B50, 50},         {B75, 75},         {B110, 110},         {B134, 134},       {B150, 150},
    {B200, 200},       {B300, 300},       {B600, 600},         {B1200, 1200},     {B1800, 1800},
    {B2400, 2400},     {B4800, 4800},     {B9600, 9600},       {B19200, 19200},   {B38400, 38400},
    {B57600, 57600},   {B115200, 115200}, {B230400, 230400},   {B460800, 460800}, {B500000, 500000},
    {B576000, 576000}, {B921600, 921600}, {B1000000, 1000000},
};

uint32_t OutputRate(const termios2& attrs) {
  const tcflag_t code = attrs.c_cflag & CBAUD;
  if (code == BOTHER || attrs.c_ospeed != 0) return attrs.c_ospeed;
  for (const RateCode& entry : kRateCodes) {
    if (entry.code == code) return entry.rate;
  }
  return 0;
}

}  // namespace

int ReadCommState(int fd, CommState& state) {
  termios2 attrs{};
  if (const int error = GetAttributes(fd, attrs)) return error;

  state.BaudRate = OutputRate(attrs);

  const tcflag_t size = attrs.c_cflag & CSIZE;
  state.ByteSize = 8;
  for (const SizeFlag& entry : kSizes) {
    if (entry.flag == size) state.ByteSize = entry.bits;
  }

  const tcflag_t parity = attrs.c_cflag & kParityMask;
  state.Parity = kParityNone;
  if (parity & PARENB) {
    for (const ParityFlags& entry : kParities) {
      if (entry.flags == parity) state.Parity = entry.code;
    }
  }

  // termios has one flag for "more than one stop bit". A UART sends one and a half stop bits when it is
  // asked for two with 5 data bits, so that is what the line runs with then.
  if (attrs.c_cflag & CSTOPB) {
    state.StopBits = size == CS5 ? kStopBitsOneAndHalf : kStopBitsTwo;
  } else {
    state.StopBits = kStopBitsOne;
  }
  return 0;
}

int WriteCommState(int fd, const CommState& state) {
  tcflag_t size = 0;
  for (const SizeFlag& entry : kSizes) {
    if (entry.bits == state.ByteSize) size = entry.flag;
  }
  if (size == 0) return EINVAL;  // 4 data bits, or anything else a UART cannot frame

  const ParityFlags* parity = nullptr;
  for (const ParityFlags& entry : kParities) {
    if (entry.code == state.Parity) parity = &entry;
  }
  if (parity == nullptr) return EINVAL;
  if (state.StopBits > kStopBitsTwo) return EINVAL;
  // A rate of 0 means "hang up" to the kernel (it drops DTR); it is never a line rate.
  if (state.BaudRate == 0) return EINVAL;

  termios2 attrs{};
  if (const int error = GetAttributes(fd, attrs)) return error;

  // Input rate bits cleared: the input follows the output rate.
  attrs.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT));
  attrs.c_cflag |= BOTHER;
  attrs.c_ospeed = state.BaudRate;
  attrs.c_ispeed = state.BaudRate;

  attrs.c_cflag = (attrs.c_cflag & ~CSIZE) | size;
  attrs.c_cflag = (attrs.c_cflag & ~kParityMask) | parity->flags;
  if (state.StopBits == kStopBitsOne) {
    attrs.c_cflag &= ~CSTOPB;
  } else {
    attrs.c_cflag |= CSTOPB;  // two, or one and a half with 5 data bits
  }
  return SetAttributes(fd, attrs);
}

int ConfigureMarkedRawLine(int fd) {
  termios2 attrs{};
  if (const int error = GetAttributes(fd, attrs)) return error;

  // What cfmakeraw does, except for the input flags that mark line errors.
  attrs.c_iflag &=
      ~(IGNBRK | BRKINT | IGNPAR | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY | IUCLC);
  // INPCK|PARMRK: a byte with a parity or framing error reaches us marked instead of silently
  // changed, and a break shows up in the stream, so the control can tell the program about them.
  attrs.c_iflag |= INPCK | PARMRK;
  attrs.c_oflag &= ~OPOST;
  attrs.c_lflag &= ~(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
  // CLOCAL: a modem line must not hang up the port or make open wait for carrier.
  attrs.c_cflag |= CLOCAL | CREAD;
  attrs.c_cc[VMIN] = 0;
  attrs.c_cc[VTIME] = 0;
  return SetAttributes(fd, attrs);
}

int SetLineHandshaking(int fd, int handshaking) {
  if (handshaking < 0 || handshaking > 3) return EINVAL;
  termios2 attrs{};
  if (const int error = GetAttributes(fd, attrs)) return error;
  const bool xon_xoff = (handshaking & 1) != 0;
  const bool rts_cts = (handshaking & 2) != 0;
  attrs.c_iflag = xon_xoff ? (attrs.c_iflag | IXON | IXOFF) : (attrs.c_iflag & ~(IXON | IXOFF));
  attrs.c_cflag = rts_cts ? (attrs.c_cflag | CRTSCTS) : (attrs.c_cflag & ~CRTSCTS);
  return SetAttributes(fd, attrs);
}

}  // namespace platform
