#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/serial_control.h"
#include "platform/serial_registry.h"
#include "sim/emulated_reader.h"
#include "sim/frame.h"
#include "tests/support/pty_com_port.h"

namespace msrsim {
namespace {

std::string WithChecksum(const std::string& text) {
  return text + HexByte(Checksum(text));
}
std::string Framed(const std::string& text) {
  return "\002" + text + "\r";
}

// The host's end of a reader's line, opened as the program opens a port: through the platform's serial
// control, listed as "COM"n by a user port map entry for the reader's path.
class HostLine {
 public:
  explicit HostLine(const std::string& path) : control_(platform::CreateSerialControl(&loop_)) {
    platform::SetUserPortMapSource([path] { return std::vector<platform::PortMapEntry>{{"COM42", path}}; });
    control_->SetCommPort(42);
    control_->SetInputMode(platform::kInputModeBinary);
    control_->SetRThreshold(1);
    control_->SetSettings("19200,N,8,1");
  }
  ~HostLine() {
    control_->SetPortOpen(false);
    platform::SetUserPortMapSource(nullptr);
  }

  bool Open() { return control_->SetPortOpen(true).ok; }
  void Send(const std::string& bytes) { control_->CommOutput(platform::Bytes(bytes.begin(), bytes.end())); }
  // What arrived up to and including the first CR, or all that came within `timeout_ms`.
  std::string ReceiveFrame(int timeout_ms = 1000) {
    Collect([this] { return received_.find('\r') != std::string::npos; }, timeout_ms);
    return Take(std::min(received_.find('\r'), received_.size() - 1) + 1);
  }
  // The first `count` bytes, or fewer when `timeout_ms` passed first.
  std::string Receive(size_t count, int timeout_ms = 1000) {
    Collect([&] { return received_.size() >= count; }, timeout_ms);
    return Take(count);
  }
  std::string Ask(const std::string& text, int timeout_ms = 1000) {
    Send(Framed(text));
    return ReceiveFrame(timeout_ms);
  }
  // True once the port closed because the line hung up.
  bool WaitClosed(int timeout_ms) {
    Collect([] { return false; }, timeout_ms);
    return !control_->PortOpen();
  }

 private:
  // Runs the loop, collecting input, until `done` holds, the port closed or `timeout_ms` passed.
  void Collect(const std::function<bool()>& done, int timeout_ms) {
    for (const int64_t end = platform::MonotonicMs() + timeout_ms;
         !done() && control_->PortOpen() && platform::MonotonicMs() < end;) {
      loop_.WaitForEvents(5);
      const platform::Bytes in = control_->CommInput();
      received_.append(in.begin(), in.end());
    }
  }
  std::string Take(size_t count) {
    std::string got = received_.substr(0, count);
    received_.erase(0, got.size());
    return got;
  }

  platform::PollEventLoop loop_;
  std::unique_ptr<platform::SerialControl> control_;
  std::string received_;
};

// A reader on a pty and a host that has opened it.
struct Bench {
  explicit Bench(ReaderConfig config = {}) : reader(std::move(config)) {
    std::string error;
    started = reader.Start(&error);
    EXPECT_TRUE(started) << error;
    host = std::make_unique<HostLine>(reader.Path());
    EXPECT_TRUE(host->Open());
  }
  EmulatedReader reader;
  bool started = false;
  std::unique_ptr<HostLine> host;
};

TEST(EmulatedReader, ServesAHostOnAPtyAndKeepsTheLineAcrossReopens) {
  Bench bench;
  ASSERT_TRUE(bench.started);
  EXPECT_EQ(bench.host->Ask("V"), Framed("A,12345678, V1.05"));
  // Noise before STX, a split frame and two frames in one write.
  bench.host->Send("\x7f\002C12,");
  platform::SleepMs(20);
  bench.host->Send(WithChecksum("C12,5A").substr(4) + "\r\002B12\r");
  EXPECT_EQ(bench.host->ReceiveFrame(), Framed("A"));
  EXPECT_EQ(bench.host->ReceiveFrame(), Framed("A5AB7"));
  ASSERT_TRUE(bench.reader.WaitForTransactions(3, 1000));
  EXPECT_EQ(bench.reader.Requests(), (std::vector<std::string>{"V", WithChecksum("C12,5A"), "B12"}));

  // The dump arrives as 256 raw bytes, 0xFF of the alias area included.
  bench.reader.SetRegister(0x80, 0x02);
  bench.host->Send(Framed("Y"));
  const std::string dump = bench.host->Receive(256);
  ASSERT_EQ(dump.size(), 256u);
  EXPECT_EQ(static_cast<uint8_t>(dump[0x80]), 0x02);
  EXPECT_EQ(static_cast<uint8_t>(dump[kAliasFirst]), 0xFF);

  // A second host after the first one closed finds the line as it was.
  bench.host.reset();
  HostLine again(bench.reader.Path());
  ASSERT_TRUE(again.Open());
  EXPECT_EQ(again.Ask("B12"), Framed("A5AB7"));
  bench.reader.Swipe();  // no text given: the configured one, and no transaction
  EXPECT_EQ(again.ReceiveFrame(), std::string(kDefaultSwipeText) + "\r");
  EXPECT_EQ(again.Receive(1), "\n");
  EXPECT_EQ(bench.reader.TransactionCount(), 5u);
}

TEST(EmulatedReader, ClosesTheLineAfterNTransactionsAndOnRequest) {
  ReaderConfig config;
  config.close_after = 2;
  Bench bench(config);
  ASSERT_TRUE(bench.started);
  EXPECT_EQ(bench.host->Ask("V"), Framed("A,12345678, V1.05"));
  EXPECT_EQ(bench.host->Ask("D"), Framed("A,KRD36AR,3TRACK,UART")) << "the last reply still goes out";
  EXPECT_TRUE(bench.host->WaitClosed(1000)) << "the host sees a hang-up";
  EXPECT_TRUE(bench.reader.WaitForLineClosed(1000));
  EXPECT_FALSE(bench.reader.LineOpen());

  EmulatedReader other;
  bool closed_called = false;
  other.on_line_closed = [&closed_called] { closed_called = true; };
  ASSERT_TRUE(other.Start());
  other.CloseLine();
  EXPECT_TRUE(other.WaitForLineClosed(1000));
  other.Stop();
  EXPECT_TRUE(closed_called);
}

TEST(EmulatedReader, SwipesGoOutOnATimer) {
  ReaderConfig config;
  config.swipe_every_ms = 60;
  config.swipe_text = "%B1^X^1?";
  Bench bench(config);
  ASSERT_TRUE(bench.started);
  EXPECT_EQ(bench.host->Receive(10, 500), "%B1^X^1?\r\n");
}

TEST(EmulatedReader, LogsEachTransactionOnItsThread) {
  ReaderConfig config;
  config.drop_every = 2;
  EmulatedReader reader(config);
  std::mutex mutex;
  std::vector<std::string> lines;
  reader.on_log = [&](const std::string& line) {
    std::lock_guard lock(mutex);
    lines.push_back(line);
  };
  ASSERT_TRUE(reader.Start());
  HostLine host(reader.Path());
  ASSERT_TRUE(host.Open());
  EXPECT_EQ(host.Ask("B01"), Framed("A04A5"));
  EXPECT_EQ(host.Ask("D", 150), "");
  ASSERT_TRUE(reader.WaitForTransactions(2, 1000));
  reader.Stop();
  EXPECT_EQ(lines, (std::vector<std::string>{"B01 -> A04A5", "D -> A,KRD36AR,3TRACK,UART (dropped)"}));
}

// --device: the reader opens an existing serial line itself; here a pty that the port list knows, with the
// test playing the host on the other end.
TEST(EmulatedReader, PlaysAReaderOnAnExistingDevice) {
  test_support::PtyComPort port(11);
  ASSERT_TRUE(port.ok());
  ReaderConfig config;
  config.device = port.pair().slave_path;
  config.swipes_at_start = {"%START?"};
  EmulatedReader reader(config);
  std::string error;
  ASSERT_TRUE(reader.Start(&error)) << error;
  EXPECT_EQ(reader.Path(), port.pair().slave_path);
  platform::PollEventLoop loop;
  EXPECT_EQ(port.Receive(9, 1000, loop), "%START?\r\n");
  ASSERT_TRUE(port.Send(Framed("V")));
  EXPECT_EQ(port.Receive(19, 1000, loop), Framed("A,12345678, V1.05"));

  ReaderConfig absent;
  absent.device = "/dev/no-such-serial-port";
  EmulatedReader missing(absent);
  EXPECT_FALSE(missing.Start(&error));
  EXPECT_NE(error.find("/dev/no-such-serial-port"), std::string::npos) << error;
}

}  // namespace
}  // namespace msrsim
