#pragma once
// Wildcard comparison with the rules of the classic Like operator, binary compare (case matters; callers
// upper-case both sides when they want otherwise). Module names in the settings file are written with
// these rules, so they must keep meaning what they meant:
//
//   ?          any one character
//   *          any run of characters, also none
//   #          one digit 0-9
//   [list]     one character of the list; "A-F" in a list is a range, which must ascend
//   [!list]    one character not in the list; "[!]" therefore takes any one character
//   []         nothing at all (a zero-length match)
//
// Inside a list "[", "?", "#" and "*" stand for themselves; "-" does too at the start of the list (after
// "!") or at its end. "]" closes a list and is an ordinary character outside one, as "!" is.
// A pattern with an open "[" or a descending range is invalid and matches nothing.

#include <string_view>

namespace gnet {

// True when the whole of `text` matches the whole of `pattern`.
bool MatchLike(std::string_view text, std::string_view pattern);

// False for a pattern that the comparison rejects (an unclosed list, a range such as "[Z-A]").
bool IsValidLikePattern(std::string_view pattern);

}  // namespace gnet
