#pragma once
// A port object for engine tests: it serves the port name "FAKE", records what the engine sends and
// delivers scripted replies through the event loop after a delay, the way a reader's bytes arrive.

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "comm/clsMSComm.h"
#include "platform/event_loop.h"

class FakePort : public clsMSComm {
 public:
  using clsMSComm::AttachOrder;
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override;
  void AttachCommObject(clsMSComm* owner, platform::SerialControl* control) override;

  std::string CommPort() const override { return name_; }
  void SetCommPort(const std::string& name) override { name_ = name; }
  bool PortOpen() const override { return open_; }
  void SetPortOpen(bool open) override { open_ = open; }
  int32_t InBufferCount() const override { return static_cast<int32_t>(input_.size()); }
  void SetInBufferCount(int32_t count) override;
  Bytes CommInput() override;
  void CommOutput(const Bytes& data) override;
  int32_t CommEvent() const override { return event_; }
  bool RTSEnable() const override { return rts_; }
  void SetRTSEnable(bool enable) override { rts_ = enable; }

  // Bytes arrive now: they are buffered and the data notification is raised.
  void Deliver(const std::string& bytes);
  // Bytes arrive `delay_ms` from now, through a loop timer.
  void DeliverLater(int delay_ms, const std::string& bytes);
  // The line reports a framing error.
  void RaiseFrameError();
  // The port goes away as an unplugged adapter does.
  void Vanish();

  // Called with each sent frame, once it is complete (ends with CR); may call DeliverLater.
  std::function<void(const std::string& frame)> OnFrame;
  // Every CommOutput call, in order.
  std::vector<std::string> writes;
  // Complete frames sent.
  std::vector<std::string> frames;

 private:
  clsMSComm* owner_ = nullptr;
  std::string name_;
  bool open_ = false;
  bool rts_ = false;
  int32_t event_ = 0;
  std::string input_;
  std::string pending_frame_;
  std::vector<std::unique_ptr<platform::LoopTimer>> timers_;
};
