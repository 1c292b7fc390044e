#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "platform/clock.h"
#include "platform/event_loop.h"

namespace {

using platform::PollEventLoop;

TEST(EventLoop, TimersTickAtTheirIntervalAndStopWhenDisabled) {
  PollEventLoop loop;
  platform::Timer timer(&loop);
  int ticks = 0;
  timer.OnTimer = [&] { ++ticks; };
  timer.SetInterval(10);
  timer.SetEnabled(true);
  const int64_t start = platform::MonotonicMs();
  while (ticks < 3) loop.WaitForEvents(100);
  const int64_t elapsed = platform::MonotonicMs() - start;
  EXPECT_GE(elapsed, 29);
  EXPECT_LT(elapsed, 200);

  timer.SetEnabled(false);
  loop.WaitForEvents(30);
  EXPECT_EQ(ticks, 3);

  // An interval of 0 never ticks, even when enabled.
  timer.SetInterval(0);
  timer.SetEnabled(true);
  loop.WaitForEvents(20);
  EXPECT_EQ(ticks, 3);
}

TEST(EventLoop, WaitWakesOnReadableDescriptorAndNestedWaitsSkipRunningHandlers) {
  PollEventLoop loop;
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  int outer_calls = 0;
  int nested_seen = 0;
  auto watch = loop.WatchDescriptor(fds[0], platform::kIoReadable, [&](unsigned conditions) {
    ++outer_calls;
    EXPECT_TRUE(conditions & platform::kIoReadable);
    // The byte is still unread: a nested wait must not call this handler again (nor spin on it).
    const int64_t t0 = platform::MonotonicMs();
    loop.WaitForEvents(20);
    nested_seen = static_cast<int>(platform::MonotonicMs() - t0);
    char c;
    ASSERT_EQ(read(fds[0], &c, 1), 1);
  });

  std::thread writer([&] {
    platform::SleepMs(20);
    ASSERT_EQ(write(fds[1], "x", 1), 1);
  });
  const int64_t t0 = platform::MonotonicMs();
  loop.WaitForEvents(2000);
  const int64_t woke_after = platform::MonotonicMs() - t0;
  writer.join();
  EXPECT_EQ(outer_calls, 1);
  EXPECT_LT(woke_after, 500);  // woke on the byte, not at the 2 s limit
  EXPECT_GE(nested_seen, 15);  // the nested wait really waited instead of re-entering the handler

  watch.reset();
  close(fds[0]);
  close(fds[1]);
}

TEST(EventLoop, PostFromAnotherThreadWakesAndRunsQuit) {
  PollEventLoop loop;
  std::thread other([&] {
    platform::SleepMs(10);
    loop.Post([&] { loop.Quit(7); });
  });
  EXPECT_EQ(loop.Run(), 7);
  other.join();
}

}  // namespace
