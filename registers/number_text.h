#pragma once
// Texts and numbers as register definitions write them.
//
// One number rule serves every key of a definition: trim, upper-case, a leading "0X" means the same as
// "&H" (hexadecimal), anything else is decimal; the longest numeric prefix counts and a text without one
// is 0. Values are kept at full width: "&HFFFF" is 65535, never -1, because definition files were written
// by people who think of register contents as unsigned.

#include <cstdint>
#include <string>

#include "platform/text.h"

namespace register_text {

// Trimmed, upper-cased, and "0X" at the start rewritten as "&H".
std::string NormaliseNumber(const std::string& text);
// True when the whole normalised text is a number: "&H" and hexadecimal digits, or an optional sign
// and decimal digits. Numbers here are whole numbers; "1.5" is not one.
bool IsNumber(const std::string& text);
// The number rule: the longest numeric prefix of the normalised text, 0 without one. Decimal values
// beyond the 64-bit range saturate; hexadecimal takes at most 16 digits (platform::hex_text::ValueOf).
// Not comm::LeadingNumber: definitions hold whole numbers and "0x" hexadecimal, never fractions.
int64_t NumberOf(const std::string& text);

}  // namespace register_text
