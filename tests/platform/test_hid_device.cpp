// A HID device over an emulated bridge's socket: reports keep their bounds both ways, the peer's end is
// one loss, and a failed open says why.
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/hid_device.h"
#include "platform/seqpacket.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

using Report = std::vector<uint8_t>;

class HidDeviceOnSocket : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    listener_ = ListenSeqpacket(path_, error);
    ASSERT_GE(listener_, 0) << error;
  }
  void TearDown() override { close(listener_); }
  // Runs the loop until `done`; the limit only keeps a broken build from hanging.
  void RunUntil(const std::function<bool()>& done) {
    for (const int64_t end = MonotonicMs() + 5000; !done() && MonotonicMs() < end;) loop_.WaitForEvents(100);
  }
  // A peer end for a device that has just opened the socket.
  int Accept() {
    const int peer = AcceptSeqpacket(listener_);
    EXPECT_GE(peer, 0);
    return peer;
  }
  static void Send(int peer, const Report& report) {
    ASSERT_EQ(send(peer, report.data(), report.size(), 0), static_cast<ssize_t>(report.size()));
  }

  test_support::TempDir dir_{"hid-device"};
  std::string path_ = dir_.File("bridge.sock");
  PollEventLoop loop_;
  int listener_ = -1;
};

TEST_F(HidDeviceOnSocket, ReportsKeepTheirBoundsAndThePeersEndIsOneLoss) {
  std::unique_ptr<HidDevice> device = CreateHidDevice(&loop_);
  std::vector<Report> reports;
  int lost = 0;
  device->OnReport = [&](const Report& report) { reports.push_back(report); };
  device->OnLost = [&] { lost += device->IsOpen() ? 100 : 1; };  // closed by the time it is told
  ASSERT_TRUE(device->Open(path_).ok);
  const int peer = Accept();

  Report full(kHidReportSize, 0x5A);
  full[0] = 0x01;
  const Report brief{0x02, 'V'};
  Send(peer, full);
  Send(peer, brief);
  RunUntil([&] { return reports.size() >= 2; });
  EXPECT_EQ(reports, (std::vector<Report>{full, brief}));

  ASSERT_TRUE(device->WriteReport(full));
  uint8_t packet[4 * kHidReportSize];
  EXPECT_EQ(recv(peer, packet, sizeof packet, 0), static_cast<ssize_t>(kHidReportSize));
  EXPECT_EQ(Report(packet, packet + kHidReportSize), full);

  // What the peer sent before it went still arrives; the loss comes once, however often the loop turns.
  Send(peer, brief);
  close(peer);
  RunUntil([&] { return lost > 0; });
  loop_.ProcessPendingEvents();
  loop_.ProcessPendingEvents();
  EXPECT_EQ(lost, 1);
  EXPECT_EQ(reports.size(), 3u);
  EXPECT_FALSE(device->IsOpen());
  EXPECT_FALSE(device->WriteReport(full));

  // A handler may destroy the device: the reports still waiting are not handed to it.
  ASSERT_TRUE(device->Open(path_).ok);
  const int second_peer = Accept();
  int heard = 0;
  device->OnReport = [&](const Report&) {
    ++heard;
    device.reset();
  };
  Send(second_peer, brief);
  Send(second_peer, brief);
  RunUntil([&] { return device == nullptr; });
  EXPECT_EQ(heard, 1);
  close(second_peer);
}

// The opener runs as "nobody" under root, whom no file permission stops.
TEST_F(HidDeviceOnSocket, FailedOpensSayWhy) {
  const bool root = geteuid() == 0;
  ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(path_.c_str(), root ? 0700 : 0), 0);
  const std::string locked_node = dir_.WriteFile("hidraw7", "");
  ASSERT_EQ(chmod(locked_node.c_str(), 0), 0);
  std::string error;
  const std::string ended = dir_.File("ended.sock");
  close(ListenSeqpacket(ended, error));  // the socket file outlives its emulator

  struct Case {
    std::string path;
    bool as_nobody;
    PortFailure failure;
    std::string says;
  };
  const Case cases[] = {
      {path_, root, PortFailure::kNoPermission, "run the emulator as your own user"},
      {locked_node, root, PortFailure::kNoPermission,
       std::string("copy the udev rule ") + kHidUdevRuleFile + " to /etc/udev/rules.d"},
      {dir_.File("gone"), false, PortFailure::kNotPresent, "No such file or directory(0x2)"},
      {ended, false, PortFailure::kNotPresent, "The emulated bridge " + ended + " is not running"},
      {dir_.path(), false, PortFailure::kOther, "Cannot open " + dir_.path() + ": Is a directory(0x15)"},
  };
  for (const Case& c : cases) {
    const pid_t child = fork();
    if (child == 0) {
      if (c.as_nobody && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) _exit(98);
      const PortResult result = CreateHidDevice(&loop_)->Open(c.path);
      if (result.ok) _exit(0);
      _exit(result.message.find(c.says) != std::string::npos ? static_cast<int>(result.failure) : 99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == static_cast<int>(c.failure)) << c.path;
  }
}

}  // namespace
}  // namespace platform
