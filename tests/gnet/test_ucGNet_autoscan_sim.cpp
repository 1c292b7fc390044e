// The scan against emulated readers on pseudo-terminals: a reader at another rate sends noise, as it would
// on a real line, and the scan must get past it to the reader it looks for.
#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "tests/gnet/sim_readers.h"

namespace {

using test_support::SimReaders;

// What a reader saw: "rate:request" for each transaction, "(garbled)" when the host listened at another rate.
std::vector<std::string> Seen(const msrsim::EmulatedReader& reader) {
  std::vector<std::string> seen;
  for (const msrsim::Transaction& t : reader.Transactions()) {
    seen.push_back(std::to_string(t.host_rate) + ":" + t.request +
                   (t.fate == msrsim::ReplyFate::kGarbled ? "(garbled)" : ""));
  }
  return seen;
}

TEST(ScanOnSim, FindsTheMatchingReaderAtItsRateAndNeverTouchesCom17) {
  SimReaders readers;
  msrsim::EmulatedReader* other = readers.Add("COM2", SimReaders::Reader("KRD12,2TRACK,UART", 38400));
  msrsim::EmulatedReader* wanted = readers.Add("COM3", SimReaders::Reader("KRD36AR,3TRACK,UART", 9600));
  msrsim::EmulatedReader* high = readers.Add("COM17", SimReaders::Reader("KRD36AR,3TRACK,UART", 9600));
  ASSERT_TRUE(other && wanted && high);
  ucGNet gnet;
  std::vector<std::string> scan_messages;
  std::string scanned;
  gnet.OnMessage = [&](std::string& type, const std::string& msg) {
    if (type != "Scan") return;
    scan_messages.push_back(msg);
    // Each port's scan starts with the scan's own time-out. Noise makes every poll at a wrong rate wait it
    // out three times, so the test shortens it once seen.
    if (msg.rfind("Scan ", 0) != 0 || msg.substr(5, msg.find(',') - 5) == scanned) return;
    scanned = msg.substr(5, msg.find(',') - 5);
    EXPECT_EQ(gnet.GNetTimeout(), ucGNet::kScanTimeoutMs) << msg;
    gnet.SetGNetTimeout(120);
  };
  std::string module, port = "COM17";  // preferred, and still left out
  int32_t rate = 9600;
  bool found = false;
  ASSERT_TRUE(gnet.AutoScan(module, ",38400", port, rate, "KRD36AR", false, found));
  EXPECT_TRUE(found);
  EXPECT_EQ(port, "COM3");
  EXPECT_EQ(rate, 9600);
  EXPECT_EQ(module, "KRD36AR,3TRACK,UART");
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

}  // namespace
