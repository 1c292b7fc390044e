// The serial-port control over a Linux tty: a non-blocking descriptor watched by the event loop.
//
// Input is read by the loop into the control's own buffer and decoded from the kernel's line-error
// marking; output goes out as far as the device takes it at once and the rest is sent when the
// descriptor becomes writable. Nothing here ever blocks the user-interface thread.
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/event_loop.h"
#include "platform/line_settings.h"
#include "platform/linux/open_failure.h"
#include "platform/linux/serial_line.h"
#include "platform/marked_input.h"
#include "platform/serial_control.h"
#include "platform/serial_registry.h"

namespace platform {
namespace {

constexpr size_t kReadChunk = 4096;

std::string OpenFailureMessage(const std::string& device, int error) {
  switch (PortFailureOf(error)) {
    case PortFailure::kNoPermission:
      return "No permission to open " + device +
             ": add your user to the dialout group (sudo usermod -aG dialout $USER, then log in again) "
             "or add a udev rule that gives you access";
    case PortFailure::kInUse:
      return device + " is in use by another program (a port is open to one program at a time)";
    default:
      return "Cannot open " + device + ": " + SystemText(error);
  }
}

class TermiosSerialControl final : public SerialControl {
 public:
  explicit TermiosSerialControl(EventLoop* loop) : loop_(loop) {}
  ~TermiosSerialControl() override { ClosePort(); }
  TermiosSerialControl(const TermiosSerialControl&) = delete;
  TermiosSerialControl& operator=(const TermiosSerialControl&) = delete;

  int16_t CommPort() const override { return port_; }
  void SetCommPort(int16_t number) override { port_ = number; }

  std::string Settings() const override { return settings_; }
  bool SetSettings(const std::string& settings) override {
    const std::optional<CommState> state = ParseLineSettings(settings);
    if (!state) return false;
    settings_ = settings;
    return fd_ < 0 || WriteCommState(fd_, *state) == 0;
  }

  bool PortOpen() const override { return fd_ >= 0; }
  PortResult SetPortOpen(bool open) override;
  std::string LastError() const override { return last_result_.message; }

  int32_t CommID() const override { return fd_; }
  int16_t CommEvent() const override { return comm_event_; }

  int32_t InBufferCount() const override {
    // Like a driver's own queue count, the count includes what the kernel holds right now, so code that
    // polls it between loop dispatches (the raw register dump) sees bytes as soon as they arrive.
    const_cast<TermiosSerialControl*>(this)->PullInput();
    return static_cast<int32_t>(input_.size());
  }
  void SetInBufferCount(int32_t count) override;
  int32_t InBufferSize() const override { return in_buffer_size_; }
  void SetInBufferSize(int32_t size) override {
    if (size <= 0) return;
    in_buffer_size_ = size;
    ResumeReadingIfRoom();
  }
  int32_t OutBufferCount() const override;
  void SetOutBufferCount(int32_t count) override;
  int32_t OutBufferSize() const override { return out_buffer_size_; }
  void SetOutBufferSize(int32_t size) override {
    if (size > 0) out_buffer_size_ = size;
  }

  Bytes CommInput() override;
  bool CommOutput(const Bytes& data) override;

  int32_t InputLen() const override { return input_len_; }
  void SetInputLen(int32_t len) override { input_len_ = std::max(len, 0); }
  // Text and binary mode both hand out bytes; the mode is kept for callers that read it back.
  int32_t InputMode() const override { return input_mode_; }
  void SetInputMode(int32_t mode) override {
    if (mode == kInputModeText || mode == kInputModeBinary) input_mode_ = mode;
  }
  bool NullDiscard() const override { return null_discard_; }
  void SetNullDiscard(bool discard) override { null_discard_ = discard; }
  // Kept for the interface only: nothing this program talks to ends its data with an EOF character.
  bool EOFEnable() const override { return eof_enable_; }
  void SetEOFEnable(bool enable) override { eof_enable_ = enable; }
  std::string ParityReplace() const override { return parity_replace_; }
  void SetParityReplace(const std::string& replacement) override { parity_replace_ = replacement; }
  int32_t RThreshold() const override { return r_threshold_; }
  void SetRThreshold(int32_t bytes) override { r_threshold_ = std::max(bytes, 0); }
  int32_t SThreshold() const override { return s_threshold_; }
  void SetSThreshold(int32_t bytes) override { s_threshold_ = std::max(bytes, 0); }
  int32_t HandShaking() const override { return handshaking_; }
  void SetHandShaking(int32_t protocol) override {
    if (protocol < 0 || protocol > 3) return;
    handshaking_ = protocol;
    // A pty has no flow control of its own; the value is kept either way.
    if (fd_ >= 0) SetLineHandshaking(fd_, handshaking_);
  }

  bool RTSEnable() const override { return rts_; }
  void SetRTSEnable(bool enable) override {
    rts_ = enable;
    SetModemLine(TIOCM_RTS, enable);
  }
  bool DTREnable() const override { return dtr_; }
  void SetDTREnable(bool enable) override {
    dtr_ = enable;
    SetModemLine(TIOCM_DTR, enable);
  }
  bool Break() const override { return break_; }
  void SetBreak(bool on) override {
    break_ = on;
    if (fd_ >= 0) ioctl(fd_, on ? TIOCSBRK : TIOCCBRK);
  }
  bool CDHolding() const override { return ModemLine(TIOCM_CAR); }
  bool CTSHolding() const override { return ModemLine(TIOCM_CTS); }
  bool DSRHolding() const override { return ModemLine(TIOCM_DSR); }

  int GetCommState(int32_t handle, CommState& state) override { return ReadCommState(handle, state); }
  int SetCommState(int32_t handle, const CommState& state) override { return WriteCommState(handle, state); }

 private:
  PortResult Fail(PortFailure failure, std::string message) {
    last_result_ = {false, failure, std::move(message)};
    return last_result_;
  }
  PortResult OpenPort();
  void ClosePort();

  void OnReady(unsigned conditions);
  // Moves what the kernel holds into the input buffer outside a loop dispatch.
  void PullInput();
  // Reads what the device has, as far as the input buffer has room. False when the device is gone.
  bool ReadInput(bool& got_data, size_t& line_errors);
  // Sends queued output as far as the device takes it. False when the device is gone.
  bool WriteQueued();
  void UpdateWatch();
  void ResumeReadingIfRoom();
  void ReadCounters(bool& overrun, bool& buffer_overrun);
  // Sets CommEvent and calls OnComm. False when the handler destroyed this control or closed or
  // reopened the port, so the caller must not touch the old descriptor's state any more.
  bool Raise(int16_t event, uint64_t generation);

  void SetModemLine(int line, bool on) {
    // A pty has no modem lines; the property keeps its value regardless.
    if (fd_ >= 0) ioctl(fd_, on ? TIOCMBIS : TIOCMBIC, &line);
  }
  bool ModemLine(int line) const {
    int lines = 0;
    return fd_ >= 0 && ioctl(fd_, TIOCMGET, &lines) == 0 && (lines & line) != 0;
  }

  EventLoop* loop_;
  int16_t port_ = 1;
  std::string settings_ = "9600,N,8,1";
  int fd_ = -1;
  uint64_t generation_ = 0;  // counts opens, so a handler that reopened the port is noticed
  std::unique_ptr<LoopWatch> watch_;
  int16_t comm_event_ = 0;
  PortResult last_result_;

  Bytes input_;
  Bytes output_;
  MarkedInputDecoder decoder_;
  bool reading_paused_ = false;  // the input buffer is full; the kernel holds what comes next
  bool have_counters_ = false;
  serial_icounter_struct counters_{};

  int32_t in_buffer_size_ = 1024;
  int32_t out_buffer_size_ = 512;
  int32_t input_len_ = 0;
  int32_t input_mode_ = kInputModeText;
  int32_t r_threshold_ = 0;
  int32_t s_threshold_ = 0;
  int32_t handshaking_ = 0;
  bool null_discard_ = false;
  bool eof_enable_ = false;
  std::string parity_replace_ = "?";
  // Both lines on, as the kernel sets them on open: some readers draw their power from them.
  bool rts_ = true;
  bool dtr_ = true;
  bool break_ = false;

  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

PortResult TermiosSerialControl::SetPortOpen(bool open) {
  if (!open) {
    ClosePort();
    return PortResult{};
  }
  if (fd_ >= 0) return PortResult{};
  return OpenPort();
}

PortResult TermiosSerialControl::OpenPort() {
  const std::optional<SerialPortInfo> port = FindSerialPort(port_);
  if (!port) {
    return Fail(PortFailure::kNotPresent, "COM" + std::to_string(port_) +
                                              " is not present (no serial device is known under that name)");
  }
  const std::string& device = port->device;

  const int fd = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    const int error = errno;
    return Fail(PortFailureOf(error), OpenFailureMessage(device, error));
  }
  auto give_up = [fd, &device, this](int error, std::string message) {
    ioctl(fd, TIOCNXCL);
    close(fd);
    // A device that opened but will not work as a serial line is no question of presence or rights.
    if (!message.empty()) return Fail(PortFailure::kOther, std::move(message));
    return Fail(PortFailureOf(error), OpenFailureMessage(device, error));
  };

  // TIOCEXCL keeps other programs out but not root; the lock holds against every process that asks for
  // it too, root included. A file system without locks is no reason to refuse the port.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return give_up(EBUSY, "");
  ioctl(fd, TIOCEXCL);

  if (const int error = ConfigureMarkedRawLine(fd)) {
    return give_up(error, device + " is not a serial device: " + SystemText(error));
  }
  const std::optional<CommState> state = ParseLineSettings(settings_);
  const int settings_error = state ? WriteCommState(fd, *state) : EINVAL;
  if (settings_error != 0) {
    return give_up(settings_error,
                   device + " does not accept the settings " + settings_ + ": " + SystemText(settings_error));
  }
  SetLineHandshaking(fd, handshaking_);
  // Bytes that arrived before we opened belong to nobody.
  tcflush(fd, TCIFLUSH);

  fd_ = fd;
  ++generation_;
  input_.clear();
  output_.clear();
  decoder_.Reset();
  reading_paused_ = false;
  SetModemLine(TIOCM_DTR, dtr_);
  SetModemLine(TIOCM_RTS, rts_);
  if (break_) ioctl(fd_, TIOCSBRK);
  have_counters_ = ioctl(fd_, TIOCGICOUNT, &counters_) == 0;

  EventLoop& loop = loop_ ? *loop_ : CurrentEventLoop();
  watch_ = loop.WatchDescriptor(fd_, kIoReadable, [this](unsigned conditions) { OnReady(conditions); });
  last_result_ = PortResult{};
  return last_result_;
}

void TermiosSerialControl::ClosePort() {
  watch_.reset();
  if (fd_ >= 0) {
    // The exclusive flag belongs to the tty, not to our descriptor: left set, it would lock out the next
    // program while anyone else (the emulator holding its pty) keeps the tty alive.
    ioctl(fd_, TIOCNXCL);
    close(fd_);
    fd_ = -1;
  }
  input_.clear();
  output_.clear();
  decoder_.Reset();
  reading_paused_ = false;
}

void TermiosSerialControl::OnReady(unsigned conditions) {
  const uint64_t generation = generation_;
  bool alive = true;
  bool got_data = false;
  size_t line_errors = 0;
  if (conditions & (kIoReadable | kIoHangup | kIoError)) alive = ReadInput(got_data, line_errors);
  // A descriptor that reports hang-up or an error stays ready for ever: the port must be closed.
  if (conditions & (kIoHangup | kIoError)) alive = false;
  if (alive && (conditions & kIoWritable)) {
    const size_t before = output_.size();
    alive = WriteQueued();
    const auto threshold = static_cast<size_t>(s_threshold_);
    if (alive && s_threshold_ > 0 && before >= threshold && output_.size() < threshold) {
      if (!Raise(kCommEvSend, generation)) return;
    }
  }
  if (alive) UpdateWatch();

  bool overrun = false;
  bool buffer_overrun = false;
  if (alive) ReadCounters(overrun, buffer_overrun);

  if (got_data && r_threshold_ > 0 && input_.size() >= static_cast<size_t>(r_threshold_)) {
    if (!Raise(kCommEvReceive, generation)) return;
  }
  // The last bytes of a line that is going away are often garbled by the unplugging itself: reported as
  // a framing error, they would make the owner restart a port that no longer exists instead of learning
  // that its device is gone.
  if (alive && line_errors > 0 && !Raise(kCommEventFrame, generation)) return;
  if (overrun && !Raise(kCommEventOverrun, generation)) return;
  if (buffer_overrun && !Raise(kCommEventRxOver, generation)) return;
  if (!alive) {
    ClosePort();
    Raise(kCommEventDeviceLost, generation_);
  }
}

bool TermiosSerialControl::ReadInput(bool& got_data, size_t& line_errors) {
  MarkedInputDecoder::Options options;
  if (!parity_replace_.empty()) options.error_replacement = static_cast<uint8_t>(parity_replace_[0]);
  options.discard_nulls = null_discard_;

  uint8_t chunk[kReadChunk];
  for (;;) {
    const size_t capacity = static_cast<size_t>(in_buffer_size_);
    if (input_.size() >= capacity) {
      // Stop reading rather than drop bytes: the kernel keeps them (and holds a pty writer back)
      // until the program takes some input.
      reading_paused_ = true;
      return true;
    }
    const size_t want = std::min(sizeof chunk, capacity - input_.size());
    const ssize_t n = read(fd_, chunk, want);
    if (n > 0) {
      const size_t before = input_.size();
      line_errors += decoder_.Decode(chunk, static_cast<size_t>(n), options, input_);
      got_data = got_data || input_.size() > before;
      continue;
    }
    // With VMIN and VTIME 0 a tty reads 0 bytes when nothing is waiting; a hung-up one does too, and
    // the watch reports that as a hang-up.
    if (n == 0) return true;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    return false;  // EIO and the like: the device is gone
  }
}

bool TermiosSerialControl::WriteQueued() {
  size_t sent = 0;
  while (sent < output_.size()) {
    const ssize_t n = write(fd_, output_.data() + sent, output_.size() - sent);
    if (n > 0) {
      sent += static_cast<size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
      output_.clear();
      return false;
    }
    break;
  }
  output_.erase(output_.begin(), output_.begin() + static_cast<std::ptrdiff_t>(sent));
  return true;
}

void TermiosSerialControl::UpdateWatch() {
  if (!watch_) return;
  unsigned conditions = 0;
  if (!reading_paused_) conditions |= kIoReadable;
  if (!output_.empty()) conditions |= kIoWritable;
  // Even with nothing to read or write, a hang-up must still be seen.
  if (conditions == 0) conditions = kIoHangup | kIoError;
  watch_->SetConditions(conditions);
}

void TermiosSerialControl::ResumeReadingIfRoom() {
  if (reading_paused_ && input_.size() < static_cast<size_t>(in_buffer_size_)) {
    reading_paused_ = false;
    UpdateWatch();
  }
}

void TermiosSerialControl::ReadCounters(bool& overrun, bool& buffer_overrun) {
  // Only real UARTs and USB adapters keep line counters; a pty does not.
  if (!have_counters_) return;
  serial_icounter_struct now{};
  if (ioctl(fd_, TIOCGICOUNT, &now) != 0) return;
  overrun = now.overrun != counters_.overrun;
  buffer_overrun = now.buf_overrun != counters_.buf_overrun;
  counters_ = now;
}

bool TermiosSerialControl::Raise(int16_t event, uint64_t generation) {
  comm_event_ = event;
  if (OnComm) {
    const std::weak_ptr<bool> alive = alive_;
    const std::function<void()> handler = OnComm;  // the handler may replace OnComm while it runs
    handler();
    if (alive.expired()) return false;
  }
  return fd_ >= 0 && generation_ == generation;
}

void TermiosSerialControl::SetInBufferCount(int32_t count) {
  if (count != 0) return;
  input_.clear();
  decoder_.Reset();
  if (fd_ >= 0) tcflush(fd_, TCIFLUSH);
  ResumeReadingIfRoom();
}

int32_t TermiosSerialControl::OutBufferCount() const {
  int in_driver = 0;
  if (fd_ < 0 || ioctl(fd_, TIOCOUTQ, &in_driver) != 0) in_driver = 0;
  return static_cast<int32_t>(output_.size()) + in_driver;
}

void TermiosSerialControl::SetOutBufferCount(int32_t count) {
  if (count != 0) return;
  output_.clear();
  if (fd_ >= 0) {
    tcflush(fd_, TCOFLUSH);
    UpdateWatch();
  }
}

void TermiosSerialControl::PullInput() {
  if (fd_ < 0 || reading_paused_) return;
  bool got_data = false;
  size_t line_errors = 0;
  if (!ReadInput(got_data, line_errors)) return;  // the watch reports the lost device
  UpdateWatch();
  const bool notify_data = got_data && r_threshold_ > 0 && input_.size() >= static_cast<size_t>(r_threshold_);
  if (!notify_data && line_errors == 0) return;
  // The events for these bytes come from the loop, not from inside the caller's property read.
  const std::weak_ptr<bool> alive = alive_;
  const uint64_t generation = generation_;
  EventLoop& loop = loop_ ? *loop_ : CurrentEventLoop();
  loop.Post([this, alive, generation, notify_data, line_errors] {
    if (alive.expired() || fd_ < 0 || generation_ != generation) return;
    if (notify_data && !Raise(kCommEvReceive, generation)) return;
    if (line_errors > 0) Raise(kCommEventFrame, generation);
  });
}

Bytes TermiosSerialControl::CommInput() {
  PullInput();
  size_t count = input_.size();
  if (input_len_ > 0) count = std::min(count, static_cast<size_t>(input_len_));
  Bytes taken(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count));
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(count));
  ResumeReadingIfRoom();
  return taken;
}

bool TermiosSerialControl::CommOutput(const Bytes& data) {
  if (fd_ < 0) return false;
  const bool was_idle = output_.empty();
  output_.insert(output_.end(), data.begin(), data.end());
  // A write error here means the device is going away; the watch reports the hang-up and closes the port.
  if (was_idle && !WriteQueued()) return false;
  UpdateWatch();
  return true;
}

}  // namespace

std::unique_ptr<SerialControl> CreateSerialControl(EventLoop* loop) {
  return std::make_unique<TermiosSerialControl>(loop);
}

}  // namespace platform
