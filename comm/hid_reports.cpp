#include "comm/hid_reports.h"

#include <algorithm>

namespace hid_reports {
namespace {

Bytes Report(std::initializer_list<uint8_t> header, const uint8_t* data, size_t size) {
  Bytes report(kReportSize, 0);
  std::copy(header.begin(), header.end(), report.begin());
  std::copy(data, data + size, report.begin() + static_cast<std::ptrdiff_t>(header.size()));
  return report;
}

}  // namespace

std::string CommandName(uint8_t command) {
  switch (command) {
    case SetHIDBaudrate:
      return "SetHIDBaudrate";
    case SetQBR710KeyCode:
      return "SetQBR710KeyCode";
    case SetQBR710IODirect:
      return "SetQBR710IODirect";
    case GetHIDVersion:
      return "GetHIDVersion";
    case GetQBR710IODirect:
      return "GetQBR710IODirect";
    case QBR710GetRegister:
      return "QBR710GetRegister";
    case QBR710SetRegister:
      return "QBR710SetRegister";
    case QBR710EraseFlash:
      return "QBR710EraseFlash";
    case QBR710DiscardBuffer:
      return "QBR710DiscardBuffer";
    default:
      return "command " + std::to_string(command);
  }
}

std::vector<Bytes> DataReports(const Bytes& data) {
  std::vector<Bytes> reports;
  for (size_t at = 0; at < data.size(); at += kMaxData) {
    const size_t n = std::min(kMaxData, data.size() - at);
    reports.push_back(Report({kDataReport, static_cast<uint8_t>(n)}, data.data() + at, n));
  }
  return reports;
}

Bytes ControlRequest(uint8_t command, const Bytes& data) {
  const size_t n = std::min(kMaxRequestData, data.size());
  return Report({kControlRequest, command, static_cast<uint8_t>(n)}, data.data(), n);
}

InputReport ParseInputReport(const uint8_t* report, size_t size) {
  InputReport parsed;
  if (report == nullptr || size < 2 || size > kReportSize) return parsed;
  size_t header = 0;
  size_t limit = 0;
  if (report[0] == kDataReport) {
    header = 2;
    limit = kMaxData;
    parsed.kind = InputReport::Kind::kData;
  } else if (report[0] == kControlReply) {
    header = 4;
    limit = kMaxReplyData;
    parsed.kind = InputReport::Kind::kReply;
  } else {
    return parsed;
  }
  if (size < header) return InputReport{};
  const size_t length = report[header - 1];
  if (length > limit || size < header + length) return InputReport{};
  if (parsed.kind == InputReport::Kind::kReply) {
    parsed.command = report[1];
    parsed.status = report[2];
  }
  parsed.data.assign(report + header, report + header + length);
  return parsed;
}

Bytes RateBytes(uint32_t rate) {
  return {static_cast<uint8_t>(rate), static_cast<uint8_t>(rate >> 8), static_cast<uint8_t>(rate >> 16),
          static_cast<uint8_t>(rate >> 24)};
}

}  // namespace hid_reports
