#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/frame.h"
#include "sim/line_noise.h"
#include "sim/reader_core.h"

namespace msrsim {
namespace {

constexpr uint32_t kRate = 19200;

std::string Wire(const FeedResult& result) {
  std::string out;
  for (const LineOutput& output : result.outputs) out.append(output.bytes.begin(), output.bytes.end());
  return out;
}

std::string Framed(const std::string& text) {
  return "\002" + text + "\r";
}
std::string WithChecksum(const std::string& text) {
  return Framed(text + HexByte(Checksum(text)));
}

// Sends one request frame (checksum digits added when asked) and returns what went on the wire.
std::string Ask(ReaderCore& core, const std::string& text, bool checksum = false,
                uint32_t host_rate = kRate) {
  return Wire(core.Feed(checksum ? WithChecksum(text) : Framed(text), host_rate));
}

TEST(ReaderCore, AnswersRequestsAndWritesOnlyWithTheirChecksum) {
  ReaderConfig config;
  config.registers[0x12] = 0x3D;
  ReaderCore core(config);
  const struct {
    const char* request;
    bool checksum;  // checksum digits added to the request
    std::string reply;
  } exchanges[] = {
      {"V", false, "A,12345678, V1.05"},
      {"D", false, "A,KRD36AR,3TRACK,UART"},
      {"D05", false, "A,KRD36AR,3TRACK,UART"},
      {"B12", false, "A3DB8"},  // a read carries the checksum digits of "A" + value
      {"C12,5A", true, "A"},
      {"B12", false, "A5AB7"},
      {"C12,0049", false, kErrorChecksum},  // wrong or missing digits: refused, value unchanged
      {"C12,00", false, kErrorChecksum},
      {"c", false, kErrorCommand},
      {"C12;00", true, kErrorCommand},
      {"C1G,00", true, kErrorCommand},
      {"B1", false, kErrorCommand},
      {"V56", false, kErrorCommand},
      {"X", false, kErrorCommand},
      {"C2a,ff", true, "A"},  // lower-case hexadecimal is understood
  };
  for (const auto& e : exchanges) EXPECT_EQ(Ask(core, e.request, e.checksum), Framed(e.reply)) << e.request;
  EXPECT_EQ(core.Registers()[0x12], 0x5A);
  EXPECT_EQ(core.Registers()[0x2A], 0xFF);
  EXPECT_EQ(core.TransactionCount(), std::size(exchanges));

  // The default image: no alias, and the serial registers describe the line (19200 is code 4).
  const ReaderCore fresh(ReaderConfig{});
  const RegisterImage& image = fresh.Registers();
  for (int i = kAliasFirst; i < kAliasFirst + kAliasLength; ++i) EXPECT_EQ(image[i], 0xFF) << i;
  EXPECT_EQ(image[0x01], 4);
  EXPECT_EQ(image[0xF0], 0x00);
}

TEST(ReaderCore, HostAtAnotherRateGetsNoiseAndWriteOfBaudRegisterMovesAfterTheReply) {
  ReaderCore core(ReaderConfig{});
  const FeedResult garbled = core.Feed(Framed("V"), 9600);
  ASSERT_EQ(garbled.transactions.size(), 1u);
  EXPECT_EQ(garbled.transactions[0].fate, ReplyFate::kGarbled);
  const std::string noise = Wire(garbled);
  EXPECT_FALSE(noise.empty());
  EXPECT_EQ(noise.find('\002'), std::string::npos);

  // The "A" to the write still goes out at 19200; only then does the reader listen at 9600.
  const FeedResult moved = core.Feed(WithChecksum("C01,03"), kRate);
  ASSERT_EQ(moved.outputs.size(), 1u);
  EXPECT_EQ(Wire(moved), Framed("A"));
  EXPECT_EQ(moved.outputs[0].rate, kRate);
  EXPECT_EQ(moved.outputs[0].rate_after, 9600u);
  EXPECT_EQ(core.LineRate(), 9600u);
  EXPECT_EQ(Ask(core, "V", false, kRate).find('\002'), std::string::npos);
  EXPECT_EQ(Ask(core, "V", false, 9600), Framed("A,12345678, V1.05"));

  // A code the table does not know is stored, but the line stays.
  EXPECT_EQ(Ask(core, "C01,09", true, 9600), Framed("A"));
  EXPECT_EQ(core.Registers()[0x01], 0x09);
  EXPECT_EQ(core.LineRate(), 9600u);
  // Rate 0 means the host's speed cannot be seen (a real device): no garbling then.
  EXPECT_EQ(Ask(core, "V", false, 0), Framed("A,12345678, V1.05"));
}

TEST(ReaderCore, StartRateIsWrittenIntoTheBaudRegister) {
  ReaderConfig config;
  config.line_rate = 115200;
  ReaderCore core(config);
  EXPECT_EQ(core.Registers()[0x01], 7);

  config.serial_map.baud_register = 0x40;
  config.serial_map.baud_codes = {9600, 115200};
  ReaderCore other(config);
  EXPECT_EQ(other.Registers()[0x40], 1);
  EXPECT_EQ(Ask(other, "C40,00", true, 115200), Framed("A"));
  EXPECT_EQ(other.LineRate(), 9600u);
  other.SetRegister(0x40, 1);
  EXPECT_EQ(other.LineRate(), 115200u);

  // Without a baud-rate register the image stays as loaded and no write moves the line.
  config.serial_map.baud_register = -1;
  ReaderCore unmapped(config);
  EXPECT_EQ(unmapped.Registers(), config.registers);
  EXPECT_EQ(Ask(unmapped, "CFF,00", true, 115200), Framed("A"));
  EXPECT_EQ(unmapped.LineRate(), 115200u);
}

TEST(ReaderCore, DropsEveryNthReplyAndSpoilsEveryNthChecksum) {
  ReaderConfig config;
  config.drop_every = 3;
  config.bad_checksum_every = 2;
  ReaderCore core(config);
  EXPECT_EQ(Ask(core, "B05"), Framed("A00A1"));
  const std::string spoiled = Ask(core, "B05");
  EXPECT_EQ(spoiled, Framed("A00A2")) << "the value stays, the digits are off by one";
  const FeedResult third = core.Feed(Framed("V"), kRate);
  EXPECT_EQ(third.transactions.at(0).fate, ReplyFate::kDropped);
  EXPECT_TRUE(Wire(third).empty());
  EXPECT_EQ(Ask(core, "V"), Framed("A,12345678, V1.05"));
  EXPECT_EQ(core.TransactionCount(), 4u);
}

TEST(ReaderCore, NotReadyPollsRefusedAndIgnoredWritesShortDumpAndSilence) {
  ReaderConfig config;
  config.not_ready_polls = 2;
  config.refused_writes.registers = {0x20};
  config.ignored_writes.registers = {0x21};
  config.dump_bytes = 100;
  ReaderCore core(config);

  EXPECT_EQ(Ask(core, "D"), Framed("N"));
  EXPECT_EQ(Ask(core, "D01"), Framed("N"));
  EXPECT_EQ(Ask(core, "D"), Framed("A,KRD36AR,3TRACK,UART"));

  EXPECT_EQ(Ask(core, "C20,11", true), Framed(kErrorRefused));
  EXPECT_EQ(Ask(core, "C21,11", true), Framed("A"));
  EXPECT_EQ(Ask(core, "C22,11", true), Framed("A"));
  EXPECT_EQ(core.Registers()[0x20], 0x00);
  EXPECT_EQ(core.Registers()[0x21], 0x00);
  EXPECT_EQ(core.Registers()[0x22], 0x11);

  EXPECT_EQ(Ask(core, "Y").size(), 100u);

  config = ReaderConfig{};
  config.silent = true;
  config.ignored_writes.all = true;
  ReaderCore silent(config);
  const FeedResult result = silent.Feed(WithChecksum("C30,01") + Framed("V"), kRate);
  EXPECT_TRUE(Wire(result).empty());
  ASSERT_EQ(result.transactions.size(), 2u);
  EXPECT_EQ(result.transactions[0].fate, ReplyFate::kSilent);
  EXPECT_EQ(silent.Registers()[0x30], 0x00);
}

TEST(ReaderCore, ClosesAfterTheNthTransactionAndTakesNothingMore) {
  ReaderConfig config;
  config.close_after = 2;
  ReaderCore core(config);
  const FeedResult result = core.Feed(Framed("V") + Framed("D") + Framed("V"), kRate);
  ASSERT_EQ(result.transactions.size(), 2u);
  ASSERT_EQ(result.outputs.size(), 2u);
  EXPECT_FALSE(result.outputs[0].close_after);
  EXPECT_TRUE(result.outputs[1].close_after);
  EXPECT_EQ(Wire(result), Framed("A,12345678, V1.05") + Framed("A,KRD36AR,3TRACK,UART"));
  EXPECT_TRUE(core.Closed());
  EXPECT_TRUE(core.Feed(Framed("V"), kRate).transactions.empty());
  EXPECT_FALSE(core.Swipe("x", kRate));
}

TEST(ReaderCore, SwipeSendsTrackDataWithCrLfAndIsGarbledLikeAReply) {
  ReaderCore core(ReaderConfig{});
  const auto swipe = core.Swipe(kDefaultSwipeText, kRate);
  ASSERT_TRUE(swipe);
  EXPECT_EQ(std::string(swipe->bytes.begin(), swipe->bytes.end()), std::string(kDefaultSwipeText) + "\r\n");
  EXPECT_FALSE(swipe->is_reply);
  const auto garbled = core.Swipe("abc", 38400);
  ASSERT_TRUE(garbled);
  EXPECT_NE(std::string(garbled->bytes.begin(), garbled->bytes.end()), "abc\r\n");
  EXPECT_EQ(core.TransactionCount(), 0u) << "a swipe is no transaction";
}

using Texts = std::vector<std::string>;

Texts FeedText(FrameReader& reader, const std::string& bytes) {
  return reader.Feed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
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
