#include "sim/hid_bridge.h"

#include <algorithm>

namespace msrsim {

namespace {

enum Command : uint8_t {
  kSetRate = 1,
  kSetKeyCode = 2,
  kSetIoMode = 3,
  kGetVersion = 4,
  kGetIoMode = 5,
  kGetRegister = 9,
  kSetRegister = 10,
  kEraseFlash = 11,
  kDiscardBuffer = 203,
};

struct CommandName {
  uint8_t code;
  const char* name;
};
constexpr CommandName kCommandNames[] = {
    {kSetRate, "SetHIDBaudrate"},
    {kSetKeyCode, "SetQBR710KeyCode"},
    {kSetIoMode, "SetQBR710IODirect"},
    {kGetVersion, "GetHIDVersion"},
    {kGetIoMode, "GetQBR710IODirect"},
    {kGetRegister, "QBR710GetRegister"},
    {kSetRegister, "QBR710SetRegister"},
    {kEraseFlash, "QBR710EraseFlash"},
    {kDiscardBuffer, "QBR710DiscardBuffer"},
};

constexpr uint32_t kRates[] = {1200, 2400, 4800, 9600, 14400, 19200, 38400, 57600, 115200};

std::string CommandText(uint8_t code) {
  for (const CommandName& command : kCommandNames) {
    if (command.code == code) return command.name;
  }
  return "command " + std::to_string(code);
}

// By status: done, unknown command, bad data.
constexpr const char* kStatusText[] = {"done", "unknown command", "bad data"};

std::string HexList(const uint8_t* data, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) text += " " + HexByte(data[i]);
  return text;
}

}  // namespace

HidBridge::Output HidBridge::TakeOutputReport(const uint8_t* report, size_t size) {
  Output output;
  const auto drop = [&](const std::string& why) {
    ++dropped_;
    output.log = "bridge dropped " + why;
    return output;
  };
  if (size == 0) return drop("an empty report");
  if (size > kHidReportSize) return drop("a report of " + std::to_string(size) + " bytes");
  const uint8_t id = report[0];
  const std::string name = "report " + HexByte(id);
  // Where the length byte sits and how much it may announce: data [01][n][bytes], request
  // [02][cmd][n][bytes].
  size_t length_at = 0;
  size_t limit = 0;
  if (id == kDataReport) {
    length_at = 1;
    limit = kMaxData;
  } else if (id == kRequestReport) {
    length_at = 2;
    limit = kMaxRequest;
  } else {
    return drop("unknown " + name);
  }
  if (size <= length_at)
    return drop(name + " of " + std::to_string(size) + " bytes, too short for its header");
  const size_t length = report[length_at];
  if (length > limit) return drop(name + " announcing " + std::to_string(length) + " bytes");
  if (size < length_at + 1 + length)
    return drop(name + " of " + std::to_string(size) + " bytes, too short for its " + std::to_string(length));
  const uint8_t* data = report + length_at + 1;

  if (id == kDataReport) {
    output.to_reader.assign(data, data + length);
    return output;
  }
  const uint8_t command = report[1];
  const Answer answer = Execute(command, data, length);
  HidReport reply{};
  reply[0] = kReplyReport;
  reply[1] = command;
  reply[2] = answer.status;
  reply[3] = static_cast<uint8_t>(answer.data.size());
  std::copy(answer.data.begin(), answer.data.end(), reply.begin() + 4);
  input_.push_back(reply);
  output.log = "bridge " + CommandText(command) + HexList(data, length) + " -> " +
               kStatusText[answer.status] + HexList(answer.data.data(), answer.data.size());
  return output;
}

void HidBridge::TakeReaderBytes(const uint8_t* data, size_t size) {
  if (mode_ != 0) return;
  while (size > 0) {
    if (input_.empty() || input_.back()[0] != kDataReport || input_.back()[1] >= kMaxData) {
      HidReport report{};
      report[0] = kDataReport;
      input_.push_back(report);
    }
    HidReport& report = input_.back();
    const size_t room = kMaxData - report[1];
    const size_t take = std::min(room, size);
    std::copy(data, data + take, report.begin() + 2 + report[1]);
    report[1] = static_cast<uint8_t>(report[1] + take);
    data += take;
    size -= take;
  }
}

HidBridge::Answer HidBridge::Execute(uint8_t command, const uint8_t* data, size_t length) {
  Answer answer;
  // Each command takes exactly this many request bytes; any other count is bad data.
  const auto takes = [&](size_t expected) {
    if (length == expected) return true;
    answer.status = kBadData;
    return false;
  };
  switch (command) {
    case kSetRate: {
      if (!takes(4)) break;
      const uint32_t rate = data[0] | data[1] << 8 | data[2] << 16 | static_cast<uint32_t>(data[3]) << 24;
      if (std::find(std::begin(kRates), std::end(kRates), rate) == std::end(kRates)) {
        answer.status = kBadData;
      } else {
        rate_ = rate;
      }
      break;
    }
    case kSetKeyCode:
      if (!takes(2)) break;
      if (data[0] >= key_table_.size()) {
        answer.status = kBadData;
      } else {
        key_table_[data[0]] = data[1];
      }
      break;
    case kSetIoMode:
      if (!takes(1)) break;
      if (data[0] > 1) {
        answer.status = kBadData;
      } else {
        mode_ = data[0];
      }
      break;
    case kGetVersion:
      if (takes(0))
        answer.data.assign(kVersionText, kVersionText + std::char_traits<char>::length(kVersionText));
      break;
    case kGetIoMode:
      if (takes(0)) answer.data = {mode_};
      break;
    case kGetRegister:
      if (takes(1)) answer.data = {data[0], registers_[data[0]]};
      break;
    case kSetRegister:
      if (takes(2)) registers_[data[0]] = data[1];
      break;
    case kEraseFlash:
      if (takes(0)) registers_.fill(0xFF);
      break;
    case kDiscardBuffer:
      // Only reader bytes go; replies already waiting are the host's answers and stay.
      if (takes(0)) std::erase_if(input_, [](const HidReport& r) { return r[0] == kDataReport; });
      break;
    default:
      answer.status = kUnknownCommand;
      break;
  }
  return answer;
}

}  // namespace msrsim
