// The HID bridge port: its names, the rate on the bridge, data both ways in reports, the discard, reports
// that do not fit, and a bridge that stays silent or goes away.
#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "comm/clsGHIDComm.h"
#include "comm/hid_reports.h"
#include "platform/clock.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr const char* kBridgePath = "\\\\?\\hid#vid_2a7c&pid_0005#7&1f2c&0&0000";

// A bridge in the test's hands: it records every report and answers control requests as told, through the
// loop, as a device's reply arrives.
class FakeBridge : public platform::HidDevice {
 public:
  explicit FakeBridge(platform::EventLoop& loop) : loop_(loop) {}
  platform::PortResult Open(const std::string& path) override {
    path_ = path;
    open_ = true;
    return {};
  }
  void Close() override { open_ = false; }
  bool IsOpen() const override { return open_; }
  int Descriptor() const override { return open_ ? 7 : -1; }
  const std::string& Path() const override { return path_; }
  bool WriteReport(const Bytes& report) override {
    if (!open_) return false;
    sent.push_back(report);
    if (report[0] == hid_reports::kControlRequest && answer) {
      if (std::optional<Bytes> reply = answer(report)) Deliver(*reply);
    }
    return true;
  }
  void Deliver(const Bytes& report) {
    loop_.Post([this, report] {
      if (OnReport) OnReport(report);
    });
  }
  // Held on the device until ReadWaiting takes it, as a report that came between two loop dispatches.
  void Hold(const Bytes& report) { held.push_back(report); }
  void ReadWaiting() override {
    for (const Bytes& report : std::exchange(held, {})) OnReport(report);
  }
  void Unplug() {
    open_ = false;
    loop_.Post([this] {
      if (OnLost) OnLost();
    });
  }
  std::vector<Bytes> Requests(uint8_t command) const {
    std::vector<Bytes> found;
    for (const Bytes& r : sent) {
      if (r[0] == hid_reports::kControlRequest && r[1] == command) found.push_back(r);
    }
    return found;
  }

  std::function<std::optional<Bytes>(const Bytes& request)> answer;
  std::vector<Bytes> sent;
  std::vector<Bytes> held;

 private:
  platform::EventLoop& loop_;
  std::string path_;
  bool open_ = false;
};

Bytes Reply(uint8_t command, uint8_t status, const Bytes& data = {}) {
  Bytes r(hid_reports::kReportSize, 0);
  r[0] = hid_reports::kControlReply;
  r[1] = command;
  r[2] = status;
  r[3] = static_cast<uint8_t>(data.size());
  std::copy(data.begin(), data.end(), r.begin() + 4);
  return r;
}

Bytes Data(const std::string& text) {
  return hid_reports::DataReports(Bytes(text.begin(), text.end())).at(0);
}

class HidPort : public ::testing::Test {
 protected:
  HidPort() {
    auto device = std::make_unique<FakeBridge>(loop);
    bridge = device.get();
    // A bridge that runs the usual rates and does every other command.
    bridge->answer = [](const Bytes& request) -> std::optional<Bytes> {
      if (request[1] == hid_reports::SetHIDBaudrate) {
        const uint32_t rate = request[3] | request[4] << 8 | request[5] << 16 | request[6] << 24;
        return Reply(request[1], rate % 1200 == 0 ? hid_reports::kDone : hid_reports::kBadData);
      }
      if (request[1] == hid_reports::GetQBR710IODirect) return Reply(request[1], 0, {0});
      return Reply(request[1], hid_reports::kDone);
    };
    port = std::make_unique<clsGHIDComm>(std::move(device), &loop);
    port->AttachCommObject(&owner, nullptr);
    owner.Attach(port.get());
    owner.OnComm = [this] { events.push_back(port->CommEvent()); };
    owner.OnEvent = [this](const std::string& text) { messages.push_back(text); };
    port->SetCommPort(kBridgePath);
  }

  platform::PollEventLoop loop;
  FakeBridge* bridge = nullptr;
  clsMSComm owner;
  std::unique_ptr<clsGHIDComm> port;
  std::vector<int32_t> events;
  std::vector<std::string> messages;
};

TEST(HidPortNames, AcceptsHidNumbersAndBridgePathsOnly) {
  for (const char* name : {"HID1", "hid256", kBridgePath})
    EXPECT_TRUE(clsGHIDComm::IsMyCommPort(name)) << name;
  // The last two: the bridge's marks in the wrong order, and a USB device that is no HID device.
  for (const char* name :
       {"HID0", "HID257", "HID", "COM1", "\\\\?\\hid#pid_0005&vid_2a7c", "\\\\?\\usb#vid_2a7c&pid_0005"})
    EXPECT_FALSE(clsGHIDComm::IsMyCommPort(name)) << name;
}

TEST_F(HidPort, OpenSetsTheBridgeRateAndSettingsAlwaysReadEightNoneOne) {
  port->SetSettings("9600,E,7,2");  // closed: remembered only
  EXPECT_TRUE(bridge->sent.empty());
  port->SetPortOpen(true);
  ASSERT_TRUE(port->PortOpen());
  ASSERT_EQ(bridge->Requests(hid_reports::SetHIDBaudrate).size(), 1u);
  EXPECT_EQ(bridge->Requests(hid_reports::SetHIDBaudrate)[0],
            hid_reports::ControlRequest(1, {0x80, 0x25, 0, 0}));
  EXPECT_EQ(port->Settings(), "9600,N,8,1");

  port->SetSettings("19200");
  EXPECT_EQ(port->Settings(), "19200,N,8,1");
  port->SetSettings("19200,N,8,1");  // the same rate again costs no request
  port->SetSettings("12345,N,8,1");  // refused: the bridge keeps its rate, and says so once
  EXPECT_EQ(port->Settings(), "19200,N,8,1");
  EXPECT_EQ(bridge->Requests(hid_reports::SetHIDBaudrate).size(), 3u);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_NE(messages[0].find("SetHIDBaudrate"), std::string::npos);
}

TEST_F(HidPort, SilentBridgeGetsThreeTriesAndAMessageNamingTheCommand) {
  port->SetPortOpen(true);
  bridge->answer = nullptr;
  const int64_t start = platform::MonotonicMs();
  port->SetSettings("9600");
  EXPECT_GE(platform::MonotonicMs() - start, 3 * clsGHIDComm::kControlTimeoutMs);
  EXPECT_EQ(bridge->Requests(hid_reports::SetHIDBaudrate).size(), 1u + 3u);
  EXPECT_EQ(port->Settings(), "19200,N,8,1");
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0], "SetHIDBaudrate - no reply from the bridge within 1000 ms");
}

TEST_F(HidPort, DataTravelsInReportsAndDiscardDropsWhatCameBeforeItsReply) {
  port->SetRThreshold(1);
  port->SetPortOpen(true);
  bridge->sent.clear();
  port->CommOutput(Bytes(130, 'x'));
  ASSERT_EQ(bridge->sent.size(), 3u);
  EXPECT_EQ(bridge->sent[0][1], 62);
  EXPECT_EQ(bridge->sent[2][1], 6);

  bridge->Deliver(Data("A,KRD"));
  loop.ProcessPendingEvents();
  EXPECT_EQ(events, std::vector<int32_t>{platform::kCommEvReceive});
  EXPECT_EQ(port->InBufferCount(), 5);
  port->SetInputLen(2);
  EXPECT_EQ(port->CommInput(), (Bytes{'A', ','}));

  // Bytes already on their way when the host asks for a discard arrive before the reply.
  auto usual = bridge->answer;
  bridge->answer = [this, usual](const Bytes& request) {
    if (request[1] == hid_reports::QBR710DiscardBuffer) bridge->Deliver(Data("stale"));
    return usual(request);
  };
  port->SetInBufferCount(0);
  EXPECT_EQ(port->InBufferCount(), 0);
  EXPECT_EQ(bridge->Requests(hid_reports::QBR710DiscardBuffer).size(), 1u);
}

// The raw dump polls the count between loop dispatches.
TEST_F(HidPort, ReportsWaitingOnTheDeviceCountAtOnceAndTheirEventComesFromTheLoop) {
  port->SetRThreshold(1);
  port->SetPortOpen(true);
  bridge->Hold(Data("A,"));
  bridge->Hold(Data("1"));
  EXPECT_EQ(port->InBufferCount(), 3);
  EXPECT_TRUE(events.empty());
  loop.ProcessPendingEvents();
  EXPECT_EQ(events, std::vector<int32_t>{platform::kCommEvReceive});
  EXPECT_EQ(port->CommInput(), (Bytes{'A', ',', '1'}));
}

TEST_F(HidPort, ReportsThatDoNotFitAreDroppedAndCounted) {
  port->SetRThreshold(1);
  port->SetPortOpen(true);
  Bytes too_long = Data("x");
  too_long[1] = 63;
  Bytes unknown_id = Data("x");
  unknown_id[0] = 0x07;
  const Bytes short_report{0x01, 5, 'a', 'b'};
  const Bytes stray_reply = Reply(hid_reports::GetHIDVersion, 0);
  Bytes oversized = Data("x");
  oversized.push_back(0);
  for (const Bytes& report : {too_long, unknown_id, short_report, stray_reply, Bytes{}, oversized})
    bridge->Deliver(report);
  loop.ProcessPendingEvents();
  EXPECT_EQ(port->DroppedReports(), 6u);
  EXPECT_EQ(port->InBufferCount(), 0);
  EXPECT_TRUE(events.empty());
}

TEST_F(HidPort, BridgePulledOutEndsAWaitingCommandAtOnce) {
  port->SetPortOpen(true);
  bridge->answer = [this](const Bytes&) {
    bridge->Unplug();
    return std::nullopt;
  };
  const int64_t start = platform::MonotonicMs();
  EXPECT_FALSE(port->ControlCommand(hid_reports::GetHIDVersion, {}));
  EXPECT_LT(platform::MonotonicMs() - start, clsGHIDComm::kControlTimeoutMs);
  EXPECT_FALSE(port->PortOpen());
  EXPECT_EQ(events, std::vector<int32_t>{platform::kCommEventDeviceLost});
  EXPECT_TRUE(messages.empty());
}

}  // namespace
