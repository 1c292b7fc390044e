#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/process_stats.h"
#include "tests/gnet/fake_port.h"

namespace {

std::string Frame(const std::string& text) { return "\x02" + text + "\r"; }

class Transaction : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(gnet.AddPortObject(&port));
    gnet.SetCommPort("FAKE");
    gnet.SetPortOpen(true);
    ASSERT_TRUE(gnet.PortOpen());
    gnet.OnMessage = [this](std::string& type, const std::string& msg) { messages.push_back(type + ": " + msg); };
  }
  // The reader answers every frame with `reply` after `delay_ms`.
  void AnswerWith(const std::string& reply, int delay_ms = 2) {
    port.OnFrame = [this, reply, delay_ms](const std::string&) { port.DeliverLater(delay_ms, reply); };
  }

  FakePort port;  // outlives the engine, which closes it on destruction
  ucGNet gnet;
  std::vector<std::string> messages;
};

TEST(GNetFrame, ChecksumDigitsAndFrameLayout) {
  EXPECT_EQ(ucGNet::CalcChkSum("V"), 0x56);
  EXPECT_EQ(ucGNet::CalcChkSum(""), 0);
  EXPECT_EQ(ucGNet::CalcChkSum("C12,5A"), 0x48);
  EXPECT_EQ(ucGNet::CalcChkSum("C12,5A", 1), 0x43);  // only the first character
  EXPECT_EQ(ucGNet::CalcChkSum("\xFF\xFF"), 0xFE);    // modulo 256, no complement

  auto text = [](const Bytes& b) { return std::string(b.begin(), b.end()); };
  EXPECT_EQ(text(ucGNet::BuildFrame("", true)), "\x02" "00\r");
  EXPECT_EQ(text(ucGNet::BuildFrame("", false)), "\x02\r");
  EXPECT_EQ(text(ucGNet::BuildFrame("V", true)), "\x02V56\r");
  EXPECT_EQ(text(ucGNet::BuildFrame("YYX", true)), "\x02YYX0A\r");  // checksum 0x0A keeps its leading zero
}

TEST_F(Transaction, ChecksummedReplyIsCheckedAndAWrongOneIsNotResent) {
  AnswerWith(Frame("A41"));
  EXPECT_EQ(gnet.SendGNetCMD("B00", false, true), "A");
  ASSERT_EQ(port.frames.size(), 1u);
  EXPECT_EQ(port.frames[0], Frame("B00"));

  port.frames.clear();
  AnswerWith(Frame("A42"));
  EXPECT_EQ(gnet.SendGNetCMD("B00", false, true), "");
  EXPECT_EQ(port.frames.size(), 1u);  // a bad reply that came in time ends the transaction

  AnswerWith(Frame("AB"));  // too short to carry checksum digits
  EXPECT_EQ(gnet.SendGNetCMD("B00", false, true), "");

  AnswerWith(Frame("A,1.23"));  // unchecked replies come back as they are
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,1.23");
  EXPECT_TRUE(messages.empty());
  EXPECT_FALSE(gnet.Busy());
  EXPECT_FALSE(gnet.IsSendGNetCMD());
}

TEST_F(Transaction, NoReplySendsThreeTimesAndReportsNothing) {
  gnet.SetGNetTimeout(60);
  const int64_t start = platform::MonotonicMs();
  const int64_t cpu_start = platform::ThreadCpuMicros();
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  const double cpu_ms = static_cast<double>(platform::ThreadCpuMicros() - cpu_start) / 1000.0;
  const int64_t elapsed = platform::MonotonicMs() - start;
  EXPECT_EQ(port.frames.size(), 3u);
  EXPECT_GE(elapsed, 175);
  EXPECT_LT(elapsed, 600);
  EXPECT_TRUE(messages.empty());
  // Waiting blocks on the event loop: a few wake-ups, not a busy loop.
  EXPECT_LT(cpu_ms, 0.02 * static_cast<double>(elapsed) + 5.0);
}

TEST_F(Transaction, ClosedPortAndCancelAreRefusedWithTheirMessages) {
  gnet.SetPortOpen(false);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  gnet.SetGNetCancel(true);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  gnet.SetPortOpen(true);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  EXPECT_TRUE(port.frames.empty());
  EXPECT_EQ(messages, (std::vector<std::string>{"Error: SendGNetCMD - Port is Close!",
                                                "General: SendGNetCMD - Cancel!",
                                                "General: SendGNetCMD - Cancel!"}));
  EXPECT_FALSE(gnet.Busy());
}

TEST_F(Transaction, CancelDuringTheWaitEndsItWithTheCancelMessage) {
  gnet.SetGNetTimeout(2000);
  platform::Timer cancel_click;
  cancel_click.SetInterval(20);
  cancel_click.OnTimer = [&] {
    cancel_click.SetEnabled(false);
    gnet.SetGNetCancel(true);
  };
  cancel_click.SetEnabled(true);
  const int64_t start = platform::MonotonicMs();
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  EXPECT_LT(platform::MonotonicMs() - start, 500);
  EXPECT_EQ(port.frames.size(), 1u);
  EXPECT_EQ(messages, std::vector<std::string>{"General: SendGNetCMD - Cancel!"});
}

TEST_F(Transaction, SecondTransactionFromAHandlerDuringTheWaitIsRefused) {
  std::string inner_reply = "unset";
  bool busy_inside = false;
  int inner_calls = 0;
  auto try_inner = [&] {
    ++inner_calls;
    inner_reply = gnet.SendGNetCMD("D", false, false);
    busy_inside = gnet.Busy() && gnet.IsSendGNetCMD();
  };
  // From a timer handler while the outer transaction waits...
  platform::Timer timer;
  timer.SetInterval(5);
  timer.OnTimer = [&] {
    timer.SetEnabled(false);
    try_inner();
  };
  timer.SetEnabled(true);
  // ...and from the package handler when the reply arrives.
  gnet.OnPackage = [&](int32_t, Bytes&) { try_inner(); };
  AnswerWith(Frame("A,OK"), 30);

  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,OK");
  EXPECT_EQ(inner_calls, 2);
  EXPECT_EQ(inner_reply, "");
  EXPECT_TRUE(busy_inside);
  EXPECT_EQ(port.frames.size(), 1u);  // nothing of the refused calls went out
  EXPECT_EQ(messages, std::vector<std::string>(2, "Error: SendGNetCMD - Sending other command error!"));
  EXPECT_FALSE(gnet.Busy());
}

TEST_F(Transaction, ByteIntervalSendsOneByteAtATimeWithPauses) {
  gnet.SetGNetByteInterval(5);
  gnet.SetGNetTimeout(20);
  AnswerWith(Frame("A"));
  const int64_t start = platform::MonotonicMs();
  EXPECT_EQ(gnet.SendGNetCMD("C00,01", false, false), "A");  // 8-byte frame
  EXPECT_GE(platform::MonotonicMs() - start, 40);
  ASSERT_EQ(port.writes.size(), 8u);
  for (const auto& write : port.writes) EXPECT_EQ(write.size(), 1u);
}

TEST_F(Transaction, FramingErrorEndsTheWaitEarlyAndOutsideATransactionIsReported) {
  int frame_errors = 0;
  gnet.OnFrameError = [&] { ++frame_errors; };
  gnet.SetGNetTimeout(1000);
  port.OnFrame = [this](const std::string&) {
    if (port.frames.size() == 1) {
      port.RaiseFrameError();  // the first send meets a line at the wrong rate
    } else {
      port.DeliverLater(2, Frame("A,V1"));
    }
  };
  const int64_t start = platform::MonotonicMs();
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,V1");
  EXPECT_LT(platform::MonotonicMs() - start, 500);  // did not sit out the first second
  EXPECT_EQ(port.frames.size(), 2u);
  EXPECT_EQ(frame_errors, 0);  // inside a transaction the error only ends the wait

  port.RaiseFrameError();
  EXPECT_EQ(frame_errors, 1);
}

TEST_F(Transaction, PortVanishingDuringTheWaitEndsWithoutReplyOrHang) {
  gnet.SetGNetTimeout(200);
  platform::Timer unplug;
  unplug.SetInterval(10);
  unplug.OnTimer = [&] {
    unplug.SetEnabled(false);
    port.Vanish();
  };
  unplug.SetEnabled(true);
  const int64_t start = platform::MonotonicMs();
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  EXPECT_LT(platform::MonotonicMs() - start, 200 + 100);
  EXPECT_FALSE(gnet.PortOpen());
  EXPECT_EQ(port.frames.size(), 1u);  // no further attempts on a closed port
}

}  // namespace
