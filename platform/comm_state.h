#pragma once
// The four line settings that the program reads and writes on an open serial device.
// Everything else the device holds (flow control, timeouts, modes) is read back and written unchanged.

#include <array>
#include <cstdint>
#include <string_view>

namespace platform {

enum ParityCode : uint8_t { kParityNone = 0, kParityOdd = 1, kParityEven = 2, kParityMark = 3, kParitySpace = 4 };
enum StopBitsCode : uint8_t { kStopBitsOne = 0, kStopBitsOneAndHalf = 1, kStopBitsTwo = 2 };

// How settings texts write the fields: parity letters and stop-bit texts in code order, and the data
// bits a line may have.
inline constexpr std::string_view kParityLetters = "NOEMS";
inline constexpr std::array<std::string_view, 3> kStopBitsTexts = {"1", "1.5", "2"};
inline constexpr int kMinDataBits = 4;
inline constexpr int kMaxDataBits = 8;

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
