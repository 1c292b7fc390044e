// A reader whose line goes away while the engine works on it: in a scan, a dump and a register write.
// Each ends within its own time-out (and a second of slack), leaves the port closed, tells a later command
// so, and the reader plugged in again under the same name is found by the next scan.
#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/event_loop.h"
#include "tests/gnet/sim_readers.h"

namespace {

using test_support::SimReaders;

constexpr int64_t kSlackMs = 1000;
constexpr const char* kModel = "KRD36AR,3TRACK,UART";

// Pulls the plug: closes the reader's line from the event loop `after_ms` from now, inside whatever wait
// the engine is in then, and remembers when.
class Unplug {
 public:
  Unplug(msrsim::EmulatedReader& reader, int after_ms) {
    timer_.SetInterval(after_ms);
    timer_.OnTimer = [this, &reader] {
      timer_.SetEnabled(false);
      closed_at_ = platform::MonotonicMs();
      reader.CloseLine();
    };
    timer_.SetEnabled(true);
  }
  // Milliseconds since the line closed; fails the test when it never did.
  int64_t SinceClose() const {
    EXPECT_GE(closed_at_, 0) << "the line was not closed";
    return platform::MonotonicMs() - closed_at_;
  }

 private:
  platform::Timer timer_;
  int64_t closed_at_ = -1;
};

class EngineUnplug : public ::testing::Test {
 protected:
  EngineUnplug() {
    gnet.OnMessage = [this](std::string& type, const std::string& msg) {
      messages.push_back(type + ": " + msg);
    };
  }
  // A reader (again) on COM3 whose every reply comes late, so that the line can go while the engine waits.
  msrsim::EmulatedReader* PlugIn() {
    msrsim::ReaderConfig config = SimReaders::Reader(kModel);
    config.latency_ms = 300;
    return readers.Add("COM3", config);
  }
  bool Scan() {
    std::string module, port = "COM3";
    int32_t rate = 19200;
    bool found = false;
    gnet.AutoScan(module, "19200", port, rate, "KRD36AR", true, found);
    return found && module == kModel;
  }

  SimReaders readers;
  ucGNet gnet;  // after the readers: its port closes first
  std::vector<std::string> messages;
};

TEST_F(EngineUnplug, ScanDumpAndWriteEndOnTheDeadLineAndTheReaderIsFoundAgain) {
  // The scan: the poll is on its way when the line goes.
  msrsim::EmulatedReader* reader = PlugIn();
  ASSERT_NE(reader, nullptr);
  {
    Unplug unplug(*reader, 100);
    EXPECT_FALSE(Scan());
    EXPECT_LT(unplug.SinceClose(), ucGNet::kScanTimeoutMs + kSlackMs);
    EXPECT_FALSE(gnet.PortOpen());
  }

  // The dump: the reader has been asked and is about to send its table.
  reader = PlugIn();
  ASSERT_TRUE(reader != nullptr && Scan());
  {
    Unplug unplug(*reader, 100);
    EXPECT_EQ(gnet.RegistersDumpEx(gnet.GNetTimeout()), "");
    EXPECT_LT(unplug.SinceClose(), gnet.GNetTimeout() + kSlackMs);
    EXPECT_FALSE(gnet.PortOpen());
  }

  // A register write, and the command after it, which must not touch the dead line.
  reader = PlugIn();
  ASSERT_TRUE(reader != nullptr && Scan());
  {
    Unplug unplug(*reader, 100);
    EXPECT_FALSE(gnet.SetRegister(0x20, 0x77));
    EXPECT_LT(unplug.SinceClose(), gnet.GNetTimeout() + kSlackMs);
    EXPECT_FALSE(gnet.PortOpen());
  }
  messages.clear();
  EXPECT_EQ(gnet.GetVersion(), "");
  EXPECT_EQ(messages, std::vector<std::string>{"Error: SendGNetCMD - Port is Close!"});

  reader = PlugIn();
  ASSERT_NE(reader, nullptr);
  EXPECT_TRUE(Scan());
  EXPECT_EQ(gnet.GetVersion(), "12345678, V1.05");
}

}  // namespace
