#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/frame.h"
#include "sim/options.h"
#include "sim/register_file.h"
#include "tests/support/temp_dir.h"

namespace msrsim {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// An image of `fill` but for the baud-rate code 3 (9600) in register 1 and A5 in register 0x10.
std::string ImageHex(uint8_t fill, int blanks_every = 0) {
  std::string hex;
  for (int i = 0; i < 256; ++i) {
    if (blanks_every > 0 && i > 0 && i % blanks_every == 0) hex += ' ';
    hex += i == 1 ? "03" : (i == 0x10 ? "A5" : HexByte(fill));
  }
  return hex;
}

TEST(RegisterFile, LoadsTheImageWithBlanksAndRejectsBrokenOnesClearly) {
  test_support::TempDir dir("msrsim-cfg");
  const std::string good = dir.WriteFile(
      "good.cfg", "[MSRRegister]\r\nModule = KRD36AR\r\nRegisters = " + ImageHex(0x0C, 16) + "\r\n");
  RegisterImage image{};
  std::string error;
  ASSERT_TRUE(LoadRegisterFile(good, image, error)) << error;
  EXPECT_EQ(image[0x01], 0x03);
  EXPECT_EQ(image[0x10], 0xA5);
  EXPECT_EQ(image[0xFF], 0x0C);

  std::string bad_digit = ImageHex(0x0C);
  bad_digit[40] = 'X';
  const std::string bad = dir.WriteFile("bad.cfg", "[MSRRegister]\nRegisters = " + bad_digit + "\n");
  RegisterImage untouched{};
  EXPECT_FALSE(LoadRegisterFile(bad, untouched, error));
  EXPECT_THAT(error, HasSubstr("bad.cfg"));
  EXPECT_THAT(error, HasSubstr("register 20 is not hexadecimal"));
  EXPECT_EQ(untouched[0x01], 0x00) << "a failed load leaves the image alone";

  const std::string short_file = dir.WriteFile("short.cfg", "[MSRRegister]\nRegisters = 0102\n");
  EXPECT_FALSE(LoadRegisterFile(short_file, image, error));
  EXPECT_THAT(error, HasSubstr("holds 2 bytes"));
  const std::string no_key = dir.WriteFile("nokey.cfg", "[Other]\nRegisters = " + ImageHex(0) + "\n");
  EXPECT_FALSE(LoadRegisterFile(no_key, image, error));
  EXPECT_THAT(error, HasSubstr("no key Registers"));
  EXPECT_FALSE(LoadRegisterFile(dir.File("missing.cfg"), image, error));
  EXPECT_THAT(error, HasSubstr("no such file"));
}

TEST(RegisterFile, SavedImageLoadsBackUnchangedWithItsModelAndAlias) {
  test_support::TempDir dir("msrsim-save");
  RegisterImage image{};
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 7);
  SetAlias(image, "SHOP-1");
  std::string error;
  const std::string path = dir.File("end.cfg");
  ASSERT_TRUE(SaveRegisterFile(path, image, "KRD36AR", error)) << error;
  RegisterImage loaded{};
  ASSERT_TRUE(LoadRegisterFile(path, loaded, error)) << error;
  EXPECT_EQ(loaded, image);
  const std::string text = dir.ReadFile("end.cfg");
  EXPECT_THAT(text, HasSubstr("Module = KRD36AR"));
  EXPECT_THAT(text, HasSubstr("AliasName = SHOP-1"));

  // A line break in the alias area stays in the image but not in an AliasName line; saving again replaces
  // the file, an old alias included.
  image[kAliasFirst + 1] = '\n';
  ASSERT_TRUE(SaveRegisterFile(path, image, "KRD36AR", error)) << error;
  ASSERT_TRUE(LoadRegisterFile(path, loaded, error)) << error;
  EXPECT_EQ(loaded, image);
  EXPECT_THAT(dir.ReadFile("end.cfg"), Not(HasSubstr("AliasName")));

  // A file where the folder should be.
  EXPECT_FALSE(SaveRegisterFile(dir.File("end.cfg/inner.cfg"), image, "KRD36AR", error));
  EXPECT_THAT(error, HasSubstr("inner.cfg"));
}

TEST(CommandLine, OptionsBeforeTheFirstReaderApplyToAllAndAfterItToOne) {
  ProgramOptions options;
  std::string error;
  ASSERT_TRUE(
      ParseCommandLine({"--log=stdout", "--latency", "5", "--reader", "--id", "KRD12,X", "--register", "com7",
                        "--reader", "--not-ready=2", "--refuse-writes", "0x10,18", "--ignore-writes", "all"},
                       options, error))
      << error;
  EXPECT_EQ(options.log, LogTarget::kStdout);
  ASSERT_EQ(options.readers.size(), 2u);
  const ReaderArgs& first = options.readers[0];
  const ReaderArgs& second = options.readers[1];
  EXPECT_EQ(first.config.latency_ms, 5);
  EXPECT_EQ(second.config.latency_ms, 5);
  EXPECT_EQ(first.config.identification, "KRD12,X");
  EXPECT_EQ(second.config.identification, kDefaultIdentification);
  EXPECT_EQ(first.com_name, "COM7");
  EXPECT_EQ(second.com_name, "");
  EXPECT_EQ(second.config.not_ready_polls, 2);
  EXPECT_TRUE(second.config.refused_writes.Contains(0x10));
  EXPECT_TRUE(second.config.refused_writes.Contains(0x12));
  EXPECT_FALSE(second.config.refused_writes.Contains(0x11));
  EXPECT_TRUE(second.config.ignored_writes.Contains(0xEE));

  ASSERT_TRUE(ParseCommandLine({"--swipe-every", "0.5", "--swipe", "a", "--swipe", "b", "--pace", "--silent"},
                               options, error));
  ASSERT_EQ(options.readers.size(), 1u);
  EXPECT_EQ(options.readers[0].config.swipe_every_ms, 500);
  EXPECT_EQ(options.readers[0].config.swipes_at_start, (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(options.readers[0].config.pacing);
  EXPECT_TRUE(options.readers[0].config.silent);

  // A reader behind a bridge registers as HIDn; a socket path alone puts it behind one.
  ASSERT_TRUE(ParseCommandLine(
      {"--reader", "--register", "COM3", "--hid", "--register", "hid4", "--reader", "--hid-socket", "b.hid"},
      options, error))
      << error;
  ASSERT_EQ(options.readers.size(), 2u);
  EXPECT_TRUE(options.readers[0].config.hid);
  EXPECT_EQ(options.readers[0].hid_name, "HID4");
  EXPECT_EQ(options.readers[0].com_name, "") << "the later --register wins";
  EXPECT_TRUE(options.readers[1].config.hid);
  EXPECT_EQ(options.readers[1].config.hid_socket, "b.hid");
}

TEST(CommandLine, RandomFaultsTakePercentFractionsAndTheSeedIsGlobal) {
  ProgramOptions options;
  std::string error;
  ASSERT_TRUE(ParseCommandLine(
      {"--drop-percent", "2.5", "--reader", "--bad-checksum-percent=0.25", "--not-ready-percent", "100",
       "--latency-max", "400", "--seed", "0x10", "--save-cfg", "end.cfg"},
      options, error))
      << error;
  ASSERT_EQ(options.readers.size(), 1u);
  const ReaderConfig& config = options.readers[0].config;
  EXPECT_DOUBLE_EQ(config.drop_percent, 2.5);
  EXPECT_DOUBLE_EQ(config.bad_checksum_percent, 0.25);
  EXPECT_DOUBLE_EQ(config.not_ready_percent, 100);
  EXPECT_EQ(config.latency_max_ms, 400);
  EXPECT_EQ(options.readers[0].save_cfg, "end.cfg");
  EXPECT_EQ(options.seed, 16u);
  ASSERT_TRUE(ParseCommandLine({}, options, error));
  EXPECT_FALSE(options.seed) << "without --seed the program takes one from the clock";
}

TEST(CommandLine, BadOptionsAreNamedInTheError) {
  ProgramOptions options;
  std::string error;
  std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--bogus"}, "unknown option \"--bogus\""},
      {{"--rate"}, "--rate needs a value"},
      {{"--rate", "fast"}, "bad value \"fast\" for --rate"},
      {{"--register", "LPT1"}, "--register"},
      {{"--refuse-writes", "1,300"}, "--refuse-writes"},
      {{"--pace=yes"}, "--pace takes no value"},
      {{"--log=file"}, "--log takes stderr or stdout"},
      {{"--reader", "--register", "COM3", "--reader", "--register", "com3"},
       "two readers cannot both be COM3"},
      {{"--save-cfg", "x.cfg", "--reader", "--reader"}, "cannot both save to x.cfg"},
      {{"--seed"}, "--seed needs a value"},
      {{"--seed", "-3"}, "bad value \"-3\" for --seed"},
      {{"--hid", "--register", "COM5"},
       "--register COM5 names a serial port; a --hid reader registers as HIDn"},
      {{"--register", "hid1"}, "--register HID1 needs --hid"},
      {{"--hid", "--register", "HID257"}, "bad value \"HID257\" for --register"},
      {{"--hid", "--device", "/dev/ttyS0"}, "--hid and --device exclude each other"},
      {{"--hid-socket", "a.hid", "--reader", "--reader"}, "two readers cannot both listen on a.hid"},
      {{"--hid", "--reader", "--register", "HID2", "--reader", "--register", "hid2"},
       "two readers cannot both be HID2"},
  };
  // A percentage above 100, below 0, with a sign after it, empty, not a number.
  for (const std::string bad : {"100.5", "-1", "5%", "", "nan"})
    cases.push_back({{"--drop-percent", bad}, "bad value \"" + bad + "\" for --drop-percent"});
  for (const auto& [args, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(args));
    EXPECT_FALSE(ParseCommandLine(args, options, error));
    EXPECT_THAT(error, HasSubstr(expected));
  }
  EXPECT_TRUE(ParseCommandLine({"-h"}, options, error));
  EXPECT_TRUE(options.help);
}

TEST(CommandLine, ImageComesFromCfgOrFillAndTheRateFollowsIt) {
  test_support::TempDir dir("msrsim-opt");
  const std::string cfg = dir.WriteFile("r.cfg", "[MSRRegister]\nRegisters=" + ImageHex(0x0C) + "\n");
  ProgramOptions options;
  std::string error;
  ReaderConfig config;

  ASSERT_TRUE(ParseCommandLine({"--cfg", cfg, "--alias", "SHOP-1"}, options, error)) << error;
  ASSERT_TRUE(BuildReaderConfig(options.readers[0], config, error)) << error;
  EXPECT_EQ(config.line_rate, 9600u) << "code 3 in the file's baud-rate register";
  EXPECT_EQ(config.registers[0x10], 0xA5);
  EXPECT_EQ(GetAlias(config.registers), "SHOP-1");
  EXPECT_EQ(config.registers[kAliasFirst + 6], 0xFF) << "padded with FF";

  ASSERT_TRUE(ParseCommandLine({"--cfg", cfg, "--rate", "57600"}, options, error));
  ASSERT_TRUE(BuildReaderConfig(options.readers[0], config, error));
  EXPECT_EQ(config.line_rate, 57600u);

  ASSERT_TRUE(ParseCommandLine({"--fill", "AA", "--rate", "9600"}, options, error));
  ASSERT_TRUE(BuildReaderConfig(options.readers[0], config, error));
  EXPECT_EQ(config.registers[0x20], 0xAA);
  EXPECT_EQ(config.registers[0x01], 3);
  EXPECT_EQ(config.registers[kAliasFirst], 0xFF);
  EXPECT_EQ(config.line_rate, 9600u);
}

// A reader started without an image of its own takes its model's factory image, as shipped in Default/.
TEST(CommandLine, TheModelsFactoryImageIsUsedOnlyWhenTheCommandLineGivesNoImage) {
  test_support::TempDir dir("msrsim-factory");
  dir.WriteFile("Others.cfg", "[MSRRegister]\nModule = Others\nRegisters = " + ImageHex(0x11) + "\n");
  dir.WriteFile("krd.ini", "[MSRRegister]\nModule =  krd36ar \nRegisters = " + ImageHex(0x22) + "\n");
  dir.WriteFile("QV.cfg", "[MSRRegister]\nModule = QV-R4410-03\nRegisters = 0102\n");
  EXPECT_EQ(FindFactoryImage(dir.path(), "KRD36AR"), dir.File("krd.ini"));
  EXPECT_EQ(FindFactoryImage(dir.path(), "KRD42"), "") << "no fallback to another model's image";
  EXPECT_EQ(FindFactoryImage(dir.path(), ""), "");

  ReaderArgs reader;
  reader.factory_folder = dir.path();
  ReaderConfig config;
  std::string error;
  ASSERT_TRUE(BuildReaderConfig(reader, config, error)) << error;
  EXPECT_EQ(config.registers[0x40], 0x22) << "the default identification's model is KRD36AR";
  EXPECT_EQ(config.line_rate, 9600u) << "the image's baud-rate register sets the line";

  reader.fill = 0x00;
  ASSERT_TRUE(BuildReaderConfig(reader, config, error));
  EXPECT_EQ(config.registers[0x40], 0x00) << "--fill wins";

  reader.fill.reset();
  reader.config.identification = "KRD42XA-9,2TRACK,UART";
  ASSERT_TRUE(BuildReaderConfig(reader, config, error));
  EXPECT_EQ(config.registers[0x40], 0x00) << "a model without an image keeps the built-in one";
  EXPECT_EQ(config.line_rate, 19200u);

  reader.config.identification = "QV-R4410-03";
  EXPECT_FALSE(BuildReaderConfig(reader, config, error)) << "a broken factory image stops the reader";
  EXPECT_THAT(error, HasSubstr("QV.cfg"));
}

}  // namespace
}  // namespace msrsim
