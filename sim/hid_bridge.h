#pragma once
// The USB HID bridge in front of a reader (docs/hid-bridge.md): output reports from the host in, bytes for
// the reader's UART and input reports for the host out. No I/O, so every report can be checked on its own;
// the line (reader_line_hid.cpp) carries the reports over a socket.

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "sim/frame.h"

namespace msrsim {

inline constexpr size_t kHidReportSize = 64;
using HidReport = std::array<uint8_t, kHidReportSize>;

class HidBridge {
 public:
  static constexpr uint8_t kDataReport = 0x01;
  static constexpr uint8_t kRequestReport = 0x02;
  static constexpr uint8_t kReplyReport = 0x03;
  static constexpr size_t kMaxData = 62;
  static constexpr size_t kMaxRequest = 61;
  static constexpr size_t kMaxReply = 60;
  static constexpr uint32_t kStartRate = 19200;
  static constexpr const char* kVersionText = "HIDBRIDGE 1.00";

  enum Status : uint8_t { kDone = 0, kUnknownCommand = 1, kBadData = 2 };

  struct Output {
    Bytes to_reader;  // bytes for the reader's UART, in order
    std::string log;  // a control request and its answer, or why the report was dropped; empty for data
  };

  // One output report as one packet brought it, `size` bytes: 64, or fewer when they still hold the
  // header and the data. A report that does not fit is dropped whole and counted.
  Output TakeOutputReport(const uint8_t* report, size_t size);
  // Bytes the reader sent. In mode 0 they wait for the host in data reports, appended to the last waiting
  // one while it has room, so a host that reads slowly gets full reports; in mode 1 they are typed as
  // keystrokes and never come on report 0x01.
  void TakeReaderBytes(const uint8_t* data, size_t size);

  // Input reports (data and replies) waiting for the host, oldest first.
  bool HasInput() const { return !input_.empty(); }
  const HidReport& FrontInput() const { return input_.front(); }
  void PopInput() { input_.pop_front(); }
  // Forgets the waiting input reports: the host they were meant for has gone.
  void ClearInput() { input_.clear(); }

  uint32_t Rate() const { return rate_; }
  uint8_t Mode() const { return mode_; }
  uint8_t Register(uint8_t reg) const { return registers_[reg]; }
  uint8_t KeyUsage(uint8_t index) const { return key_table_[index & 0x7F]; }
  size_t DroppedReports() const { return dropped_; }

 private:
  struct Answer {
    Status status = kDone;
    Bytes data;
  };
  Answer Execute(uint8_t command, const uint8_t* data, size_t length);

  std::deque<HidReport> input_;
  uint32_t rate_ = kStartRate;
  uint8_t mode_ = 0;
  std::array<uint8_t, 256> registers_{};
  std::array<uint8_t, 128> key_table_{};
  size_t dropped_ = 0;
};

}  // namespace msrsim
