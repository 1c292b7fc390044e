#include "registers/clsRegisters.h"

#include <algorithm>

#include "platform/event_loop.h"
#include "platform/hex_text.h"
#include "registers/clsRegister.h"
#include "registers/number_text.h"

namespace {

// The mask of a reader whose skin does not give one, sixteen addresses a row. The rows are uneven on
// purpose: they follow the register map of the reader family (0x14 owns only bits 4-7, 0x33-0x35 only
// bits 0-4). The lower-case rows 0x80-0xCF mark the key-table bytes, which a caller can leave out of a
// bulk write; the first byte of every eight is the table's header and stays unmarked.
constexpr const char* kDefaultMaskRows[16] = {
    "FFFFFFFFFFFFFFFF0000000000000000",  // 0x00
    "FFFFFFFFF00000000000000000000000",  // 0x10
    "00000000000000000000000000000000",  // 0x20
    "FFFFFF1F1F1FFFFFFFFFFF0000000000",  // 0x30
    "FFFFFFFFFFFF00000000000000000000",  // 0x40
    "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF",  // 0x50
    "FFFFFFFFFFFFFFFFFFFF000000000000",  // 0x60
    "FF00000000000000FFFF000000000000",  // 0x70
    "FFffffffffffffffFFffffffffffffff",  // 0x80
    "FFffffffffffffffFFffffffffffffff",  // 0x90
    "FFffffffffffffffFFffffffffffffff",  // 0xA0
    "FFffffffffffffffFFffffffffffffff",  // 0xB0
    "FFffffffffffffffFFffffffffffffff",  // 0xC0
    "00000000000000000000000000000000",  // 0xD0
    "00000000000000000000000000000000",  // 0xE0
    "00000000000000000000000000000000",  // 0xF0
};

void ProcessEvents() {
  platform::CurrentEventLoop().ProcessPendingEvents();
}

// Marks the set busy for one bulk operation.
class BusyScope {
 public:
  explicit BusyScope(bool& busy) : busy_(busy) { busy_ = true; }
  ~BusyScope() { busy_ = false; }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  bool& busy_;
};

// A text-box register of a multi-byte number may hold as much as its bytes can, up to the width of its
// type: INTEGER two bytes (0..65535), LONG four (0..4294967295). Unsigned, because no register of the
// readers holds a negative number. Decimal numbers are not zero-padded: a technician reads 9600 better
// than 09600.
void FitNumericBounds(clsRegister& reg) {
  if (reg.ControlType() != "TEXTBOX") return;
  int width = 0;
  if (reg.DataType() == clsRegister::kDataInteger) width = 2;
  if (reg.DataType() == clsRegister::kDataLong) width = 4;
  if (width == 0) return;
  int bytes = std::clamp(reg.RegisterCount(), 1, width);
  reg.SetMinValue(0);
  reg.SetMaxValue(static_cast<double>((uint64_t{1} << (8 * bytes)) - 1));
  reg.SetHaveToFixLen(false);
}

}  // namespace

clsRegisters::clsRegisters() {
  CreateRegisterBuffer(kRegisterSpace);
  SetValidMask(GetDefaultMask());
}

clsRegisters::~clsRegisters() = default;

// ---- buffers ----

void clsRegisters::CreateRegisterBuffer(int count) {
  auto size = static_cast<size_t>(std::max(count, 0));
  for (auto* buffer : {&buffer_, &defaults_, &mask_, &flags_, &snapshot_, &origin_}) buffer->assign(size, 0);
}

void clsRegisters::ClearRegisterBuffer() {
  CreateRegisterBuffer(0);
}

uint8_t clsRegisters::Register(int32_t address) const {
  return InRange(address) ? buffer_[static_cast<size_t>(address)] : 0;
}

void clsRegisters::SetRegister(int32_t address, uint8_t value) {
  if (!InRange(address)) return;
  buffer_[static_cast<size_t>(address)] = value;
  SetOrigin(address, 0xFF);
}

bool clsRegisters::RegisterBit(int32_t address, int bit) const {
  return bit >= 0 && bit <= 7 && (Register(address) >> bit) & 1;
}

void clsRegisters::SetRegisterBit(int32_t address, int bit, bool set) {
  if (bit < 0 || bit > 7 || !InRange(address)) return;
  auto m = static_cast<uint8_t>(1u << bit);
  uint8_t& byte = buffer_[static_cast<size_t>(address)];
  byte = set ? static_cast<uint8_t>(byte | m) : static_cast<uint8_t>(byte & ~m);
  SetOrigin(address, m);
}

uint64_t clsRegisters::RegisterLong(int32_t address, int count) const {
  uint64_t value = 0;
  // Only the last eight bytes of a longer run fit in the number.
  for (int64_t i = std::max(0, count - 8); i < count; ++i) {
    int64_t at = int64_t{address} + i;
    uint8_t byte = (at >= 0 && at < RegisterCount()) ? buffer_[static_cast<size_t>(at)] : 0;
    value = (value << 8) | byte;
  }
  return value;
}

void clsRegisters::SetRegisterLong(int32_t address, int count, uint64_t value) {
  int64_t first = std::max<int64_t>(0, -int64_t{address});
  int64_t end = std::min<int64_t>(count, int64_t{RegisterCount()} - address);
  for (int64_t i = first; i < end; ++i) {
    int64_t shift = (count - 1 - i) * 8;
    buffer_[static_cast<size_t>(address + i)] = shift >= 64 ? 0 : static_cast<uint8_t>(value >> shift);
    SetOrigin(static_cast<int32_t>(address + i), 0xFF);
  }
}

std::string clsRegisters::RegisterString(int32_t address, int count) const {
  std::string text;
  for (int64_t i = 0; i < count; ++i) {
    int64_t at = int64_t{address} + i;
    if (at < 0 || at >= RegisterCount()) break;
    uint8_t byte = buffer_[static_cast<size_t>(at)];
    if (byte == 0x00 || byte == 0xFF) break;
    text += static_cast<char>(byte);
  }
  return text;
}

void clsRegisters::SetRegisterString(int32_t address, int count, const std::string& text) {
  int64_t first = std::max<int64_t>(0, -int64_t{address});
  int64_t end = std::min<int64_t>(count, int64_t{RegisterCount()} - address);
  for (int64_t i = first; i < end; ++i) {
    auto index = static_cast<size_t>(i);
    buffer_[static_cast<size_t>(address + i)] =
        index < text.size() ? static_cast<uint8_t>(text[index]) : uint8_t{0xFF};
    SetOrigin(static_cast<int32_t>(address + i), 0xFF);
  }
}

bool clsRegisters::SetRegisters(const std::vector<uint8_t>& bytes) {
  if (bytes.size() != buffer_.size()) return false;
  buffer_ = bytes;
  std::fill(origin_.begin(), origin_.end(), 0xFF);
  return true;
}

bool clsRegisters::SetDefaultBuffer(const std::vector<uint8_t>& bytes) {
  if (bytes.size() != defaults_.size()) return false;
  defaults_ = bytes;
  return true;
}

uint8_t clsRegisters::DefaultRegister(int32_t address) const {
  return InRange(address) ? defaults_[static_cast<size_t>(address)] : 0;
}

uint8_t clsRegisters::SnapshotRegister(int32_t address) const {
  return InRange(address) ? snapshot_[static_cast<size_t>(address)] : 0;
}

// ---- mask map and flags ----

std::string clsRegisters::GetDefaultMask() {
  std::string text;
  for (const char* row : kDefaultMaskRows) text += row;
  return text;
}

std::string clsRegisters::ValidMask() const {
  std::string text;
  for (size_t i = 0; i < mask_.size(); ++i) {
    text += (mask_[i] == 0xFF && (flags_[i] & kMarkedFlag)) ? "ff" : platform::hex_text::Byte(mask_[i]);
  }
  return text;
}

void clsRegisters::SetValidMask(const std::string& text) {
  std::string digits;
  for (char c : text) {
    if (platform::hex_text::IsDigit(c)) digits += c;
  }
  for (size_t i = 0; i < mask_.size(); ++i) {
    mask_[i] = 0;
    flags_[i] &= static_cast<uint8_t>(~kMarkedFlag);
  }
  for (size_t pos = 0, address = 0; pos < digits.size() && address < mask_.size(); pos += 2, ++address) {
    std::string pair = pos + 1 < digits.size() ? digits.substr(pos, 2) : "0" + digits.substr(pos, 1);
    mask_[address] = static_cast<uint8_t>(platform::hex_text::ValueOf(pair));
    // Case matters here, on purpose: only "ff" marks an address.
    if (pair == "ff") flags_[address] |= kMarkedFlag;
  }
}

uint8_t clsRegisters::UseMask(int32_t address) const {
  return InRange(address) ? mask_[static_cast<size_t>(address)] : 0;
}

void clsRegisters::SetUseMask(int32_t address, uint8_t mask) {
  if (InRange(address)) mask_[static_cast<size_t>(address)] = mask;
}

bool clsRegisters::UseMaskBit(int32_t address, int bit) const {
  return bit >= 0 && bit <= 7 && (UseMask(address) >> bit) & 1;
}

void clsRegisters::SetUseMaskBit(int32_t address, int bit, bool used) {
  if (bit < 0 || bit > 7 || !InRange(address)) return;
  auto m = static_cast<uint8_t>(1u << bit);
  uint8_t& byte = mask_[static_cast<size_t>(address)];
  byte = used ? static_cast<uint8_t>(byte | m) : static_cast<uint8_t>(byte & ~m);
}

void clsRegisters::ClearMaskMap() {
  std::fill(mask_.begin(), mask_.end(), 0);
}

uint8_t clsRegisters::Flags(int32_t address) const {
  return InRange(address) ? flags_[static_cast<size_t>(address)] : 0;
}

void clsRegisters::ClearReadFlags() {
  for (uint8_t& f : flags_) f &= static_cast<uint8_t>(~kReadFlag);
}

uint8_t clsRegisters::Origin(int32_t address) const {
  return InRange(address) ? origin_[static_cast<size_t>(address)] : 0;
}

void clsRegisters::SetOrigin(int32_t address, uint8_t bits) {
  if (InRange(address)) origin_[static_cast<size_t>(address)] |= bits;
}

void clsRegisters::ForgetBuffer() {
  std::fill(origin_.begin(), origin_.end(), 0);
}

void clsRegisters::ForgetDisplayOnly() {
  for (const auto& reg : registers_) {
    if (!reg->DisplayOnly()) continue;
    reg->ForEachOwnedByte([this](int32_t address, uint8_t bits) {
      origin_[static_cast<size_t>(address)] &= static_cast<uint8_t>(~bits);
    });
  }
}

// ---- device access ----

bool clsRegisters::Attempt(const std::function<void(uint8_t&, bool&, int32_t)>& handler, uint8_t& value,
                           int32_t address) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (attempt > 0) ProcessEvents();
    // A copy, so that a handler that replaces itself meanwhile cannot pull the call out from under us.
    auto call = handler;
    if (!call) return false;
    uint8_t v = value;
    bool ok = false;
    call(v, ok, address);
    if (ok) {
      value = v;
      return true;
    }
  }
  return false;
}

bool clsRegisters::FetchByte(int32_t address, uint8_t& value) {
  if (!IsRegValid(address)) return false;
  value = 0;
  if (!Attempt(OnReadRegister, value, address)) return false;
  auto i = static_cast<size_t>(address);
  snapshot_[i] = value;
  flags_[i] |= kReadFlag;
  return true;
}

bool clsRegisters::SendByte(int32_t address, uint8_t value) {
  if (!IsRegValid(address)) return false;
  auto i = static_cast<size_t>(address);
  if (!Attempt(OnWriteRegister, value, address)) {
    // The reader may or may not have taken it: the snapshot no longer says what it holds.
    flags_[i] &= static_cast<uint8_t>(~kReadFlag);
    return false;
  }
  snapshot_[i] = value;
  flags_[i] |= kReadFlag;
  return true;
}

bool clsRegisters::ReadRegister(int32_t address) {
  uint8_t value = 0;
  if (!FetchByte(address, value)) return false;
  buffer_[static_cast<size_t>(address)] = value;
  origin_[static_cast<size_t>(address)] = 0xFF;
  return true;
}

bool clsRegisters::WriteRegister(int32_t address) {
  return IsRegValid(address) && SendByte(address, buffer_[static_cast<size_t>(address)]);
}

std::vector<int32_t> clsRegisters::ValidAddresses() const {
  std::vector<int32_t> addresses;
  for (int32_t a = 0; a < RegisterCount(); ++a) {
    if (mask_[static_cast<size_t>(a)] != 0) addresses.push_back(a);
  }
  return addresses;
}

void clsRegisters::Progress(double fraction) {
  progress_ = fraction;
  if (auto call = OnProgress) call(fraction);
}

// How a dump becomes buffer bytes: the first RegisterCount() bytes of the text are the register space
// (a reader that sends more holds other tables behind it). Only addresses with a mask are taken, exactly
// the ones a byte-by-byte read would fetch, so a read leaves the same buffer whichever way the reader
// answered. A taken byte is taken whole, also the bits outside its mask: a write never sends those from
// the buffer (they come from the defaults), so keeping the reader's bits costs nothing and a saved .cfg
// shows the reader as it is.
bool clsRegisters::TakeDump(const std::string& data, bool into_buffer) {
  size_t needed = buffer_.size() * 2;
  if (data.size() < needed || data.size() % 2 != 0) return false;
  if (!std::all_of(data.begin(), data.end(), platform::hex_text::IsDigit)) return false;
  for (int32_t a : ValidAddresses()) {
    auto i = static_cast<size_t>(a);
    auto value = static_cast<uint8_t>(platform::hex_text::ValueOf(data.substr(i * 2, 2)));
    snapshot_[i] = value;
    flags_[i] |= kReadFlag;
    if (into_buffer) {
      buffer_[i] = value;
      origin_[i] = 0xFF;
    }
  }
  return true;
}

bool clsRegisters::FetchImage(bool into_buffer, double from, double to) {
  if (auto dump = OnDumpRegisters) {
    std::string data;
    bool ok = false;
    dump(data, ok);
    if (ok && TakeDump(data, into_buffer)) return true;
  }
  std::vector<int32_t> addresses = ValidAddresses();
  for (size_t n = 0; n < addresses.size(); ++n) {
    Progress(from + (to - from) * static_cast<double>(n + 1) / static_cast<double>(addresses.size()));
    uint8_t value = 0;
    if (!FetchByte(addresses[n], value)) return false;
    if (into_buffer) {
      buffer_[static_cast<size_t>(addresses[n])] = value;
      origin_[static_cast<size_t>(addresses[n])] = 0xFF;
    }
    ProcessEvents();
  }
  return true;
}

std::vector<int32_t> clsRegisters::WriteOrder() const {
  std::vector<int32_t> order = ValidAddresses();
  std::vector<int32_t> last;
  for (int32_t address : write_last_) {
    auto it = std::find(order.begin(), order.end(), address);
    if (it == order.end()) continue;
    order.erase(it);
    last.push_back(address);
  }
  order.insert(order.end(), last.begin(), last.end());
  return order;
}

bool clsRegisters::WriteAll(bool skip_marked, bool snapshot_mode, double from, double to) {
  std::vector<int32_t> addresses = WriteOrder();
  for (size_t n = 0; n < addresses.size(); ++n) {
    Progress(from + (to - from) * static_cast<double>(n + 1) / static_cast<double>(addresses.size()));
    int32_t address = addresses[n];
    if (!InRange(address)) return false;  // the buffer was resized meanwhile
    auto i = static_cast<size_t>(address);
    if (skip_marked && (flags_[i] & kMarkedFlag)) continue;
    uint8_t mask = mask_[i];
    const auto ours = static_cast<uint8_t>(mask & origin_[i]);
    if (ours == 0) {
      // Nothing here came from this reader or from the person: leave the reader's byte alone, and show
      // it when it is known.
      if (flags_[i] & kReadFlag) {
        buffer_[i] = snapshot_[i];
        origin_[i] = 0xFF;
      }
      continue;
    }
    if (ours != mask) {
      // The bits without origin keep what the reader holds (FetchMergeBytes made sure it is known).
      buffer_[i] = static_cast<uint8_t>((buffer_[i] & ours) | (snapshot_[i] & ~ours));
      origin_[i] = 0xFF;
    }
    // Bits no register owns always get their default value, so that a skin that does not know a bit
    // cannot leave a stale value in it.
    auto value = static_cast<uint8_t>((buffer_[i] & mask) | (defaults_[i] & ~mask));
    if (snapshot_mode && (flags_[i] & kReadFlag) && ((value ^ snapshot_[i]) & mask) == 0) continue;
    if (!SendByte(address, value)) return false;
    ProcessEvents();
  }
  return true;
}

bool clsRegisters::ReadRegisters() {
  if (busy_) return false;
  BusyScope busy(busy_);
  Progress(0);
  bool ok = FetchImage(true, 0, 1);
  Progress(1);
  return ok;
}

bool clsRegisters::FetchMergeBytes(bool skip_marked) {
  for (int32_t a : ValidAddresses()) {
    const auto i = static_cast<size_t>(a);
    const auto ours = static_cast<uint8_t>(mask_[i] & origin_[i]);
    if (ours == 0 || ours == mask_[i] || (flags_[i] & kReadFlag)) continue;
    if (skip_marked && (flags_[i] & kMarkedFlag)) continue;
    uint8_t value = 0;
    if (!FetchByte(a, value)) return false;
  }
  return true;
}

bool clsRegisters::WriteRegisters(bool skip_marked) {
  if (busy_) return false;
  BusyScope busy(busy_);
  Progress(0);
  bool ok = FetchMergeBytes(skip_marked) && WriteAll(skip_marked, snapshot_mode_, 0, 1);
  Progress(1);
  return ok;
}

bool clsRegisters::WriteRegistersCached(bool skip_marked) {
  if (busy_) return false;
  BusyScope busy(busy_);
  Progress(0);
  bool need_image = false;
  for (int32_t a : ValidAddresses()) {
    auto f = flags_[static_cast<size_t>(a)];
    if (!(f & kReadFlag) && !(skip_marked && (f & kMarkedFlag))) need_image = true;
  }
  // The image costs about as much as the write; give each half of the bar.
  bool ok = !need_image || FetchImage(false, 0, 0.5);
  if (ok) ok = WriteAll(skip_marked, true, need_image ? 0.5 : 0, 1);
  Progress(1);
  return ok;
}

// ---- register objects ----

clsRegister& clsRegisters::AddRegister(const std::string& name, platform::Control* control) {
  auto reg = std::make_unique<clsRegister>();
  reg->SetRegisters(this);
  reg->SetRegisterName(name);
  reg->SetControl(control);
  reg->LoadDefinition();
  FitNumericBounds(*reg);
  return AddRegister(std::move(reg));
}

clsRegister& clsRegisters::AddRegister(std::unique_ptr<clsRegister> reg) {
  registers_.push_back(std::move(reg));
  return *registers_.back();
}

clsRegister* clsRegisters::GetRegisterObject(int index) const {
  return index >= 0 && index < RegisterObjectCount() ? registers_[static_cast<size_t>(index)].get() : nullptr;
}

clsRegister* clsRegisters::FindRegister(const std::string& name) const {
  std::string wanted = platform::text::Upper(name);
  for (const auto& reg : registers_) {
    if (platform::text::Upper(reg->RegisterName()) == wanted) return reg.get();
  }
  return nullptr;
}

void clsRegisters::ClearRegisters() {
  registers_.clear();
}

void clsRegisters::SaveRegisters() {
  for (const auto& reg : registers_) reg->SaveRegister();
}

void clsRegisters::UpdateRegisters() {
  for (const auto& reg : registers_) reg->UpdateRegister();
}

void clsRegisters::EmptyRegisters() {
  for (const auto& reg : registers_) reg->EmptyRegister();
}

void clsRegisters::DisableAll() {
  for (const auto& reg : registers_) reg->Disable();
}

void clsRegisters::EnabledAll() {
  for (const auto& reg : registers_) reg->SetRegisterEnabled(true);
}
