#include "tests/gnet/fake_port.h"

#include <algorithm>

void FakePort::AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) {
  const auto* name = std::get_if<std::string>(&value);
  if (key == "COMMPORT" && name && *name == "FAKE") result.object = this;
}

void FakePort::AttachCommObject(clsMSComm* owner, platform::SerialControl*) { owner_ = owner; }

void FakePort::SetInBufferCount(int32_t count) {
  if (count == 0) input_.clear();
}

Bytes FakePort::CommInput() {
  Bytes data(input_.begin(), input_.end());
  input_.clear();
  return data;
}

void FakePort::CommOutput(const Bytes& data) {
  const std::string text(data.begin(), data.end());
  writes.push_back(text);
  pending_frame_ += text;
  if (!pending_frame_.empty() && pending_frame_.back() == '\r') {
    frames.push_back(pending_frame_);
    const std::string frame = pending_frame_;
    pending_frame_.clear();
    if (OnFrame) OnFrame(frame);
  }
}

void FakePort::Deliver(const std::string& bytes) {
  if (!open_) return;
  input_ += bytes;
  event_ = 2;
  if (owner_) owner_->RaiseOnComm();
}

void FakePort::DeliverLater(int delay_ms, const std::string& bytes) {
  // A one-shot: the timer stops itself on its tick.
  auto self = std::make_shared<platform::LoopTimer*>(nullptr);
  auto timer = platform::CurrentEventLoop().CreateTimer([this, self, bytes] {
    (*self)->Stop();
    Deliver(bytes);
  });
  *self = timer.get();
  timer->Start(delay_ms);
  timers_.push_back(std::move(timer));
}

void FakePort::RaiseFrameError() {
  event_ = 1004;
  if (owner_) owner_->RaiseOnComm();
}

void FakePort::Vanish() {
  open_ = false;
  event_ = 1100;
  if (owner_) owner_->RaiseOnComm();
}
