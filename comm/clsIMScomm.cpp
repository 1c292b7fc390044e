#include "comm/clsIMScomm.h"

#include <cmath>
#include <string_view>

#include "comm/comm_settings.h"
#include "comm/comm_trace.h"
#include "comm/comm_value.h"
#include "comm/port_names.h"
#include "platform/clock.h"
#include "platform/comm_state.h"
#include "platform/serial_registry.h"
#include "platform/system_error.h"
#include "platform/text.h"

namespace {

// This object's own members carry the interface's name in front of the member's.
constexpr std::string_view kMemberPrefix = "clsMSComm_";
constexpr std::string_view kSerialPrefix = "COM";
constexpr int kHighestPortNumber = 256;
// A device that stored something other than what was written usually takes it on a second try once
// its driver has settled.
constexpr int kSettingsRetryDelayMs = 50;
// What the comm trace's lines about the device's settings start with.
constexpr const char* kGetTrace = "GetCOMMSettings - ";
constexpr const char* kSetTrace = "SetCOMMSettings - ";

// A number passed in the attach protocol: a numeric value or a text that is one number.
std::optional<double> NumericArgument(const CommValue& value) {
  if (std::holds_alternative<std::monostate>(value) || std::holds_alternative<bool>(value) ||
      std::holds_alternative<Bytes>(value)) {
    return std::nullopt;
  }
  return comm::NumberOf(value);
}

}  // namespace

clsIMScomm::~clsIMScomm() {
  ReleaseControl();
}

// ---- Attach protocol ----------------------------------------------------------------------------------

void clsIMScomm::AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) {
  const std::string command = platform::text::Upper(key);
  if (command == attach_protocol::kOrderIndex) {
    AnswerIndex(this, value, result);
  } else if (command == attach_protocol::kOrderCommPort) {
    std::optional<double> number = NumericArgument(value);
    const std::string* text = std::get_if<std::string>(&value);
    // Any case here: the container asks whether the number fits, not who owns the name.
    if (!number && text != nullptr) number = comm::SerialPortNumber(platform::text::Upper(*text));
    if (number && *number == std::floor(*number) && *number >= 1 && *number <= kHighestPortNumber) {
      result.object = this;
    }
  } else if (command == attach_protocol::kReattach) {
    AnswerReattach(this, kTag, owner_, value, result);
  }
}

void clsIMScomm::AttachCommObject(clsMSComm* owner, platform::SerialControl* control) {
  if (control != m_oMSComm) {
    ReleaseControl();
    m_oMSComm = control;
    if (m_oMSComm != nullptr) m_oMSComm->OnComm = [this] { HandleControlOnComm(); };
  }
  owner_ = owner;
  if (m_oMSComm != nullptr) cached_settings_ = m_oMSComm->Settings();
}

void clsIMScomm::ReleaseControl() {
  if (m_oMSComm != nullptr) m_oMSComm->OnComm = nullptr;
  m_oMSComm = nullptr;
}

void clsIMScomm::HandleControlOnComm() {
  if (owner_ != nullptr) owner_->RaiseOnComm();
  if (m_oMSComm == nullptr || !m_oMSComm->PortOpen()) return;
  if (m_oMSComm->CommEvent() != platform::kCommEventFrame) return;
  // A framing error usually means the line rate or format drifted (the reader was switched to another
  // rate): restart the port with the settings last chosen, so the next exchange starts clean.
  m_oMSComm->SetPortOpen(false);
  m_oMSComm->SetSettings(cached_settings_);
  SetPortOpen(true);
}

// ---- Members with logic of their own ---------------------------------------------------------------------

std::string clsIMScomm::CommPort() const {
  if (m_oMSComm == nullptr) return std::string();
  return std::string(kSerialPrefix) + std::to_string(m_oMSComm->CommPort());
}

void clsIMScomm::SetCommPort(const std::string& name) {
  if (m_oMSComm == nullptr) return;
  if (const auto number = comm::NumericValue(name)) {
    if (const auto port = comm::RoundToInt16(*number)) m_oMSComm->SetCommPort(*port);
    return;
  }
  // Lower-case "com3" is not a port name of this object: another port object may own such names.
  const std::optional<double> number = comm::SerialPortNumber(name);
  if (!number) return;
  if (PortOpen()) SetPortOpen(false);
  if (const auto port = comm::RoundToInt16(*number)) m_oMSComm->SetCommPort(*port);
}

void clsIMScomm::SetPortOpen(bool open) {
  if (m_oMSComm == nullptr) return;
  last_open_ = m_oMSComm->SetPortOpen(open);
  if (last_open_.ok) return;
  if (!last_open_.message.empty() && owner_ != nullptr)
    owner_->RaiseOnEvent("PortOpen - " + last_open_.message);
}

std::string clsIMScomm::Settings() const {
  if (m_oMSComm == nullptr) return std::string();
  return m_oMSComm->PortOpen() ? GetCOMMSettings(m_oMSComm->CommID()) : m_oMSComm->Settings();
}

void clsIMScomm::SetSettings(const std::string& settings) {
  if (m_oMSComm == nullptr) return;
  const bool open = m_oMSComm->PortOpen();
  const std::string current = open ? GetCOMMSettings(m_oMSComm->CommID()) : m_oMSComm->Settings();
  const auto merged = comm::MergeSettingsText(current, settings);
  if (!merged) return;
  cached_settings_ = *merged;
  if (!open) {
    m_oMSComm->SetSettings(*merged);
    return;
  }
  const int32_t handle = m_oMSComm->CommID();
  SetCOMMSettings(handle, *merged);
  if (GetCOMMSettings(handle) != *merged) {
    platform::SleepMs(kSettingsRetryDelayMs);
    SetCOMMSettings(handle, *merged);
  }
}

std::string clsIMScomm::GetCOMMSettings(int32_t handle) const {
  if (m_oMSComm == nullptr) return std::string();
  platform::CommState state;
  if (const int error = m_oMSComm->GetCommState(handle, state); error != 0) {
    comm::Trace(kGetTrace + platform::GetSystemErrorText(error));
    return std::string();
  }
  std::vector<std::string> errors;
  std::string text = comm::FormatSettingsText(state, errors);
  for (const std::string& error : errors) comm::Trace(kGetTrace + error);
  return text;
}

bool clsIMScomm::SetCOMMSettings(int32_t handle, const std::string& settings) {
  if (m_oMSComm == nullptr) return false;
  platform::CommState state;
  if (const int error = m_oMSComm->GetCommState(handle, state); error != 0) {
    comm::Trace(kSetTrace + platform::GetSystemErrorText(error));
    return false;
  }
  if (const std::string failed = comm::ParseSettingsText(settings, state); !failed.empty()) {
    comm::Trace(kSetTrace + failed);
    return false;
  }
  if (const int error = m_oMSComm->SetCommState(handle, state); error != 0) {
    comm::Trace(kSetTrace + platform::GetSystemErrorText(error));
    return false;
  }
  return true;
}

void clsIMScomm::Enumerate() {
  port_count_ = 0;
  port_list_ = comm::SerialPortNames(platform::ListSerialPorts());
  port_count_ = static_cast<int32_t>(port_list_.size());
  // Once ports were found the list is not rebuilt behind the caller's back: EnumCommPort keeps answering
  // from it until GetCommPortCount is called again.
  if (port_count_ > 0) enumerated_ = true;
}

int32_t clsIMScomm::GetCommPortCount() {
  Enumerate();
  return port_count_;
}

std::string clsIMScomm::EnumCommPort(int32_t index) {
  if (!enumerated_) Enumerate();
  if (index >= 0 && index < port_count_) return port_list_[static_cast<size_t>(index)];
  return std::string();
}

CommValue clsIMScomm::Properties(const std::string& name) {
  bool found = false;
  CommValue value = GetPrefixedMember(std::string(kMemberPrefix) + name, found);
  if (!found) value = GetPrefixedMember(name, found);
  return found ? value : CommValue();
}

bool clsIMScomm::SetProperties(const std::string& name, const CommValue& value) {
  return SetPrefixedMember(std::string(kMemberPrefix) + name, value) || SetPrefixedMember(name, value);
}

CommValue clsIMScomm::GetPrefixedMember(const std::string& name, bool& found) {
  found = false;
  if (!platform::text::StartsWithNoCase(name, kMemberPrefix)) return CommValue();
  return GetOwnProperty(name.substr(kMemberPrefix.size()), found);
}

bool clsIMScomm::SetPrefixedMember(const std::string& name, const CommValue& value) {
  if (!platform::text::StartsWithNoCase(name, kMemberPrefix)) return false;
  return SetOwnProperty(name.substr(kMemberPrefix.size()), value);
}

// ---- Members that go straight to the control -----------------------------------------------------------

bool clsIMScomm::Break() const {
  return m_oMSComm != nullptr && m_oMSComm->Break();
}
void clsIMScomm::SetBreak(bool on) {
  if (m_oMSComm != nullptr) m_oMSComm->SetBreak(on);
}
bool clsIMScomm::CDHolding() const {
  return m_oMSComm != nullptr && m_oMSComm->CDHolding();
}
int32_t clsIMScomm::CommID() const {
  return m_oMSComm != nullptr ? m_oMSComm->CommID() : 0;
}
bool clsIMScomm::CTSHolding() const {
  return m_oMSComm != nullptr && m_oMSComm->CTSHolding();
}
bool clsIMScomm::DSRHolding() const {
  return m_oMSComm != nullptr && m_oMSComm->DSRHolding();
}
bool clsIMScomm::DTREnable() const {
  return m_oMSComm != nullptr && m_oMSComm->DTREnable();
}
void clsIMScomm::SetDTREnable(bool enable) {
  if (m_oMSComm != nullptr) m_oMSComm->SetDTREnable(enable);
}
bool clsIMScomm::EOFEnable() const {
  return m_oMSComm != nullptr && m_oMSComm->EOFEnable();
}
void clsIMScomm::SetEOFEnable(bool enable) {
  if (m_oMSComm != nullptr) m_oMSComm->SetEOFEnable(enable);
}
int32_t clsIMScomm::HandShaking() const {
  return m_oMSComm != nullptr ? m_oMSComm->HandShaking() : 0;
}
void clsIMScomm::SetHandShaking(int32_t protocol) {
  if (m_oMSComm != nullptr) m_oMSComm->SetHandShaking(protocol);
}
int32_t clsIMScomm::InBufferCount() const {
  return m_oMSComm != nullptr ? m_oMSComm->InBufferCount() : 0;
}
void clsIMScomm::SetInBufferCount(int32_t count) {
  if (m_oMSComm != nullptr) m_oMSComm->SetInBufferCount(count);
}
int32_t clsIMScomm::InBufferSize() const {
  return m_oMSComm != nullptr ? m_oMSComm->InBufferSize() : 0;
}
void clsIMScomm::SetInBufferSize(int32_t size) {
  if (m_oMSComm != nullptr) m_oMSComm->SetInBufferSize(size);
}
Bytes clsIMScomm::CommInput() {
  return m_oMSComm != nullptr ? m_oMSComm->CommInput() : Bytes();
}
int32_t clsIMScomm::InputLen() const {
  return m_oMSComm != nullptr ? m_oMSComm->InputLen() : 0;
}
void clsIMScomm::SetInputLen(int32_t len) {
  if (m_oMSComm != nullptr) m_oMSComm->SetInputLen(len);
}
int32_t clsIMScomm::InputMode() const {
  return m_oMSComm != nullptr ? m_oMSComm->InputMode() : 0;
}
void clsIMScomm::SetInputMode(int32_t mode) {
  if (m_oMSComm != nullptr) m_oMSComm->SetInputMode(mode);
}
bool clsIMScomm::NullDiscard() const {
  return m_oMSComm != nullptr && m_oMSComm->NullDiscard();
}
void clsIMScomm::SetNullDiscard(bool discard) {
  if (m_oMSComm != nullptr) m_oMSComm->SetNullDiscard(discard);
}
int32_t clsIMScomm::OutBufferCount() const {
  return m_oMSComm != nullptr ? m_oMSComm->OutBufferCount() : 0;
}
void clsIMScomm::SetOutBufferCount(int32_t count) {
  if (m_oMSComm != nullptr) m_oMSComm->SetOutBufferCount(count);
}
int32_t clsIMScomm::OutBufferSize() const {
  return m_oMSComm != nullptr ? m_oMSComm->OutBufferSize() : 0;
}
void clsIMScomm::SetOutBufferSize(int32_t size) {
  if (m_oMSComm != nullptr) m_oMSComm->SetOutBufferSize(size);
}
void clsIMScomm::CommOutput(const Bytes& data) {
  if (m_oMSComm != nullptr) m_oMSComm->CommOutput(data);
}
std::string clsIMScomm::ParityReplace() const {
  return m_oMSComm != nullptr ? m_oMSComm->ParityReplace() : std::string();
}
void clsIMScomm::SetParityReplace(const std::string& replacement) {
  if (m_oMSComm != nullptr) m_oMSComm->SetParityReplace(replacement);
}
bool clsIMScomm::PortOpen() const {
  return m_oMSComm != nullptr && m_oMSComm->PortOpen();
}
int32_t clsIMScomm::RThreshold() const {
  return m_oMSComm != nullptr ? m_oMSComm->RThreshold() : 0;
}
void clsIMScomm::SetRThreshold(int32_t bytes) {
  if (m_oMSComm != nullptr) m_oMSComm->SetRThreshold(bytes);
}
bool clsIMScomm::RTSEnable() const {
  return m_oMSComm != nullptr && m_oMSComm->RTSEnable();
}
void clsIMScomm::SetRTSEnable(bool enable) {
  if (m_oMSComm != nullptr) m_oMSComm->SetRTSEnable(enable);
}
int32_t clsIMScomm::SThreshold() const {
  return m_oMSComm != nullptr ? m_oMSComm->SThreshold() : 0;
}
void clsIMScomm::SetSThreshold(int32_t bytes) {
  if (m_oMSComm != nullptr) m_oMSComm->SetSThreshold(bytes);
}
int32_t clsIMScomm::CommEvent() const {
  return m_oMSComm != nullptr ? m_oMSComm->CommEvent() : 0;
}
