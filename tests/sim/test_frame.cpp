#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/frame.h"
#include "sim/line_noise.h"

namespace msrsim {
namespace {

using Texts = std::vector<std::string>;

Texts FeedText(FrameReader& reader, const std::string& bytes) {
  return reader.Feed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

TEST(Checksum, IsThePlainByteSumWrittenAsTwoUpperCaseDigits) {
  EXPECT_EQ(Checksum("V"), 0x56);
  // 0x43 + 0x31 + 0x32 + 0x2C + 0x35 + 0x41 = 0x148, kept to 8 bits.
  EXPECT_EQ(Checksum("C12,5A"), 0x48);
  EXPECT_EQ(Checksum(""), 0);
  EXPECT_EQ(Checksum(std::string("\xff\002", 2)), 0x01);  // wraps, no complement
  EXPECT_EQ(HexByte(0x0A), "0A");
  EXPECT_EQ(HexByte(0xFF), "FF");
  EXPECT_EQ(HexByte(0x00), "00");

  const Bytes framed = FrameWithChecksum("V");
  EXPECT_EQ(std::string(framed.begin(), framed.end()), "\002V56\r");
  const Bytes plain = Frame("A");
  EXPECT_EQ(std::string(plain.begin(), plain.end()), "\002A\r");
}

TEST(FrameReader, AssemblesFramesSplitOverReadsAndSkipsNoiseBeforeStx) {
  FrameReader reader;
  EXPECT_TRUE(FeedText(reader, "junk\r\002V").empty());  // a CR outside a frame ends nothing
  EXPECT_TRUE(FeedText(reader, "5").empty());
  EXPECT_EQ(FeedText(reader, "6\r"), Texts{"V56"});
  EXPECT_EQ(FeedText(reader, "\002B01\r\002D\r\002C12,"), (Texts{"B01", "D"}));
  EXPECT_EQ(FeedText(reader, "5A48\r"), Texts{"C12,5A48"});
}

TEST(FrameReader, SecondStxRestartsEmptyFramesAreIgnoredLongFramesAreDropped) {
  FrameReader reader;
  EXPECT_EQ(FeedText(reader, "\002B0\002V\r"), Texts{"V"});
  EXPECT_TRUE(FeedText(reader, "\002\r").empty());

  const std::string longest(FrameReader::kMaxText, 'x');
  EXPECT_EQ(FeedText(reader, "\002" + longest + "\r"), Texts{longest});
  EXPECT_EQ(reader.DroppedFrames(), 0u);
  // One byte more: the frame is lost up to its CR, and the next frame is read normally.
  EXPECT_TRUE(FeedText(reader, "\002" + longest + "yy").empty());
  EXPECT_TRUE(FeedText(reader, "zz\r").empty());
  EXPECT_EQ(reader.DroppedFrames(), 1u);
  EXPECT_EQ(FeedText(reader, "\002V\r"), Texts{"V"});
}

TEST(LineNoise, HoldsNoFrameBytesAndFollowsTheRateRatio) {
  const Bytes reply = Frame("A,12345678, V1.05");
  const Bytes slower = Garble(reply, 19200, 9600, 7);
  EXPECT_EQ(slower.size(), reply.size() / 2);
  EXPECT_EQ(Garble(reply, 1200, 115200, 7).size(), reply.size() * 4) << "at most four times as many";
  EXPECT_EQ(Garble(reply, 19200, 9600, 7), slower) << "the same seed gives the same noise";
  EXPECT_NE(Garble(reply, 19200, 9600, 8), slower);

  for (uint32_t seed = 0; seed < 200; ++seed) {
    for (const uint8_t byte : Garble(Bytes(256, 0x41), 9600, 38400, seed)) {
      ASSERT_NE(byte, kStx);
      ASSERT_NE(byte, kCr);
    }
  }
}

}  // namespace
}  // namespace msrsim
