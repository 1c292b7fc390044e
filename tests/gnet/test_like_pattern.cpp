#include <gtest/gtest.h>

#include "gnet/like_pattern.h"

namespace {

using gnet::IsValidLikePattern;
using gnet::MatchLike;

TEST(LikePattern, WildcardsTakeTheirShareOfTheText) {
  EXPECT_TRUE(MatchLike("KRD36AR", "KRD36AR"));
  EXPECT_FALSE(MatchLike("KRD36AR", "KRD36A"));   // the whole text must match, not a prefix
  EXPECT_FALSE(MatchLike("krd36ar", "KRD36AR"));  // binary compare: case matters
  EXPECT_TRUE(MatchLike("KRD36AR", "KRD##AR"));
  EXPECT_FALSE(MatchLike("KRDX6AR", "KRD##AR"));
  EXPECT_TRUE(MatchLike("KRD36AR", "K?D*"));
  EXPECT_FALSE(MatchLike("KD", "K?D"));
  EXPECT_TRUE(MatchLike("", "*"));
  EXPECT_TRUE(MatchLike("", ""));
  EXPECT_FALSE(MatchLike("A", ""));
  // A star must be able to give back what it took: the last "AR" is the one that has to match.
  EXPECT_TRUE(MatchLike("KRD36AR,3TRACK,UART", "*AR*UART"));
  EXPECT_TRUE(MatchLike("ABABABC", "*AB*ABC"));
  EXPECT_FALSE(MatchLike("ABABAB", "*AB*ABC"));
  EXPECT_TRUE(MatchLike("AXXB", "A**B"));
  EXPECT_TRUE(MatchLike("!]", "!]"));  // outside a list both are ordinary characters
}

TEST(LikePattern, CharacterListsRangesAndNegation) {
  EXPECT_TRUE(MatchLike("KRD3C", "KRD3[A-F]"));
  EXPECT_FALSE(MatchLike("KRD3G", "KRD3[A-F]"));
  EXPECT_TRUE(MatchLike("X7", "X[A-CX-Z0-9]"));
  EXPECT_TRUE(MatchLike("KRD3G", "KRD3[!A-F]"));
  EXPECT_FALSE(MatchLike("KRD3C", "KRD3[!A-F]"));
  EXPECT_TRUE(MatchLike("Q", "[!]"));  // a negated empty list takes any one character
  EXPECT_FALSE(MatchLike("", "[!]"));
  // Special characters stand for themselves inside a list, a hyphen at either end too.
  EXPECT_TRUE(MatchLike("A*", "A[*]"));
  EXPECT_FALSE(MatchLike("AB", "A[*]"));
  EXPECT_TRUE(MatchLike("[?#", "[[][?][#]"));
  EXPECT_TRUE(MatchLike("-", "[-A]"));
  EXPECT_TRUE(MatchLike("-", "[A-]"));
  EXPECT_FALSE(MatchLike("-", "[!-]"));
  EXPECT_TRUE(MatchLike("B", "[!-A]"));
  // "[]" is a zero-length match.
  EXPECT_TRUE(MatchLike("AB", "A[]B"));
  EXPECT_TRUE(MatchLike("", "[]"));
  // Bytes above 127 compare as unsigned codes.
  EXPECT_TRUE(MatchLike("\xE9", "[\xE0-\xEF]"));
}

TEST(LikePattern, MalformedPatternsMatchNothing) {
  for (const char* pattern : {"KRD[A-F", "[", "[Z-A]", "A*[9-0]"}) {
    EXPECT_FALSE(IsValidLikePattern(pattern)) << pattern;
    EXPECT_FALSE(MatchLike("KRDA", pattern)) << pattern;
  }
  EXPECT_TRUE(IsValidLikePattern("]"));
  EXPECT_TRUE(IsValidLikePattern("[A-A]"));
  EXPECT_TRUE(MatchLike("A", "[A-A]"));
}

}  // namespace
