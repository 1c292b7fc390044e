#include "skin/skin_text.h"

#include "registers/number_text.h"

namespace skin_text {

std::string Upper(std::string text) {
  return register_text::Upper(std::move(text));
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
  return register_text::Trim(text);
}

}  // namespace skin_text
