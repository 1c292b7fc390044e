// The reader's commands on top of the transaction: version, polling, one register, the whole table.
#include <string>

#include "gnet/busy_scope.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/hex_text.h"
#include "platform/ui_services.h"

namespace {

constexpr int kRegisterTries = 2;
constexpr int kRegisterRetryPauseMs = 5;
constexpr int kPollTries = 2;
// A reader that answers "N" is still busy with a card or its start-up; it gets this long to settle.
constexpr int kNotReadyPauseMs = 100;
constexpr const char* kDumpRequest = "\x02Y\r";

std::string RegisterDigits(int32_t reg) {
  return platform::hex_text::Byte(static_cast<uint8_t>(reg & 0xFF));
}

// "SetRegister - Reg=16, Err=E1": the reader's refusal, with the register's number in decimal.
std::string RefusalText(const char* command, int32_t reg, const std::string& reply) {
  return std::string(command) + " - Reg=" + std::to_string(reg & 0xFF) + ", Err=" + reply;
}

// Shows the hourglass while a dump holds the user interface and puts back what was there on every way out.
class HourglassPointer {
 public:
  HourglassPointer() : saved_(platform::CurrentUi().MousePointer()) {
    platform::CurrentUi().SetMousePointer(platform::kPointerHourglass);
  }
  ~HourglassPointer() { platform::CurrentUi().SetMousePointer(saved_); }
  HourglassPointer(const HourglassPointer&) = delete;
  HourglassPointer& operator=(const HourglassPointer&) = delete;

 private:
  int saved_;
};

// Sets a flag for the lifetime of the object and puts back its earlier value.
class FlagScope {
 public:
  FlagScope(bool& flag, bool value) : flag_(flag), saved_(flag) { flag_ = value; }
  ~FlagScope() { flag_ = saved_; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;

 private:
  bool& flag_;
  bool saved_;
};

}  // namespace

bool ucGNet::TakeAcknowledged(const std::string& reply, std::string& rest) {
  if (reply.empty() || reply[0] != 'A') return false;
  rest = reply.substr(1);
  if (!rest.empty() && rest[0] == ',') rest.erase(0, 1);
  return true;
}

std::string ucGNet::GetVersion() {
  gnet::BusyScope busy(busy_count_);
  std::string version;
  if (!TakeAcknowledged(SendGNetCMD("V", false, false), version)) return {};
  return version;
}

bool ucGNet::GetRegister(int32_t reg, uint8_t& value) {
  gnet::BusyScope busy(busy_count_);
  const std::string command = "B" + RegisterDigits(reg);
  for (int attempt = 1; attempt <= kRegisterTries; ++attempt) {
    const std::string reply = SendGNetCMD(command, false, true);
    if (!reply.empty() && reply[0] == 'A') {
      const uint64_t number = platform::hex_text::ValueOf(reply.substr(1));
      if (number > 0xFF) {
        // The reader sent more digits than a byte holds: an answer to something else, not a value.
        RaiseMessage(kMessageError, "GetRegister - Overflow");
        return false;
      }
      value = static_cast<uint8_t>(number);
      return true;
    }
    if (!reply.empty()) {
      RaiseMessage(kMessageError, RefusalText("GetRegister", reg, reply));
      return false;
    }
    if (attempt < kRegisterTries) platform::SleepMs(kRegisterRetryPauseMs);
  }
  return false;
}

bool ucGNet::SetRegister(int32_t reg, uint8_t value) {
  gnet::BusyScope busy(busy_count_);
  const std::string command = "C" + RegisterDigits(reg) + "," + HexByte(value);
  for (int attempt = 1; attempt <= kRegisterTries; ++attempt) {
    const std::string reply = SendGNetCMD(command, true, false);
    if (reply == "A") {
      // A dump cached before the write would hide it from a check read right after.
      dump_cache_valid_ = false;
      return true;
    }
    // Unlike a read, a refused write is tried again: a reader busy writing its EEPROM refuses once.
    if (!reply.empty()) {
      RaiseMessage(kMessageError, RefusalText("SetRegister", reg, reply));
    }
    if (attempt < kRegisterTries) platform::SleepMs(kRegisterRetryPauseMs);
  }
  return false;
}

std::string ucGNet::Polling(uint8_t param) {
  gnet::BusyScope busy(busy_count_);
  for (int attempt = 1; attempt <= kPollTries; ++attempt) {
    const std::string command = attempt == 1 ? "D" : "D" + HexByte(param);
    const std::string reply = SendGNetCMD(command, false, false);
    std::string data;
    if (TakeAcknowledged(reply, data)) return data;
    if (reply.empty() || reply[0] != 'N') return {};
    if (attempt < kPollTries) platform::SleepMs(kNotReadyPauseMs);
  }
  return {};
}

std::string ucGNet::RegistersDump(int32_t timeout_ms) {
  gnet::BusyScope busy(busy_count_);
  HourglassPointer hourglass;
  if (is_send_gnet_cmd_) return {};
  FlagScope transaction(is_send_gnet_cmd_, true);
  if (!port_.PortOpen()) return {};
  // The dump owns the port's input: the receive routine, run by a timer while the wait yields, would
  // otherwise take bytes of the table for a frame.
  FlagScope input_taken(receiving_, true);

  port_.SetInBufferCount(0);
  port_.CommOutput(std::string(kDumpRequest));
  clsTimeout timeout;
  timeout.SetTimeout(timeout_ms);
  Bytes table;
  table.reserve(512);
  bool expired = false;
  do {
    expired = timeout.WaitTimeout(true);
    if (port_.InBufferCount() <= 0) continue;
    const Bytes chunk = port_.CommInput();
    if (!gnet_cancel_) table.insert(table.end(), chunk.begin(), chunk.end());
    // The table comes in one burst; once it flows, a pause of kDumpTailMs means the reader is done.
    if (timeout.Timeout() > kDumpTailMs) timeout.SetTimeout(kDumpTailMs);
    timeout.Reset();
  } while (!expired && !gnet_cancel_);

  if (table.empty() || table.size() % 256 != 0) return {};
  std::string text;
  text.reserve(table.size() * 2);
  for (uint8_t byte : table) text += HexByte(byte);
  return text;
}

std::string ucGNet::RegistersDumpEx(int32_t timeout_ms) {
  gnet::BusyScope busy(busy_count_);
  if (second_timeout_.IsTimeout()) dump_cache_valid_ = false;
  if (dump_cache_valid_) return dump_cache_;
  const std::string first = RegistersDump(timeout_ms);
  if (first.empty()) return {};
  // A line that drops or garbles a byte rarely does it twice the same way: two equal reads are believed.
  if (RegistersDump(timeout_ms) != first) return {};
  dump_cache_ = first;
  dump_cache_valid_ = true;
  second_timeout_.Reset();
  return first;
}
