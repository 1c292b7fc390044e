// Register files: hexadecimal texts, .cfg files written and read back (with a golden file), bad .cfg
// files that must leave the buffer alone, and Intel HEX checked against a golden file and binutils.

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "platform/hex_text.h"
#include "platform/paths.h"
#include "registers/clsRegisters.h"
#include "registers/register_files.h"
#include "tests/registers/register_fixture.h"

namespace {

using namespace register_files;
using register_tests::Golden;
using test_support::TempDir;

std::vector<uint8_t> Ramp() {
  std::vector<uint8_t> image(256);
  for (int i = 0; i < 256; ++i) image[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
  return image;
}

TEST(RegisterFiles, HexTextsBothWays) {
  EXPECT_EQ(BytesToHex({0x0A, 0xFF, 0x00}, " "), "0A FF 00");
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(HexToBytes("0a FF\t00 7 f", bytes));  // blanks anywhere, either case
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0x0A, 0xFF, 0x00, 0x7F}));
  std::string error;
  EXPECT_FALSE(HexToBytes("0A\r\n", bytes, &error));
  EXPECT_EQ(error, "the byte 0x0D at position 3, which is not a hexadecimal digit");
  EXPECT_EQ(bytes.size(), 4u);  // untouched by a failure
}

TEST(RegisterFiles, SavedCfgMatchesTheGoldenFileAndReadsBack) {
  TempDir dir("cfg");
  std::string path = dir.File("ramp.cfg");
  ASSERT_TRUE(SaveInfoFile(path, Ramp(), "KRD300/350", "Gate B"));
  EXPECT_EQ(dir.ReadFile("ramp.cfg"), Golden("ramp_expected.cfg"));
  clsRegisters set;
  InfoFileFields fields;
  ASSERT_TRUE(OpenInfoFile(path, set, &fields));
  EXPECT_EQ(set.Registers(), Ramp());
  EXPECT_EQ(fields.module + "|" + fields.alias, "KRD300/350|Gate B");

  // Saving again without alias and model drops the old alias and keeps other sections.
  dir.WriteFile("ramp.cfg", "[Notes]\nby = hand\n" + dir.ReadFile("ramp.cfg"));
  ASSERT_TRUE(SaveInfoFile(path, std::vector<uint8_t>(256, 0xFF), "", ""));
  ASSERT_TRUE(OpenInfoFile(path, set, &fields));
  EXPECT_EQ(fields.module + "|" + fields.alias, "Unknown|");
  EXPECT_EQ(set.Registers(), std::vector<uint8_t>(256, 0xFF));
  EXPECT_EQ(dir.ReadFile("ramp.cfg").rfind("[Notes]\nby = hand\n", 0), 0u);

  // Blanks between the pairs read the same.
  ASSERT_TRUE(
      OpenInfoFile(dir.WriteFile("s.cfg", "[MSRRegister]\nRegisters = " + BytesToHex(Ramp(), " ")), set));
  EXPECT_EQ(set.Registers(), Ramp());
}

TEST(RegisterFiles, BadCfgFilesLeaveTheBufferAloneAndSayWhy) {
  TempDir dir("cfg");
  std::string good = BytesToHex(Ramp());
  const std::pair<std::string, std::string> cases[] = {
      {"[MSRRegister]\nRegisters = " + good.substr(0, 510),
       "Registers holds 510 hexadecimal digits; 512 are needed"},
      {"[MSRRegister]\nRegisters = " + good + "00", "Registers holds 514 hexadecimal digits; 512 are needed"},
      {"[MSRRegister]\nRegisters = " + good.substr(1),
       "Registers holds 511 hexadecimal digits, an odd number; every byte needs two"},
      {"[MSRRegister]\nRegisters = " + good.substr(0, 100) + "x" + good.substr(101),
       "Registers holds \"x\" at position 101, which is not a hexadecimal digit"},
      {"[MSRRegister]\nRegisters =", "Registers holds 0 hexadecimal digits; 512 are needed"},
      {"[General]\nRegisters = " + good, "the file has no Registers key in section [MSRRegister]"},
  };
  const std::vector<uint8_t> before(256, 0x5A);
  clsRegisters set;
  ASSERT_TRUE(set.SetRegisters(before));
  for (const auto& [content, message] : cases) {
    std::string error;
    EXPECT_FALSE(OpenInfoFile(dir.WriteFile("bad.cfg", content + "\n"), set, nullptr, &error));
    EXPECT_EQ(error, message);
    EXPECT_EQ(set.Registers(), before) << message;
  }
  std::string error;
  EXPECT_FALSE(OpenInfoFile(dir.File("missing.cfg"), set, nullptr, &error));
  EXPECT_EQ(error, "cannot read " + dir.File("missing.cfg"));
}

TEST(RegisterFiles, IntelHexRecordsChecksumsAndTheAliasArea) {
  std::vector<uint8_t> image(256, 0x00);
  std::fill(image.begin(), image.begin() + 16, 0xFF);
  std::vector<std::string> lines;
  std::istringstream in(IntelHexText(image));
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 17u);
  EXPECT_EQ(lines[0], ":10000000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF00\r");
  EXPECT_EQ(lines[1], ":1000100000000000000000000000000000000000E0\r");
  EXPECT_EQ(lines.back(), ":00000001FF\r");
  for (const std::string& line : lines) {
    unsigned sum = 0;
    for (size_t i = 1; i + 1 < line.size(); i += 2) sum += platform::hex_text::ValueOf(line.substr(i, 2));
    EXPECT_EQ(sum % 256, 0u) << line;
  }

  PutAliasArea(image, "Front door reader 2");
  EXPECT_EQ(std::string(image.begin() + 224, image.begin() + 240), "Front door reade");
  EXPECT_EQ(image[223], 0);  // the neighbours stay as they were
  EXPECT_EQ(image[240], 0);
  PutAliasArea(image, "[DEFAULT]");
  EXPECT_EQ(std::vector<uint8_t>(image.begin() + 224, image.begin() + 240), std::vector<uint8_t>(16, 0xFF));
}

TEST(RegisterFiles, HexFileMatchesTheGoldenFileAndBinutilsReadsTheImageBack) {
  TempDir dir("hex");
  ASSERT_TRUE(SaveHexFile(dir.File("alias.hex"), Ramp(), std::string("Gate B")));
  EXPECT_EQ(dir.ReadFile("alias.hex"), Golden("ramp_alias_expected.hex"));

  // Without an alias entry the image is written as it stands.
  ASSERT_TRUE(SaveHexFile(dir.File("ramp.hex"), Ramp(), std::nullopt));
  if (std::system("objcopy --version > /dev/null 2>&1") != 0) {
    GTEST_SKIP() << "objcopy (binutils) is not installed; scripts/install-deps.sh installs it";
  }
  std::string command =
      "objcopy -I ihex -O binary '" + dir.File("ramp.hex") + "' '" + dir.File("ramp.bin") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  std::string binary = dir.ReadFile("ramp.bin");
  EXPECT_EQ(std::vector<uint8_t>(binary.begin(), binary.end()), Ramp());
}

}  // namespace
