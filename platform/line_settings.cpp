#include "platform/line_settings.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "platform/text.h"

namespace platform {
namespace {

std::optional<uint32_t> ParseRate(const std::string& field) {
  if (!text::AllDigits(field)) return std::nullopt;
  uint64_t value = 0;
  for (const char c : field) {
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (value > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  }
  return static_cast<uint32_t>(value);
}

}  // namespace

std::optional<CommState> ParseLineSettings(const std::string& settings) {
  std::vector<std::string> fields = text::Split(settings, ',');
  if (fields.size() != 4) return std::nullopt;
  for (std::string& field : fields) field = text::Trim(field, text::kWhiteSpace);

  CommState state;
  const std::optional<uint32_t> rate = ParseRate(fields[0]);
  if (!rate) return std::nullopt;
  state.BaudRate = *rate;

  const size_t parity =
      fields[1].size() == 1 ? kParityLetters.find(text::UpperChar(fields[1][0])) : std::string::npos;
  if (parity == std::string::npos) return std::nullopt;
  state.Parity = static_cast<uint8_t>(parity);

  const int data_bits = fields[2].size() == 1 && text::IsDigit(fields[2][0]) ? fields[2][0] - '0' : 0;
  if (data_bits < kMinDataBits || data_bits > kMaxDataBits) return std::nullopt;
  state.ByteSize = static_cast<uint8_t>(data_bits);

  const auto stop = std::find(kStopBitsTexts.begin(), kStopBitsTexts.end(), fields[3]);
  if (stop == kStopBitsTexts.end()) return std::nullopt;
  state.StopBits = static_cast<uint8_t>(stop - kStopBitsTexts.begin());
  return state;
}

}  // namespace platform
