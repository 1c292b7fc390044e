#include "comm/clsGHIDComm.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "comm/comm_settings.h"
#include "comm/comm_trace.h"
#include "comm/comm_value.h"
#include "platform/clock.h"
#include "platform/hid_ports.h"
#include "platform/text.h"

namespace {

constexpr const char* kLineFormat = ",N,8,1";

// n of "HID"n (any case), when n is a whole number from 1 to 256.
std::optional<int> HidNumber(const std::string& name) {
  const std::string upper = platform::text::Upper(platform::text::Trim(name));
  if (!platform::text::StartsWithNoCase(upper, clsGHIDComm::kPortPrefix)) return std::nullopt;
  const std::string digits = upper.substr(3);
  if (digits.empty() || digits.size() > 3 || !platform::text::AllDigits(digits)) return std::nullopt;
  const int number = std::stoi(digits);
  if (number < 1 || number > platform::kHighestHidNumber) return std::nullopt;
  return number;
}

// The bridge's marks in a Windows device path, in this order.
bool IsBridgeDevicePath(const std::string& path) {
  const std::string upper = platform::text::Upper(path);
  size_t at = 0;
  for (const char* mark : {"\\HID", "VID", "2A7C", "PID", "0005"}) {
    at = upper.find(mark, at);
    if (at == std::string::npos) return false;
    at += std::string(mark).size();
  }
  return true;
}

std::optional<platform::HidPortInfo> BridgeAtPath(const std::string& path) {
  for (const platform::HidPortInfo& port : platform::ListHidPorts()) {
    if (port.device == path) return port;
  }
  return std::nullopt;
}

}  // namespace

// The state of the one control command that waits for its reply.
struct clsGHIDComm::ControlWait {
  uint8_t command = 0;
  bool replied = false;
  bool lost = false;
  uint8_t status = 0;
  hid_reports::Bytes data;
};

clsGHIDComm::clsGHIDComm(std::unique_ptr<platform::HidDevice> device, platform::EventLoop* loop)
    : device_(device ? std::move(device) : platform::CreateHidDevice(loop)), loop_(loop) {
  device_->OnReport = [this](const std::vector<uint8_t>& report) { OnReport(report); };
  device_->OnLost = [this] { OnLost(); };
}

clsGHIDComm::~clsGHIDComm() {
  device_->OnReport = nullptr;
  device_->OnLost = nullptr;
  device_->Close();
}

bool clsGHIDComm::IsMyCommPort(const std::string& name) {
  if (HidNumber(name)) return true;
  if (IsBridgeDevicePath(name)) return true;
  return !name.empty() && name[0] == '/' && BridgeAtPath(name).has_value();
}

// ---- Attach protocol ----------------------------------------------------------------------------------

void clsGHIDComm::AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) {
  const std::string command = platform::text::Upper(key);
  if (command == attach_protocol::kOrderIndex) {
    AnswerIndex(this, value, result);
  } else if (command == attach_protocol::kOrderCommPort) {
    const std::string* text = std::get_if<std::string>(&value);
    if (text != nullptr && IsMyCommPort(*text)) result.object = this;
  } else if (command == attach_protocol::kReattach) {
    AnswerReattach(this, kTag, owner_, value, result);
  }
}

void clsGHIDComm::AttachCommObject(clsMSComm* owner, platform::SerialControl*) {
  owner_ = owner;
}

// ---- Port -------------------------------------------------------------------------------------------

int32_t clsGHIDComm::CommID() const {
  return device_->IsOpen() ? device_->Descriptor() : 0;
}

std::string clsGHIDComm::CommPort() const {
  if (number_ > 0) return kPortPrefix + std::to_string(number_);
  return chosen_path_;
}

void clsGHIDComm::SetCommPort(const std::string& name) {
  // The name is read once: a number, a bridge of the list by its path, or a Windows-style bridge path.
  const std::optional<int> number = HidNumber(name);
  const std::optional<platform::HidPortInfo> listed =
      number || name.empty() || name[0] != '/' ? std::nullopt : BridgeAtPath(name);
  if (!number && !listed && !IsBridgeDevicePath(name)) return;
  if (PortOpen()) SetPortOpen(false);
  number_ = number ? *number : listed ? listed->number : 0;
  chosen_path_ = number_ == 0 ? name : std::string();
}

std::optional<platform::HidPortInfo> clsGHIDComm::ChosenBridge() const {
  if (number_ > 0) return platform::FindHidPort(number_);
  if (chosen_path_.empty()) return std::nullopt;
  platform::HidPortInfo path_only;
  path_only.device = chosen_path_;
  return path_only;
}

bool clsGHIDComm::PortOpen() const {
  return device_->IsOpen();
}

void clsGHIDComm::SetPortOpen(bool open) {
  if (!open) {
    device_->Close();
    last_open_ = platform::PortResult{};
    return;
  }
  if (device_->IsOpen()) return;
  // One look at the bridge list gives both the device and its name for the label.
  const std::optional<platform::HidPortInfo> bridge = ChosenBridge();
  if (!bridge) {
    last_open_ = {false, platform::PortFailure::kNotPresent,
                  CommPort() + " - no such HID bridge is plugged in"};
  } else {
    last_open_ = device_->Open(bridge->device);
  }
  if (!last_open_.ok) {
    Report("PortOpen - " + last_open_.message);
    return;
  }
  product_ = bridge->product;
  input_.clear();
  comm_event_ = 0;
  // The bridge keeps the rate its last user left; the engine's rate is what counts now.
  if (SendRate(rate_)) WarnOfKeyboardMode();
}

std::string clsGHIDComm::DeviceName() const {
  if (device_->IsOpen() || number_ == 0) return product_;
  const auto port = platform::FindHidPort(number_);
  return port ? port->product : std::string();
}

// ---- Line settings ------------------------------------------------------------------------------------

std::string clsGHIDComm::Settings() const {
  return std::to_string(rate_) + kLineFormat;
}

void clsGHIDComm::SetSettings(const std::string& settings) {
  const std::string first = platform::text::Trim(settings.substr(0, settings.find(',')));
  const std::optional<double> rate = comm::NumericValue(first);
  if (!rate || *rate < 1 || *rate != std::floor(*rate) || *rate > INT32_MAX) return;
  const auto wanted = static_cast<int32_t>(*rate);
  if (wanted == rate_) return;
  if (!PortOpen()) {
    rate_ = wanted;
    return;
  }
  if (SendRate(wanted)) rate_ = wanted;
}

bool clsGHIDComm::SendRate(int32_t rate) {
  for (int attempt = 1; attempt <= kRateTries && PortOpen(); ++attempt) {
    const Outcome outcome =
        Control(hid_reports::SetHIDBaudrate, hid_reports::RateBytes(static_cast<uint32_t>(rate)), nullptr);
    // A refusal is the bridge's final word on this rate; only silence is worth another try.
    if (outcome != Outcome::kNoReply) return outcome == Outcome::kDone;
    if (attempt < kRateTries) platform::SleepMs(kRateRetryMs);
  }
  return false;
}

void clsGHIDComm::WarnOfKeyboardMode() {
  hid_reports::Bytes mode;
  if (Control(hid_reports::GetQBR710IODirect, {}, &mode) != Outcome::kDone) return;
  // The bridge is left as its owner set it up; the person is told why no reader will answer.
  if (!mode.empty() && mode[0] == 1) {
    Report(CommPort() +
           " - the bridge types the reader's data as keystrokes (mode 1); switch it to mode 0 "
           "to configure the reader");
  }
}

// ---- Control commands ----------------------------------------------------------------------------------

bool clsGHIDComm::ControlCommand(uint8_t command, const hid_reports::Bytes& data, hid_reports::Bytes* reply) {
  return Control(command, data, reply) == Outcome::kDone;
}

clsGHIDComm::Outcome clsGHIDComm::Control(uint8_t command, const hid_reports::Bytes& data,
                                          hid_reports::Bytes* reply) {
  const std::string name = hid_reports::CommandName(command);
  if (!PortOpen()) return Outcome::kLost;
  if (waiting_ != nullptr) {
    // One request at a time: the bridge could not tell two replies apart.
    Report(name + " - the bridge is still busy with " + hid_reports::CommandName(waiting_->command));
    return Outcome::kNoReply;
  }
  ControlWait wait;
  wait.command = command;
  if (!device_->WriteReport(hid_reports::ControlRequest(command, data))) {
    Report(name + " - the request could not be sent to " + CommPort());
    return Outcome::kNoReply;
  }
  waiting_ = &wait;
  platform::EventLoop& loop = loop_ ? *loop_ : platform::CurrentEventLoop();
  const int64_t deadline = platform::MonotonicMs() + kControlTimeoutMs;
  for (int64_t now = platform::MonotonicMs(); !wait.replied && !wait.lost && now < deadline;
       now = platform::MonotonicMs()) {
    loop.WaitForEvents(static_cast<int>(deadline - now));
  }
  waiting_ = nullptr;
  if (wait.lost) return Outcome::kLost;
  if (!wait.replied) {
    Report(name + " - no reply from the bridge within " + std::to_string(kControlTimeoutMs) + " ms");
    return Outcome::kNoReply;
  }
  if (wait.status != hid_reports::kDone) {
    Report(name + (wait.status == hid_reports::kUnknownCommand ? " - the bridge does not know this command"
                                                               : " - the bridge refused the data"));
    return Outcome::kRefused;
  }
  if (reply != nullptr) *reply = std::move(wait.data);
  return Outcome::kDone;
}

// ---- Data -----------------------------------------------------------------------------------------------

void clsGHIDComm::OnReport(const hid_reports::Bytes& report) {
  hid_reports::InputReport parsed = hid_reports::ParseInputReport(report.data(), report.size());
  switch (parsed.kind) {
    case hid_reports::InputReport::Kind::kMalformed:
      ++dropped_reports_;
      comm::Trace("HID report dropped - " + std::to_string(report.size()) + " bytes, ID " +
                  (report.empty() ? std::string("none") : std::to_string(report[0])));
      return;
    case hid_reports::InputReport::Kind::kReply:
      if (waiting_ == nullptr || waiting_->command != parsed.command) {
        // A reply that came after its command gave up, or to nobody's request.
        ++dropped_reports_;
        return;
      }
      waiting_->replied = true;
      waiting_->status = parsed.status;
      waiting_->data = std::move(parsed.data);
      return;
    case hid_reports::InputReport::Kind::kData:
      break;
  }
  for (uint8_t byte : parsed.data) {
    if (null_discard_ && byte == 0) continue;
    if (static_cast<int32_t>(input_.size()) >= in_buffer_size_) {
      Notify(platform::kCommEventRxOver);
      return;
    }
    input_.push_back(byte);
  }
  if (r_threshold_ > 0 && static_cast<int32_t>(input_.size()) >= r_threshold_)
    Notify(platform::kCommEvReceive);
}

void clsGHIDComm::OnLost() {
  if (waiting_ != nullptr) waiting_->lost = true;
  Notify(platform::kCommEventDeviceLost);
}

// Reports that wait on the device are taken now, not when the loop next dispatches: the raw dump polls
// the count between dispatches, and would otherwise see a reply long after it came.
void clsGHIDComm::PullReports() {
  if (pulling_ || !PortOpen()) return;
  pulling_ = true;
  device_->ReadWaiting();
  pulling_ = false;
  const int32_t event = std::exchange(pulled_event_, 0);
  if (event == 0) return;
  // The event for these bytes comes from the loop, not from inside the caller's property read.
  platform::EventLoop& loop = loop_ ? *loop_ : platform::CurrentEventLoop();
  loop.Post([this, alive = std::weak_ptr<bool>(alive_), event] {
    if (!alive.expired() && PortOpen()) Notify(event);
  });
}

void clsGHIDComm::Notify(int32_t event) {
  if (pulling_) {
    pulled_event_ = event;
    return;
  }
  comm_event_ = event;
  if (owner_ != nullptr) owner_->RaiseOnComm();
}

void clsGHIDComm::Report(const std::string& text) {
  if (owner_ != nullptr) owner_->RaiseOnEvent(text);
}

int32_t clsGHIDComm::InBufferCount() const {
  const_cast<clsGHIDComm*>(this)->PullReports();
  return static_cast<int32_t>(input_.size());
}

void clsGHIDComm::SetInBufferCount(int32_t count) {
  if (count != 0) return;
  input_.clear();
  if (!PortOpen()) return;
  // Bytes the bridge sent before its reply are in by the time the reply comes: drop them too.
  if (ControlCommand(hid_reports::QBR710DiscardBuffer, {})) input_.clear();
}

Bytes clsGHIDComm::CommInput() {
  PullReports();
  const size_t n = input_len_ > 0 ? std::min(input_.size(), static_cast<size_t>(input_len_)) : input_.size();
  Bytes taken(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(n));
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(n));
  return taken;
}

void clsGHIDComm::CommOutput(const Bytes& data) {
  if (!PortOpen()) return;
  for (const hid_reports::Bytes& report : hid_reports::DataReports(data)) {
    if (!device_->WriteReport(report)) {
      comm::Trace("CommOutput - " + CommPort() + " did not take a data report");
      return;
    }
  }
}

// ---- Port list ------------------------------------------------------------------------------------------

int32_t clsGHIDComm::GetCommPortCount() {
  names_.clear();
  for (const platform::HidPortInfo& port : platform::ListHidPorts()) names_.push_back(port.name);
  enumerated_ = true;
  return static_cast<int32_t>(names_.size());
}

std::string clsGHIDComm::EnumCommPort(int32_t index) {
  if (!enumerated_) GetCommPortCount();
  if (index >= 0 && index < static_cast<int32_t>(names_.size())) return names_[static_cast<size_t>(index)];
  return std::string();
}
