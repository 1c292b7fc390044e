#pragma once
// The four line settings that the program reads and writes on an open serial device.
// Everything else the device holds (flow control, timeouts, modes) is read back and written unchanged.

#include <cstdint>

namespace platform {

enum ParityCode : uint8_t { kParityNone = 0, kParityOdd = 1, kParityEven = 2, kParityMark = 3, kParitySpace = 4 };
enum StopBitsCode : uint8_t { kStopBitsOne = 0, kStopBitsOneAndHalf = 1, kStopBitsTwo = 2 };

struct CommState {
  uint32_t BaudRate = 0;  // bits per second; any rate the device accepts, not only the standard ones
  uint8_t ByteSize = 8;   // data bits
  uint8_t Parity = kParityNone;
  uint8_t StopBits = kStopBitsOne;
};

// Reads the settings of an open terminal device. Returns 0 or an errno value.
int ReadCommState(int fd, CommState& state);
// Writes them, keeping every other attribute as the device holds it. Returns 0 or an errno value
// (EINVAL for a combination the device cannot do, such as 4 data bits).
int WriteCommState(int fd, const CommState& state);

}  // namespace platform
