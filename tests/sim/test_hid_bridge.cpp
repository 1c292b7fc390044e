#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "sim/hid_bridge.h"

namespace msrsim {
namespace {

// "02 01 04 00 4B 00 00" as bytes.
Bytes FromHex(const std::string& hex) {
  Bytes bytes;
  std::istringstream in(hex);
  for (unsigned value = 0; in >> std::hex >> value;) bytes.push_back(static_cast<uint8_t>(value));
  return bytes;
}

// The next input report: a data report as "data:" and its bytes, a reply in hex up to its last used byte.
std::string NextInput(HidBridge& bridge) {
  if (!bridge.HasInput()) return "";
  const HidReport r = bridge.FrontInput();
  bridge.PopInput();
  if (r[0] == HidBridge::kDataReport) return "data:" + std::string(r.begin() + 2, r.begin() + 2 + r[1]);
  std::string hex = HexByte(r[0]);
  for (int i = 1; i < 4 + r[3]; ++i) hex += " " + HexByte(r[i]);
  return hex;
}

HidBridge::Output Send(HidBridge& bridge, const std::string& hex, bool pad = true) {
  Bytes report = FromHex(hex);
  if (pad) report.resize(kHidReportSize);
  return bridge.TakeOutputReport(report.data(), report.size());
}

TEST(HidBridge, AnswersEveryControlRequestAndRefusesBadData) {
  HidBridge bridge;
  const struct {
    const char* request;
    const char* reply;
  } exchanges[] = {
      {"02 01 04 00 4B 00 00", "03 01 00 00"},
      {"02 01 04 80 25 00 00", "03 01 00 00"},
      {"02 01 04 39 30 00 00", "03 01 02 00"},  // 12345 bit/s: refused, the rate stays 9600
      {"02 02 02 31 1E", "03 02 00 00"},
      {"02 02 02 80 1E", "03 02 02 00"},  // the table ends at 127
      {"02 03 01 02", "03 03 02 00"},
      {"02 03 01 00", "03 03 00 00"},
      {"02 04 00", "03 04 00 0E 48 49 44 42 52 49 44 47 45 20 31 2E 30 30"},
      {"02 04 01 00", "03 04 02 00"},  // a length other than the command's own
      {"02 05 00", "03 05 00 01 00"},
      {"02 0A 02 10 5A", "03 0A 00 00"},
      {"02 09 01 10", "03 09 00 02 10 5A"},
      {"02 0B 00", "03 0B 00 00"},
      {"02 09 01 10", "03 09 00 02 10 FF"},
      {"02 CB 00", "03 CB 00 00"},
      {"02 07 00", "03 07 01 00"},
  };
  for (const auto& e : exchanges) {
    EXPECT_TRUE(Send(bridge, e.request).to_reader.empty()) << e.request;
    EXPECT_EQ(NextInput(bridge), e.reply) << e.request;
  }
  EXPECT_EQ(bridge.Rate(), 9600u);
  EXPECT_EQ(bridge.KeyUsage(0x31), 0x1E);
  EXPECT_EQ(bridge.Register(0x20), 0xFF) << "erased";
  EXPECT_EQ(bridge.DroppedReports(), 0u);
}

TEST(HidBridge, DropsAndCountsReportsThatDoNotFitAndNeverHalfUsesThem) {
  HidBridge bridge;
  std::vector<Bytes> bad = {Bytes(kHidReportSize + 1, 0x01), Bytes()};
  for (const char* hex :
       {"07 01 41", "03 01 00 00", "01 3F 41", "02 01 3E 00", "01 05 41 42", "02 01 04 00 4B", "02 01"})
    bad.push_back(FromHex(hex));
  size_t dropped = 0;
  for (const Bytes& report : bad) {
    const HidBridge::Output output = bridge.TakeOutputReport(report.data(), report.size());
    EXPECT_TRUE(output.to_reader.empty() && !bridge.HasInput()) << report.size();
    EXPECT_EQ(bridge.DroppedReports(), ++dropped) << report.size();
    EXPECT_NE(output.log.find("dropped"), std::string::npos) << report.size();
  }
  EXPECT_EQ(bridge.Rate(), 19200u) << "the cut-short rate request changed nothing";

  // A short report that holds its data is taken; so is the example poll of the protocol page.
  EXPECT_EQ(Send(bridge, "01 02 41 42", false).to_reader, FromHex("41 42"));
  EXPECT_EQ(Send(bridge, "01 03 02 44 0D").to_reader, FromHex("02 44 0D"));
  EXPECT_EQ(bridge.DroppedReports(), dropped);
}

TEST(HidBridge, ReaderBytesGoOutIn62ByteReportsUntilDiscardedOrTypedAsKeys) {
  HidBridge bridge;
  const auto reader_sends = [&bridge](const std::string& text) {
    bridge.TakeReaderBytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  };
  reader_sends(std::string(130, 'r'));
  reader_sends("st");  // joins the last report, which has room
  EXPECT_EQ(NextInput(bridge), "data:" + std::string(62, 'r'));
  EXPECT_EQ(NextInput(bridge), "data:" + std::string(62, 'r'));
  EXPECT_EQ(NextInput(bridge), "data:rrrrrrst");

  // Discard takes the reader's bytes not yet handed over, but no reply waiting among them.
  reader_sends(std::string(70, 'r'));
  Send(bridge, "02 05 00");
  reader_sends("more");
  Send(bridge, "02 CB 00");
  EXPECT_EQ(NextInput(bridge), "03 05 00 01 00");
  EXPECT_EQ(NextInput(bridge), "03 CB 00 00");
  EXPECT_FALSE(bridge.HasInput());

  // Mode 1: the reader's bytes are typed, none come on report 0x01; the host's still reach the reader.
  Send(bridge, "02 03 01 01");
  EXPECT_EQ(NextInput(bridge), "03 03 00 00");
  reader_sends("typed");
  EXPECT_FALSE(bridge.HasInput());
  EXPECT_EQ(Send(bridge, "01 01 56").to_reader, FromHex("56"));
}

}  // namespace
}  // namespace msrsim
