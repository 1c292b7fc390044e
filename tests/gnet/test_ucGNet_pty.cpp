#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/fd_io.h"
#include "tests/support/pty_com_port.h"

namespace {

constexpr int kPort = 211;

// Plays a reader on the pty's master end: answers each frame at once and notes when the reply's last
// byte went out.
class InstantReader {
 public:
  explicit InstantReader(int master_fd) : fd_(master_fd), thread_([this] { Serve(); }) {}
  ~InstantReader() {
    stop_ = true;
    thread_.join();
  }
  int64_t last_reply_us() const { return last_reply_us_; }

 private:
  void Serve() {
    uint8_t buffer[256];
    const std::string reply =
        "\x02"
        "A,12345678, V1.05\r";
    while (!stop_) {
      if (platform::WaitReadable(fd_, 20) <= 0) continue;
      const long n = platform::ReadFd(fd_, buffer, sizeof buffer);
      for (long i = 0; i < n; ++i) {
        if (buffer[i] != '\r') continue;
        platform::WriteFd(fd_, reinterpret_cast<const uint8_t*>(reply.data()), reply.size());
        last_reply_us_ = platform::MonotonicMicros();
      }
    }
  }
  int fd_;
  std::atomic<bool> stop_{false};
  std::atomic<int64_t> last_reply_us_{0};
  std::thread thread_;
};

class EngineOnPty : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(pty.ok());
    gnet.OnMessage = [this](std::string& type, const std::string& msg) {
      messages.push_back(type + ": " + msg);
    };
    gnet.SetCommPort("COM" + std::to_string(kPort));
    gnet.SetPortOpen(true);
    ASSERT_TRUE(gnet.PortOpen()) << (messages.empty() ? "" : messages.back());
    gnet.SetSettings("19200,N,8,1");
  }
  test_support::PtyComPort pty{kPort};
  ucGNet gnet;
  std::vector<std::string> messages;
};

TEST_F(EngineOnPty, ReplyIsSeenWithinAMillisecondOfItsLastByte) {
  InstantReader reader(pty.pair().master_fd);
  std::vector<int64_t> latencies;
  for (int i = 0; i < 25; ++i) {
    ASSERT_EQ(gnet.SendGNetCMD("V", false, false), "A,12345678, V1.05");
    latencies.push_back(platform::MonotonicMicros() - reader.last_reply_us());
  }
  std::sort(latencies.begin(), latencies.end());
  EXPECT_LT(latencies[latencies.size() / 2], 1000) << "median microseconds from reply to result";
  EXPECT_TRUE(messages.empty());
}

TEST_F(EngineOnPty, SecondEngineOnTheSamePortIsToldItIsInUse) {
  ucGNet other;
  std::vector<std::string> other_messages;
  other.OnMessage = [&](std::string& type, const std::string& msg) {
    other_messages.push_back(type + ": " + msg);
  };
  other.SetCommPort("COM" + std::to_string(kPort));
  other.SetPortOpen(true);
  EXPECT_FALSE(other.PortOpen());
  ASSERT_EQ(other_messages.size(), 1u);
  EXPECT_NE(other_messages[0].find("in use"), std::string::npos) << other_messages[0];
  EXPECT_EQ(other_messages[0].rfind("Error: ", 0), 0u);
}

}  // namespace
