// The transaction: framing, replies and their checksum, retries, refusals, cancel and a vanishing port;
// and the receive routine that cuts frames from the incoming bytes.
#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/process_stats.h"
#include "tests/gnet/fake_port.h"

namespace {

class Transaction : public FakePortEngine {
 protected:
  // The reader answers every frame with `reply` after `delay_ms`.
  void AnswerWith(const std::string& reply, int delay_ms = 2) {
    port.OnFrame = [this, reply, delay_ms](const std::string&) { port.DeliverLater(delay_ms, reply); };
  }
  // Runs a transaction of "V" and returns its reply; `elapsed_ms` is how long it took.
  std::string SendV(int64_t& elapsed_ms) {
    const int64_t start = platform::MonotonicMs();
    std::string reply = gnet.SendGNetCMD("V", false, false);
    elapsed_ms = platform::MonotonicMs() - start;
    return reply;
  }
  int64_t elapsed = 0;
};

TEST(GNetFrame, ChecksumDigitsAndFrameLayout) {
  EXPECT_EQ(ucGNet::CalcChkSum("C12,5A", 1), 0x43);  // only the first character
  EXPECT_EQ(ucGNet::CalcChkSum("\xFF\xFF"), 0xFE);   // modulo 256, no complement
  auto text = [](const Bytes& b) { return std::string(b.begin(), b.end()); };
  EXPECT_EQ(text(ucGNet::BuildFrame("", true)), Frame("00"));
  EXPECT_EQ(text(ucGNet::BuildFrame("V", true)), Frame("V56"));
  EXPECT_EQ(text(ucGNet::BuildFrame("YYX", true)), Frame("YYX0A"));  // checksum 0x0A keeps its leading zero
}

TEST_F(Transaction, ChecksummedReplyIsCheckedAndAWrongOneIsNotResent) {
  const std::pair<const char*, const char*> cases[] = {
      {"A41", "A"}, {"A42", ""}, {"AB", ""},  // the last is too short to carry checksum digits
  };
  for (const auto& [reply, result] : cases) {
    port.frames.clear();
    AnswerWith(Frame(reply));
    EXPECT_EQ(gnet.SendGNetCMD("B00", false, true), result) << reply;
    EXPECT_EQ(port.frames, std::vector<std::string>{Frame("B00")}) << "a reply that came in time ends it";
  }
  AnswerWith(Frame("A,1.23"));  // unchecked replies come back as they are
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,1.23");
  EXPECT_TRUE(messages.empty());
  EXPECT_FALSE(gnet.Busy());
  EXPECT_FALSE(gnet.IsSendGNetCMD());
}

TEST_F(Transaction, NoReplySendsThreeTimesAndReportsNothing) {
  gnet.SetGNetTimeout(60);
  const int64_t cpu_start = platform::ThreadCpuMicros();
  EXPECT_EQ(SendV(elapsed), "");
  const double cpu_ms = static_cast<double>(platform::ThreadCpuMicros() - cpu_start) / 1000.0;
  EXPECT_EQ(port.frames.size(), 3u);
  EXPECT_GE(elapsed, 175);
  EXPECT_LT(elapsed, 600);
  EXPECT_TRUE(messages.empty());
  // Waiting blocks on the event loop: a few wake-ups, not a busy loop.
  EXPECT_LT(cpu_ms, 0.02 * static_cast<double>(elapsed) + 5.0);
}

TEST_F(Transaction, ClosedPortAndCancelBeforeOrDuringTheWaitEndItWithTheirMessages) {
  gnet.SetPortOpen(false);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  gnet.SetGNetCancel(true);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  gnet.SetPortOpen(true);
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "");
  EXPECT_TRUE(port.frames.empty());
  EXPECT_EQ(messages,
            (std::vector<std::string>{"Error: SendGNetCMD - Port is Close!", "General: SendGNetCMD - Cancel!",
                                      "General: SendGNetCMD - Cancel!"}));
  EXPECT_FALSE(gnet.Busy());

  messages.clear();
  gnet.SetGNetCancel(false);
  gnet.SetGNetTimeout(2000);
  port.Later(20, [this] { gnet.SetGNetCancel(true); });
  EXPECT_EQ(SendV(elapsed), "");
  EXPECT_LT(elapsed, 500);
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
  port.Later(5, try_inner);                                // from a timer while the outer transaction waits
  gnet.OnPackage = [&](int32_t, Bytes&) { try_inner(); };  // and from the package handler
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
  EXPECT_EQ(port.writes, (std::vector<std::string>{"\x02", "C", "0", "0", ",", "0", "1", "\r"}));
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
  EXPECT_EQ(SendV(elapsed), "A,V1");
  EXPECT_LT(elapsed, 500);  // did not sit out the first second
  EXPECT_EQ(port.frames.size(), 2u);
  EXPECT_EQ(frame_errors, 0);  // inside a transaction the error only ends the wait
  port.RaiseFrameError();
  EXPECT_EQ(frame_errors, 1);
}

TEST_F(Transaction, PortVanishingDuringTheWaitEndsWithoutReplyOrHang) {
  gnet.SetGNetTimeout(100);
  port.Later(10, [this] { port.Vanish(); });
  EXPECT_EQ(SendV(elapsed), "");
  EXPECT_LT(elapsed, 100 + 100);
  EXPECT_FALSE(gnet.PortOpen());
  EXPECT_EQ(port.frames.size(), 1u);  // no further attempts on a closed port
}

// The receive routine outside a transaction: every byte goes to OnChar, frames to OnPackage.
class Receive : public FakePortEngine {
 protected:
  void SetUp() override {
    FakePortEngine::SetUp();
    gnet.OnChar = [this](uint8_t& c) { chars += static_cast<char>(c); };
    gnet.OnPackage = [this](int32_t length, Bytes& package) {
      ASSERT_LE(static_cast<size_t>(length), package.size());
      packages.emplace_back(package.begin(), package.begin() + length);
    };
  }
  void Feed(const std::string& bytes) {
    port.Deliver(bytes);
    gnet.TimerReceive_Timer();
  }

  std::string chars;
  std::vector<std::string> packages;
};

TEST_F(Receive, FramesAreCutFromTheStreamWhileTheTerminalSeesEveryByte) {
  const struct {
    std::vector<std::string> chunks;
    std::vector<std::string> packages;
  } cases[] = {
      {{"xy\002AB\002CD\rz"}, {"ABCD"}},                   // noise before STX and a second STX stay out
      {{"\002A,1", ".23\r\002N", "\r"}, {"A,1.23", "N"}},  // split over chunks, back to back
      {{"\002\rAB\r"}, {"AB"}},                            // a CR right after STX keeps the frame open
  };
  for (const auto& c : cases) {
    chars.clear();
    packages.clear();
    std::string all;
    for (const std::string& chunk : c.chunks) Feed(chunk), all += chunk;
    EXPECT_EQ(packages, c.packages) << all;
    EXPECT_EQ(chars, all);
  }
}

TEST_F(Receive, OverlongFrameIsCutAt512Bytes) {
  std::string payload(600, 'x');
  payload[511] = 'L';  // the last byte that fits
  Feed(Frame(payload));
  ASSERT_EQ(packages.size(), 1u);
  EXPECT_EQ(packages[0].size(), 512u);
  EXPECT_EQ(packages[0].back(), 'L');
  // The next frame starts clean.
  Feed(Frame("ok"));
  EXPECT_EQ(packages.back(), "ok");
}

TEST_F(Receive, AnyByteStreamIsSafe) {
  // Random bytes, runs of STX and lone CRs: no crash, no overrun, and a clean frame still comes through.
  uint32_t seed = 12345;
  std::string noise;
  for (int i = 0; i < 20000; ++i) {
    seed = seed * 1103515245u + 12345u;
    const uint8_t r = static_cast<uint8_t>(seed >> 16);
    noise += static_cast<char>(r % 7 == 0 ? 0x02 : r % 11 == 0 ? 0x0D : r);
  }
  noise += std::string(1000, '\x02') + std::string(50, '\r');
  for (size_t i = 0; i < noise.size(); i += 97) Feed(noise.substr(i, 97));
  packages.clear();
  Feed("\r" + Frame("A,fine"));
  ASSERT_FALSE(packages.empty());
  EXPECT_EQ(packages.back(), "A,fine");
}

TEST_F(Receive, BytesDuringATransactionAreNotShownAsTerminalCharacters) {
  port.OnFrame = [this](const std::string&) { port.DeliverLater(2, Frame("A,1")); };
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,1");
  EXPECT_EQ(chars, "");
  Feed("%B41^X?\r\n");  // a card swipe after the transaction is shown
  EXPECT_EQ(chars, "%B41^X?\r\n");
}

TEST_F(Receive, BareCrEndsTheWaitWithTheLastFramesLength) {
  // A CR outside a frame sets the package length from the last frame's index over a cleared package:
  // the transaction then returns that many NUL characters. Old readers end some replies this way.
  Feed(Frame("AB"));
  port.OnFrame = [this](const std::string&) { port.DeliverLater(2, "\r"); };
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), std::string(2, '\0'));
}

}  // namespace
