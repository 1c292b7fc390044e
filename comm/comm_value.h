#pragma once
// The conversions a late-bound port interface needs: numbers written as text, the number a text starts
// with, rounding to integers, and coercion of a CommValue to the type of the member it is written to.
// Port names, settings strings and the attach protocol all carry numbers as text, so these rules decide
// what "COM3", " 19200 " or "1.5" mean.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "comm/clsMSComm.h"

namespace comm {

// The value of `text` when the whole text (blanks around it allowed) is one number: decimal with an
// optional sign, fraction and exponent ("1e3", "2.5", "-7"), or hexadecimal/octal after "&H"/"&O".
// Unlike register_text::IsNumber it takes fractions and exponents: a port property may be "1.5".
std::optional<double> NumericValue(std::string_view text);
inline bool IsNumericText(std::string_view text) {
  return NumericValue(text).has_value();
}

// The decimal number that `text` starts with; blanks, tabs and line feeds are skipped anywhere in it,
// reading stops at the first other character. A text that does not start with a number gives 0.
// Register definitions read theirs with register_text::NumberOf instead: whole numbers, "0x" and
// "&H" hexadecimal, full 64-bit width.
double LeadingNumber(std::string_view text);

// Rounds half to even, as the integer conversions of the settings and port texts always have
// (2.5 gives 2, 3.5 gives 4). Empty when the result does not fit.
std::optional<int16_t> RoundToInt16(double value);
std::optional<int32_t> RoundToInt32(double value);

// The numeric value of a CommValue: numbers as they are, true -1 and false 0, numeric texts, empty 0.
std::optional<double> NumberOf(const CommValue& value);

// Coercions for property writes by name. Empty when the value cannot take the member's type.
std::optional<bool> AsBool(const CommValue& value);
std::optional<int32_t> AsInt32(const CommValue& value);
std::optional<std::string> AsText(const CommValue& value);
std::optional<Bytes> AsBytes(const CommValue& value);

}  // namespace comm
