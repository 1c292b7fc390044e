#include "comm/comm_settings.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "comm/comm_value.h"
#include "platform/text.h"

namespace comm {
namespace {

// Rates accepted by name. Any multiple of 150 is accepted too, and the device has the final word: a
// rate it cannot do fails when the block is written.
constexpr std::array<int32_t, 15> kNamedBaudRates = {110,   300,   600,   1200,  2400,   4800,   9600,  14400,
                                                     19200, 38400, 56000, 57600, 115200, 128000, 256000};

using platform::kMaxDataBits;
using platform::kMinDataBits;
using platform::kParityLetters;
using platform::kStopBitsTexts;

// Stop bits by value, in code order: a token is read as a number, so "2.0" means two.
constexpr std::array<double, 3> kStopBitValues = {1.0, 1.5, 2.0};

// The checks' own texts, as the comm trace and callers know them.
constexpr const char* kParamCountError = "Param Count Error";
constexpr const char* kBaudRateError = "BaudRate Error";
constexpr const char* kParityError = "Parity Error";
constexpr const char* kByteSizeError = "ByteSize Error";
constexpr const char* kStopBitsError = "Stop Bits Error";

bool BaudRateAccepted(int32_t rate) {
  // A rate of 0 or a negative multiple passes here on purpose: the device rejects it when written.
  return rate % 150 == 0 ||
         std::find(kNamedBaudRates.begin(), kNamedBaudRates.end(), rate) != kNamedBaudRates.end();
}

bool IsParityLetter(const std::string& token) {
  const std::string upper = platform::text::Upper(token);
  return upper.size() == 1 && kParityLetters.find(upper[0]) != std::string_view::npos;
}

enum class Field { kBaud = 0, kParity = 1, kDataBits = 2, kStopBits = 3, kNone };

// Which field a token of a partial settings value replaces, judged by the number it starts with.
Field ClassifyToken(const std::string& token) {
  const double value = LeadingNumber(token);
  if (value == 0) return IsParityLetter(token) ? Field::kParity : Field::kNone;
  if (std::find(kStopBitValues.begin(), kStopBitValues.end(), value) != kStopBitValues.end()) {
    return Field::kStopBits;
  }
  // 1 and 2 were taken by the stop bits above, so baud rates 1, 2 and 4..8 cannot be set this way.
  if (value >= kMinDataBits && value <= kMaxDataBits && value == static_cast<int>(value))
    return Field::kDataBits;
  return Field::kBaud;
}

}  // namespace

std::string ParseSettingsText(const std::string& settings, platform::CommState& state) {
  const std::vector<std::string> fields = platform::text::Split(settings, ',');
  if (fields.size() != 4) return kParamCountError;

  const auto baud = RoundToInt32(LeadingNumber(fields[0]));
  if (!baud || !BaudRateAccepted(*baud)) return kBaudRateError;

  const std::string parity = platform::text::Upper(fields[1]);
  const size_t parity_code = parity.size() == 1 ? kParityLetters.find(parity[0]) : std::string_view::npos;
  if (parity_code == std::string_view::npos) return kParityError;

  const auto data_bits = RoundToInt32(LeadingNumber(fields[2]));
  if (!data_bits || *data_bits < kMinDataBits || *data_bits > kMaxDataBits) return kByteSizeError;

  const double stop = LeadingNumber(fields[3]);
  const auto stop_code =
      std::find(kStopBitValues.begin(), kStopBitValues.end(), stop) - kStopBitValues.begin();
  if (stop_code >= static_cast<std::ptrdiff_t>(kStopBitValues.size())) return kStopBitsError;

  state.BaudRate = static_cast<uint32_t>(*baud);
  state.Parity = static_cast<uint8_t>(parity_code);
  state.ByteSize = static_cast<uint8_t>(*data_bits);
  state.StopBits = static_cast<uint8_t>(stop_code);
  return std::string();
}

std::string FormatSettingsText(const platform::CommState& state, std::vector<std::string>& errors) {
  const size_t errors_before = errors.size();
  std::string text = std::to_string(state.BaudRate) + ",";
  if (state.Parity < kParityLetters.size()) {
    text += kParityLetters[state.Parity];
    text += ',';
  } else {
    errors.push_back(kParityError);
  }
  if (state.ByteSize >= kMinDataBits && state.ByteSize <= kMaxDataBits) {
    text += std::to_string(state.ByteSize) + ",";
  } else {
    errors.push_back(kByteSizeError);
  }
  if (state.StopBits < kStopBitsTexts.size()) {
    text += kStopBitsTexts[state.StopBits];
  } else {
    errors.push_back(kStopBitsError);
  }
  return errors.size() == errors_before ? text : std::string();
}

std::optional<std::string> MergeSettingsText(const std::string& current, const std::string& value) {
  std::vector<std::string> fields = platform::text::Split(current, ',');
  const std::string trimmed = platform::text::Trim(value, platform::text::kSpaces);
  if (fields.size() != 4 || trimmed.empty()) return std::nullopt;

  bool changed = false;
  for (const std::string& token : platform::text::Split(trimmed, ',')) {
    const Field field = ClassifyToken(token);
    if (field == Field::kNone) continue;
    // The token is kept as written: a parity letter keeps its case.
    fields[static_cast<size_t>(field)] = token;
    changed = true;
  }
  if (!changed) return std::nullopt;
  return platform::text::Join(fields, ",");
}

}  // namespace comm
