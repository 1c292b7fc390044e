#pragma once
// The yes/no reading of a settings value, shared by every file the program reads such values from.

#include <string>

// Trimmed and upper-cased; a whole number is true when it is not zero (so "1" and "-1" are both yes);
// otherwise "TRUE", "T", "Y" and "YES" are true and every other text, empty included, is false.
bool ToBoolean(const std::string& text);
