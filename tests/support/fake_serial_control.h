#pragma once
// An in-process serial-port control for tests that need what a pseudo-terminal cannot do: framing
// errors on demand, parity and data bits that read back as written, a device that refuses or alters
// settings, opens and closes that fail, and exact control over when bytes arrive.
//
// It behaves like the termios control where the layers above can tell: the same defaults, the same
// settings-string check, OnComm with CommEvent 2 once RThreshold bytes wait, CommID -1 while closed.
// Unlike it, events are raised synchronously inside the call that causes them (Receive, RaiseFramingError),
// so a test decides exactly where in its sequence they happen. ReceiveLater posts them to a loop instead.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/comm_state.h"
#include "platform/event_loop.h"
#include "platform/serial_control.h"

namespace msrtest {

class FakeSerialControl : public platform::SerialControl {
 public:
  // The handle CommID reports while the port is open.
  static constexpr int32_t kOpenHandle = 42;

  FakeSerialControl();
  FakeSerialControl(const FakeSerialControl&) = delete;
  FakeSerialControl& operator=(const FakeSerialControl&) = delete;

  // ---- SerialControl ----
  int16_t CommPort() const override { return port_; }
  void SetCommPort(int16_t number) override { port_ = number; }
  std::string Settings() const override { return settings_; }
  bool SetSettings(const std::string& settings) override;
  bool PortOpen() const override { return open_; }
  platform::PortResult SetPortOpen(bool open) override;
  std::string LastError() const override { return last_result_.message; }
  int32_t CommID() const override { return open_ ? kOpenHandle : -1; }
  int16_t CommEvent() const override { return comm_event_; }
  int32_t InBufferCount() const override { return static_cast<int32_t>(input_.size()); }
  void SetInBufferCount(int32_t count) override;
  int32_t InBufferSize() const override { return in_buffer_size_; }
  void SetInBufferSize(int32_t size) override { in_buffer_size_ = size; }
  int32_t OutBufferCount() const override { return 0; }  // everything is "sent" at once
  void SetOutBufferCount(int32_t) override {}
  int32_t OutBufferSize() const override { return out_buffer_size_; }
  void SetOutBufferSize(int32_t size) override { out_buffer_size_ = size; }
  platform::Bytes CommInput() override;
  bool CommOutput(const platform::Bytes& data) override;
  int32_t InputLen() const override { return input_len_; }
  void SetInputLen(int32_t len) override { input_len_ = len; }
  int32_t InputMode() const override { return input_mode_; }
  void SetInputMode(int32_t mode) override { input_mode_ = mode; }
  bool NullDiscard() const override { return null_discard_; }
  void SetNullDiscard(bool discard) override { null_discard_ = discard; }
  bool EOFEnable() const override { return eof_enable_; }
  void SetEOFEnable(bool enable) override { eof_enable_ = enable; }
  std::string ParityReplace() const override { return parity_replace_; }
  void SetParityReplace(const std::string& replacement) override { parity_replace_ = replacement; }
  int32_t RThreshold() const override { return r_threshold_; }
  void SetRThreshold(int32_t bytes) override { r_threshold_ = bytes; }
  int32_t SThreshold() const override { return s_threshold_; }
  void SetSThreshold(int32_t bytes) override { s_threshold_ = bytes; }
  int32_t HandShaking() const override { return handshaking_; }
  void SetHandShaking(int32_t protocol) override { handshaking_ = protocol; }
  bool RTSEnable() const override { return rts_; }
  void SetRTSEnable(bool enable) override { rts_ = enable; }
  bool DTREnable() const override { return dtr_; }
  void SetDTREnable(bool enable) override { dtr_ = enable; }
  bool Break() const override { return break_; }
  void SetBreak(bool on) override { break_ = on; }
  bool CDHolding() const override { return open_ && cd_; }
  bool CTSHolding() const override { return open_ && cts_; }
  bool DSRHolding() const override { return open_ && dsr_; }
  int GetCommState(int32_t handle, platform::CommState& state) override;
  int SetCommState(int32_t handle, const platform::CommState& state) override;

  // ---- What the test drives ----
  // Bytes from the device: queued (dropping zero bytes under NullDiscard), then OnComm with CommEvent 2
  // when RThreshold is above 0 and at least that many bytes wait. Ignored while the port is closed.
  void Receive(const platform::Bytes& bytes);
  void Receive(const std::string& text) { Receive(platform::Bytes(text.begin(), text.end())); }
  // The same, run by `loop` at its next pass instead of now.
  void ReceiveLater(platform::EventLoop& loop, const platform::Bytes& bytes);
  // A framing error in the received stream: CommEvent 1004 and OnComm, while open.
  void RaiseFramingError();
  // Sets CommEvent to `code` and raises OnComm, open or not.
  void RaiseCommEvent(int16_t code);
  // The device goes away: the port closes, CommEvent 1100, OnComm.
  void Unplug();
  // Modem lines as the device drives them.
  void SetLines(bool cts, bool dsr, bool cd) { cts_ = cts, dsr_ = dsr, cd_ = cd; }

  // Every open (close) fails with `result` until cleared with a result whose ok is true.
  void SetOpenResult(platform::PortResult result) { open_result_ = std::move(result); }
  void SetCloseResult(platform::PortResult result) { close_result_ = std::move(result); }
  // GetCommState / SetCommState fail with this errno value; 0 makes them work again.
  void FailGetCommState(int error) { get_state_error_ = error; }
  void FailSetCommState(int error) { set_state_error_ = error; }
  // What the device really keeps of a written block (default: exactly what was written), e.g. a UART
  // that cannot do mark parity and falls back to none.
  void SetStoreFilter(std::function<platform::CommState(const platform::CommState&)> filter) {
    store_filter_ = std::move(filter);
  }
  // The device's line settings; a test may change them behind the program's back.
  platform::CommState& DeviceState() { return device_state_; }

  // Every byte written through CommOutput, in order, and the single writes.
  const platform::Bytes& Written() const { return written_; }
  std::string WrittenText() const { return std::string(written_.begin(), written_.end()); }
  const std::vector<platform::Bytes>& Writes() const { return writes_; }
  void ClearWritten() { written_.clear(), writes_.clear(); }
  // Called after every accepted write, e.g. to script the device's reply.
  std::function<void(const platform::Bytes& data)> OnOutput;

  // What happened to the port, in order: "open", "open failed", "close", "close failed",
  // "settings <text>", "set state <baud,parity code,data bits,stop code>".
  const std::vector<std::string>& Log() const { return log_; }
  int SetCommStateCalls() const { return set_state_calls_; }

 private:
  void Store(const platform::CommState& state);

  int16_t port_ = 1;
  std::string settings_ = "9600,N,8,1";
  bool open_ = false;
  int16_t comm_event_ = 0;
  platform::PortResult last_result_;
  platform::PortResult open_result_;
  platform::PortResult close_result_;
  platform::CommState device_state_;
  int get_state_error_ = 0;
  int set_state_error_ = 0;
  int set_state_calls_ = 0;
  std::function<platform::CommState(const platform::CommState&)> store_filter_;

  platform::Bytes input_;
  platform::Bytes written_;
  std::vector<platform::Bytes> writes_;
  std::vector<std::string> log_;

  int32_t in_buffer_size_ = 1024;
  int32_t out_buffer_size_ = 512;
  int32_t input_len_ = 0;
  int32_t input_mode_ = platform::kInputModeText;
  int32_t r_threshold_ = 0;
  int32_t s_threshold_ = 0;
  int32_t handshaking_ = 0;
  bool null_discard_ = false;
  bool eof_enable_ = false;
  std::string parity_replace_ = "?";
  bool rts_ = true;
  bool dtr_ = true;
  bool break_ = false;
  bool cts_ = true;
  bool dsr_ = true;
  bool cd_ = false;

  // Expires with the control, so a posted delivery notices that it is gone.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace msrtest
