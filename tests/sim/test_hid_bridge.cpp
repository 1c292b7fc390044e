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

// The next input report up to its last used byte, as hex; "" when none waits.
std::string NextInput(HidBridge& bridge) {
  if (!bridge.HasInput()) return "";
  const HidReport report = bridge.FrontInput();
  bridge.PopInput();
  const size_t used = report[0] == HidBridge::kDataReport ? 2 + report[1] : 4 + report[3];
  std::string hex;
  for (size_t i = 0; i < used; ++i) hex += (i ? " " : "") + HexByte(report[i]);
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
      {"02 01 03 80 25 00", "03 01 02 00"},
      {"02 02 02 31 1E", "03 02 00 00"},
      {"02 02 02 80 1E", "03 02 02 00"},  // the table ends at 127
      {"02 03 01 02", "03 03 02 00"},
      {"02 03 01 00", "03 03 00 00"},
      {"02 04 00", "03 04 00 0E 48 49 44 42 52 49 44 47 45 20 31 2E 30 30"},
      {"02 04 01 00", "03 04 02 00"},
      {"02 05 00", "03 05 00 01 00"},
      {"02 0A 02 10 5A", "03 0A 00 00"},
      {"02 09 01 10", "03 09 00 02 10 5A"},
      {"02 09 00", "03 09 02 00"},
      {"02 0B 00", "03 0B 00 00"},
      {"02 09 01 10", "03 09 00 02 10 FF"},
      {"02 CB 00", "03 CB 00 00"},
      {"02 07 00", "03 07 01 00"},
      {"02 07 02 AA BB", "03 07 01 00"},
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
  const struct {
    const char* report;
    bool pad;  // padded to 64 bytes as a host sends it, or exactly these bytes
  } bad[] = {
      {"07 01 41", true},     {"03 01 00 00", true},     {"01 3F 41", true}, {"02 01 3E 00", true},
      {"01 05 41 42", false}, {"02 01 04 00 4B", false}, {"02 01", false},   {"", false},
  };
  size_t dropped = 0;
  for (const auto& b : bad) {
    const HidBridge::Output output = Send(bridge, b.report, b.pad);
    EXPECT_TRUE(output.to_reader.empty()) << b.report;
    EXPECT_FALSE(bridge.HasInput()) << b.report;
    EXPECT_EQ(bridge.DroppedReports(), ++dropped) << b.report;
    EXPECT_NE(output.log.find("dropped"), std::string::npos) << b.report;
  }
  const Bytes too_long(kHidReportSize + 1, 0x01);
  EXPECT_TRUE(bridge.TakeOutputReport(too_long.data(), too_long.size()).to_reader.empty());
  EXPECT_EQ(bridge.DroppedReports(), ++dropped);
  EXPECT_EQ(bridge.Rate(), 19200u) << "the cut-short rate request changed nothing";

  // A short report that holds its data is taken; so is the example poll of the protocol page.
  EXPECT_EQ(Send(bridge, "01 02 41 42", false).to_reader, FromHex("41 42"));
  EXPECT_EQ(Send(bridge, "01 03 02 44 0D").to_reader, FromHex("02 44 0D"));
  EXPECT_EQ(bridge.DroppedReports(), dropped);
}

TEST(HidBridge, ReaderBytesGoOutIn62ByteReportsUntilDiscardedOrTypedAsKeys) {
  HidBridge bridge;
  Bytes reply(200);
  for (size_t i = 0; i < reply.size(); ++i) reply[i] = static_cast<uint8_t>(i);
  bridge.TakeReaderBytes(reply.data(), reply.size());
  const uint8_t more[] = {0xEE, 0xEF};
  bridge.TakeReaderBytes(more, sizeof more);  // joins the last report, which has room
  Bytes received;
  std::vector<int> sizes;
  while (bridge.HasInput()) {
    const HidReport& report = bridge.FrontInput();
    EXPECT_EQ(report[0], HidBridge::kDataReport);
    sizes.push_back(report[1]);
    received.insert(received.end(), report.begin() + 2, report.begin() + 2 + report[1]);
    bridge.PopInput();
  }
  EXPECT_EQ(sizes, (std::vector<int>{62, 62, 62, 16}));
  reply.insert(reply.end(), more, more + sizeof more);
  EXPECT_EQ(received, reply);

  // Discard takes the reader's bytes not yet handed over, but no reply waiting before it.
  bridge.TakeReaderBytes(reply.data(), 70);
  Send(bridge, "02 05 00");
  bridge.TakeReaderBytes(reply.data(), 5);
  Send(bridge, "02 CB 00");
  EXPECT_EQ(NextInput(bridge), "03 05 00 01 00");
  EXPECT_EQ(NextInput(bridge), "03 CB 00 00");
  EXPECT_FALSE(bridge.HasInput());

  // Mode 1: the reader's bytes are typed, none come on report 0x01; the host's still reach the reader.
  Send(bridge, "02 03 01 01");
  EXPECT_EQ(NextInput(bridge), "03 03 00 00");
  bridge.TakeReaderBytes(reply.data(), 10);
  EXPECT_FALSE(bridge.HasInput());
  EXPECT_EQ(Send(bridge, "01 01 56").to_reader, FromHex("56"));
  Send(bridge, "02 05 00");
  EXPECT_EQ(NextInput(bridge), "03 05 00 01 01");
}

}  // namespace
}  // namespace msrsim
