// Input reports of any content, as a HID bridge (or a device posing as one) might send them: each one is
// taken apart by the report parser and handed to the HID port as a read would. Input: reports, each
// preceded by one length byte.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "comm/clsGHIDComm.h"
#include "comm/hid_reports.h"
#include "fuzz/fuzz_support.h"

namespace {

// A bridge that is open and takes every report; the fuzzer's reports arrive through OnReport.
class OpenBridge : public platform::HidDevice {
 public:
  platform::PortResult Open(const std::string&) override { return {}; }
  void Close() override {}
  bool IsOpen() const override { return true; }
  int Descriptor() const override { return 3; }
  const std::string& Path() const override { return path_; }
  bool WriteReport(const std::vector<uint8_t>&) override { return true; }

 private:
  std::string path_;
};

void CheckParse(const std::vector<uint8_t>& report, const hid_reports::InputReport& parsed) {
  using Kind = hid_reports::InputReport::Kind;
  if (parsed.kind == Kind::kMalformed) {
    fuzz::Check(parsed.data.empty(), "a dropped report kept data");
    return;
  }
  const size_t header = parsed.kind == Kind::kData ? 2 : 4;
  const size_t limit = parsed.kind == Kind::kData ? hid_reports::kMaxData : hid_reports::kMaxReplyData;
  fuzz::Check(parsed.data.size() <= limit, "more data than a report may carry");
  fuzz::Check(report.size() >= header + parsed.data.size(), "data from beyond the report's end");
  fuzz::Check(std::equal(parsed.data.begin(), parsed.data.end(), report.begin() + static_cast<long>(header)),
              "data that is not the report's");
  if (parsed.kind == Kind::kData && !parsed.data.empty()) {
    // What the host would send of the same bytes parses back to them.
    const std::vector<uint8_t> again = hid_reports::DataReports(parsed.data).at(0);
    fuzz::Check(hid_reports::ParseInputReport(again.data(), again.size()).data == parsed.data,
                "a data report does not parse back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto device = std::make_unique<OpenBridge>();
  OpenBridge* bridge = device.get();
  clsGHIDComm port(std::move(device));
  port.SetRThreshold(1);

  size_t expected_bytes = 0;
  uint64_t expected_dropped = 0;
  for (size_t at = 0; at < size;) {
    const size_t length = std::min<size_t>(data[at], size - at - 1);
    const std::vector<uint8_t> report(data + at + 1, data + at + 1 + length);
    at += 1 + length;
    const hid_reports::InputReport parsed = hid_reports::ParseInputReport(report.data(), report.size());
    CheckParse(report, parsed);
    // No command waits for a reply here: every reply is stray and dropped like a malformed report.
    if (parsed.kind == hid_reports::InputReport::Kind::kData) {
      expected_bytes += parsed.data.size();
    } else {
      ++expected_dropped;
    }
    bridge->OnReport(report);
  }
  fuzz::Check(static_cast<size_t>(port.InBufferCount()) == expected_bytes,
              "received bytes were lost or made up");
  fuzz::Check(port.DroppedReports() == expected_dropped, "the dropped reports were miscounted");
  return 0;
}
