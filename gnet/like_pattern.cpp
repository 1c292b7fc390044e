#include "gnet/like_pattern.h"

#include <optional>
#include <vector>

namespace gnet {
namespace {

// One element of a compiled pattern. Every element but kAnyRun takes exactly one character.
struct Element {
  enum Kind { kLiteral, kAnyChar, kDigit, kCharList, kAnyRun } kind = kLiteral;
  unsigned char literal = 0;
  bool negated = false;
  std::vector<std::pair<unsigned char, unsigned char>> ranges;  // inclusive; a single character is c-c

  bool Takes(unsigned char c) const {
    switch (kind) {
      case kLiteral:
        return c == literal;
      case kAnyChar:
        return true;
      case kDigit:
        return c >= '0' && c <= '9';
      case kCharList: {
        bool in_list = false;
        for (const auto& [low, high] : ranges) in_list = in_list || (c >= low && c <= high);
        return in_list != negated;
      }
      case kAnyRun:
        break;
    }
    return false;
  }
};

// Reads the list that starts after "[" at `pos`; `pos` ends after the closing "]". Empty for a list
// without "]" or with a descending range. `zero_length` is set for "[]".
std::optional<Element> ReadList(std::string_view pattern, size_t& pos, bool& zero_length) {
  const size_t close = pattern.find(']', pos);
  if (close == std::string_view::npos) return std::nullopt;
  std::string_view list = pattern.substr(pos, close - pos);
  pos = close + 1;
  zero_length = list.empty();
  Element element;
  element.kind = Element::kCharList;
  if (!list.empty() && list.front() == '!') {
    element.negated = true;
    list.remove_prefix(1);
  }
  for (size_t i = 0; i < list.size(); ++i) {
    const auto low = static_cast<unsigned char>(list[i]);
    // A hyphen between two characters makes a range; at either end of the list it is itself.
    if (i + 2 < list.size() && list[i + 1] == '-') {
      const auto high = static_cast<unsigned char>(list[i + 2]);
      if (high < low) return std::nullopt;
      element.ranges.emplace_back(low, high);
      i += 2;
    } else {
      element.ranges.emplace_back(low, low);
    }
  }
  return element;
}

std::optional<std::vector<Element>> Compile(std::string_view pattern) {
  std::vector<Element> elements;
  for (size_t pos = 0; pos < pattern.size();) {
    const char c = pattern[pos];
    Element element;
    if (c == '[') {
      ++pos;
      bool zero_length = false;
      std::optional<Element> list = ReadList(pattern, pos, zero_length);
      if (!list) return std::nullopt;
      if (zero_length) continue;  // "[]" matches nothing, so it adds no element
      element = *list;
    } else {
      ++pos;
      if (c == '?') {
        element.kind = Element::kAnyChar;
      } else if (c == '#') {
        element.kind = Element::kDigit;
      } else if (c == '*') {
        if (!elements.empty() && elements.back().kind == Element::kAnyRun) continue;
        element.kind = Element::kAnyRun;
      } else {
        element.literal = static_cast<unsigned char>(c);
      }
    }
    elements.push_back(std::move(element));
  }
  return elements;
}

}  // namespace

bool IsValidLikePattern(std::string_view pattern) {
  return Compile(pattern).has_value();
}

bool MatchLike(std::string_view text, std::string_view pattern) {
  const std::optional<std::vector<Element>> elements = Compile(pattern);
  if (!elements) return false;
  const std::vector<Element>& p = *elements;
  // Every element but "*" takes one character, so the classic scan with one resume point for the last
  // "*" is exact: a later "*" can always cover what an earlier one would have taken.
  size_t t = 0;
  size_t e = 0;
  size_t star = std::string_view::npos;
  size_t star_text = 0;
  while (t < text.size()) {
    if (e < p.size() && p[e].kind == Element::kAnyRun) {
      star = e++;
      star_text = t;
    } else if (e < p.size() && p[e].Takes(static_cast<unsigned char>(text[t]))) {
      ++e;
      ++t;
    } else if (star != std::string_view::npos) {
      e = star + 1;
      t = ++star_text;
    } else {
      return false;
    }
  }
  while (e < p.size() && p[e].kind == Element::kAnyRun) ++e;
  return e == p.size();
}

}  // namespace gnet
