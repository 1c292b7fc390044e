#pragma once
// The RS-232 port behind clsMSComm: wraps one serial-port control (m_oMSComm) and passes most members
// straight to it. Port naming ("COM"n), the settings string, the port list and recovery from framing
// errors are its own, the settings working directly on the open device's line settings.
//
// Failures never reach the caller: a settings change that does not take leaves the port as it was (the
// reason goes to the comm trace), and an open that fails leaves PortOpen false and tells the owner why
// through RaiseOnEvent.

#include <cstdint>
#include <string>
#include <vector>

#include "comm/clsMSComm.h"
#include "platform/serial_control.h"

class clsIMScomm : public clsMSComm {
 public:
  // The name this object answers to in the attach protocol.
  static constexpr const char* kTag = "IMSComm";

  clsIMScomm() = default;
  ~clsIMScomm() override;

  // Answers "INDEX", "COMMPORT" (port numbers 1 to 256, existing or not) and "REATTACH".
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override;
  using clsMSComm::AttachOrder;
  // Takes the owner and the control, remembers the control's settings for recovery and handles the
  // control's OnComm from now on (the previous control, if any, is let go). The control must outlive
  // this object, or be replaced first: letting go of a control clears its OnComm.
  void AttachCommObject(clsMSComm* owner, platform::SerialControl* control) override;

  bool Break() const override;
  void SetBreak(bool on) override;
  bool CDHolding() const override;
  int32_t CommID() const override;
  // "COM" and the control's port number.
  std::string CommPort() const override;
  // A number selects that port; "COM"n (exact case) closes an open port first and selects n; anything
  // else is ignored. The port is not reopened.
  void SetCommPort(const std::string& name) override;
  bool CTSHolding() const override;
  bool DSRHolding() const override;
  bool DTREnable() const override;
  void SetDTREnable(bool enable) override;
  bool EOFEnable() const override;
  void SetEOFEnable(bool enable) override;
  int32_t HandShaking() const override;
  void SetHandShaking(int32_t protocol) override;
  int32_t InBufferCount() const override;
  void SetInBufferCount(int32_t count) override;
  int32_t InBufferSize() const override;
  void SetInBufferSize(int32_t size) override;
  Bytes CommInput() override;
  int32_t InputLen() const override;
  void SetInputLen(int32_t len) override;
  int32_t InputMode() const override;
  void SetInputMode(int32_t mode) override;
  bool NullDiscard() const override;
  void SetNullDiscard(bool discard) override;
  int32_t OutBufferCount() const override;
  void SetOutBufferCount(int32_t count) override;
  int32_t OutBufferSize() const override;
  void SetOutBufferSize(int32_t size) override;
  using clsMSComm::CommOutput;
  void CommOutput(const Bytes& data) override;
  std::string ParityReplace() const override;
  void SetParityReplace(const std::string& replacement) override;
  bool PortOpen() const override;
  // Opens or closes through the control. A failure is not passed on as an error: PortOpen stays as it
  // was, and the control's explanation (port busy, no permission) goes to the owner's RaiseOnEvent.
  void SetPortOpen(bool open) override;
  // What the last SetPortOpen gave, with the kind of failure for a person to act on; ok after
  // ForgetOpenResult until the next open or close.
  const platform::PortResult& LastOpenResult() const { return last_open_; }
  void ForgetOpenResult() { last_open_ = platform::PortResult{}; }
  int32_t RThreshold() const override;
  void SetRThreshold(int32_t bytes) override;
  bool RTSEnable() const override;
  void SetRTSEnable(bool enable) override;
  // While open the settings the device really has, else the control's settings string.
  std::string Settings() const override;
  // A partial update: "E,7" changes parity and data bits only, "9600" only the rate. While open it is
  // applied to the device and checked by reading it back, with one retry 50 ms later.
  void SetSettings(const std::string& settings) override;
  int32_t SThreshold() const override;
  void SetSThreshold(int32_t bytes) override;
  int32_t CommEvent() const override;

  // Lists this machine's serial ports afresh and returns their number.
  int32_t GetCommPortCount() override;
  // The index-th serial port name, COM1 first; lists the ports first if no list found any yet.
  std::string EnumCommPort(int32_t index) override;

  // Members by name: "clsMSComm_" + name first, then name; an unknown name reads as an empty value.
  CommValue Properties(const std::string& name) override;
  bool SetProperties(const std::string& name, const CommValue& value) override;

  // Events travel from the control to the owner, not through these.
  void RaiseOnComm() override {}
  void RaiseOnEvent(const std::string&) override {}

  // The line settings of the open device `handle` as "baud,parity,databits,stopbits", or an empty text
  // when they cannot be read or hold a code without a letter or digit.
  std::string GetCOMMSettings(int32_t handle) const;
  // Checks a full four-field settings string and writes it to the open device `handle`.
  bool SetCOMMSettings(int32_t handle, const std::string& settings);

  // The settings last applied through Settings (or found on attach), used to restart after a framing error.
  const std::string& CachedSettings() const { return cached_settings_; }

 private:
  void HandleControlOnComm();
  void ReleaseControl();
  void Enumerate();
  CommValue GetPrefixedMember(const std::string& name, bool& found);
  bool SetPrefixedMember(const std::string& name, const CommValue& value);

  clsMSComm* owner_ = nullptr;
  platform::SerialControl* m_oMSComm = nullptr;
  std::string cached_settings_;
  platform::PortResult last_open_;
  std::vector<std::string> port_list_;
  int32_t port_count_ = 0;
  bool enumerated_ = false;
};
