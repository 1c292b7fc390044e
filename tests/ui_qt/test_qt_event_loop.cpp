#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <thread>

#include "platform/clock.h"
#include "ui/qt/qt_event_loop.h"

namespace {

using platform::MonotonicMs;
using ui_qt::QtEventLoop;

// CPU time of the process in milliseconds: a wait that spins shows up here, one that sleeps does not.
int64_t CpuMs() {
  return static_cast<int64_t>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

struct Pipe {
  Pipe() { EXPECT_EQ(pipe(fds), 0); }
  ~Pipe() {
    for (int fd : fds) {
      if (fd >= 0) close(fd);
    }
  }
  void CloseWriter() {
    close(fds[1]);
    fds[1] = -1;
  }
  int fds[2] = {-1, -1};
};

TEST(QtEventLoop, TimersTickAndARunningTickIsNotEnteredAgainByItsOwnWait) {
  QtEventLoop loop;
  platform::Timer timer(&loop);
  int ticks = 0;
  int depth = 0;
  int deepest = 0;
  timer.OnTimer = [&] {
    ++ticks;
    ++depth;
    deepest = std::max(deepest, depth);
    if (ticks == 3) {
      // Restarting the period makes a new Qt timer; it is still this handler and must wait its turn.
      timer.SetInterval(5);
      const int64_t t0 = MonotonicMs();
      while (MonotonicMs() - t0 < 40) loop.WaitForEvents(10);
    }
    --depth;
  };
  timer.SetInterval(10);
  timer.SetEnabled(true);
  const int64_t start = MonotonicMs();
  while (ticks < 3) loop.WaitForEvents(100);
  EXPECT_GE(MonotonicMs() - start, 29);
  EXPECT_EQ(deepest, 1);
  EXPECT_EQ(ticks, 3);  // nothing ticked during the 40 ms the third tick waited

  while (ticks < 5) loop.WaitForEvents(100);  // and it ticks again once that handler returned
  timer.SetEnabled(false);
  const int before = ticks;
  const int64_t t0 = MonotonicMs();
  while (MonotonicMs() - t0 < 30) loop.WaitForEvents(10);
  EXPECT_EQ(ticks, before);
}

TEST(QtEventLoop, WaitWakesAtOnceOnDataAndSleepsOtherwise) {
  QtEventLoop loop;
  Pipe line;
  int64_t woke_at = 0;
  auto watch = loop.WatchDescriptor(line.fds[0], platform::kIoReadable, [&](unsigned conditions) {
    EXPECT_TRUE(conditions & platform::kIoReadable);
    woke_at = MonotonicMs();
    char c;
    EXPECT_EQ(read(line.fds[0], &c, 1), 1);
  });

  // Nothing to do (once what the application queued at its start has run): the wait lasts its limit
  // without eating the processor.
  loop.ProcessPendingEvents();
  const int64_t cpu0 = CpuMs();
  const int64_t t0 = MonotonicMs();
  loop.WaitForEvents(100);
  const int64_t waited = MonotonicMs() - t0;
  EXPECT_GE(waited, 95);
  EXPECT_LT(waited, 400);
  EXPECT_LT(CpuMs() - cpu0, 40);

  // The engine waits in slices of at most 100 ms; a byte must end the slice, not its limit.
  int64_t written_at = 0;
  std::thread writer([&] {
    platform::SleepMs(20);
    written_at = MonotonicMs();
    EXPECT_EQ(write(line.fds[1], "x", 1), 1);
  });
  const int64_t t1 = MonotonicMs();
  while (woke_at == 0 && MonotonicMs() - t1 < 2000) loop.WaitForEvents(100);
  writer.join();
  ASSERT_NE(woke_at, 0);
  EXPECT_LT(woke_at - written_at, 50);  // well inside the 100 ms slice, with room for a busy machine
}

TEST(QtEventLoop, NestedWaitSkipsTheRunningWatchButRunsOthers) {
  QtEventLoop loop;
  Pipe first;
  Pipe second;
  int first_calls = 0;
  int second_calls = 0;
  int64_t nested_waited = 0;
  int nested_rounds = 0;
  auto watch_first = loop.WatchDescriptor(first.fds[0], platform::kIoReadable, [&](unsigned) {
    ++first_calls;
    EXPECT_EQ(write(second.fds[1], "y", 1), 1);
    // The byte of `first` is still unread: the nested wait must neither call this again nor spin on it,
    // while the other watch's handler does run inside it.
    const int64_t t0 = MonotonicMs();
    for (nested_rounds = 0; MonotonicMs() - t0 < 30; ++nested_rounds) loop.WaitForEvents(30);
    nested_waited = MonotonicMs() - t0;
    EXPECT_EQ(second_calls, first_calls);  // ran inside the wait
    char c;
    EXPECT_EQ(read(first.fds[0], &c, 1), 1);
  });
  auto watch_second = loop.WatchDescriptor(second.fds[0], platform::kIoReadable, [&](unsigned) {
    ++second_calls;
    char c;
    EXPECT_EQ(read(second.fds[0], &c, 1), 1);
  });
  ASSERT_EQ(write(first.fds[1], "x", 1), 1);
  loop.WaitForEvents(500);
  EXPECT_EQ(first_calls, 1);
  EXPECT_EQ(second_calls, 1);
  EXPECT_GE(nested_waited, 30);
  EXPECT_LT(nested_rounds, 10);  // a wait that returns without waiting would go round thousands of times

  // Once its handler returned, the watch is back: new data is seen.
  ASSERT_EQ(write(first.fds[1], "z", 1), 1);
  loop.WaitForEvents(500);
  EXPECT_EQ(first_calls, 2);
}

TEST(QtEventLoop, APausedWatchIgnoresPendingDataButHearsTheHangUp) {
  QtEventLoop loop;
  Pipe line;
  unsigned seen = 0;
  int calls = 0;
  std::unique_ptr<platform::LoopWatch> watch;
  watch = loop.WatchDescriptor(line.fds[0], platform::kIoReadable, [&](unsigned conditions) {
    ++calls;
    seen = conditions;
    watch.reset();  // as the serial control does when its device is gone: it closes the port
  });
  watch->SetConditions(0);
  ASSERT_EQ(write(line.fds[1], "x", 1), 1);
  loop.ProcessPendingEvents();
  const int64_t waited_from = MonotonicMs();
  loop.WaitForEvents(50);
  EXPECT_EQ(calls, 0);
  EXPECT_GE(MonotonicMs() - waited_from, 45);  // the pending byte did not end the wait

  line.CloseWriter();
  const int64_t t0 = MonotonicMs();
  loop.WaitForEvents(1000);
  EXPECT_LT(MonotonicMs() - t0, 200);
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(seen & platform::kIoHangup);
  EXPECT_FALSE(seen & platform::kIoReadable);
  EXPECT_EQ(watch, nullptr);
}

TEST(QtEventLoop, PostFromAnotherThreadWakesRunAndQuitReturnsItsCode) {
  QtEventLoop loop;
  std::thread other([&] {
    platform::SleepMs(10);
    loop.Post([&] { loop.Quit(7); });
  });
  EXPECT_EQ(loop.Run(), 7);
  other.join();

  // A posted call also ends a plain wait at once.
  bool ran = false;
  std::thread again([&] {
    platform::SleepMs(10);
    loop.Post([&] { ran = true; });
  });
  const int64_t t0 = MonotonicMs();
  while (!ran && MonotonicMs() - t0 < 1000) loop.WaitForEvents(100);
  again.join();
  EXPECT_TRUE(ran);
  EXPECT_LT(MonotonicMs() - t0, 100);
}

}  // namespace
