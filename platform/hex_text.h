#pragma once
// Hexadecimal texts as the readers and the files use them: a byte is always two upper-case digits,
// and a text is read back the lenient way ("&H" reading): digits up to the first non-digit.

#include <cstdint>
#include <string>

namespace platform::hex_text {

// A hexadecimal digit of either case.
inline bool IsDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// 0x0A gives "0A".
std::string Byte(uint8_t value);
// Reads leading hexadecimal digits (either case) and stops at the first other character; no digits
// give 0. At most 16 digits are taken.
uint64_t ValueOf(const std::string& text);

}  // namespace platform::hex_text
