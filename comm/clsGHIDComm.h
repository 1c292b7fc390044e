#pragma once
// A reader behind the USB HID bridge, as one more port of clsMSComm: "HID1" to "HID256". The bridge's
// data reports carry the reader's UART bytes both ways; its control reports set the UART's rate, empty
// its buffer and the like (docs/hid-bridge.md). To the engine it looks like a serial port whose line is
// always 8 data bits, no parity, 1 stop bit.
//
// Everything runs on the event loop's thread. A control command waits on the loop for the bridge's
// reply, so data that arrives meanwhile is still received. Failures never reach the caller as errors: a
// command without a reply is reported through the owner's RaiseOnEvent with the command's name.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "comm/clsMSComm.h"
#include "comm/hid_reports.h"
#include "platform/event_loop.h"
#include "platform/hid_device.h"
#include "platform/hid_ports.h"

class clsGHIDComm : public clsMSComm {
 public:
  // The name this object answers to in the attach protocol.
  static constexpr const char* kTag = "GHIDIO";
  static constexpr const char* kPortPrefix = "HID";
  // The bridge replies within this time, or not at all.
  static constexpr int kControlTimeoutMs = 1000;
  // A new rate is offered this many times, this far apart, before the bridge is given up on.
  static constexpr int kRateTries = 3;
  static constexpr int kRateRetryMs = 50;
  static constexpr int32_t kStartRate = 19200;

  // `device` nullptr creates the hidraw/socket one; `loop` nullptr means the current loop.
  explicit clsGHIDComm(std::unique_ptr<platform::HidDevice> device = nullptr,
                       platform::EventLoop* loop = nullptr);
  ~clsGHIDComm() override;

  // "HID"n with n from 1 to 256, or a device path of a bridge: a Windows-style path with "\hid", "vid",
  // "2A7C", "pid", "0005" in this order (any case), or a node or socket that the bridge list holds.
  static bool IsMyCommPort(const std::string& name);

  // Answers "INDEX", "COMMPORT" (names IsMyCommPort accepts) and "REATTACH".
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override;
  using clsMSComm::AttachOrder;
  // Takes the owner; the HID object has no serial control.
  void AttachCommObject(clsMSComm* owner, platform::SerialControl* control) override;

  int32_t CommID() const override;
  // "HID"n, or the device path when one was chosen that has no number.
  std::string CommPort() const override;
  // Closes an open port first. Anything IsMyCommPort refuses is ignored.
  void SetCommPort(const std::string& name) override;
  bool PortOpen() const override;
  // Opens the bridge and sets its UART to the current rate; a failure leaves PortOpen false and tells the
  // owner why through RaiseOnEvent.
  void SetPortOpen(bool open) override;
  const platform::PortResult& LastOpenResult() const { return last_open_; }
  void ForgetOpenResult() { last_open_ = platform::PortResult{}; }
  // The rate followed by ",N,8,1", whatever was written.
  std::string Settings() const override;
  // Only the rate counts; a new one goes to the bridge while open, with up to three tries.
  void SetSettings(const std::string& settings) override;
  // Counts the reports waiting on the device too, as a serial driver's queue count does.
  int32_t InBufferCount() const override;
  // 0 empties the buffer here and the bridge's (QBR710DiscardBuffer).
  void SetInBufferCount(int32_t count) override;
  int32_t InBufferSize() const override { return in_buffer_size_; }
  void SetInBufferSize(int32_t size) override { in_buffer_size_ = size; }
  Bytes CommInput() override;
  using clsMSComm::CommOutput;
  void CommOutput(const Bytes& data) override;
  int32_t InputLen() const override { return input_len_; }
  void SetInputLen(int32_t len) override { input_len_ = len; }
  int32_t InputMode() const override { return input_mode_; }
  void SetInputMode(int32_t mode) override { input_mode_ = mode; }
  bool NullDiscard() const override { return null_discard_; }
  void SetNullDiscard(bool discard) override { null_discard_ = discard; }
  int32_t RThreshold() const override { return r_threshold_; }
  void SetRThreshold(int32_t bytes) override { r_threshold_ = bytes; }
  // The bridge has no handshake lines; the values are kept so that a caller reads back what it wrote.
  bool RTSEnable() const override { return rts_; }
  void SetRTSEnable(bool enable) override { rts_ = enable; }
  bool DTREnable() const override { return dtr_; }
  void SetDTREnable(bool enable) override { dtr_ = enable; }
  int32_t OutBufferSize() const override { return out_buffer_size_; }
  void SetOutBufferSize(int32_t size) override { out_buffer_size_ = size; }
  int32_t CommEvent() const override { return comm_event_; }

  // The bridges of this machine, "HID1" first; listed afresh on every count.
  int32_t GetCommPortCount() override;
  std::string EnumCommPort(int32_t index) override;

  // Events travel from the device to the owner, not through these.
  void RaiseOnComm() override {}
  void RaiseOnEvent(const std::string&) override {}

  // One control command: true with the reply's data when the bridge did it (status 0). No reply within
  // kControlTimeoutMs, or a refusal, is reported through the owner with the command's name.
  bool ControlCommand(uint8_t command, const hid_reports::Bytes& data, hid_reports::Bytes* reply = nullptr);
  // The open bridge's product name ("msrsim bridge" for the emulator), or the chosen port's when closed.
  std::string DeviceName() const;
  // Every port this object serves is a bridge of ours (the list checks vendor and product), and a reader
  // behind it is reached through its UART, also while the port is closed for a moment.
  bool ReaderIsOwn() const { return !CommPort().empty(); }
  // Input reports that did not fit the protocol and were dropped, since this object was made.
  uint64_t DroppedReports() const { return dropped_reports_; }

 private:
  struct ControlWait;
  enum class Outcome { kDone, kRefused, kNoReply, kLost };
  Outcome Control(uint8_t command, const hid_reports::Bytes& data, hid_reports::Bytes* reply);
  void WarnOfKeyboardMode();
  void OnReport(const hid_reports::Bytes& report);
  void OnLost();
  void PullReports();
  void Notify(int32_t event);
  void Report(const std::string& text);
  bool SendRate(int32_t rate);
  // The chosen bridge as the list has it now (a Windows-style path: that path alone), or nothing.
  std::optional<platform::HidPortInfo> ChosenBridge() const;

  std::unique_ptr<platform::HidDevice> device_;
  platform::EventLoop* loop_;
  clsMSComm* owner_ = nullptr;
  int number_ = 0;           // n of "HID"n; 0 with a path of its own
  std::string chosen_path_;  // a device path given instead of a name
  int32_t rate_ = kStartRate;
  std::string product_;
  platform::PortResult last_open_;
  Bytes input_;
  int32_t in_buffer_size_ = 4096;
  int32_t out_buffer_size_ = 512;
  int32_t input_len_ = 0;
  int32_t input_mode_ = 0;
  int32_t r_threshold_ = 0;
  bool null_discard_ = false;
  bool rts_ = false;
  bool dtr_ = false;
  int32_t comm_event_ = 0;
  uint64_t dropped_reports_ = 0;
  ControlWait* waiting_ = nullptr;
  bool pulling_ = false;      // PullReports runs: events wait for the loop
  int32_t pulled_event_ = 0;  // the event PullReports leaves to the loop
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::vector<std::string> names_;
  bool enumerated_ = false;
};
