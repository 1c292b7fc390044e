#pragma once
// Text helpers of the skin layer. Names from files and skins compare without regard to case, in ASCII.

#include <string>

namespace skin_text {

std::string Upper(std::string text);
bool EqualNoCase(const std::string& a, const std::string& b);
bool ContainsNoCase(const std::string& text, const std::string& part);
bool StartsWithNoCase(const std::string& text, const std::string& prefix);
// Blanks and tabs removed at both ends.
std::string Trim(const std::string& text);

}  // namespace skin_text
