#pragma once
// The USB HID bridge's reports (docs/hid-bridge.md): 64 bytes, the report ID first, unused bytes zero.
// Report 0x01 carries UART data both ways, 0x02 a control request to the bridge, 0x03 its reply. This file
// builds what the host sends and takes apart what it receives; a report that does not fit is dropped
// whole, never half used.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace hid_reports {

using Bytes = std::vector<uint8_t>;

inline constexpr size_t kReportSize = 64;
inline constexpr uint8_t kDataReport = 0x01;
inline constexpr uint8_t kControlRequest = 0x02;
inline constexpr uint8_t kControlReply = 0x03;
inline constexpr size_t kMaxData = 62;
inline constexpr size_t kMaxRequestData = 61;
inline constexpr size_t kMaxReplyData = 60;

// The bridge's control commands.
enum Command : uint8_t {
  SetHIDBaudrate = 1,
  SetQBR710KeyCode = 2,
  SetQBR710IODirect = 3,
  GetHIDVersion = 4,
  GetQBR710IODirect = 5,
  QBR710GetRegister = 9,
  QBR710SetRegister = 10,
  QBR710EraseFlash = 11,
  QBR710DiscardBuffer = 203,
};
// The command's name for messages ("SetHIDBaudrate"), or "command n" for one the bridge does not know.
std::string CommandName(uint8_t command);

enum ReplyStatus : uint8_t { kDone = 0, kUnknownCommand = 1, kBadData = 2 };

// `data` cut into data reports of at most 62 bytes each, in order; none for no data.
std::vector<Bytes> DataReports(const Bytes& data);
// A control request; data beyond 61 bytes is not sent.
Bytes ControlRequest(uint8_t command, const Bytes& data = {});

struct InputReport {
  enum class Kind { kData, kReply, kMalformed };
  Kind kind = Kind::kMalformed;
  uint8_t command = 0;  // kReply
  uint8_t status = 0;   // kReply
  Bytes data;           // the data bytes of either kind
};
// One input report as a read gave it. Unknown IDs, a length byte above the report's limit, reports too short
// for what their header announces and reports longer than 64 bytes are kMalformed.
InputReport ParseInputReport(const uint8_t* report, size_t size);

// The rate's four bytes, little-endian, as SetHIDBaudrate takes them.
Bytes RateBytes(uint32_t rate);

}  // namespace hid_reports
