// The device commands against the reader emulator on a pseudo-terminal: the real line, the real timing.
#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "tests/gnet/sim_readers.h"

namespace {

using test_support::SimReaders;

TEST(CommandsOnSim, RegisterAccessAndAPacedDumpThatWaitsForItsFirstByteAndEndsAfterTheQuiet) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  config.pacing = true;
  config.latency_ms = 150;
  for (size_t i = 0; i < 256; ++i) config.registers[i] = static_cast<uint8_t>(255 - i);
  SimReaders readers;
  msrsim::EmulatedReader* reader = readers.Add("COM5", config);
  ASSERT_NE(reader, nullptr);
  ucGNet gnet;  // closes its port before the readers go
  std::vector<std::string> messages;
  gnet.OnMessage = [&](std::string& type, const std::string& msg) { messages.push_back(type + ": " + msg); };
  gnet.SetCommPort("COM5");
  gnet.SetPortOpen(true);
  ASSERT_TRUE(gnet.PortOpen()) << (messages.empty() ? "" : messages.back());
  gnet.SetSettings("19200,N,8,1");
  gnet.SetGNetTimeout(400);

  // Both ends agree on the checksum digits.
  EXPECT_TRUE(gnet.SetRegister(0x20, 0x77));
  EXPECT_EQ(reader->Register(0x20), 0x77);
  uint8_t value = 0;
  EXPECT_TRUE(gnet.GetRegister(0x20, value));
  EXPECT_EQ(value, 0x77);
  EXPECT_EQ(reader->Requests(), (std::vector<std::string>{"C20,773F", "B20"}));

  // The user interface keeps running during the dump; a command started from it is refused.
  bool timer_ran = false;
  platform::Timer click;
  click.SetInterval(30);
  click.OnTimer = [&] {
    click.SetEnabled(false);
    timer_ran = true;
    gnet.SendGNetCMD("V", false, false);
  };
  click.SetEnabled(true);
  const int64_t start = platform::MonotonicMs();
  const std::string dump = gnet.RegistersDump(1000);
  const int64_t elapsed = platform::MonotonicMs() - start;
  std::string expected;
  for (uint8_t byte : reader->Registers()) expected += ucGNet::HexByte(byte);
  EXPECT_EQ(dump, expected);
  // 150 ms until the first byte, about 133 ms of bytes at 19200 baud, then the quiet of the tail, during
  // which the wait yields to the loop.
  EXPECT_GE(elapsed, 150 + 133 + ucGNet::kDumpTailMs - 10);
  EXPECT_LT(elapsed, 1000);
  EXPECT_TRUE(timer_ran);
  EXPECT_EQ(messages, std::vector<std::string>{"Error: SendGNetCMD - Sending other command error!"});
  EXPECT_EQ(reader->Requests().back(), "Y");
}

}  // namespace
