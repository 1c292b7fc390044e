#include <gtest/gtest.h>

#include "gnet/clsTimeout.h"
#include "platform/clock.h"

namespace {

constexpr int32_t kMax = 0x7FFFFFFF;

TEST(clsTimeout, ElapsedAcrossEveryKindOfCounterWrap) {
  EXPECT_EQ(clsTimeout::Elapsed(1000, 1250), 250);
  // Positive into negative: ten real milliseconds count as nine.
  EXPECT_EQ(clsTimeout::Elapsed(kMax - 5, static_cast<int32_t>(0x80000004u)), 9);
  // Both negative.
  EXPECT_EQ(clsTimeout::Elapsed(static_cast<int32_t>(0x80000010u), static_cast<int32_t>(0x80000110u)), 256);
  // Negative into 0 and on: exact.
  EXPECT_EQ(clsTimeout::Elapsed(-5, 4), 9);
  // A sample that went backwards reads as a positive distance, never as a huge wait.
  EXPECT_EQ(clsTimeout::Elapsed(500, 400), 100);
}

TEST(clsTimeout, FreshObjectIsExpiredAndAStartedOneRunsItsPeriod) {
  clsTimeout t;
  EXPECT_TRUE(t.IsTimeout());

  t.SetTimeout(40);
  EXPECT_FALSE(t.IsTimeout());
  platform::SleepMs(20);
  EXPECT_FALSE(t.IsTimeout());
  platform::SleepMs(30);
  EXPECT_TRUE(t.IsTimeout());

  t.Reset();  // reloads the same period
  EXPECT_FALSE(t.IsTimeout());
  EXPECT_GT(t.Remaining(), 30);
}

TEST(clsTimeout, RunningPeriodSurvivesTheTickCounterPassingItsMaximum) {
  const int32_t now = platform::GetTickCount();
  platform::SetTickBiasForTesting(static_cast<uint32_t>(kMax) - static_cast<uint32_t>(now) - 10u);
  clsTimeout t;
  t.SetTimeout(60);
  EXPECT_FALSE(t.IsTimeout());  // does not expire at once
  platform::SleepMs(25);
  EXPECT_LT(platform::GetTickCount(), 0);
  EXPECT_FALSE(t.IsTimeout());
  const int64_t start = platform::MonotonicMs();
  while (!t.IsTimeout()) {
    ASSERT_LT(platform::MonotonicMs() - start, 500) << "time-out never expired after the wrap";
    platform::SleepMs(2);
  }
  platform::SetTickBiasForTesting(0);
}

TEST(clsTimeout, WaitTimeoutSleepsBetweenChecksAndEndsWithThePeriod) {
  clsTimeout t;
  t.SetTimeout(30);
  int passes = 0;
  const int64_t start = platform::MonotonicMs();
  while (!t.WaitTimeout(true)) ++passes;
  const int64_t elapsed = platform::MonotonicMs() - start;
  EXPECT_GE(elapsed, 28);
  EXPECT_LT(elapsed, 200);
  EXPECT_LE(passes, 31);  // at least a millisecond per pass: it never spins
}

}  // namespace
