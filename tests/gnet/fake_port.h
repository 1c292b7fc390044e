#pragma once
// A port object for engine tests: it serves the port name "FAKE", records what the engine sends and
// delivers scripted replies, now or through the event loop after a delay as a reader's bytes arrive.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "comm/clsMSComm.h"
#include "gnet/ucGNet.h"
#include "platform/event_loop.h"

// STX, `text`, CR.
inline std::string Frame(const std::string& text) {
  return "\x02" + text + "\r";
}

class FakePort : public clsMSComm {
 public:
  using clsMSComm::AttachOrder;
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override {
    const auto* name = std::get_if<std::string>(&value);
    if (key == "COMMPORT" && name && *name == "FAKE") result.object = this;
  }
  void AttachCommObject(clsMSComm* owner, platform::SerialControl*) override { owner_ = owner; }

  std::string CommPort() const override { return name_; }
  void SetCommPort(const std::string& name) override { name_ = name; }
  bool PortOpen() const override { return open_; }
  void SetPortOpen(bool open) override { open_ = open; }
  int32_t InBufferCount() const override { return static_cast<int32_t>(input_.size()); }
  void SetInBufferCount(int32_t count) override {
    if (count == 0) input_.clear();
  }
  Bytes CommInput() override;
  void CommOutput(const Bytes& data) override;
  int32_t CommEvent() const override { return event_; }
  bool RTSEnable() const override { return rts_; }
  void SetRTSEnable(bool enable) override { rts_ = enable; }

  void Deliver(const std::string& bytes);
  void DeliverLater(int delay_ms, const std::string& bytes) {
    Later(delay_ms, [this, bytes] { Deliver(bytes); });
  }
  // Runs `action` once, from the event loop, `delay_ms` from now.
  void Later(int delay_ms, std::function<void()> action);
  void RaiseFrameError() { Raise(1004); }
  // The port goes away as an unplugged adapter does.
  void Vanish() {
    open_ = false;
    Raise(1100);
  }

  // Called with each complete frame sent (ending with CR).
  std::function<void(const std::string& frame)> OnFrame;
  std::vector<std::string> writes;  // every CommOutput call
  std::vector<std::string> frames;  // complete frames

 private:
  void Raise(int32_t event) {
    event_ = event;
    if (owner_) owner_->RaiseOnComm();
  }

  clsMSComm* owner_ = nullptr;
  std::string name_, input_, pending_frame_;
  bool open_ = false, rts_ = false;
  int32_t event_ = 0;
  std::vector<std::unique_ptr<platform::LoopTimer>> timers_;
};

// An engine with the fake port open and its messages collected as "type: text".
class FakePortEngine : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(gnet.AddPortObject(&port));
    gnet.SetCommPort("FAKE");
    gnet.SetPortOpen(true);
    ASSERT_TRUE(gnet.PortOpen());
    gnet.OnMessage = [this](std::string& type, const std::string& msg) {
      messages.push_back(type + ": " + msg);
    };
  }

  FakePort port;  // outlives the engine, which closes it on destruction
  ucGNet gnet;
  std::vector<std::string> messages;
};
