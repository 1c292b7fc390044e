#pragma once
// The event loop every wait of the program runs on. Handlers (timers, descriptor watches, posted calls)
// run on the thread that drives the loop, also inside a wait, so the code above it can poll for a reply
// while the user interface stays alive. Two back ends implement it: the poll(2) loop here, used headless
// and in tests, and the Qt loop of the window.

#include <functional>
#include <memory>

namespace platform {

// Conditions of a descriptor watch, combined as bit flags.
enum IoCondition : unsigned { kIoReadable = 1u, kIoWritable = 2u, kIoHangup = 4u, kIoError = 8u };

// A timer registered with a loop. Destroying it unregisters it.
class LoopTimer {
 public:
  virtual ~LoopTimer() = default;
  // (Re)starts the timer: the first tick comes `interval_ms` from now, the next ones every `interval_ms`.
  virtual void Start(int interval_ms) = 0;
  virtual void Stop() = 0;
  virtual bool Active() const = 0;
};

// A descriptor watch registered with a loop. Destroying it unregisters it; the descriptor is not closed.
class LoopWatch {
 public:
  virtual ~LoopWatch() = default;
  // Which conditions to wait for; 0 pauses the watch. Hang-up and error are always reported.
  virtual void SetConditions(unsigned conditions) = 0;
};

class EventLoop {
 public:
  virtual ~EventLoop() = default;

  // Runs what is ready now (readable descriptors, due timers, posted calls) without blocking.
  virtual void ProcessPendingEvents() = 0;
  // Blocks until something is ready or `max_ms` passed (negative: no limit), then runs what is ready.
  // A handler that is already running on the stack is not run again by a nested wait.
  virtual void WaitForEvents(int max_ms) = 0;
  // Runs until Quit; returns the code given to Quit.
  virtual int Run() = 0;
  virtual void Quit(int exit_code) = 0;

  virtual std::unique_ptr<LoopTimer> CreateTimer(std::function<void()> on_tick) = 0;
  // `on_ready` receives the IoCondition flags that were met.
  virtual std::unique_ptr<LoopWatch> WatchDescriptor(int fd, unsigned conditions,
                                                     std::function<void(unsigned)> on_ready) = 0;
  // Queues a call for the loop's thread. The only member that may be called from another thread.
  virtual void Post(std::function<void()> call) = 0;
};

// The loop of the user-interface thread. Until a back end installs its own, a built-in poll loop.
EventLoop& CurrentEventLoop();
// Installs `loop` as the current loop (not owned); nullptr restores the built-in poll loop.
void SetCurrentEventLoop(EventLoop* loop);

// The poll(2) back end. Instances are independent, so a worker thread (the reader emulator) can own one.
class PollEventLoop final : public EventLoop {
 public:
  PollEventLoop();
  ~PollEventLoop() override;
  PollEventLoop(const PollEventLoop&) = delete;
  PollEventLoop& operator=(const PollEventLoop&) = delete;

  void ProcessPendingEvents() override;
  void WaitForEvents(int max_ms) override;
  int Run() override;
  void Quit(int exit_code) override;
  std::unique_ptr<LoopTimer> CreateTimer(std::function<void()> on_tick) override;
  std::unique_ptr<LoopWatch> WatchDescriptor(int fd, unsigned conditions,
                                             std::function<void(unsigned)> on_ready) override;
  void Post(std::function<void()> call) override;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

// The timer control of the forms: an interval in milliseconds, an enabled switch and a tick handler.
// An interval of 0 never ticks. Changing the interval or enabling a stopped timer restarts the period.
class Timer {
 public:
  // `loop` nullptr means the current loop at the time the timer is first enabled.
  explicit Timer(EventLoop* loop = nullptr);
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  int Interval() const { return interval_ms_; }
  void SetInterval(int ms);
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool enabled);

  std::function<void()> OnTimer;

 private:
  void Apply();

  EventLoop* loop_;
  std::unique_ptr<LoopTimer> backend_;
  int interval_ms_ = 0;
  bool enabled_ = false;
};

}  // namespace platform
