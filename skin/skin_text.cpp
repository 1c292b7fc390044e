#include "skin/skin_text.h"

namespace skin_text {

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

bool EqualNoCase(const std::string& a, const std::string& b) {
  return Upper(a) == Upper(b);
}

bool ContainsNoCase(const std::string& text, const std::string& part) {
  return Upper(text).find(Upper(part)) != std::string::npos;
}

bool StartsWithNoCase(const std::string& text, const std::string& prefix) {
  return text.size() >= prefix.size() && EqualNoCase(text.substr(0, prefix.size()), prefix);
}

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  const size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

}  // namespace skin_text
