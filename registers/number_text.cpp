#include "registers/number_text.h"

#include <cctype>
#include <limits>

#include "platform/hex_text.h"

namespace register_text {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}
bool IsDecimal(char c) {
  return c >= '0' && c <= '9';
}
// Length of the run of digits at `from`.
size_t DigitRun(const std::string& text, size_t from, bool hex) {
  size_t end = from;
  while (end < text.size() && (hex ? platform::hex_text::IsDigit(text[end]) : IsDecimal(text[end]))) ++end;
  return end - from;
}

}  // namespace

std::string Trim(const std::string& text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return text.substr(begin, end - begin);
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> items;
  size_t start = 0;
  for (;;) {
    size_t at = text.find(separator, start);
    if (at == std::string::npos) {
      items.push_back(text.substr(start));
      return items;
    }
    items.push_back(text.substr(start, at - start));
    start = at + 1;
  }
}

std::string Join(const std::vector<std::string>& items, const std::string& separator) {
  std::string joined;
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) joined += separator;
    joined += items[i];
  }
  return joined;
}

std::string NormaliseNumber(const std::string& text) {
  std::string n = Upper(Trim(text));
  if (n.rfind("0X", 0) == 0) n.replace(0, 2, "&H");
  return n;
}

bool IsNumber(const std::string& text) {
  std::string n = NormaliseNumber(text);
  if (n.rfind("&H", 0) == 0) return n.size() > 2 && DigitRun(n, 2, true) == n.size() - 2;
  size_t digits_at = (!n.empty() && (n[0] == '+' || n[0] == '-')) ? 1 : 0;
  return n.size() > digits_at && DigitRun(n, digits_at, false) == n.size() - digits_at;
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
  for (; at < n.size() && IsDecimal(n[at]); ++at) {
    int digit = n[at] - '0';
    if (value > (kLimit - digit) / 10) {
      value = kLimit;
      break;
    }
    value = value * 10 + digit;
  }
  return negative ? -value : value;
}

bool AllDigits(const std::string& text, bool hex) {
  return !text.empty() && DigitRun(text, 0, hex) == text.size();
}

}  // namespace register_text
