#include "sim/reader_config.h"

namespace msrsim {

std::optional<uint32_t> SerialRegisterMap::RateForCode(uint8_t code) const {
  if (code >= baud_codes.size()) return std::nullopt;
  return baud_codes[code];
}

std::optional<uint8_t> SerialRegisterMap::CodeForRate(uint32_t rate) const {
  for (size_t code = 0; code < baud_codes.size() && code < 256; ++code) {
    if (baud_codes[code] == rate) return static_cast<uint8_t>(code);
  }
  return std::nullopt;
}

RegisterImage DefaultImage(uint8_t fill, uint32_t rate, const SerialRegisterMap& map) {
  RegisterImage image;
  image.fill(fill);
  SetAlias(image, "");
  const auto put = [&image](int reg, uint8_t value) {
    if (reg >= 0 && reg < 256) image[static_cast<size_t>(reg)] = value;
  };
  put(map.interface_register, 0);
  put(map.parity_register, 0);
  put(map.data_bits_register, 8);
  put(map.stop_bits_register, 1);
  if (const auto code = map.CodeForRate(rate)) put(map.baud_register, *code);
  return image;
}

void SetAlias(RegisterImage& image, const std::string& alias) {
  for (int i = 0; i < kAliasLength; ++i) {
    const auto index = static_cast<size_t>(i);
    image[kAliasFirst + index] = index < alias.size() ? static_cast<uint8_t>(alias[index]) : kNoAliasByte;
  }
}

std::string GetAlias(const RegisterImage& image) {
  std::string alias;
  for (int i = kAliasFirst; i < kAliasFirst + kAliasLength; ++i) {
    const uint8_t byte = image[static_cast<size_t>(i)];
    if (byte == kNoAliasByte) break;
    alias.push_back(static_cast<char>(byte));
  }
  return alias;
}

}  // namespace msrsim
