#pragma once
// Text helpers that every layer shares, kept once so that names compare and values trim alike everywhere.
// Keys, switches, port and model names are ASCII: only ASCII letters change case, so a byte above 127 (part
// of a UTF-8 alias) is never altered, whatever the locale.

#include <string>
#include <string_view>
#include <vector>

namespace platform::text {

// What a person leaves around a value in a file or a field.
inline constexpr std::string_view kBlanks = " \t";
// Spaces alone, as the port interface's texts are trimmed: a tab there stays part of the value.
inline constexpr std::string_view kSpaces = " ";
// Every white-space character, line ends included.
inline constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
inline char UpperChar(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string Upper(std::string_view text);
bool EqualNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view text, std::string_view prefix);
bool ContainsNoCase(std::string_view text, std::string_view part);

// `text` without the characters of `blanks` at both ends.
std::string Trim(std::string_view text, std::string_view blanks = kBlanks);
// Splits at every `separator`; an empty text gives one empty field.
std::vector<std::string> Split(std::string_view text, char separator);
std::string Join(const std::vector<std::string>& fields, std::string_view separator);

// True when `text` is not empty and every character is a decimal digit, or with `hex` a hexadecimal
// digit of either case.
bool AllDigits(std::string_view text, bool hex = false);

}  // namespace platform::text
