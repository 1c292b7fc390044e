// A HID device over an emulated bridge's socket: reports keep their bounds both ways, the peer's end is
// one loss, and a failed open says why.
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/hid_device.h"
#include "platform/seqpacket.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

using Report = std::vector<uint8_t>;

TEST(HidDevice, ReportsKeepTheirBoundsAndThePeersEndIsOneLoss) {
  test_support::TempDir dir("hid-device");
  std::string error;
  const int listener = ListenSeqpacket(dir.File("bridge.sock"), error);
  ASSERT_GE(listener, 0) << error;
  PollEventLoop loop;
  // The limit only keeps a broken build from hanging.
  auto run_until = [&loop](auto done) {
    for (const int64_t end = MonotonicMs() + 5000; !done() && MonotonicMs() < end;) loop.WaitForEvents(100);
  };
  std::unique_ptr<HidDevice> device = CreateHidDevice(&loop);
  std::vector<Report> reports;
  int lost = 0;
  device->OnReport = [&](const Report& report) { reports.push_back(report); };
  device->OnLost = [&] { lost += device->IsOpen() ? 100 : 1; };  // closed by the time it is told
  ASSERT_TRUE(device->Open(dir.File("bridge.sock")).ok);
  int peer = AcceptSeqpacket(listener);

  Report full(kHidReportSize, 0x5A);
  full[0] = 0x01;
  const Report brief{0x02, 'V'};
  for (const Report& report : {full, brief}) send(peer, report.data(), report.size(), 0);
  run_until([&] { return reports.size() >= 2; });
  EXPECT_EQ(reports, (std::vector<Report>{full, brief}));
  ASSERT_TRUE(device->WriteReport(full));
  uint8_t packet[4 * kHidReportSize];
  EXPECT_EQ(recv(peer, packet, sizeof packet, 0), static_cast<ssize_t>(kHidReportSize));
  EXPECT_EQ(Report(packet, packet + kHidReportSize), full);
  // Code that polls between loop dispatches is handed what waits now.
  send(peer, brief.data(), brief.size(), 0);
  device->ReadWaiting();
  EXPECT_EQ(reports.size(), 3u);

  // What the peer sent before it went still arrives; the loss comes once, however often the loop turns.
  send(peer, brief.data(), brief.size(), 0);
  close(peer);
  run_until([&] { return lost > 0; });
  loop.ProcessPendingEvents();
  EXPECT_EQ(lost, 1);
  EXPECT_EQ(reports.size(), 4u);
  EXPECT_FALSE(device->IsOpen());

  // A handler may destroy the device: the reports still waiting are not handed to it.
  ASSERT_TRUE(device->Open(dir.File("bridge.sock")).ok);
  peer = AcceptSeqpacket(listener);
  int heard = 0;
  device->OnReport = [&](const Report&) { ++heard, device.reset(); };
  for (int i = 0; i < 2; ++i) send(peer, brief.data(), brief.size(), 0);
  run_until([&] { return device == nullptr; });
  EXPECT_EQ(heard, 1);
  close(peer);
  close(listener);
}

// The opener runs as "nobody" under root, whom no file permission stops.
TEST(HidDevice, FailedOpensSayWhy) {
  test_support::TempDir dir("hid-open");
  const bool root = geteuid() == 0;
  std::string error;
  const int listener = ListenSeqpacket(dir.File("bridge.sock"), error);
  close(ListenSeqpacket(dir.File("ended.sock"), error));  // the socket file outlives its emulator
  const std::string node = dir.WriteFile("hidraw7", "");
  // A bridge another program holds: a second open must not share its replies.
  const std::unique_ptr<HidDevice> holder = CreateHidDevice();
  const std::string held = dir.WriteFile("hidraw8", "");
  ASSERT_TRUE(holder->Open(held).ok);
  ASSERT_EQ(chmod(dir.path().c_str(), 0755) | chmod(dir.File("bridge.sock").c_str(), root ? 0700 : 0) |
                chmod(node.c_str(), 0),
            0);

  struct Case {
    std::string path;
    bool as_nobody;
    PortFailure failure;
    std::string says;
  };
  const Case cases[] = {
      {dir.File("bridge.sock"), root, PortFailure::kNoPermission, "run the emulator as your own user"},
      {node, root, PortFailure::kNoPermission, std::string(kHidUdevRuleFile) + " to /etc/udev/rules.d"},
      {dir.File("gone"), false, PortFailure::kNotPresent, "No such file or directory(0x2)"},
      {dir.File("ended.sock"), false, PortFailure::kNotPresent, dir.File("ended.sock") + " is not running"},
      {held, false, PortFailure::kInUse, held + " is in use by another program"},
      {dir.path(), false, PortFailure::kOther, "Cannot open " + dir.path() + ": Is a directory(0x15)"},
  };
  for (const Case& c : cases) {
    const pid_t child = fork();
    if (child == 0) {
      if (c.as_nobody && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) _exit(98);
      const PortResult result = CreateHidDevice()->Open(c.path);
      if (result.ok) _exit(0);
      _exit(result.message.find(c.says) != std::string::npos ? static_cast<int>(result.failure) : 99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == static_cast<int>(c.failure)) << c.path;
  }
  close(listener);
}

}  // namespace
}  // namespace platform
