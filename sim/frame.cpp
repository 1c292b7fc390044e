#include "sim/frame.h"

namespace msrsim {

namespace {

int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

uint8_t Checksum(std::string_view text) {
  uint8_t sum = 0;
  for (const char c : text) sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(c));
  return sum;
}

std::string HexByte(uint8_t value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return {kDigits[value >> 4], kDigits[value & 0x0F]};
}

std::optional<uint8_t> ParseHexByte(std::string_view digits) {
  if (digits.size() != 2) return std::nullopt;
  const int high = HexDigitValue(digits[0]);
  const int low = HexDigitValue(digits[1]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<uint8_t>(high * 16 + low);
}

Bytes Frame(std::string_view text) {
  Bytes out;
  out.reserve(text.size() + 2);
  out.push_back(kStx);
  out.insert(out.end(), text.begin(), text.end());
  out.push_back(kCr);
  return out;
}

std::vector<std::string> FrameReader::Feed(const uint8_t* data, size_t size) {
  std::vector<std::string> frames;
  for (size_t i = 0; i < size; ++i) {
    const uint8_t byte = data[i];
    if (byte == kStx) {
      state_ = State::kInFrame;
      text_.clear();
      continue;
    }
    switch (state_) {
      case State::kIdle:
        break;
      case State::kSkipping:
        if (byte == kCr) state_ = State::kIdle;
        break;
      case State::kInFrame:
        if (byte == kCr) {
          if (!text_.empty()) frames.push_back(text_);
          text_.clear();
          state_ = State::kIdle;
        } else if (text_.size() == kMaxText) {
          ++dropped_;
          text_.clear();
          state_ = State::kSkipping;
        } else {
          text_.push_back(static_cast<char>(byte));
        }
        break;
    }
  }
  return frames;
}

std::string Printable(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    if (byte == kStx) {
      out += "<STX>";
    } else if (byte == kCr) {
      out += "<CR>";
    } else if (byte == kLf) {
      out += "<LF>";
    } else if (byte >= 0x20 && byte < 0x7F) {
      out.push_back(c);
    } else {
      out += "<x" + HexByte(byte) + ">";
    }
  }
  return out;
}

}  // namespace msrsim
