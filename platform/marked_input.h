#pragma once
// Input as a serial line delivers it when line errors are marked in the stream (termios PARMRK):
//   0xFF 0xFF      one data byte 0xFF
//   0xFF 0x00 x    byte x arrived with a parity or framing error
//   0xFF 0x00 0x00 a break (or a framing error on a zero byte; the two cannot be told apart)
// A marking may be split across reads, so the decoder keeps its place between calls.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace platform {

class MarkedInputDecoder {
 public:
  struct Options {
    // Stored in place of a damaged byte; without it the damaged byte is kept as it arrived.
    std::optional<uint8_t> error_replacement;
    // Drop 0x00 data bytes (not replacements).
    bool discard_nulls = false;
  };

  // Appends the data bytes of `size` raw bytes to `out` and returns how many line errors (damaged bytes
  // and breaks) they marked. A break carries no data: only a replacement byte is stored for it.
  size_t Decode(const uint8_t* data, size_t size, const Options& options, std::vector<uint8_t>& out);

  // Forgets a marking cut off by the end of the last read, e.g. after the input was flushed.
  void Reset() { state_ = State::kData; }
  bool InsideMarking() const { return state_ != State::kData; }

 private:
  enum class State { kData, kAfterMark, kAfterErrorMark };
  State state_ = State::kData;
};

}  // namespace platform
