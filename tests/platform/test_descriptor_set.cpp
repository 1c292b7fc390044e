#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/descriptor_set.h"
#include "platform/event_loop.h"
#include "platform/fd_io.h"

namespace {

using platform::DescriptorSet;

TEST(DescriptorSet, TurnsReadableForAnyReadyMemberAndReportsItsConditions) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  DescriptorSet set;
  ASSERT_GE(set.Fd(), 0);
  ASSERT_TRUE(set.Set(1, fds[0], platform::kIoReadable));
  ASSERT_TRUE(set.Set(2, fds[1], platform::kIoWritable));
  // An empty pipe: only the writing end is ready.
  auto ready = set.Poll();
  ASSERT_EQ(ready.size(), 1u);
  EXPECT_EQ(ready[0].key, 2u);
  EXPECT_EQ(ready[0].conditions, platform::kIoWritable);
  set.Remove(2);
  EXPECT_EQ(platform::WaitReadable(set.Fd(), 0), 0);

  ASSERT_EQ(write(fds[1], "x", 1), 1);
  EXPECT_EQ(platform::WaitReadable(set.Fd(), 100), 1);
  ready = set.Poll();
  ASSERT_EQ(ready.size(), 1u);
  EXPECT_EQ(ready[0].key, 1u);
  EXPECT_EQ(ready[0].conditions, platform::kIoReadable);

  // Paused (no conditions), the unread byte counts for nothing, but the hang-up does.
  ASSERT_TRUE(set.Set(1, fds[0], 0));
  EXPECT_TRUE(set.Poll().empty());
  // A second member on the same descriptor is allowed and hears it as well.
  ASSERT_TRUE(set.Set(3, fds[0], 0));
  close(fds[1]);
  ready = set.Poll();
  ASSERT_EQ(ready.size(), 2u);
  for (const auto& r : ready) EXPECT_EQ(r.conditions, platform::kIoHangup);

  set.Remove(1);
  set.Remove(3);
  EXPECT_TRUE(set.Poll().empty());
  EXPECT_FALSE(set.Set(4, -1, platform::kIoReadable));
  close(fds[0]);
}

}  // namespace
