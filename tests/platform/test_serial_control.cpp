#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/serial_control.h"
#include "platform/serial_registry.h"
#include "tests/support/pty_com_port.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

constexpr int kPort = 9;
std::string Text(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

// A control on a pty registered as COM9, with every OnComm event recorded.
class SerialControlOnPty : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(port_.ok());
    control_->SetCommPort(kPort);
    control_->OnComm = [this] { events_.push_back(control_->CommEvent()); };
  }
  // Runs the loop until `done` holds or `timeout_ms` passed; returns how many waits it took.
  int RunUntil(const std::function<bool()>& done, int timeout_ms) {
    int waits = 0;
    for (const int64_t end = MonotonicMs() + timeout_ms; !done() && MonotonicMs() < end; ++waits) {
      loop_.WaitForEvents(10);
    }
    return waits;
  }
  // Opens COM`port` in a child process, as this test's user or as "nobody": 0 when it opened, the kind
  // of failure when the message says `says`, 99 when it does not.
  int OpenInChild(int port, bool as_nobody, const std::string& says = "") {
    const pid_t child = fork();
    if (child == 0) {
      if (as_nobody && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) _exit(98);
      auto other = CreateSerialControl(&loop_);
      other->SetCommPort(static_cast<int16_t>(port));
      const PortResult result = other->SetPortOpen(true);
      if (result.ok) _exit(0);
      _exit(result.message.find(says) != std::string::npos ? static_cast<int>(result.failure) : 99);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  PollEventLoop loop_;
  test_support::PtyComPort port_{kPort};
  std::unique_ptr<SerialControl> control_ = CreateSerialControl(&loop_);
  std::vector<int16_t> events_;
};

TEST_F(SerialControlOnPty, ReceivesDecodedInputAndSendsQueuedOutput) {
  ASSERT_TRUE(control_->SetSettings("19200,n,8,1"));
  control_->SetRThreshold(1);
  const PortResult opened = control_->SetPortOpen(true);
  ASSERT_TRUE(opened.ok) << opened.message;
  CommState state;
  ASSERT_EQ(ReadCommState(port_.pair().slave_fd, state), 0);
  EXPECT_EQ(state.BaudRate, 19200u);

  // The kernel doubles a data byte 0xFF in the marked stream; the control must hand it back single.
  ASSERT_TRUE(port_.Send(std::string("\x02V\xff\r", 4)));
  RunUntil([&] { return control_->InBufferCount() >= 4; }, 1000);
  loop_.ProcessPendingEvents();  // bytes taken in by the count's own read are announced from the loop
  EXPECT_NE(std::find(events_.begin(), events_.end(), kCommEvReceive), events_.end());
  EXPECT_EQ(control_->InBufferCount(), 4);
  control_->SetInputLen(2);
  EXPECT_EQ(Text(control_->CommInput()), "\x02V");
  control_->SetInputLen(0);
  EXPECT_EQ(Text(control_->CommInput()), "\xff\r");

  // Far more than a pty buffers: CommOutput returns at once and the rest follows as the device reads.
  std::string big(100000, 'x');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>('A' + i % 26);
  const int64_t before = MonotonicMs();
  ASSERT_TRUE(control_->CommOutput(Bytes(big.begin(), big.end())));
  EXPECT_LT(MonotonicMs() - before, 100);
  EXPECT_GT(control_->OutBufferCount(), 0);
  EXPECT_EQ(port_.Receive(big.size(), 3000, loop_), big);
  EXPECT_EQ(control_->OutBufferCount(), 0);

  // Settings changed while open reach the device; a combination it cannot run is refused.
  EXPECT_TRUE(control_->SetSettings("56000,N,8,2"));
  ASSERT_EQ(control_->GetCommState(control_->CommID(), state), 0);
  EXPECT_EQ(state.BaudRate, 56000u);
  EXPECT_FALSE(control_->SetSettings("9600,N,4,1"));
  EXPECT_EQ(control_->Settings(), "9600,N,4,1");
  control_->SetPortOpen(false);
  EXPECT_FALSE(control_->CommOutput(Bytes{1}));
}

TEST_F(SerialControlOnPty, FullInputBufferHoldsBackWithoutLossAndHangUpEndsIt) {
  control_->SetInBufferSize(16);
  ASSERT_TRUE(control_->SetPortOpen(true).ok);
  std::string sent;
  for (int i = 0; i < 100; ++i) sent.push_back(static_cast<char>(i));
  ASSERT_TRUE(port_.Send(sent));
  RunUntil([&] { return control_->InBufferCount() == 16; }, 1000);
  // Nobody reads: the loop must sleep out its waits, not spin on the readable descriptor.
  EXPECT_LE(RunUntil([] { return false; }, 200), 25);
  std::string received;
  RunUntil([&] { return (received += Text(control_->CommInput())).size() >= sent.size(); }, 1000);
  EXPECT_EQ(received, sent);
  ASSERT_TRUE(port_.Send(sent));
  RunUntil([&] { return control_->InBufferCount() == 16; }, 1000);

  // The device goes while input waits unread: the port closes within a second, with one event.
  const int64_t start = MonotonicMs();
  port_.Hangup();
  RunUntil([&] { return !control_->PortOpen(); }, 1000);
  EXPECT_LT(MonotonicMs() - start, 1000);
  EXPECT_EQ(control_->CommEvent(), kCommEventDeviceLost);
  EXPECT_EQ(control_->CommID(), -1);
  EXPECT_LE(RunUntil([] { return false; }, 200), 25);
  EXPECT_EQ(std::count(events_.begin(), events_.end(), kCommEventDeviceLost), 1);
}

TEST_F(SerialControlOnPty, OnlyOneProgramHasThePortUntilItClosesIt) {
  ASSERT_TRUE(control_->SetPortOpen(true).ok);
  auto second = CreateSerialControl(&loop_);
  second->SetCommPort(kPort);
  const PortResult refused = second->SetPortOpen(true);
  EXPECT_EQ(refused.failure, PortFailure::kInUse);
  EXPECT_EQ(second->LastError(), refused.message);
  // Another process with this test's rights: root in CI, which the tty's exclusive flag does not stop.
  EXPECT_EQ(OpenInChild(kPort, false), static_cast<int>(PortFailure::kInUse));
  control_->SetPortOpen(false);
  EXPECT_TRUE(second->SetPortOpen(true).ok);
  EXPECT_TRUE(second->LastError().empty());
  second->SetPortOpen(false);
  // Closing must free the tty for ordinary users too, although the device end still holds it open.
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(port_.pair().slave_path.c_str(), 0666), 0);
    EXPECT_EQ(OpenInChild(kPort, true), 0);
  }
}

// Each cause of a failed open has its kind, which tells the person what to do, and a message that says it.
// The opener runs as "nobody" under root, whom no file permission stops.
TEST_F(SerialControlOnPty, FailedOpensSayWhy) {
  test_support::TempDir tree("serial-fail");
  ASSERT_EQ(chmod(tree.path().c_str(), 0755), 0);
  const std::string locked = tree.WriteFile("locked", "");
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  const std::string plain_file = tree.WriteFile("not-a-tty", "");
  ASSERT_EQ(chmod(plain_file.c_str(), 0666), 0);
  SetSysfsRootForTesting(tree.path());  // no hardware ports at all
  const std::string pty = port_.pair().slave_path;
  SetUserPortMapSource([&] {
    return std::vector<PortMapEntry>{
        {"COM9", pty}, {"COM3", locked}, {"COM4", plain_file}, {"COM5", tree.File("gone")}};
  });
  ASSERT_EQ(chmod(pty.c_str(), 0666), 0);
  ASSERT_TRUE(control_->SetPortOpen(true).ok);  // held here while the others try

  struct Case {
    int port;
    PortFailure failure;
    std::string says;
  };
  const Case cases[] = {
      {7, PortFailure::kNotPresent, "COM7 is not present (no serial device is known under that name)"},
      {5, PortFailure::kNotPresent, "Cannot open " + tree.File("gone") + ": No such file or directory(0x2)"},
      {3, PortFailure::kNoPermission, "(sudo usermod -aG dialout $USER, then log in again)"},
      {kPort, PortFailure::kInUse, pty + " is in use by another program"},
      {4, PortFailure::kOther, plain_file + " is not a serial device: Inappropriate ioctl for device(0x19)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OpenInChild(c.port, geteuid() == 0, c.says), static_cast<int>(c.failure)) << "COM" << c.port;
  }
  SetSysfsRootForTesting("");
}

// Runs only against real hardware: MSR_TEST_SERIAL_DEVICE=/dev/ttyUSB0 (any free serial device).
TEST(SerialControlOnDevice, AppliesStandardRates) {
  const char* device = std::getenv("MSR_TEST_SERIAL_DEVICE");
  if (device == nullptr || *device == '\0') GTEST_SKIP() << "set MSR_TEST_SERIAL_DEVICE to a serial device";
  SetUserPortMapSource([device] { return std::vector<PortMapEntry>{{"COM200", device}}; });
  auto control = CreateSerialControl();
  control->SetCommPort(200);
  for (const uint32_t rate : {9600u, 115200u}) {
    ASSERT_TRUE(control->SetSettings(std::to_string(rate) + ",E,7,2"));
    const PortResult result = control->SetPortOpen(true);
    ASSERT_TRUE(result.ok) << result.message;
    CommState state;
    ASSERT_EQ(control->GetCommState(control->CommID(), state), 0);
    EXPECT_EQ(state.BaudRate, rate);
    EXPECT_EQ(state.Parity, kParityEven);
    EXPECT_EQ(state.ByteSize, 7);
    EXPECT_EQ(state.StopBits, kStopBitsTwo);
    control->SetPortOpen(false);
  }
  SetUserPortMapSource(nullptr);
}

}  // namespace
}  // namespace platform
