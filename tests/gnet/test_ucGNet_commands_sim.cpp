// The device commands against the reader emulator on a pseudo-terminal: the real line, the real timing.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "tests/gnet/sim_readers.h"

namespace {

using test_support::SimReaders;

std::string HexImage(const msrsim::RegisterImage& image) {
  std::string text;
  for (uint8_t byte : image) text += ucGNet::HexByte(byte);
  return text;
}

size_t CountRequests(const msrsim::EmulatedReader& reader, const std::string& request) {
  const std::vector<std::string> requests = reader.Requests();
  return static_cast<size_t>(std::count(requests.begin(), requests.end(), request));
}

class CommandsOnSim : public ::testing::Test {
 protected:
  // Starts `config` as COM5 and opens it at the reader's rate.
  msrsim::EmulatedReader* Start(msrsim::ReaderConfig config, SimReaders::LogHook on_log = nullptr) {
    msrsim::EmulatedReader* reader = readers.Add("COM5", std::move(config), std::move(on_log));
    if (!reader) return nullptr;
    gnet.OnMessage = [this](std::string& type, const std::string& msg) {
      messages.push_back(type + ": " + msg);
    };
    gnet.SetCommPort("COM5");
    gnet.SetPortOpen(true);
    EXPECT_TRUE(gnet.PortOpen()) << (messages.empty() ? "" : messages.back());
    gnet.SetSettings("19200,N,8,1");
    gnet.SetGNetTimeout(200);
    return reader;
  }

  SimReaders readers;
  ucGNet gnet;  // closes its port before the readers go
  std::vector<std::string> messages;
};

TEST_F(CommandsOnSim, RegistersVersionAndErrorReplies) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  config.registers[0x12] = 0x5A;
  config.registers[0x30] = 0x44;
  config.bad_checksum_every = 2;
  config.refused_writes.registers = {0x30};
  msrsim::EmulatedReader* reader = Start(config);
  ASSERT_NE(reader, nullptr);

  EXPECT_EQ(gnet.GetVersion(), "12345678, V1.05");
  uint8_t value = 0;
  EXPECT_TRUE(gnet.GetRegister(0x12, value));
  EXPECT_EQ(value, 0x5A);
  // The second checksummed reply is wrong: the read is tried once more and then succeeds.
  EXPECT_TRUE(gnet.GetRegister(0x112, value));
  EXPECT_EQ(value, 0x5A);
  EXPECT_EQ(CountRequests(*reader, "B12"), 3u);

  EXPECT_TRUE(gnet.SetRegister(0x20, 0x77));
  EXPECT_EQ(reader->Register(0x20), 0x77);
  EXPECT_TRUE(messages.empty());

  // A register that refuses writes: two tries, two messages, the value kept.
  EXPECT_FALSE(gnet.SetRegister(0x30, 0x01));
  EXPECT_EQ(CountRequests(*reader, "C30,01" + ucGNet::HexByte(ucGNet::CalcChkSum("C30,01"))), 2u);
  EXPECT_EQ(messages, (std::vector<std::string>{"Error: SetRegister - Reg=48, Err=E3",
                                                "Error: SetRegister - Reg=48, Err=E3"}));
  EXPECT_EQ(reader->Register(0x30), 0x44);
}

TEST_F(CommandsOnSim, VerifiedDumpSeesWritesAndDistrustsReadsThatDisagree) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  for (size_t i = 0; i < 200; ++i) config.registers[i] = static_cast<uint8_t>(i * 7);
  config.registers[0x40] = 0x11;
  // The register changes between the first two dumps, as when someone sets the reader up meanwhile. The
  // first dump's bytes are already on their way when its log line comes.
  std::atomic<int> dumps{0};
  msrsim::EmulatedReader* reader =
      Start(config, [&dumps](msrsim::EmulatedReader& self, const std::string& line) {
        if (line.rfind("Y ", 0) == 0 && ++dumps == 1) self.SetRegister(0x40, 0xAB);
      });
  ASSERT_NE(reader, nullptr);

  EXPECT_EQ(gnet.RegistersDumpEx(100), "");
  EXPECT_EQ(dumps, 2);
  const std::string image = gnet.RegistersDumpEx(100);
  EXPECT_EQ(image, HexImage(reader->Registers()));
  EXPECT_EQ(image.substr(0x40 * 2, 2), "AB");
  EXPECT_EQ(dumps, 4);

  // A write right after a verified dump must show in the next one, cache or not.
  ASSERT_TRUE(gnet.SetRegister(0x20, 0x77));
  const std::string after_write = gnet.RegistersDumpEx(100);
  EXPECT_EQ(after_write.substr(0x20 * 2, 2), "77");
  EXPECT_EQ(after_write, HexImage(reader->Registers()));
  EXPECT_EQ(dumps, 6);
  EXPECT_EQ(gnet.RegistersDumpEx(100), after_write);  // and then it is reused
  EXPECT_EQ(dumps, 6);
  EXPECT_TRUE(messages.empty());
}

TEST_F(CommandsOnSim, ShortDumpIsRejected) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  config.dump_bytes = 200;
  msrsim::EmulatedReader* reader = Start(config);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(gnet.RegistersDump(100), "");
  EXPECT_EQ(gnet.RegistersDumpEx(100), "");
  EXPECT_EQ(CountRequests(*reader, "Y"), 2u);  // a failed first read is not repeated
  // The line is usable afterwards: nothing of the cut table is left to confuse the next reply.
  EXPECT_EQ(gnet.GetVersion(), "12345678, V1.05");
}

TEST_F(CommandsOnSim, PacedDumpWaitsForItsFirstByteAndEndsAfterTheQuiet) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  config.pacing = true;
  config.latency_ms = 150;
  for (size_t i = 0; i < 256; ++i) config.registers[i] = static_cast<uint8_t>(255 - i);
  msrsim::EmulatedReader* reader = Start(config);
  ASSERT_NE(reader, nullptr);

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
  EXPECT_EQ(dump, HexImage(reader->Registers()));
  // 150 ms until the first byte, about 133 ms of bytes at 19200 baud, then the quiet of the tail, during
  // which the wait yields to the loop.
  EXPECT_GE(elapsed, 150 + 133 + ucGNet::kDumpTailMs - 10);
  EXPECT_LT(elapsed, 1000);
  EXPECT_TRUE(timer_ran);
  EXPECT_EQ(messages, std::vector<std::string>{"Error: SendGNetCMD - Sending other command error!"});
  EXPECT_EQ(CountRequests(*reader, "V"), 0u);
}

}  // namespace
