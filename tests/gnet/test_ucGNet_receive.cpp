#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "tests/gnet/fake_port.h"

namespace {

// The receive routine outside a transaction: every byte goes to OnChar, frames to OnPackage.
class Receive : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(gnet.AddPortObject(&port));
    gnet.SetCommPort("FAKE");
    gnet.SetPortOpen(true);
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

  FakePort port;
  ucGNet gnet;
  std::string chars;
  std::vector<std::string> packages;
};

TEST_F(Receive, NoiseBeforeStxAndDoubleStxStayOutOfThePackage) {
  Feed("xy\x02" "AB\x02" "CD\rz");
  EXPECT_EQ(packages, std::vector<std::string>{"ABCD"});
  EXPECT_EQ(chars, "xy\x02" "AB\x02" "CD\rz");  // the terminal sees every byte, STX and CR included
}

TEST_F(Receive, FramesSplitAcrossChunksAndBackToBackFrames) {
  Feed("\x02" "A,1");
  Feed(".23\r\x02" "N");
  Feed("\r");
  EXPECT_EQ(packages, (std::vector<std::string>{"A,1.23", "N"}));
}

TEST_F(Receive, CrRightAfterStxKeepsTheFrameOpen) {
  Feed("\x02\rAB\r");
  EXPECT_EQ(packages, std::vector<std::string>{"AB"});
}

TEST_F(Receive, OverlongFrameIsCutAt512Bytes) {
  std::string payload(600, 'x');
  payload[511] = 'L';  // the last byte that fits
  Feed("\x02" + payload + "\r");
  ASSERT_EQ(packages.size(), 1u);
  EXPECT_EQ(packages[0].size(), 512u);
  EXPECT_EQ(packages[0].back(), 'L');
  // The next frame starts clean.
  Feed("\x02ok\r");
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
  Feed("\r\x02" "A,fine\r");
  ASSERT_FALSE(packages.empty());
  EXPECT_EQ(packages.back(), "A,fine");
}

TEST_F(Receive, BytesDuringATransactionAreNotShownAsTerminalCharacters) {
  port.OnFrame = [this](const std::string&) { port.DeliverLater(2, "\x02" "A,1\r"); };
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A,1");
  EXPECT_EQ(chars, "");
  Feed("%B41^X?\r\n");  // a card swipe after the transaction is shown
  EXPECT_EQ(chars, "%B41^X?\r\n");
}

TEST_F(Receive, BareCrEndsTheWaitWithTheLastFramesLength) {
  // A CR outside a frame sets the package length from the last frame's index over a cleared package:
  // the transaction then returns that many NUL characters. Old readers end some replies this way.
  Feed("\x02" "AB\r");
  port.OnFrame = [this](const std::string&) { port.DeliverLater(2, "\r"); };
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), std::string(2, '\0'));
}

}  // namespace
