#pragma once
// The GNet protocol engine: frames a command (STX, text, optional checksum digits, CR), sends it through
// the attached port, assembles the reply from the incoming bytes, checks its checksum and returns the
// payload. Bytes that arrive outside a transaction go to OnChar (the terminal view); framing errors
// outside a transaction to OnFrameError.
//
// Everything runs on the event loop's thread. A transaction waits on the loop, so timers, port
// notifications and user-interface handlers run inside it; flags keep a second transaction (or a dump)
// from starting meanwhile, and Busy tells the window that closing must only cancel.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "comm/clsMSComm.h"
#include "gnet/clsTimeout.h"
#include "platform/event_loop.h"
#include "platform/hid_device.h"

class clsIMScomm;
class clsGHIDComm;

class ucGNet {
 public:
  static constexpr int kReceiveBufferSize = 512;
  static constexpr int kMaxPortObjects = 10;
  static constexpr int32_t kDefaultTimeoutMs = 3000;
  static constexpr uint8_t kSTX = 0x02;
  static constexpr uint8_t kCR = 0x0D;
  // The reader needs this long of quiet after the last byte of a dump to be done with it; a verified
  // dump is also trusted for this long.
  static constexpr int32_t kDumpTailMs = 250;
  // Reply time-outs while scanning: a serial reader answers a poll at once, the keyboard port is slow.
  static constexpr int32_t kScanTimeoutMs = 500;
  static constexpr int32_t kKeyboardScanTimeoutMs = 3000;
  static constexpr const char* kKeyboardPort = "PS/2";
  // Kinds of OnMessage; the terminal view colours a message by its kind.
  static constexpr const char* kMessageError = "Error";
  static constexpr const char* kMessageGeneral = "General";
  static constexpr const char* kMessageScan = "Scan";
  // The word that starts a scan message reporting the reader it found.
  static constexpr const char* kScanFound = "Found";

  // `control` is the serial-port control behind COM ports; nullptr creates the termios one. `hid_device`
  // is the device behind HID ports; nullptr creates the hidraw one. `loop` nullptr means the current
  // event loop.
  explicit ucGNet(std::unique_ptr<platform::SerialControl> control = nullptr,
                  platform::EventLoop* loop = nullptr,
                  std::unique_ptr<platform::HidDevice> hid_device = nullptr);
  ~ucGNet();
  ucGNet(const ucGNet&) = delete;
  ucGNet& operator=(const ucGNet&) = delete;

  // Plain 8-bit sum of the first `length` characters (all of them when `length` < 1).
  static uint8_t CalcChkSum(const std::string& data, int32_t length = 0);
  // Two upper-case hexadecimal digits with a leading zero: 0x0A gives "0A".
  static std::string HexByte(uint8_t value);
  // A reply that acknowledges: "A", an optional ",", then the text the caller wants in `rest`. False
  // (and `rest` untouched) when the reply is not an acknowledgement.
  static bool TakeAcknowledged(const std::string& reply, std::string& rest);
  // The request frame of `cmd`.
  static Bytes BuildFrame(const std::string& cmd, bool use_chksum);

  // One transaction, up to three sends. Returns the reply payload (checksum digits removed when
  // `check_chksum`), or an empty text when there is none or its checksum is wrong.
  std::string SendGNetCMD(const std::string& cmd, bool use_chksum, bool check_chksum);

  bool IsSendGNetCMD() const { return is_send_gnet_cmd_; }
  bool Busy() const { return busy_count_ > 0; }
  int32_t GNetTimeout() const { return gnet_timeout_; }
  void SetGNetTimeout(int32_t ms) { gnet_timeout_ = ms; }
  bool GNetCancel() const { return gnet_cancel_; }
  void SetGNetCancel(bool cancel) { gnet_cancel_ = cancel; }
  int32_t GNetByteInterval() const { return gnet_byte_interval_; }
  void SetGNetByteInterval(int32_t ms) { gnet_byte_interval_ = ms; }

  // Port properties, passed to the attached port unchanged.
  std::string CommPort() const { return port_.CommPort(); }
  // Also forgets the cached register dump: the new port may lead to another reader.
  void SetCommPort(const std::string& name);
  std::string Settings() const { return port_.Settings(); }
  void SetSettings(const std::string& settings) { port_.SetSettings(settings); }
  bool PortOpen() const { return port_.PortOpen(); }
  // Opening or closing forgets the cached register dump.
  void SetPortOpen(bool open);
  // The port's last open or close since SetCommPort; ok when none was tried (also when the name belongs
  // to no port object). A failed open says here why, as a kind the caller can give advice on.
  platform::PortResult LastOpenResult() const;
  int32_t InBufferCount() const { return port_.InBufferCount(); }
  void SetInBufferCount(int32_t count) { port_.SetInBufferCount(count); }
  int32_t RThreshold() const { return port_.RThreshold(); }
  void SetRThreshold(int32_t bytes) { port_.SetRThreshold(bytes); }
  bool RTSEnable() const { return port_.RTSEnable(); }
  void SetRTSEnable(bool enable) { port_.SetRTSEnable(enable); }
  bool DTREnable() const { return port_.DTREnable(); }
  void SetDTREnable(bool enable) { port_.SetDTREnable(enable); }
  int32_t GetCommPortCount() { return port_.GetCommPortCount(); }
  std::string EnumCommPort(int32_t index) { return port_.EnumCommPort(index); }
  // Every other member of the port.
  clsMSComm& Port() { return port_; }
  // The port object behind "HID"n names: the bridge's name, whether the reader is its own.
  clsGHIDComm& HidPort() { return *hid_; }
  const clsGHIDComm& HidPort() const { return *hid_; }

  // ---- Device commands. Each counts as Busy while it runs. ----
  // The firmware version: the reply to "V" without its "A" and a following ",", or an empty text.
  std::string GetVersion();
  // Reads register `reg` (its low byte) into `value`. An error reply is reported through OnMessage and
  // ends the command; no reply (or a bad checksum) is tried once more 5 ms later.
  bool GetRegister(int32_t reg, uint8_t& value);
  // Writes `value` to register `reg` (its low byte); true on the reply "A". An error reply is reported
  // and the write tried once more. A write forgets the cached dump, which no longer holds.
  bool SetRegister(int32_t reg, uint8_t value);
  // Polls the reader ("D", then "D" with `param` when it answered "N"): its answer without "A" and a
  // following ",", or an empty text.
  std::string Polling(uint8_t param);
  // The whole register table in one raw transfer, as hexadecimal text (two digits a byte), or an empty
  // text when no transfer could start or its length is not a whole number of tables. Waits up to
  // `timeout_ms` for the first byte and ends kDumpTailMs (or `timeout_ms`, if shorter) after the last one.
  std::string RegistersDump(int32_t timeout_ms);
  // RegistersDump taken twice and believed only when both agree; a verified dump is reused for
  // kDumpTailMs. Empty when either read failed or they differ.
  std::string RegistersDumpEx(int32_t timeout_ms);

  // ---- Finding a reader ----
  // Walks the ports that the port objects offer (the preferred `port` first, "COM" numbers above 16
  // left out), tries each entry of the rate list on it, polls, and stops at the first answer that
  // contains or matches (Like rules) one of the comma-separated `module_names`. On success the port
  // stays open and `module_name`, `port` and `baud_rate` say what was found where. A reader on the
  // keyboard port counts only when no other is found. Progress goes to OnMessage as "Scan".
  // `baud_rates` is tried after `baud_rate` only when it begins with ",". Returns `found`.
  bool AutoScan(std::string& module_name, const std::string& baud_rates, std::string& port,
                int32_t& baud_rate, const std::string& module_names, bool only_this_port, bool& found);

  // Adds a port object (keyboard port, HID port) that can serve port names; at most ten in all.
  bool AddPortObject(clsMSComm* port_object);

  // The keyboard port's last error (number, text), asked when a transaction finds that port closed.
  std::function<std::pair<int, std::string>()> KeyboardPortError;

  // Events, in this order.
  std::function<void()> OnFrameError;
  std::function<void(std::string& msg_type, const std::string& msg)> OnMessage;
  std::function<void(uint8_t& data)> OnChar;
  std::function<void(int32_t length, Bytes& package)> OnPackage;
  // The port's device went away (an adapter pulled out, a line hung up); the port has closed itself.
  std::function<void()> OnPortLost;

  // The receive routine: run by the receive timer, by a waiting transaction, or by a test.
  void TimerReceive_Timer();
  // The port's notification.
  void m_oMSComm_OnComm();

 protected:
  void RaiseMessage(const std::string& msg_type, const std::string& msg);
  // Waits on the event loop for at most `max_ms`, returning at once when something was handled.
  void WaitOnLoop(int32_t max_ms);
  platform::EventLoop& Loop() const;

  clsTimeout timeout_;         // reply and inter-chunk time-out
  clsTimeout second_timeout_;  // started with 250; used by the device commands

 private:
  void OnPortRequest(const std::string& command, CommValue& param1, clsMSComm*& param2);
  void ReportClosedPort();
  void HandleReceivedByte(uint8_t byte);
  // AutoScan's parts.
  std::vector<std::string> ScanPortList(const std::string& preferred, bool only_this_port);
  bool OpenForScan(const std::string& name);

  platform::EventLoop* loop_;
  std::unique_ptr<platform::SerialControl> control_;
  std::unique_ptr<clsIMScomm> serial_;
  std::unique_ptr<clsGHIDComm> hid_;
  std::vector<clsMSComm*> port_objects_;
  clsMSComm port_;
  platform::Timer timer_receive_;

  int32_t gnet_timeout_ = kDefaultTimeoutMs;
  int32_t gnet_byte_interval_ = 0;
  bool gnet_cancel_ = false;
  int16_t busy_count_ = 0;
  bool is_send_gnet_cmd_ = false;

  std::array<uint8_t, kReceiveBufferSize> receive_buffer_{};
  int32_t write_index_ = 0;
  Bytes package_;
  int32_t package_len_ = 0;
  // Where the receive routine stands: waiting for an STX, collecting a frame, or holding a finished
  // frame until the next STX starts another.
  enum class ReceiveState { kIdle, kInFrame, kDone };
  ReceiveState receive_state_ = ReceiveState::kIdle;
  // The port's word to a waiting transaction, not a state of the receive routine: a framing error ends
  // the wait while the routine goes on with whatever frame it holds.
  bool frame_error_seen_ = false;
  bool receiving_ = false;

  std::string dump_cache_;
  bool dump_cache_valid_ = false;
};
