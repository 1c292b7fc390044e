#include "platform/hex_text.h"

namespace platform::hex_text {

std::string Byte(uint8_t value) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return {kDigits[value >> 4], kDigits[value & 0x0F]};
}

uint64_t ValueOf(const std::string& text) {
  uint64_t value = 0;
  int digits = 0;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else if (c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else {
      break;
    }
    if (++digits > 16) break;
    value = (value << 4) | static_cast<uint64_t>(digit);
  }
  return value;
}

}  // namespace platform::hex_text
