#pragma once
// A millisecond time-out over the 32-bit tick counter, safe across the counter's wrap.
//
// Every IsTimeout call consumes the time since the previous call, so a period is measured across calls
// and Reset restarts it. WaitTimeout is the polling wait of the raw transfers: it sleeps 1 ms a pass and
// yields to the event loop only once per 200 ms of counted time.

#include <cstdint>

class clsTimeout {
 public:
  clsTimeout();

  int32_t Timeout() const { return timeout_; }
  // Sets the period and starts it.
  void SetTimeout(int32_t ms);
  // True once the period has run out (also for a fresh object that was never started).
  bool IsTimeout();
  // Restarts the current period.
  void Reset();
  // Sleeps 1 ms, checks the period and yields to the event loop when 200 ms were counted since the last
  // yield. With `reset_on_yield` the time spent yielding is not counted. Returns IsTimeout's answer.
  bool WaitTimeout(bool reset_on_yield);

  // Time left as of the last IsTimeout call.
  int32_t Remaining() const { return remaining_; }

  // The elapsed milliseconds between two samples of the wrapping tick counter, with the counter's own
  // wrap rules (one crossing counts a millisecond short; kept so that figures match older readers' logs).
  static int32_t Elapsed(int32_t last_tick, int32_t now);

 private:
  int32_t last_tick_;
  int32_t remaining_ = 0;
  int32_t timeout_ = 1000;
  int32_t yield_accumulator_ = 0;
};
