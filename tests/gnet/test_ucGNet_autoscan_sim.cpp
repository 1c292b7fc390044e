// The scan against emulated readers on pseudo-terminals. A reader at another rate sends noise, as it
// would on a real line, and the scan must get past it.
#include <gtest/gtest.h>

#include <algorithm>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "tests/gnet/sim_readers.h"

namespace {

using test_support::SimReaders;

// What a reader saw: "rate:request" for each transaction it answered, "(garbled)" when the host listened
// at another rate.
std::vector<std::string> Seen(const msrsim::EmulatedReader& reader) {
  std::vector<std::string> seen;
  for (const msrsim::Transaction& t : reader.Transactions()) {
    seen.push_back(std::to_string(t.host_rate) + ":" + t.request +
                   (t.fate == msrsim::ReplyFate::kGarbled ? "(garbled)" : ""));
  }
  return seen;
}

class ScanOnSim : public ::testing::Test {
 protected:
  void SetUp() override {
    gnet.OnMessage = [this](std::string& type, const std::string& msg) {
      if (type != "Scan") return;
      scan_messages.push_back(msg);
      if (msg.rfind("Scan ", 0) != 0) return;
      // The scan sets its own reply time-out for each port. Noise from a reader at another rate makes
      // every poll wait out that time three times, so the test shortens it once it has seen it.
      const std::string scanned = msg.substr(5, msg.find(',') - 5);
      if (scanned == last_scanned) return;
      last_scanned = scanned;
      scan_timeouts.push_back(gnet.GNetTimeout());
      gnet.SetGNetTimeout(120);
    };
  }
  bool Run(const std::string& rates, const std::string& names, bool only_this_port = false) {
    bool found = false;
    last_scanned.clear();
    EXPECT_EQ(gnet.AutoScan(module, rates, port, rate, names, only_this_port, found), found);
    EXPECT_TRUE(std::all_of(scan_timeouts.begin(), scan_timeouts.end(),
                            [](int32_t t) { return t == ucGNet::kScanTimeoutMs; }));
    return found;
  }

  SimReaders readers;
  ucGNet gnet;
  std::vector<std::string> scan_messages;
  std::vector<int32_t> scan_timeouts;  // as each port's scan began
  std::string last_scanned;
  std::string module;
  std::string port;
  int32_t rate = 19200;
};

TEST_F(ScanOnSim, FindsTheMatchingReaderAtItsRateAndNeverTouchesCom17) {
  msrsim::EmulatedReader* other = readers.Add("COM2", SimReaders::Reader("KRD12,2TRACK,UART", 38400));
  msrsim::EmulatedReader* wanted = readers.Add("COM3", SimReaders::Reader("KRD36AR,3TRACK,UART", 9600));
  msrsim::EmulatedReader* high = readers.Add("COM17", SimReaders::Reader("KRD36AR,3TRACK,UART", 9600));
  ASSERT_TRUE(other && wanted && high);

  port = "COM17";  // preferred, and still left out
  rate = 9600;
  ASSERT_TRUE(Run(",38400", "KRD36AR"));
  EXPECT_EQ(port, "COM3");
  EXPECT_EQ(rate, 9600);
  EXPECT_EQ(module, "KRD36AR,3TRACK,UART");
  EXPECT_TRUE(gnet.PortOpen());
  EXPECT_EQ(gnet.CommPort(), "COM3");
  // COM2 hears three polls at 9600 (noise back), then answers at 38400 twice (the empty last entry keeps
  // the rate) with a name that does not match.
  EXPECT_EQ(Seen(*other), (std::vector<std::string>{"9600:D(garbled)", "9600:D(garbled)", "9600:D(garbled)",
                                                    "38400:D", "38400:D"}));
  EXPECT_EQ(Seen(*wanted), std::vector<std::string>{"9600:D"});
  EXPECT_EQ(high->TransactionCount(), 0u);
  EXPECT_EQ(scan_messages, (std::vector<std::string>{"Scan COM2, BaudRate=9600", "Scan COM2, BaudRate=38400",
                                                     "Scan COM2, BaudRate=", "Scan COM3, BaudRate=9600",
                                                     "Found KRD36AR,3TRACK,UART"}));
  // The found reader is ready for work at the rate it was found at.
  EXPECT_EQ(gnet.GetVersion(), "12345678, V1.05");
}

TEST_F(ScanOnSim, OtherRatesAreTriedOnlyWhenTheListBeginsWithAComma) {
  msrsim::EmulatedReader* reader = readers.Add("COM4", SimReaders::Reader("KRD36AR,3TRACK,UART", 9600));
  ASSERT_NE(reader, nullptr);
  port = "COM4";
  EXPECT_FALSE(Run("19200,9600", "KRD36AR"));
  EXPECT_EQ(scan_messages, std::vector<std::string>{"Scan COM4, BaudRate=19200"});
  EXPECT_FALSE(gnet.PortOpen());

  scan_messages.clear();
  ASSERT_TRUE(Run(",19200,9600", "KRD36AR"));
  EXPECT_EQ(rate, 9600);
  EXPECT_EQ(scan_messages.back(), "Found KRD36AR,3TRACK,UART");
  EXPECT_EQ(Seen(*reader).back(), "9600:D");
}

TEST_F(ScanOnSim, ReaderThatIsNotReadyYetIsStillFound) {
  msrsim::ReaderConfig config = SimReaders::Reader("KRD36AR,3TRACK,UART");
  config.not_ready_polls = 1;
  msrsim::EmulatedReader* reader = readers.Add("COM2", config);
  ASSERT_NE(reader, nullptr);
  ASSERT_TRUE(Run("19200", "KRD##AR*"));
  EXPECT_EQ(reader->Requests(), (std::vector<std::string>{"D", "D00"}));
  EXPECT_EQ(port, "COM2");
}

TEST_F(ScanOnSim, CancelFromATimerEndsTheScanAfterTheCurrentRate) {
  msrsim::ReaderConfig silent = SimReaders::Reader("KRD36AR,3TRACK,UART");
  silent.silent = true;
  msrsim::EmulatedReader* first = readers.Add("COM2", silent);
  msrsim::EmulatedReader* second = readers.Add("COM3", silent);
  ASSERT_TRUE(first && second);
  gnet.OnMessage = [this](std::string& type, const std::string& msg) {
    scan_messages.push_back(type + ": " + msg);
  };

  platform::Timer cancel;
  cancel.SetInterval(60);
  cancel.OnTimer = [&] {
    cancel.SetEnabled(false);
    gnet.SetGNetCancel(true);
  };
  cancel.SetEnabled(true);
  const int64_t start = platform::MonotonicMs();
  EXPECT_FALSE(Run(",9600", "KRD36AR"));
  const int64_t elapsed = platform::MonotonicMs() - start;
  gnet.SetGNetCancel(false);

  EXPECT_EQ(scan_messages,
            (std::vector<std::string>{"Scan: Scan COM2, BaudRate=19200", "General: SendGNetCMD - Cancel!"}));
  EXPECT_LT(elapsed, ucGNet::kScanTimeoutMs);  // the poll's wait ended with the cancel
  EXPECT_EQ(first->TransactionCount(), 1u);
  EXPECT_EQ(second->TransactionCount(), 0u);
  EXPECT_FALSE(gnet.PortOpen());
  EXPECT_FALSE(gnet.Busy());
}

}  // namespace
