#pragma once
// Whether a reader's model (or alias) belongs to a list of the settings file: ModuleNames, the readers
// the program supports, and MultipleInterfaces, the models reachable in more than one way. People write
// those lists with wildcards ("KRD##*[AKPR]*" for every KRD model with two digits and an A, K, P or R
// later on), so an item counts as a name and as a pattern.

#include <string>

// True when `name` equals one of the `separator`-delimited items of `list` (case ignored), or when the
// upper-cased `name` matches an upper-cased item under the wildcard rules of gnet/like_pattern.h
// ("#" a digit, "*" any run, "?" one character, "[AKPR]" one of the listed characters). Items are taken
// as written, blanks included. An empty separator makes the whole list one item.
bool IsInDeviceList(const std::string& list, const std::string& name, const std::string& separator);
