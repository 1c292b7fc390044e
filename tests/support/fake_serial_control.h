#pragma once
// An in-process serial control for what a pseudo-terminal cannot do: framing errors on demand, parity and
// data bits that read back as written, a device that refuses or alters settings, opens that fail, and exact
// control over when bytes arrive. It keeps the termios control's defaults and settings check; its events
// are raised inside the call that causes them, so a test decides where in its sequence they happen.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/comm_state.h"
#include "platform/serial_control.h"

namespace msrtest {

class FakeSerialControl : public platform::SerialControl {
 public:
  static constexpr int32_t kOpenHandle = 42;  // CommID while open

  FakeSerialControl();

  int16_t CommPort() const override { return port_; }
  void SetCommPort(int16_t number) override { port_ = number; }
  std::string Settings() const override { return settings_; }
  bool SetSettings(const std::string& settings) override;
  bool PortOpen() const override { return open_; }
  platform::PortResult SetPortOpen(bool open) override;
  std::string LastError() const override { return last_error_; }
  int32_t CommID() const override { return open_ ? kOpenHandle : -1; }
  int16_t CommEvent() const override { return comm_event_; }
  int32_t InBufferCount() const override { return static_cast<int32_t>(input_.size()); }
  void SetInBufferCount(int32_t count) override {
    if (count == 0) input_.clear();
  }
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

  // Bytes from the device, while open: queued (zero bytes dropped under NullDiscard), then OnComm with
  // CommEvent 2 once RThreshold (above 0) bytes wait.
  void Receive(const std::string& bytes);
  void RaiseFramingError() {
    if (open_) RaiseCommEvent(platform::kCommEventFrame);
  }
  // Sets CommEvent and raises OnComm, open or not.
  void RaiseCommEvent(int16_t code);
  void SetLines(bool cts, bool dsr, bool cd) { cts_ = cts, dsr_ = dsr, cd_ = cd; }
  // Every open fails with `result` until it is given an ok one.
  void SetOpenResult(platform::PortResult result) { open_result_ = std::move(result); }
  // GetCommState / SetCommState fail with this errno value; 0 makes them work again.
  void FailGetCommState(int error) { get_state_error_ = error; }
  void FailSetCommState(int error) { set_state_error_ = error; }
  // What the device really keeps of a written block, e.g. a UART without mark parity falling back to none.
  void SetStoreFilter(std::function<platform::CommState(const platform::CommState&)> filter) {
    store_filter_ = std::move(filter);
  }
  // The device's line settings; a test may change them behind the program's back.
  platform::CommState& DeviceState() { return device_state_; }

  const std::vector<platform::Bytes>& Writes() const { return writes_; }
  // Called after every accepted write, e.g. to script the device's reply.
  std::function<void(const platform::Bytes& data)> OnOutput;
  // "open", "open failed", "close", "settings <text>", "set state <baud,parity,data bits,stop>", in order.
  const std::vector<std::string>& Log() const { return log_; }
  int SetCommStateCalls() const { return set_state_calls_; }

 private:
  void Store(const platform::CommState& state) {
    device_state_ = store_filter_ ? store_filter_(state) : state;
  }

  int16_t port_ = 1, comm_event_ = 0;
  std::string settings_ = "9600,N,8,1", last_error_, parity_replace_ = "?";
  bool open_ = false, null_discard_ = false, eof_enable_ = false, rts_ = true, dtr_ = true, break_ = false;
  bool cts_ = true, dsr_ = true, cd_ = false;
  int32_t in_buffer_size_ = 1024, out_buffer_size_ = 512, input_len_ = 0,
          input_mode_ = platform::kInputModeText;
  int32_t r_threshold_ = 0, s_threshold_ = 0, handshaking_ = 0;
  int get_state_error_ = 0, set_state_error_ = 0, set_state_calls_ = 0;
  platform::PortResult open_result_;
  platform::CommState device_state_;
  std::function<platform::CommState(const platform::CommState&)> store_filter_;
  platform::Bytes input_;
  std::vector<platform::Bytes> writes_;
  std::vector<std::string> log_;
};

}  // namespace msrtest
