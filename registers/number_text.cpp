#include "registers/number_text.h"

#include <limits>

#include "platform/hex_text.h"

namespace register_text {

using platform::text::AllDigits;
using platform::text::Trim;
using platform::text::Upper;

std::string NormaliseNumber(const std::string& text) {
  std::string n = Upper(Trim(text));
  if (n.rfind("0X", 0) == 0) n.replace(0, 2, "&H");
  return n;
}

bool IsNumber(const std::string& text) {
  std::string n = NormaliseNumber(text);
  if (n.rfind("&H", 0) == 0) return AllDigits(std::string_view(n).substr(2), true);
  size_t digits_at = (!n.empty() && (n[0] == '+' || n[0] == '-')) ? 1 : 0;
  return AllDigits(std::string_view(n).substr(digits_at));
}

int64_t NumberOf(const std::string& text) {
  std::string n = NormaliseNumber(text);
  if (n.rfind("&H", 0) == 0) {
    uint64_t value = platform::hex_text::ValueOf(n.substr(2));
    constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    return static_cast<int64_t>(value > kMax ? kMax : value);
  }
  bool negative = !n.empty() && n[0] == '-';
  size_t at = (!n.empty() && (n[0] == '+' || n[0] == '-')) ? 1 : 0;
  constexpr int64_t kLimit = std::numeric_limits<int64_t>::max();
  int64_t value = 0;
  for (; at < n.size() && platform::text::IsDigit(n[at]); ++at) {
    int digit = n[at] - '0';
    if (value > (kLimit - digit) / 10) {
      value = kLimit;
      break;
    }
    value = value * 10 + digit;
  }
  return negative ? -value : value;
}

}  // namespace register_text
