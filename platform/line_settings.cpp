#include "platform/line_settings.h"

#include <cctype>
#include <limits>
#include <vector>

namespace platform {
namespace {

std::string Trim(const std::string& text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return text.substr(begin, end - begin);
}

std::vector<std::string> SplitFields(const std::string& text) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (;;) {
    const size_t comma = text.find(',', start);
    fields.push_back(
        Trim(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
    if (comma == std::string::npos) return fields;
    start = comma + 1;
  }
}

std::optional<uint32_t> ParseRate(const std::string& field) {
  if (field.empty()) return std::nullopt;
  uint64_t value = 0;
  for (const char c : field) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (value > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  }
  return static_cast<uint32_t>(value);
}

struct ParityLetter {
  char letter;
  uint8_t code;
};
constexpr ParityLetter kParityLetters[] = {
    {'N', kParityNone}, {'O', kParityOdd}, {'E', kParityEven}, {'M', kParityMark}, {'S', kParitySpace},
};

struct StopBitsText {
  const char* text;
  uint8_t code;
};
constexpr StopBitsText kStopBitsTexts[] = {
    {"1", kStopBitsOne},
    {"1.5", kStopBitsOneAndHalf},
    {"2", kStopBitsTwo},
};

}  // namespace

std::optional<CommState> ParseLineSettings(const std::string& text) {
  const std::vector<std::string> fields = SplitFields(text);
  if (fields.size() != 4) return std::nullopt;

  CommState state;
  const std::optional<uint32_t> rate = ParseRate(fields[0]);
  if (!rate) return std::nullopt;
  state.BaudRate = *rate;

  if (fields[1].size() != 1) return std::nullopt;
  const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(fields[1][0])));
  bool parity_known = false;
  for (const ParityLetter& entry : kParityLetters) {
    if (entry.letter == letter) {
      state.Parity = entry.code;
      parity_known = true;
    }
  }
  if (!parity_known) return std::nullopt;

  if (fields[2].size() != 1 || fields[2][0] < '4' || fields[2][0] > '8') return std::nullopt;
  state.ByteSize = static_cast<uint8_t>(fields[2][0] - '0');

  bool stop_known = false;
  for (const StopBitsText& entry : kStopBitsTexts) {
    if (fields[3] == entry.text) {
      state.StopBits = entry.code;
      stop_known = true;
    }
  }
  if (!stop_known) return std::nullopt;
  return state;
}

}  // namespace platform
