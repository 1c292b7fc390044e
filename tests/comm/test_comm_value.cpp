// Numbers written as text: what port names, settings tokens and property writes mean.
#include <gtest/gtest.h>

#include "comm/comm_value.h"

namespace {

TEST(CommValue, LeadingNumberReadsWhatATextStartsWith) {
  EXPECT_EQ(comm::LeadingNumber("1.5"), 1.5);
  EXPECT_EQ(comm::LeadingNumber(" 7"), 7);
  EXPECT_EQ(comm::LeadingNumber("1 2"), 12);  // blanks inside a number are skipped
  EXPECT_EQ(comm::LeadingNumber("12abc"), 12);
  EXPECT_EQ(comm::LeadingNumber("1e3"), 1000);
  EXPECT_EQ(comm::LeadingNumber("2e"), 2);
  EXPECT_EQ(comm::LeadingNumber("5."), 5);
  EXPECT_EQ(comm::LeadingNumber(".5"), 0.5);
  EXPECT_EQ(comm::LeadingNumber("abc"), 0);
  EXPECT_EQ(comm::LeadingNumber("."), 0);
}

TEST(CommValue, NumericTextMustBeOneWholeNumber) {
  EXPECT_EQ(comm::NumericValue(" 3 "), 3);
  EXPECT_EQ(comm::NumericValue("1.5e1"), 15);
  EXPECT_EQ(comm::NumericValue("&H1F"), 31);
  EXPECT_EQ(comm::NumericValue("3x"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("COM3"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("1e"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("&H"), std::nullopt);
}

TEST(CommValue, RoundingIsHalfToEvenAndChecksTheRange) {
  EXPECT_EQ(comm::RoundToInt16(2.5), 2);
  EXPECT_EQ(comm::RoundToInt16(3.5), 4);
  EXPECT_EQ(comm::RoundToInt16(32768), std::nullopt);
  EXPECT_EQ(comm::RoundToInt32(3e9), std::nullopt);
}

}  // namespace
