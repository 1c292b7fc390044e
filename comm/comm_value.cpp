#include "comm/comm_value.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "platform/text.h"

namespace comm {
namespace {

using platform::text::IsDigit;
using platform::text::UpperChar;

// What a number may carry around it (and, read by LeadingNumber, inside it).
constexpr std::string_view kNumberBlanks = " \t\n\r";
bool IsBlank(char c) {
  return kNumberBlanks.find(c) != std::string_view::npos;
}

// Parses a plain decimal number that must fill all of `text`: sign, digits, fraction, exponent.
// from_chars is used because it ignores the locale: a decimal comma must never turn "1.5" into 1.
std::optional<double> ParseDecimal(std::string_view text) {
  size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  std::string digits;
  size_t mantissa_digits = 0;
  while (i < text.size() && IsDigit(text[i])) digits += text[i++], ++mantissa_digits;
  if (i < text.size() && text[i] == '.') {
    digits += text[i++];
    while (i < text.size() && IsDigit(text[i])) digits += text[i++], ++mantissa_digits;
  }
  if (mantissa_digits == 0) return std::nullopt;
  if (i < text.size() && (UpperChar(text[i]) == 'E' || UpperChar(text[i]) == 'D')) {
    std::string exponent = "e";
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) exponent += text[i++];
    size_t exponent_digits = 0;
    while (i < text.size() && IsDigit(text[i])) exponent += text[i++], ++exponent_digits;
    if (exponent_digits == 0) return std::nullopt;
    digits += exponent;
  }
  if (i != text.size()) return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return negative ? -value : value;
}

std::optional<double> ParseRadix(std::string_view digits, int radix) {
  if (digits.empty() || digits.size() > 16) return std::nullopt;
  uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, radix);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return static_cast<double>(value);
}

template <typename T>
std::optional<T> RoundTo(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  const double rounded = std::nearbyint(value);  // the default rounding mode is half to even
  if (rounded < static_cast<double>(std::numeric_limits<T>::min()) ||
      rounded > static_cast<double>(std::numeric_limits<T>::max())) {
    return std::nullopt;
  }
  return static_cast<T>(rounded);
}

std::string NumberText(double value) {
  if (std::nearbyint(value) == value && std::fabs(value) < 1e15) {
    return std::to_string(static_cast<int64_t>(value));
  }
  char buffer[32];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return error == std::errc() ? std::string(buffer, end) : std::string();
}

}  // namespace

std::optional<double> NumericValue(std::string_view text) {
  const std::string trimmed = platform::text::Trim(text, kNumberBlanks);
  text = trimmed;
  if (text.size() > 2 && text[0] == '&') {
    if (UpperChar(text[1]) == 'H') return ParseRadix(text.substr(2), 16);
    if (UpperChar(text[1]) == 'O') return ParseRadix(text.substr(2), 8);
  }
  return ParseDecimal(text);
}

double LeadingNumber(std::string_view text) {
  std::string kept;
  for (char c : text) {
    if (!IsBlank(c)) kept += c;
  }
  // Longest prefix of the blank-free text that still forms a number.
  size_t i = 0;
  if (i < kept.size() && (kept[i] == '+' || kept[i] == '-')) ++i;
  const size_t digits_start = i;
  while (i < kept.size() && IsDigit(kept[i])) ++i;
  if (i < kept.size() && kept[i] == '.') {
    ++i;
    while (i < kept.size() && IsDigit(kept[i])) ++i;
  }
  if (i == digits_start || (i == digits_start + 1 && kept[digits_start] == '.')) return 0;
  size_t end = i;
  if (i < kept.size() && (UpperChar(kept[i]) == 'E' || UpperChar(kept[i]) == 'D')) {
    size_t j = i + 1;
    if (j < kept.size() && (kept[j] == '+' || kept[j] == '-')) ++j;
    const size_t exponent_start = j;
    while (j < kept.size() && IsDigit(kept[j])) ++j;
    if (j > exponent_start) end = j;
  }
  const auto value = ParseDecimal(std::string_view(kept).substr(0, end));
  return value.value_or(0);
}

std::optional<int16_t> RoundToInt16(double value) {
  return RoundTo<int16_t>(value);
}
std::optional<int32_t> RoundToInt32(double value) {
  return RoundTo<int32_t>(value);
}

std::optional<double> NumberOf(const CommValue& value) {
  if (std::holds_alternative<std::monostate>(value)) return 0.0;
  if (const bool* b = std::get_if<bool>(&value)) return *b ? -1.0 : 0.0;
  if (const int32_t* i = std::get_if<int32_t>(&value)) return static_cast<double>(*i);
  if (const double* d = std::get_if<double>(&value)) return *d;
  if (const std::string* s = std::get_if<std::string>(&value)) return NumericValue(*s);
  return std::nullopt;
}

std::optional<bool> AsBool(const CommValue& value) {
  if (const bool* b = std::get_if<bool>(&value)) return *b;
  if (const std::string* s = std::get_if<std::string>(&value)) {
    const std::string trimmed = platform::text::Trim(*s, platform::text::kSpaces);
    if (platform::text::EqualNoCase(trimmed, "True")) return true;
    if (platform::text::EqualNoCase(trimmed, "False")) return false;
  }
  const auto number = NumberOf(value);
  if (!number) return std::nullopt;
  return *number != 0;
}

std::optional<int32_t> AsInt32(const CommValue& value) {
  const auto number = NumberOf(value);
  if (!number) return std::nullopt;
  return RoundToInt32(*number);
}

std::optional<std::string> AsText(const CommValue& value) {
  if (std::holds_alternative<std::monostate>(value)) return std::string();
  if (const bool* b = std::get_if<bool>(&value)) return std::string(*b ? "True" : "False");
  if (const int32_t* i = std::get_if<int32_t>(&value)) return std::to_string(*i);
  if (const double* d = std::get_if<double>(&value)) return NumberText(*d);
  if (const std::string* s = std::get_if<std::string>(&value)) return *s;
  const Bytes& bytes = std::get<Bytes>(value);
  return std::string(bytes.begin(), bytes.end());
}

std::optional<Bytes> AsBytes(const CommValue& value) {
  if (const Bytes* bytes = std::get_if<Bytes>(&value)) return *bytes;
  const auto text = AsText(value);
  if (!text) return std::nullopt;
  return Bytes(text->begin(), text->end());
}

}  // namespace comm
