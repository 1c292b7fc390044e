#include "gnet/clsTimeout.h"

#include <cstdlib>

#include "platform/clock.h"
#include "platform/event_loop.h"

namespace {
constexpr int64_t kMaxTick = 0x7FFFFFFF;
constexpr int32_t kYieldEveryMs = 200;
}  // namespace

clsTimeout::clsTimeout() : last_tick_(platform::GetTickCount()) {}

void clsTimeout::SetTimeout(int32_t ms) {
  last_tick_ = platform::GetTickCount();
  timeout_ = ms;
  remaining_ = ms;
  yield_accumulator_ = 0;
}

void clsTimeout::Reset() {
  last_tick_ = platform::GetTickCount();
  remaining_ = timeout_;
  yield_accumulator_ = 0;
}

int32_t clsTimeout::Elapsed(int32_t last_tick, int32_t now) {
  const int64_t last = last_tick;
  const int64_t n = now;
  int64_t elapsed;
  if (n >= 0 && last >= 0) {
    elapsed = n - last;
  } else if (n < 0 && last >= 0) {  // passed 0x7FFFFFFF into the negative half
    const int64_t d = (n & kMaxTick) - last;
    elapsed = d < 0 ? d + kMaxTick : kMaxTick;
  } else if (n < 0 && last < 0) {
    elapsed = (n & kMaxTick) - (last & kMaxTick);
  } else {  // passed -1 into 0
    const int64_t l = last & kMaxTick;
    elapsed = l > n + 1 ? kMaxTick - l + 1 + n : kMaxTick;
  }
  return static_cast<int32_t>(std::llabs(elapsed));
}

bool clsTimeout::IsTimeout() {
  const int32_t elapsed = Elapsed(last_tick_, platform::GetTickCount());
  remaining_ = remaining_ > elapsed ? remaining_ - elapsed : 0;
  if (elapsed < kYieldEveryMs) {
    yield_accumulator_ = yield_accumulator_ < kYieldEveryMs ? yield_accumulator_ + elapsed : kYieldEveryMs;
  } else {
    yield_accumulator_ = kYieldEveryMs;
  }
  last_tick_ = platform::GetTickCount();
  return remaining_ < 1;
}

bool clsTimeout::WaitTimeout(bool reset_on_yield) {
  platform::SleepMs(1);
  const bool expired = IsTimeout();
  if (!expired && yield_accumulator_ >= kYieldEveryMs) {
    platform::CurrentEventLoop().ProcessPendingEvents();
    if (reset_on_yield) last_tick_ = platform::GetTickCount();
    yield_accumulator_ = 0;
  }
  return expired;
}
