#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "sim/emulated_reader.h"
#include "sim/frame.h"
#include "tests/sim/host_line.h"
#include "tests/support/pty_com_port.h"

namespace msrsim {
namespace {

using msrsim_test::HostLine;

std::string WithChecksum(const std::string& text) {
  return text + HexByte(Checksum(text));
}
std::string Framed(const std::string& text) {
  return "\002" + text + "\r";
}

// A reader on a pty and a host that has opened it at `host_rate`.
struct Bench {
  explicit Bench(ReaderConfig config = {}, uint32_t host_rate = 19200) : reader(std::move(config)) {
    std::string error;
    started = reader.Start(&error);
    EXPECT_TRUE(started) << error;
    host = std::make_unique<HostLine>(reader.Path(), host_rate);
    EXPECT_TRUE(host->Open());
  }
  EmulatedReader reader;
  bool started = false;
  std::unique_ptr<HostLine> host;
};

TEST(EmulatedReader, ServesAHostOnAPtyAndKeepsTheLineAcrossReopens) {
  Bench bench;
  ASSERT_TRUE(bench.started);
  EXPECT_EQ(bench.reader.Path().rfind("/dev/pts/", 0), 0u);
  EXPECT_EQ(bench.host->Ask("V"), Framed("A,12345678, V1.05"));
  // Noise before STX, a split frame and two frames in one write.
  bench.host->Send("\x7f\002C12,");
  platform::SleepMs(20);
  bench.host->Send(WithChecksum("C12,5A").substr(4) + "\r\002B12\r");
  EXPECT_EQ(bench.host->ReceiveFrame(), Framed("A"));
  EXPECT_EQ(bench.host->ReceiveFrame(), Framed("A5A" + HexByte(Checksum("A5A"))));
  ASSERT_TRUE(bench.reader.WaitForTransactions(3, 1000));
  EXPECT_EQ(bench.reader.Register(0x12), 0x5A);
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
  EXPECT_EQ(bench.reader.TransactionCount(), 5u);
}

TEST(EmulatedReader, HostAtAnotherSpeedGetsNoFrameUntilItFollowsTheBaudRegister) {
  Bench bench(ReaderConfig{}, 9600);
  ASSERT_TRUE(bench.started);
  const std::string noise = bench.host->Ask("V", 200);
  EXPECT_FALSE(noise.empty()) << "a real line delivers something";
  EXPECT_EQ(noise.find('\002'), std::string::npos);
  EXPECT_EQ(bench.reader.Transactions().at(0).fate, ReplyFate::kGarbled);

  // At the reader's rate the host can move the reader: the "A" still comes at 19200.
  ASSERT_TRUE(bench.host->SetRate(19200));
  EXPECT_EQ(bench.host->Ask(WithChecksum("C01,03")), Framed("A"));
  EXPECT_EQ(bench.reader.LineRate(), 9600u);
  EXPECT_EQ(bench.host->Ask("V", 200).find('\002'), std::string::npos);
  ASSERT_TRUE(bench.host->SetRate(9600));
  EXPECT_EQ(bench.host->Ask("V"), Framed("A,12345678, V1.05"));
}

TEST(EmulatedReader, PacingAndLatencyDelayTheReply) {
  ReaderConfig config;
  config.pacing = true;
  config.latency_ms = 40;
  Bench bench(config);
  ASSERT_TRUE(bench.started);
  // 256 bytes at 19200 bit/s, 10 bits each, take 133 ms on the line, plus the latency.
  const int64_t start = platform::MonotonicMs();
  bench.host->Send(Framed("Y"));
  EXPECT_EQ(bench.host->Receive(256, 2000).size(), 256u);
  EXPECT_GE(platform::MonotonicMs() - start, 40 + 125);
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

TEST(EmulatedReader, SwipesGoOutBetweenTransactionsOnRequestAndOnATimer) {
  ReaderConfig config;
  config.swipe_every_ms = 60;
  config.swipe_text = "%B1^X^1?";
  Bench bench(config);
  ASSERT_TRUE(bench.started);
  EXPECT_EQ(bench.host->ReceiveFrame(500), "%B1^X^1?\r") << "the timer's swipe";
  EXPECT_EQ(bench.host->Receive(1, 200), "\n");

  EmulatedReader manual;
  ASSERT_TRUE(manual.Start());
  HostLine host(manual.Path(), 19200, 43);
  ASSERT_TRUE(host.Open());
  manual.Swipe();
  EXPECT_EQ(host.Receive(std::string(kDefaultSwipeText).size() + 2), std::string(kDefaultSwipeText) + "\r\n");
  EXPECT_EQ(manual.TransactionCount(), 0u);
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
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "B01 -> A04A5");
  EXPECT_EQ(lines[1], "D -> A,KRD36AR,3TRACK,UART (dropped)");
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
