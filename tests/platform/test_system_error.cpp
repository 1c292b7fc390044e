#include <cerrno>

#include <gtest/gtest.h>

#include "platform/system_error.h"

namespace platform {
namespace {

TEST(SystemError, MessageFollowedByHexCode) {
  EXPECT_EQ(GetSystemErrorText(EACCES), "Permission denied(0xD)");
  EXPECT_EQ(GetSystemErrorText(123456), "");
  EXPECT_EQ(GetSystemErrorText(-3), "");
}
}  // namespace
}  // namespace platform
