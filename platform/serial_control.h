#pragma once
// The serial-port control: a port number, a settings string, an open flag, input and output buffers,
// thresholds, handshake lines, a communication-event code and an OnComm notification, all on the
// thread of the event loop. The termios control is the real one; tests put a fake behind the same interface.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/comm_state.h"

namespace platform {

using Bytes = std::vector<uint8_t>;

// CommEvent codes. 2 and 1004 drive the protocol engine; the others are reported as they happen.
enum CommEventCode : int16_t {
  kCommEvSend = 1,     // output buffer fell below SThreshold
  kCommEvReceive = 2,  // at least RThreshold bytes are waiting
  kCommEvCTS = 3,
  kCommEvDSR = 4,
  kCommEvCD = 5,
  kCommEventBreak = 1001,
  kCommEventFrame = 1004,  // framing (or parity) error marked in the received stream
  kCommEventOverrun = 1006,
  kCommEventRxOver = 1008,      // the input buffer was full and bytes were dropped
  kCommEventDeviceLost = 1100,  // the device went away (adapter unplugged, pty closed); the port is closed
};

enum InputModeCode : int32_t { kInputModeText = 0, kInputModeBinary = 1 };

// Why an open failed, for callers that advise the person: each kind has its own remedy.
enum class PortFailure {
  kNone,
  kNotPresent,    // no device answers to the port number, or the device it names is gone
  kNoPermission,  // the user may not open the device (not in the dialout group)
  kInUse,         // another program has the port open; a port is opened exclusively
  kOther,         // not a serial device, settings it refuses, any other system error
};

// Outcome of opening or closing a port. `message` says what went wrong and what to do about it.
struct PortResult {
  bool ok = true;
  PortFailure failure = PortFailure::kNone;
  std::string message;
};

class SerialControl {
 public:
  virtual ~SerialControl() = default;

  // Port number n of "COM"n. Changing it while the port is open has no effect until it is reopened.
  virtual int16_t CommPort() const = 0;
  virtual void SetCommPort(int16_t number) = 0;

  // "baud,parity,databits,stopbits". Setting it checks the form and, while open, applies it to the device.
  virtual std::string Settings() const = 0;
  virtual bool SetSettings(const std::string& settings) = 0;

  virtual bool PortOpen() const = 0;
  // Opens the device that the serial port registry names for CommPort, exclusively, or closes it.
  virtual PortResult SetPortOpen(bool open) = 0;
  // Message of the last failed open (what SetPortOpen returned), for callers that only see PortOpen;
  // empty after a successful open.
  virtual std::string LastError() const { return {}; }

  // Handle of the open device (a file descriptor); -1 while closed.
  virtual int32_t CommID() const = 0;
  // Code of the last communication event or error.
  virtual int16_t CommEvent() const = 0;

  virtual int32_t InBufferCount() const = 0;
  virtual void SetInBufferCount(int32_t count) = 0;  // 0 discards waiting input
  virtual int32_t InBufferSize() const = 0;
  virtual void SetInBufferSize(int32_t size) = 0;
  virtual int32_t OutBufferCount() const = 0;
  virtual void SetOutBufferCount(int32_t count) = 0;  // 0 discards unsent output
  virtual int32_t OutBufferSize() const = 0;
  virtual void SetOutBufferSize(int32_t size) = 0;

  // Removes and returns waiting input: at most InputLen bytes, all of them when InputLen is 0.
  virtual Bytes CommInput() = 0;
  // Queues bytes for sending; never blocks. False when the port is closed.
  virtual bool CommOutput(const Bytes& data) = 0;

  virtual int32_t InputLen() const = 0;
  virtual void SetInputLen(int32_t len) = 0;
  virtual int32_t InputMode() const = 0;
  virtual void SetInputMode(int32_t mode) = 0;
  virtual bool NullDiscard() const = 0;
  virtual void SetNullDiscard(bool discard) = 0;
  virtual bool EOFEnable() const = 0;
  virtual void SetEOFEnable(bool enable) = 0;
  virtual std::string ParityReplace() const = 0;
  virtual void SetParityReplace(const std::string& replacement) = 0;
  virtual int32_t RThreshold() const = 0;
  virtual void SetRThreshold(int32_t bytes) = 0;
  virtual int32_t SThreshold() const = 0;
  virtual void SetSThreshold(int32_t bytes) = 0;
  virtual int32_t HandShaking() const = 0;  // 0 none, 1 XON/XOFF, 2 RTS/CTS, 3 both
  virtual void SetHandShaking(int32_t protocol) = 0;

  virtual bool RTSEnable() const = 0;
  virtual void SetRTSEnable(bool enable) = 0;
  virtual bool DTREnable() const = 0;
  virtual void SetDTREnable(bool enable) = 0;
  virtual bool Break() const = 0;
  virtual void SetBreak(bool on) = 0;
  virtual bool CDHolding() const = 0;
  virtual bool CTSHolding() const = 0;
  virtual bool DSRHolding() const = 0;

  // The device's line settings on an open handle (CommID). Return 0 or an errno value.
  virtual int GetCommState(int32_t handle, CommState& state) = 0;
  virtual int SetCommState(int32_t handle, const CommState& state) = 0;

  // Raised on the event loop's thread; the listener reads CommEvent.
  std::function<void()> OnComm;
};

// The termios control. Its descriptor is watched by `loop` (nullptr: the current loop when opened).
class EventLoop;
std::unique_ptr<SerialControl> CreateSerialControl(EventLoop* loop = nullptr);

}  // namespace platform
