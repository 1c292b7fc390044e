#include "platform/text.h"

#include <gtest/gtest.h>

namespace platform::text {
namespace {

TEST(Text, CaseChangesOnlyAsciiLetters) {
  // A UTF-8 alias ("Tür") must come back byte for byte, whatever the locale says about 0xC3 0xBC.
  EXPECT_EQ(Upper("t\xC3\xBCr com3"), "T\xC3\xBCR COM3");
  EXPECT_TRUE(EqualNoCase("Com3", "cOM3"));
  EXPECT_FALSE(EqualNoCase("COM3", "COM"));
  EXPECT_FALSE(EqualNoCase("\xC3\xBC", "\xC3\x9C"));  // ü and Ü differ: only ASCII folds
  EXPECT_TRUE(StartsWithNoCase("clsMSComm_PortOpen", "CLSMSCOMM_"));
  EXPECT_FALSE(StartsWithNoCase("CO", "COM"));
  EXPECT_TRUE(ContainsNoCase("KRD36AR,3track", "3TRACK"));
  EXPECT_TRUE(ContainsNoCase("", ""));
  EXPECT_FALSE(ContainsNoCase("KRD", "KRD3"));
}

TEST(Text, TrimSplitJoinAndDigits) {
  EXPECT_EQ(Trim(" \tCOM3 \t"), "COM3");
  EXPECT_EQ(Trim("\r\n9600\v", kWhiteSpace), "9600");
  EXPECT_EQ(Trim("\t9600 ", kSpaces), "\t9600");  // a tab stays part of a port-interface value
  EXPECT_EQ(Trim("   "), "");
  EXPECT_EQ(Split("9600,,N", ','), (std::vector<std::string>{"9600", "", "N"}));
  EXPECT_EQ(Split("", ','), std::vector<std::string>{""});
  EXPECT_EQ(Join(Split("a,b,,c", ','), ", "), "a, b, , c");
  EXPECT_TRUE(AllDigits("0123"));
  EXPECT_FALSE(AllDigits("12a"));
  EXPECT_TRUE(AllDigits("fF09", true));
  EXPECT_FALSE(AllDigits("", true));
}

}  // namespace
}  // namespace platform::text
