#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/watch_record.h"

namespace platform {

namespace {

struct TimerRecord {
  std::function<void()> on_tick;
  int64_t due_us = 0;
  int interval_ms = 0;
  bool active = false;
  bool running = false;  // its handler is on the stack: a nested wait must not run it again
  bool removed = false;
};

}  // namespace

struct PollEventLoop::State {
  std::vector<std::shared_ptr<TimerRecord>> timers;
  std::vector<std::shared_ptr<WatchRecord>> watches;
  std::mutex posted_mutex;
  std::deque<std::function<void()>> posted;
  int wake_fd = -1;
  bool quit = false;
  int exit_code = 0;
  int dispatch_depth = 0;

  void Sweep() {
    if (dispatch_depth > 0) return;  // records may still be referenced by a running dispatch
    std::erase_if(timers, [](const auto& t) { return t->removed; });
    std::erase_if(watches, [](const auto& w) { return w->removed; });
  }
};

namespace {

class PollTimer final : public LoopTimer {
 public:
  PollTimer(std::weak_ptr<PollEventLoop::State> state, std::shared_ptr<TimerRecord> record)
      : state_(std::move(state)), record_(std::move(record)) {}
  ~PollTimer() override { record_->removed = true; }
  void Start(int interval_ms) override {
    record_->interval_ms = std::max(interval_ms, 0);
    record_->due_us = MonotonicMicros() + static_cast<int64_t>(record_->interval_ms) * 1000;
    record_->active = true;
  }
  void Stop() override { record_->active = false; }
  bool Active() const override { return record_->active; }

 private:
  std::weak_ptr<PollEventLoop::State> state_;
  std::shared_ptr<TimerRecord> record_;
};

class PollWatch final : public LoopWatch {
 public:
  explicit PollWatch(std::shared_ptr<WatchRecord> record) : record_(std::move(record)) {}
  ~PollWatch() override { record_->removed = true; }
  void SetConditions(unsigned conditions) override { record_->conditions = conditions; }

 private:
  std::shared_ptr<WatchRecord> record_;
};

short ToPollEvents(unsigned conditions) {
  short events = 0;
  if (conditions & kIoReadable) events |= POLLIN;
  if (conditions & kIoWritable) events |= POLLOUT;
  return events;
}

unsigned FromPollEvents(short revents) {
  unsigned conditions = 0;
  if (revents & POLLIN) conditions |= kIoReadable;
  if (revents & POLLOUT) conditions |= kIoWritable;
  if (revents & POLLHUP) conditions |= kIoHangup;
  if (revents & (POLLERR | POLLNVAL)) conditions |= kIoError;
  return conditions;
}

}  // namespace

PollEventLoop::PollEventLoop() : state_(std::make_shared<State>()) {
  state_->wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

PollEventLoop::~PollEventLoop() {
  if (state_->wake_fd >= 0) close(state_->wake_fd);
}

void PollEventLoop::ProcessPendingEvents() { WaitForEvents(0); }

void PollEventLoop::WaitForEvents(int max_ms) {
  State& s = *state_;
  s.Sweep();
  const int64_t now_us = MonotonicMicros();

  // The wait ends at the earliest of: max_ms, the next due timer, a posted call.
  int64_t limit_us = max_ms < 0 ? INT64_MAX : now_us + static_cast<int64_t>(max_ms) * 1000;
  for (const auto& t : s.timers) {
    if (t->active && !t->running && !t->removed) limit_us = std::min(limit_us, t->due_us);
  }
  {
    std::lock_guard lock(s.posted_mutex);
    if (!s.posted.empty()) limit_us = now_us;
  }

  // Watches whose handler is running are left out: a level-triggered descriptor would otherwise wake
  // a nested wait again and again without ever being read.
  std::vector<pollfd> fds;
  std::vector<std::shared_ptr<WatchRecord>> polled;
  fds.push_back({s.wake_fd, POLLIN, 0});
  for (const auto& w : s.watches) {
    if (w->removed || w->running) continue;  // a paused watch (no conditions) still hears hang-ups
    fds.push_back({w->fd, ToPollEvents(w->conditions), 0});
    polled.push_back(w);
  }

  timespec timeout{};
  timespec* timeout_ptr = nullptr;
  if (limit_us != INT64_MAX) {
    const int64_t wait_us = std::max<int64_t>(limit_us - now_us, 0);
    timeout = {static_cast<time_t>(wait_us / 1'000'000), static_cast<long>((wait_us % 1'000'000) * 1000)};
    timeout_ptr = &timeout;
  }
  const int ready = ppoll(fds.data(), fds.size(), timeout_ptr, nullptr);

  ++s.dispatch_depth;
  if (ready > 0) {
    if (fds[0].revents & POLLIN) {
      uint64_t count = 0;
      [[maybe_unused]] ssize_t n = read(s.wake_fd, &count, sizeof count);
    }
    for (size_t i = 1; i < fds.size(); ++i) {
      const auto& w = polled[i - 1];
      if (fds[i].revents == 0 || w->removed || w->running) continue;
      w->running = true;
      w->on_ready(FromPollEvents(fds[i].revents));
      w->running = false;
    }
  }

  const int64_t after_us = MonotonicMicros();
  const auto timers = s.timers;  // a handler may add timers
  for (const auto& t : timers) {
    if (!t->active || t->running || t->removed || t->due_us > after_us) continue;
    // The next tick counts from now, not from the missed due time: a late loop gets no burst of ticks.
    t->due_us = after_us + static_cast<int64_t>(std::max(t->interval_ms, 1)) * 1000;
    t->running = true;
    t->on_tick();
    t->running = false;
  }

  std::deque<std::function<void()>> calls;
  {
    std::lock_guard lock(s.posted_mutex);
    calls.swap(s.posted);
  }
  for (auto& call : calls) call();
  --s.dispatch_depth;
}

int PollEventLoop::Run() {
  state_->quit = false;
  while (!state_->quit) WaitForEvents(-1);
  return state_->exit_code;
}

void PollEventLoop::Quit(int exit_code) {
  state_->exit_code = exit_code;
  state_->quit = true;
}

std::unique_ptr<LoopTimer> PollEventLoop::CreateTimer(std::function<void()> on_tick) {
  auto record = std::make_shared<TimerRecord>();
  record->on_tick = std::move(on_tick);
  state_->timers.push_back(record);
  return std::make_unique<PollTimer>(state_, record);
}

std::unique_ptr<LoopWatch> PollEventLoop::WatchDescriptor(int fd, unsigned conditions,
                                                          std::function<void(unsigned)> on_ready) {
  auto record = std::make_shared<WatchRecord>();
  record->fd = fd;
  record->conditions = conditions;
  record->on_ready = std::move(on_ready);
  state_->watches.push_back(record);
  return std::make_unique<PollWatch>(record);
}

void PollEventLoop::Post(std::function<void()> call) {
  {
    std::lock_guard lock(state_->posted_mutex);
    state_->posted.push_back(std::move(call));
  }
  const uint64_t one = 1;
  [[maybe_unused]] ssize_t n = write(state_->wake_fd, &one, sizeof one);
}

}  // namespace platform
