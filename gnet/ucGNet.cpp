#include "gnet/ucGNet.h"

#include <algorithm>

#include "comm/clsGHIDComm.h"
#include "comm/clsIMScomm.h"
#include "gnet/busy_scope.h"
#include "platform/clock.h"
#include "platform/hex_text.h"

namespace {

constexpr int kAttempts = 3;
constexpr int32_t kFrameTimeoutMs = 250;
// Upper bound of one block on the loop inside a wait. Everything that ends a wait early (data, a click
// on Cancel, a timer) is an event and wakes the loop at once; the bound only keeps a wait responsive to
// anything that is not.
constexpr int32_t kMaxBlockMs = 100;
constexpr const char* kCancelled = "SendGNetCMD - Cancel!";

}  // namespace

ucGNet::ucGNet(std::unique_ptr<platform::SerialControl> control, platform::EventLoop* loop,
               std::unique_ptr<platform::HidDevice> hid_device)
    : loop_(loop),
      control_(control ? std::move(control) : platform::CreateSerialControl(loop)),
      serial_(std::make_unique<clsIMScomm>()),
      hid_(std::make_unique<clsGHIDComm>(std::move(hid_device), loop)),
      timer_receive_(loop) {
  timer_receive_.SetInterval(1);
  timer_receive_.OnTimer = [this] { TimerReceive_Timer(); };

  port_.Request = [this](const std::string& command, CommValue& param1, clsMSComm*& param2) {
    OnPortRequest(command, param1, param2);
  };
  port_.OnComm = [this] { m_oMSComm_OnComm(); };
  port_.OnEvent = [this](const std::string& text) { RaiseMessage(kMessageError, text); };

  serial_->AttachCommObject(&port_, control_.get());
  port_objects_.push_back(serial_.get());
  // HID bridges come after the serial ports in the port list and in the scan.
  AddPortObject(hid_.get());
  port_.SetCommPort("COM1");
  // Raw bytes, and a notification for every byte that arrives.
  port_.SetInputMode(platform::kInputModeBinary);
  port_.SetRThreshold(1);

  timeout_.SetTimeout(gnet_timeout_);
  second_timeout_.SetTimeout(kFrameTimeoutMs);
}

ucGNet::~ucGNet() {
  port_.OnComm = nullptr;
  port_.OnEvent = nullptr;
  if (port_.PortOpen()) port_.SetPortOpen(false);
}

platform::EventLoop& ucGNet::Loop() const {
  return loop_ ? *loop_ : platform::CurrentEventLoop();
}

uint8_t ucGNet::CalcChkSum(const std::string& data, int32_t length) {
  if (length < 1) length = static_cast<int32_t>(data.size());
  if (length < 1) return 0;
  const auto count = std::min<size_t>(static_cast<size_t>(length), data.size());
  uint8_t sum = 0;
  for (size_t i = 0; i < count; ++i) sum = static_cast<uint8_t>(sum + static_cast<uint8_t>(data[i]));
  return sum;
}

std::string ucGNet::HexByte(uint8_t value) {
  return platform::hex_text::Byte(value);
}

Bytes ucGNet::BuildFrame(const std::string& cmd, bool use_chksum) {
  Bytes frame;
  frame.reserve(cmd.size() + 4);
  frame.push_back(kSTX);
  frame.insert(frame.end(), cmd.begin(), cmd.end());
  if (use_chksum) {
    const std::string digits = HexByte(CalcChkSum(cmd));
    frame.insert(frame.end(), digits.begin(), digits.end());
  }
  frame.push_back(kCR);
  return frame;
}

bool ucGNet::AddPortObject(clsMSComm* port_object) {
  if (!port_object || static_cast<int>(port_objects_.size()) >= kMaxPortObjects) return false;
  port_object->AttachCommObject(&port_, nullptr);
  port_objects_.push_back(port_object);
  return true;
}

void ucGNet::SetPortOpen(bool open) {
  // Whatever was cached came from the line as it was; reopened, it may lead to another reader.
  dump_cache_valid_ = false;
  port_.SetPortOpen(open);
}

void ucGNet::SetCommPort(const std::string& name) {
  // Choosing a port closes the one that was open.
  dump_cache_valid_ = false;
  serial_->ForgetOpenResult();
  hid_->ForgetOpenResult();
  port_.SetCommPort(name);
}

platform::PortResult ucGNet::LastOpenResult() const {
  return port_.Attached() == hid_.get() ? hid_->LastOpenResult() : serial_->LastOpenResult();
}

void ucGNet::RaiseMessage(const std::string& msg_type, const std::string& msg) {
  if (!OnMessage) return;
  std::string type = msg_type;
  OnMessage(type, msg);
}

void ucGNet::OnPortRequest(const std::string& command, CommValue& param1, clsMSComm*& param2) {
  if (command == attach_protocol::kReattach) {
    // "IMSComm-" asks the objects to detach IMSComm: they get the sign first, "-IMSComm".
    const std::string* text = std::get_if<std::string>(&param1);
    if (!text || text->empty()) return;
    CommValue value = std::string(1, text->back()) + text->substr(0, text->size() - 1);
    AttachAnswer answer;
    for (clsMSComm* object : port_objects_) object->AttachOrder(attach_protocol::kReattach, value, answer);
  } else if (command == attach_protocol::kRequestIndex) {
    // Each object counts the index down by one; the one that reaches 0 is the i-th.
    CommValue counter = param1;
    AttachAnswer answer;
    for (clsMSComm* object : port_objects_) {
      object->AttachOrder(attach_protocol::kOrderIndex, counter, answer);
      if (answer.object) break;
    }
    param2 = answer.object;
  } else if (command == attach_protocol::kRequestCommPort) {
    AttachAnswer answer;
    for (clsMSComm* object : port_objects_) {
      object->AttachOrder(attach_protocol::kOrderCommPort, param1, answer);
      if (answer.object) break;
    }
    param2 = answer.object;
  }
}

void ucGNet::WaitOnLoop(int32_t max_ms) {
  Loop().WaitForEvents(std::clamp<int32_t>(max_ms, 1, kMaxBlockMs));
}

void ucGNet::ReportClosedPort() {
  if (gnet_cancel_) {
    RaiseMessage(kMessageGeneral, kCancelled);
  } else if (port_.CommPort() != kKeyboardPort) {
    RaiseMessage(kMessageError, "SendGNetCMD - Port is Close!");
  } else {
    const auto [number, text] = KeyboardPortError ? KeyboardPortError() : std::pair<int, std::string>{0, ""};
    if (number != 0) {
      RaiseMessage(kMessageError, "SendGNetCMD - KeybdIO " + text);
    } else if (!port_.RTSEnable()) {
      RaiseMessage(kMessageError, "SendGNetCMD - KeybdIO Can't open communication!");
    } else {
      RaiseMessage(kMessageError, "SendGNetCMD - Unknown Error");
    }
  }
}

std::string ucGNet::SendGNetCMD(const std::string& cmd, bool use_chksum, bool check_chksum) {
  gnet::BusyScope busy(busy_count_);
  if (is_send_gnet_cmd_) {
    RaiseMessage(kMessageError, "SendGNetCMD - Sending other command error!");
    return {};
  }
  if (!port_.PortOpen()) {
    ReportClosedPort();
    return {};
  }
  if (gnet_cancel_) {
    RaiseMessage(kMessageGeneral, kCancelled);
    return {};
  }

  is_send_gnet_cmd_ = true;
  const Bytes frame = BuildFrame(cmd, use_chksum);
  std::string result;
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    receive_state_ = ReceiveState::kIdle;
    package_len_ = 0;
    if (!port_.PortOpen() || gnet_cancel_) break;
    frame_error_seen_ = false;

    if (gnet_byte_interval_ < 1) {
      port_.CommOutput(frame);
    } else {
      // Some readers drop characters that arrive back to back; they get a pause after each byte.
      for (uint8_t byte : frame) {
        port_.CommOutput(Bytes{byte});
        platform::SleepMs(gnet_byte_interval_);
      }
    }
    timeout_.SetTimeout(gnet_timeout_);

    bool replied = false;
    for (;;) {
      if (timeout_.IsTimeout() || gnet_cancel_) break;
      if (package_len_ > 0) {
        replied = true;
        break;
      }
      if (frame_error_seen_) break;
      if (!receiving_ && port_.InBufferCount() > 0) TimerReceive_Timer();
      if (package_len_ > 0 || frame_error_seen_) continue;
      WaitOnLoop(timeout_.Remaining());
    }

    if (!replied) {
      // The keyboard port without its request line gets no further tries.
      if (!port_.RTSEnable() && port_.CommPort() == kKeyboardPort) break;
      continue;
    }
    const size_t length = std::min(static_cast<size_t>(package_len_), package_.size());
    const std::string text(package_.begin(), package_.begin() + static_cast<std::ptrdiff_t>(length));
    if (!check_chksum) {
      result = text;
    } else if (text.size() >= 3) {
      // A wrong checksum keeps what an earlier attempt gave (usually nothing) and is not resent.
      const std::string body = text.substr(0, text.size() - 2);
      if (platform::hex_text::ValueOf(text.substr(text.size() - 2)) == CalcChkSum(body)) result = body;
    }
    if (!timeout_.IsTimeout()) break;
  }
  if (gnet_cancel_) RaiseMessage(kMessageGeneral, kCancelled);
  is_send_gnet_cmd_ = false;
  return result;
}

void ucGNet::HandleReceivedByte(uint8_t byte) {
  if (byte == kSTX) {
    // An STX inside an open frame is dropped: the frame goes on.
    if (receive_state_ != ReceiveState::kInFrame) {
      write_index_ = 0;
      receive_state_ = ReceiveState::kInFrame;
      timeout_.SetTimeout(kFrameTimeoutMs);
    }
  } else if (byte == kCR) {
    // Every CR sets the length, also one outside a frame, which reuses the last frame's write index:
    // older readers rely on a bare CR ending a wait, so this stays.
    package_len_ = write_index_;
    if (package_.size() < static_cast<size_t>(package_len_)) {
      package_.assign(static_cast<size_t>(package_len_) + 101, 0);
    } else {
      std::fill(package_.begin(), package_.end(), 0);
    }
    // An empty frame stays open: bytes after its CR are still collected into it.
    if (write_index_ >= 1 && receive_state_ == ReceiveState::kInFrame) {
      std::copy_n(receive_buffer_.begin(), package_len_, package_.begin());
      receive_state_ = ReceiveState::kDone;
      timeout_.SetTimeout(gnet_timeout_);
      if (OnPackage) OnPackage(package_len_, package_);
    }
  } else if (receive_state_ == ReceiveState::kInFrame) {
    // Bytes past the buffer are dropped and the index stays at its end: an overlong frame is cut.
    if (write_index_ < kReceiveBufferSize) receive_buffer_[static_cast<size_t>(write_index_++)] = byte;
  }
  if (!is_send_gnet_cmd_ && OnChar) {
    uint8_t data = byte;
    OnChar(data);
  }
}

void ucGNet::TimerReceive_Timer() {
  timer_receive_.SetEnabled(false);
  if (receiving_) return;
  receiving_ = true;
  const Bytes data = port_.CommInput();
  for (uint8_t byte : data) HandleReceivedByte(byte);
  receiving_ = false;
  if (port_.InBufferCount() > 0) timer_receive_.SetEnabled(true);
  // Every chunk gives the exchange a fresh period: 250 ms inside a frame, the full time-out after one.
  timeout_.Reset();
}

void ucGNet::m_oMSComm_OnComm() {
  switch (port_.CommEvent()) {
    case platform::kCommEvReceive:
      timeout_.Reset();
      timer_receive_.SetEnabled(true);
      break;
    case platform::kCommEventFrame:
      frame_error_seen_ = true;
      // During a transaction the flag ends the wait early instead.
      if (!is_send_gnet_cmd_ && OnFrameError) OnFrameError();
      break;
    case platform::kCommEventDeviceLost:
      dump_cache_valid_ = false;
      if (OnPortLost) OnPortLost();
      break;
    default:
      break;
  }
}
