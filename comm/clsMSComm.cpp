#include "comm/clsMSComm.h"

#include <string_view>
#include <type_traits>

#include "comm/comm_value.h"
#include "platform/text.h"

namespace {

// ---- The member table behind Properties -------------------------------------------------------------

template <typename T>
std::optional<T> Coerce(const CommValue& value);
template <>
std::optional<bool> Coerce<bool>(const CommValue& value) {
  return comm::AsBool(value);
}
template <>
std::optional<int32_t> Coerce<int32_t>(const CommValue& value) {
  return comm::AsInt32(value);
}
template <>
std::optional<std::string> Coerce<std::string>(const CommValue& value) {
  return comm::AsText(value);
}
template <>
std::optional<Bytes> Coerce<Bytes>(const CommValue& value) {
  return comm::AsBytes(value);
}

template <typename Setter>
struct SetterArgument;
template <typename T>
struct SetterArgument<void (clsMSComm::*)(T)> {
  using type = std::remove_cvref_t<T>;
};

// Calls through member pointers stay virtual, so a port implementation answers with its own members.
template <auto Getter>
CommValue Get(clsMSComm& port) {
  return CommValue((port.*Getter)());
}

template <auto Setter>
bool Set(clsMSComm& port, const CommValue& value) {
  const auto converted = Coerce<typename SetterArgument<decltype(Setter)>::type>(value);
  if (!converted) return false;
  (port.*Setter)(*converted);
  return true;
}

struct Member {
  std::string_view name;
  CommValue (*get)(clsMSComm&);               // nullptr: the member cannot be read
  bool (*set)(clsMSComm&, const CommValue&);  // nullptr: the member cannot be written
};

constexpr auto kCommOutputBytes = static_cast<void (clsMSComm::*)(const Bytes&)>(&clsMSComm::CommOutput);

using P = clsMSComm;
const Member kMembers[] = {
    {"Break", Get<&P::Break>, Set<&P::SetBreak>},
    {"CDHolding", Get<&P::CDHolding>, nullptr},
    {"CommID", Get<&P::CommID>, nullptr},
    {"CommPort", Get<&P::CommPort>, Set<&P::SetCommPort>},
    {"CTSHolding", Get<&P::CTSHolding>, nullptr},
    {"DSRHolding", Get<&P::DSRHolding>, nullptr},
    {"DTREnable", Get<&P::DTREnable>, Set<&P::SetDTREnable>},
    {"EOFEnable", Get<&P::EOFEnable>, Set<&P::SetEOFEnable>},
    {"HandShaking", Get<&P::HandShaking>, Set<&P::SetHandShaking>},
    {"InBufferCount", Get<&P::InBufferCount>, Set<&P::SetInBufferCount>},
    {"InBufferSize", Get<&P::InBufferSize>, Set<&P::SetInBufferSize>},
    {"CommInput", Get<&P::CommInput>, nullptr},
    {"InputLen", Get<&P::InputLen>, Set<&P::SetInputLen>},
    {"InputMode", Get<&P::InputMode>, Set<&P::SetInputMode>},
    {"NullDiscard", Get<&P::NullDiscard>, Set<&P::SetNullDiscard>},
    {"OutBufferCount", Get<&P::OutBufferCount>, Set<&P::SetOutBufferCount>},
    {"OutBufferSize", Get<&P::OutBufferSize>, Set<&P::SetOutBufferSize>},
    {"CommOutput", nullptr, Set<kCommOutputBytes>},
    {"ParityReplace", Get<&P::ParityReplace>, Set<&P::SetParityReplace>},
    {"PortOpen", Get<&P::PortOpen>, Set<&P::SetPortOpen>},
    {"RThreshold", Get<&P::RThreshold>, Set<&P::SetRThreshold>},
    {"RTSEnable", Get<&P::RTSEnable>, Set<&P::SetRTSEnable>},
    {"Settings", Get<&P::Settings>, Set<&P::SetSettings>},
    {"SThreshold", Get<&P::SThreshold>, Set<&P::SetSThreshold>},
    {"CommEvent", Get<&P::CommEvent>, nullptr},
};

const Member* FindMember(std::string_view name) {
  for (const Member& member : kMembers) {
    if (platform::text::EqualNoCase(member.name, name)) return &member;
  }
  return nullptr;
}

// A container that keeps answering would otherwise keep the port list growing for ever.
constexpr int32_t kMaxPortObjects = 256;
constexpr int32_t kMaxNamesPerObject = 1024;

}  // namespace

// ---- Attach protocol ----------------------------------------------------------------------------------

void clsMSComm::AttachOrder(const std::string& name, bool attach) {
  if (name.empty() || !Request) return;
  CommValue param1 = name + (attach ? "+" : "-");
  clsMSComm* param2 = nullptr;
  Request(attach_protocol::kReattach, param1, param2);
}

void clsMSComm::AttachOrder(const std::string&, CommValue&, AttachAnswer&) {}

void clsMSComm::AttachCommObject(clsMSComm*, platform::SerialControl*) {}

// ---- Plain forwarders ------------------------------------------------------------------------------------

bool clsMSComm::Break() const {
  return attached_ && attached_->Break();
}
void clsMSComm::SetBreak(bool on) {
  if (attached_) attached_->SetBreak(on);
}
bool clsMSComm::CDHolding() const {
  return attached_ && attached_->CDHolding();
}
int32_t clsMSComm::CommID() const {
  return attached_ ? attached_->CommID() : 0;
}
std::string clsMSComm::CommPort() const {
  return attached_ ? attached_->CommPort() : std::string();
}
bool clsMSComm::CTSHolding() const {
  return attached_ && attached_->CTSHolding();
}
bool clsMSComm::DSRHolding() const {
  return attached_ && attached_->DSRHolding();
}
bool clsMSComm::DTREnable() const {
  return attached_ && attached_->DTREnable();
}
void clsMSComm::SetDTREnable(bool enable) {
  if (attached_) attached_->SetDTREnable(enable);
}
bool clsMSComm::EOFEnable() const {
  return attached_ && attached_->EOFEnable();
}
void clsMSComm::SetEOFEnable(bool enable) {
  if (attached_) attached_->SetEOFEnable(enable);
}
int32_t clsMSComm::HandShaking() const {
  return attached_ ? attached_->HandShaking() : 0;
}
void clsMSComm::SetHandShaking(int32_t protocol) {
  if (attached_) attached_->SetHandShaking(protocol);
}
int32_t clsMSComm::InBufferCount() const {
  return attached_ ? attached_->InBufferCount() : 0;
}
void clsMSComm::SetInBufferCount(int32_t count) {
  if (attached_) attached_->SetInBufferCount(count);
}
int32_t clsMSComm::InBufferSize() const {
  return attached_ ? attached_->InBufferSize() : 0;
}
void clsMSComm::SetInBufferSize(int32_t size) {
  if (attached_) attached_->SetInBufferSize(size);
}
Bytes clsMSComm::CommInput() {
  return attached_ ? attached_->CommInput() : Bytes();
}
int32_t clsMSComm::InputLen() const {
  return attached_ ? attached_->InputLen() : 0;
}
void clsMSComm::SetInputLen(int32_t len) {
  if (attached_) attached_->SetInputLen(len);
}
int32_t clsMSComm::InputMode() const {
  return attached_ ? attached_->InputMode() : 0;
}
void clsMSComm::SetInputMode(int32_t mode) {
  if (attached_) attached_->SetInputMode(mode);
}
bool clsMSComm::NullDiscard() const {
  return attached_ && attached_->NullDiscard();
}
void clsMSComm::SetNullDiscard(bool discard) {
  if (attached_) attached_->SetNullDiscard(discard);
}
int32_t clsMSComm::OutBufferCount() const {
  return attached_ ? attached_->OutBufferCount() : 0;
}
void clsMSComm::SetOutBufferCount(int32_t count) {
  if (attached_) attached_->SetOutBufferCount(count);
}
int32_t clsMSComm::OutBufferSize() const {
  return attached_ ? attached_->OutBufferSize() : 0;
}
void clsMSComm::SetOutBufferSize(int32_t size) {
  if (attached_) attached_->SetOutBufferSize(size);
}
void clsMSComm::CommOutput(const Bytes& data) {
  if (attached_) attached_->CommOutput(data);
}
std::string clsMSComm::ParityReplace() const {
  return attached_ ? attached_->ParityReplace() : std::string();
}
void clsMSComm::SetParityReplace(const std::string& replacement) {
  if (attached_) attached_->SetParityReplace(replacement);
}
bool clsMSComm::PortOpen() const {
  return attached_ && attached_->PortOpen();
}
void clsMSComm::SetPortOpen(bool open) {
  if (attached_) attached_->SetPortOpen(open);
}
int32_t clsMSComm::RThreshold() const {
  return attached_ ? attached_->RThreshold() : 0;
}
void clsMSComm::SetRThreshold(int32_t bytes) {
  if (attached_) attached_->SetRThreshold(bytes);
}
bool clsMSComm::RTSEnable() const {
  return attached_ && attached_->RTSEnable();
}
void clsMSComm::SetRTSEnable(bool enable) {
  if (attached_) attached_->SetRTSEnable(enable);
}
std::string clsMSComm::Settings() const {
  return attached_ ? attached_->Settings() : std::string();
}
void clsMSComm::SetSettings(const std::string& settings) {
  if (attached_) attached_->SetSettings(settings);
}
int32_t clsMSComm::SThreshold() const {
  return attached_ ? attached_->SThreshold() : 0;
}
void clsMSComm::SetSThreshold(int32_t bytes) {
  if (attached_) attached_->SetSThreshold(bytes);
}
int32_t clsMSComm::CommEvent() const {
  return attached_ ? attached_->CommEvent() : 0;
}

// ---- Members with logic of their own ---------------------------------------------------------------------

void clsMSComm::SetCommPort(const std::string& name) {
  // The old port is closed before another object may take over the name.
  if (PortOpen()) SetPortOpen(false);
  CommValue new_name = name;
  clsMSComm* port = nullptr;
  if (Request) Request(attach_protocol::kRequestCommPort, new_name, port);
  Attach(port);
  if (attached_) attached_->SetCommPort(comm::AsText(new_name).value_or(name));
}

int32_t clsMSComm::GetCommPortCount() {
  // Each name is preceded by a NUL, so the joined list starts with one that is dropped below.
  std::string joined;
  for (int32_t i = 1; i <= kMaxPortObjects && Request; ++i) {
    CommValue index = i;
    clsMSComm* port = nullptr;
    Request(attach_protocol::kRequestIndex, index, port);
    if (port == nullptr) break;
    // A port object lists its ports once and then answers from that list; a count must see adapters
    // plugged in or pulled out since, and names mapped in the settings file meanwhile, so each object
    // lists afresh first.
    port->GetCommPortCount();
    for (int32_t k = 0; k < kMaxNamesPerObject; ++k) {
      const std::string name = port->EnumCommPort(k);
      if (name.empty()) break;
      joined += '\0';
      joined += name;
    }
  }
  enumerated_ = true;
  const std::string rest = joined.empty() ? std::string() : joined.substr(1);
  // A pass that finds nothing empties the table: the last adapter pulled out must leave the port list,
  // not stay there for every scan to fail on.
  port_names_ = rest.empty() ? std::vector<std::string>{} : platform::text::Split(rest, '\0');
  port_count_ = static_cast<int32_t>(port_names_.size());
  return port_count_;
}

std::string clsMSComm::EnumCommPort(int32_t index) {
  if ((index == 0 || port_count_ == 0) && !enumerated_) GetCommPortCount();
  if (port_count_ >= 1 && index >= 0 && index < port_count_) return port_names_[static_cast<size_t>(index)];
  return std::string();
}

CommValue clsMSComm::Properties(const std::string& name) {
  if (attached_) return attached_->Properties(name);
  bool found = false;
  return GetOwnProperty(name, found);
}

bool clsMSComm::SetProperties(const std::string& name, const CommValue& value) {
  if (attached_) return attached_->SetProperties(name, value);
  return SetOwnProperty(name, value);
}

void clsMSComm::RaiseOnComm() {
  if (OnComm) OnComm();
}

void clsMSComm::RaiseOnEvent(const std::string& text) {
  if (OnEvent) OnEvent(text);
}

void clsMSComm::AnswerIndex(clsMSComm* self, CommValue& value, AttachAnswer& result) {
  if (std::holds_alternative<std::monostate>(value) || std::holds_alternative<bool>(value) ||
      std::holds_alternative<Bytes>(value)) {
    return;
  }
  const std::optional<double> position = comm::NumberOf(value);
  if (!position) return;
  if (std::holds_alternative<int32_t>(value)) {
    value = std::get<int32_t>(value) - 1;
  } else {
    value = *position - 1;
  }
  if (*position - 1 == 0) result.object = self;
}

void clsMSComm::AnswerReattach(clsMSComm* self, const char* tag, clsMSComm* owner, const CommValue& value,
                               AttachAnswer& result) {
  if (result.handled.find(tag) != std::string::npos) return;
  const std::string order = comm::AsText(value).value_or(std::string());
  bool reattach = false;
  if (!order.empty() && order[0] == '+') reattach = order.substr(1) != tag;
  if (!order.empty() && order[0] == '-') reattach = order.substr(1) == tag;
  if (reattach && owner != nullptr) owner->Attach(self);
  result.handled += '\0';
  result.handled += tag;
}

CommValue clsMSComm::GetOwnProperty(const std::string& name, bool& found) {
  const Member* member = FindMember(name);
  found = member != nullptr && member->get != nullptr;
  return found ? member->get(*this) : CommValue();
}

bool clsMSComm::SetOwnProperty(const std::string& name, const CommValue& value) {
  const Member* member = FindMember(name);
  return member != nullptr && member->set != nullptr && member->set(*this, value);
}
