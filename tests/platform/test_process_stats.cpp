#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/process_stats.h"

namespace platform {
namespace {

// Polls `done` every 10 ms for at most 10 s.
template <typename Done>
bool Eventually(Done done) {
  const int64_t deadline = MonotonicMs() + 10000;
  while (!done()) {
    if (MonotonicMs() > deadline) return false;
    SleepMs(10);
  }
  return true;
}

// The root sleeps and uses nothing; a busy child of it spins until the root is gone, so the CPU that the
// tree shows can only come from the descendant.
TEST(ProcessTree, CountsTheCpuOfLiveDescendants) {
  std::string error;
  const int pid = StartChild(
      {"/bin/sh", "-c", "/bin/sh -c \"while kill -0 $$ 2>/dev/null; do :; done\" & exec /bin/sleep 30"},
      error);
  ASSERT_GT(pid, 0) << error;
  EXPECT_TRUE(Eventually([&] { return ProcessTreeSize(pid) == 2; })) << ProcessTreeSize(pid);
  const int64_t start = ProcessTreeCpuMicros(pid);
  EXPECT_GE(start, 0);
  EXPECT_TRUE(Eventually([&] { return ProcessTreeCpuMicros(pid) - start >= 100'000; }));
  KillChild(pid);
  ChildUsage usage;
  ASSERT_TRUE(WaitChild(pid, usage));
  // Gone, and not mistaken for a process without children or CPU.
  EXPECT_EQ(ProcessTreeCpuMicros(pid), -1);
  EXPECT_EQ(ProcessTreeSize(pid), 0);
}

// A descendant that ends and is reaped takes its CPU time into its parent's share: the tree's figure never
// falls, so the difference of two readings stays the tree's use even when a worker ends between them.
TEST(ProcessTree, KeepsTheCpuOfReapedDescendants) {
  std::string error;
  const int pid = StartChild(
      {"/bin/sh", "-c", "/bin/sh -c 'i=0; while [ $i -lt 400000 ]; do i=$((i+1)); done'; exec /bin/sleep 30"},
      error);
  ASSERT_GT(pid, 0) << error;
  int64_t seen = 0;
  ASSERT_TRUE(Eventually([&] {
    seen = ProcessTreeCpuMicros(pid);
    return ProcessTreeSize(pid) == 2 && seen >= 20'000;
  }));
  // The busy child has ended and only the sleep is left.
  EXPECT_TRUE(Eventually([&] { return ProcessTreeSize(pid) == 1; }));
  EXPECT_GE(ProcessTreeCpuMicros(pid), seen);
  KillChild(pid);
  ChildUsage usage;
  ASSERT_TRUE(WaitChild(pid, usage));
}

}  // namespace
}  // namespace platform
