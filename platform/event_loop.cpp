#include "platform/event_loop.h"

namespace platform {
namespace {

EventLoop* g_current_loop = nullptr;

PollEventLoop& BuiltInLoop() {
  static PollEventLoop loop;
  return loop;
}

}  // namespace

EventLoop& CurrentEventLoop() { return g_current_loop ? *g_current_loop : BuiltInLoop(); }

void SetCurrentEventLoop(EventLoop* loop) { g_current_loop = loop; }

Timer::Timer(EventLoop* loop) : loop_(loop) {}

Timer::~Timer() = default;

void Timer::SetInterval(int ms) {
  interval_ms_ = ms;
  Apply();
}

void Timer::SetEnabled(bool enabled) {
  // Enabling a running timer keeps its period going; only a change restarts it.
  if (enabled == enabled_ && (!enabled || (backend_ && backend_->Active()))) return;
  enabled_ = enabled;
  Apply();
}

void Timer::Apply() {
  if (!enabled_ || interval_ms_ <= 0) {
    if (backend_) backend_->Stop();
    return;
  }
  if (!backend_) {
    EventLoop& loop = loop_ ? *loop_ : CurrentEventLoop();
    backend_ = loop.CreateTimer([this] {
      if (OnTimer) OnTimer();
    });
  }
  backend_->Start(interval_ms_);
}

}  // namespace platform
