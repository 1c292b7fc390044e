#include "tests/gnet/fake_port.h"

Bytes FakePort::CommInput() {
  Bytes data(input_.begin(), input_.end());
  input_.clear();
  return data;
}

void FakePort::CommOutput(const Bytes& data) {
  writes.emplace_back(data.begin(), data.end());
  pending_frame_ += writes.back();
  if (pending_frame_.empty() || pending_frame_.back() != '\r') return;
  const std::string frame = frames.emplace_back(std::move(pending_frame_));
  pending_frame_.clear();
  if (OnFrame) OnFrame(frame);
}

void FakePort::Deliver(const std::string& bytes) {
  if (!open_) return;
  input_ += bytes;
  Raise(2);
}

void FakePort::Later(int delay_ms, std::function<void()> action) {
  // A one-shot: the timer stops itself on its tick.
  auto self = std::make_shared<platform::LoopTimer*>(nullptr);
  auto timer = platform::CurrentEventLoop().CreateTimer([self, action = std::move(action)] {
    (*self)->Stop();
    action();
  });
  *self = timer.get();
  timer->Start(delay_ms);
  timers_.push_back(std::move(timer));
}
