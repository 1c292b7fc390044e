#pragma once
// The reader's side of the line format: a frame is STX, a text, optionally two checksum digits, and CR.
// The checksum is the 8-bit sum of the text's bytes, written as two upper-case hexadecimal digits.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace msrsim {

using Bytes = std::vector<uint8_t>;

inline constexpr uint8_t kStx = 0x02;
inline constexpr uint8_t kCr = 0x0D;
inline constexpr uint8_t kLf = 0x0A;

// Sum of the text's bytes modulo 256: no seed, no complement.
uint8_t Checksum(std::string_view text);
// Two upper-case hexadecimal digits, leading zero kept: 0x0A -> "0A".
std::string HexByte(uint8_t value);
// Reads exactly two hexadecimal digits (either case). Nothing for any other text.
std::optional<uint8_t> ParseHexByte(std::string_view digits);

// STX, text, CR.
Bytes Frame(std::string_view text);

// Assembles request frames from the bytes the host sends, however they are split over reads.
//   - Bytes before an STX are line noise and are skipped.
//   - An STX inside a frame starts the frame again: a host that gave up on a request and sent the next one
//     must not have the two glued together.
//   - A frame that grows beyond kMaxText bytes is dropped up to its CR; nothing the host sends is that long.
//   - An empty frame (STX CR) is ignored.
class FrameReader {
 public:
  static constexpr size_t kMaxText = 600;

  // Feeds bytes; returns the texts of the frames they completed, in order.
  std::vector<std::string> Feed(const uint8_t* data, size_t size);
  // Number of frames dropped for length since creation.
  size_t DroppedFrames() const { return dropped_; }

 private:
  enum class State { kIdle, kInFrame, kSkipping };
  State state_ = State::kIdle;
  std::string text_;
  size_t dropped_ = 0;
};

// A text made readable for a log: printable ASCII as it is, other bytes as <STX>, <CR>, <LF> or <xNN>.
std::string Printable(std::string_view bytes);

}  // namespace msrsim
