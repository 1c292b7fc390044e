#include "platform/text.h"

#include <algorithm>

#include "platform/hex_text.h"

namespace platform::text {

std::string Upper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = UpperChar(c);
  return upper;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return UpperChar(x) == UpperChar(y); });
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualNoCase(text.substr(0, prefix.size()), prefix);
}

bool ContainsNoCase(std::string_view text, std::string_view part) {
  // Every text contains the empty text, as std::string::find has it.
  if (part.empty()) return true;
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [](char x, char y) { return UpperChar(x) == UpperChar(y); }) != text.end();
}

std::string Trim(std::string_view text, std::string_view blanks) {
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> fields;
  for (size_t start = 0;;) {
    const size_t at = text.find(separator, start);
    fields.emplace_back(
        text.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
    if (at == std::string_view::npos) return fields;
    start = at + 1;
  }
}

std::string Join(const std::vector<std::string>& fields, std::string_view separator) {
  std::string joined;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) joined += separator;
    joined += fields[i];
  }
  return joined;
}

bool AllDigits(std::string_view text, bool hex) {
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [hex](char c) { return hex ? hex_text::IsDigit(c) : IsDigit(c); });
}

}  // namespace platform::text
