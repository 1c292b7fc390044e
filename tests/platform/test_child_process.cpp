#include <gtest/gtest.h>

#include <vector>

#include "platform/child_process.h"

namespace platform {
namespace {

ChildUsage RunToEnd(const std::vector<std::string>& argv) {
  std::string error;
  const int pid = StartChild(argv, error);
  EXPECT_GT(pid, 0) << error;
  ChildUsage usage;
  EXPECT_TRUE(WaitChild(pid, usage));
  return usage;
}

TEST(ChildProcess, ExitCodeSignalAndProgramsThatCannotStart) {
  const ChildUsage exited = RunToEnd({"sh", "-c", "exit 3"});
  EXPECT_EQ(exited.exit_code, 3);
  EXPECT_EQ(exited.signal, 0);

  std::string error;
  EXPECT_EQ(StartChild({"/nonexistent/program"}, error), -1);
  EXPECT_NE(error.find("/nonexistent/program - "), std::string::npos) << error;

  const int pid = StartChild({"sleep", "30"}, error);
  ASSERT_GT(pid, 0) << error;
  ChildUsage usage;
  EXPECT_FALSE(TryWaitChild(pid, usage));  // still sleeping
  KillChild(pid);
  ASSERT_TRUE(WaitChild(pid, usage));
  EXPECT_EQ(usage.signal, 9);
  EXPECT_EQ(usage.exit_code, -1);
  EXPECT_FALSE(WaitChild(pid, usage));  // reaped once only
}

// The figures are the child's, its own children included, and not those of the process that waits.
TEST(ChildProcess, CpuAndPeakMemoryAreTheChilds) {
  // The waiting process takes 64 MB and some CPU while the child sleeps. (A child starts with the peak
  // of the process that started it, which the kernel carries over the exec: that is why the memory bound
  // is not lower.)
  std::string error;
  const int pid = StartChild({"sleep", "0.2"}, error);
  ASSERT_GT(pid, 0) << error;
  std::vector<char> ballast(64 << 20, 1);
  volatile long sum = 0;
  for (int pass = 0; pass < 4; ++pass) {
    for (size_t i = 0; i < ballast.size(); i += 64) sum = sum + ballast[i];
  }
  ChildUsage idle;
  ASSERT_TRUE(WaitChild(pid, idle));
  EXPECT_LT(idle.cpu_micros, 20'000);
  EXPECT_LT(idle.max_resident_kb, 48'000);

  const ChildUsage busy = RunToEnd({"sh", "-c", "awk 'BEGIN { for (i = 0; i < 1e6; i++) s += i }'"});
  EXPECT_GT(busy.cpu_micros, 10'000);

  // The shell keeps 30 MB of output in a variable.
  const ChildUsage large = RunToEnd({"sh", "-c", "x=$(head -c 30000000 /dev/zero | tr '\\0' a)"});
  EXPECT_GT(large.max_resident_kb, 30'000);
  EXPECT_LT(large.max_resident_kb, 200'000);
}

}  // namespace
}  // namespace platform
