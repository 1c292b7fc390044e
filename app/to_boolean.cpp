#include "app/to_boolean.h"

#include <array>
#include <cstdlib>

#include "platform/text.h"
#include "registers/number_text.h"

namespace {

constexpr std::array<const char*, 4> kYesWords = {"TRUE", "T", "Y", "YES"};

// A decimal with a fraction ("0.5", "-2.25"): people write such values by hand and mean a number.
bool IsDecimalFraction(const std::string& text, double& value) {
  size_t i = (!text.empty() && (text[0] == '+' || text[0] == '-')) ? 1 : 0;
  bool digits = false;
  bool point = false;
  for (; i < text.size(); ++i) {
    if (text[i] >= '0' && text[i] <= '9') {
      digits = true;
    } else if (text[i] == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  if (!digits) return false;
  value = std::strtod(text.c_str(), nullptr);
  return true;
}

}  // namespace

bool ToBoolean(const std::string& text) {
  const std::string word = platform::text::Upper(platform::text::Trim(text));
  if (register_text::IsNumber(word)) return register_text::NumberOf(word) != 0;
  double value = 0;
  if (IsDecimalFraction(word, value)) return value != 0;
  for (const char* yes : kYesWords) {
    if (word == yes) return true;
  }
  return false;
}
