// Writing register files into emulated readers with msrcfg run as a process: the alias rules, the ways
// to name files and ports, the default file, the scan, and the additions for scripts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/console/console_bench.h"

namespace console_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(ConsoleWrite, FileWithoutAliasKeepsTheReadersAliasAndASecondRunFindsNothingToDo) {
  ConsoleBench bench;
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", Reader(FactoryImage("SHOP-1")));
  ASSERT_NE(reader, nullptr);
  // The file's alias area holds another name, but without an AliasName key it is not written.
  const std::string file = bench.WriteCfg("job.cfg", HexOf(Changed(FactoryImage("OTHER"), {0xC0, 0x10})));

  RunResult run = bench.Run({"/WriteFile:" + file, "/Port:COM5"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(HexOf(reader->Registers()), HexOf(Changed(FactoryImage("SHOP-1"), {0xC0, 0x10})));
  EXPECT_THAT(run.lines, Contains("Write 0xC0 registers OK"));
  // Progress on standard error, a line per step when that is no terminal.
  EXPECT_THAT(run.errors,
              HasSubstr("Reading registers...\nWriting 1/2 registers...\nWriting 2/2 registers...\n"));

  run = bench.Run({"/WriteFile:" + file, "/Port:COM5", "--quiet"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, ElementsAre("Read registers from the device...", "Read registers OK",
                                     "There is no difference between the device and the file about registers",
                                     "Write file to device OK"));
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(WriteCount(*reader), 2u);
}

TEST(ConsoleWrite, FileAliasIsCutTo16CharactersAndWritten) {
  ConsoleBench bench;
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", Reader(FactoryImage("SHOP-1")));
  ASSERT_NE(reader, nullptr);
  const std::string file = bench.WriteCfg("job.cfg", HexOf(FactoryImage()), "LINE-7-CUSTOMER-XYZ");
  EXPECT_EQ(bench.Run({"/WriteFile:" + file, "/Port:COM5"}).exit_code, 0);
  EXPECT_EQ(msrsim::GetAlias(reader->Registers()), "LINE-7-CUSTOMER-");
}

TEST(ConsoleWrite, FileNameWithBlanksAndPortSettingsInEverySpelling) {
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(FactoryImage());
  config.line_rate = 9600;  // answers only a host that set the port to 9600
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", config);
  ASSERT_NE(reader, nullptr);
  const std::string file = bench.WriteCfg("line 3/my job.cfg", HexOf(Changed(reader->Registers(), {0x12})));

  // As a shell hands /WriteFile:"line 3/my job.cfg" over: no quotes, the blank inside one argument.
  EXPECT_EQ(bench.Run({"/WriteFile:" + file, "/Port:COM5,9600,N,8,1"}).exit_code, 0);
  EXPECT_EQ(WriteCount(*reader), 1u);
  // With the quotes still there, switches in another case, blanks around the comma, a partial setting.
  EXPECT_EQ(bench.Run({"/writefile:\"" + file + "\"", "/PORT:\"com5 , 9600\""}).exit_code, 0);
  EXPECT_EQ(bench.Run({"--write-file", file, "--port=COM5,9600,N,8,1"}).exit_code, 0);
}

TEST(ConsoleWrite, DefaultFileIsFoundByTheReadersAliasElseByItsModel) {
  ConsoleBench bench;
  msrsim::EmulatedReader* plain = bench.AddReader("COM5", Reader(Changed(FactoryImage(), {0x10})));
  msrsim::EmulatedReader* shop = bench.AddReader("COM6", Reader(Changed(FactoryImage("SHOP-1"), {0x10})));
  ASSERT_TRUE(plain && shop);
  bench.WriteCfg("Default/ShopOne.ini", HexOf(Changed(FactoryImage(), {0x30})), "", "SHOP-1");

  // The marker in any case stands for the default file.
  EXPECT_EQ(bench.Run({"/WriteFile:<default>", "/Port:COM5"}).exit_code, 0);
  EXPECT_EQ(HexOf(plain->Registers()), HexOf(FactoryImage()));
  EXPECT_EQ(bench.Run({"--write-default", "--port", "COM6"}).exit_code, 0);
  EXPECT_EQ(HexOf(shop->Registers()), HexOf(Changed(FactoryImage("SHOP-1"), {0x30})));
}

// A reply lost on the production line must not turn a customer's default file into the factory one.
TEST(ConsoleWrite, DefaultFileIsNotGuessedWhenTheReadersAliasCannotBeRead) {
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(Changed(FactoryImage("SHOP-1"), {0x10}));
  config.refused_reads.registers = {0xE3};
  msrsim::EmulatedReader* shop = bench.AddReader("COM6", config);
  ASSERT_NE(shop, nullptr);
  const msrsim::RegisterImage before = shop->Registers();
  bench.WriteCfg("Default/ShopOne.ini", HexOf(Changed(FactoryImage(), {0x30})), "", "SHOP-1");

  const RunResult run = bench.Run({"/WriteDefault", "/Port:COM6"});
  EXPECT_EQ(run.exit_code, 4);
  EXPECT_THAT(run.lines, ElementsAre("Read alias name fail", "Write file to device fail"));
  EXPECT_EQ(WriteCount(*shop), 0u);
  EXPECT_EQ(HexOf(shop->Registers()), HexOf(before));
}

TEST(ConsoleWrite, AutoScansEveryPortWhileWithoutPortTheRememberedOneIsOpened) {
  ConsoleBench bench;
  msrsim::EmulatedReader* com4 = bench.AddReader("COM4", Reader(FactoryImage()));
  msrsim::EmulatedReader* com6 = bench.AddReader("COM6", Reader(FactoryImage()));
  ASSERT_TRUE(com4 && com6);
  const std::string file = bench.WriteCfg("job.cfg", HexOf(Changed(FactoryImage(), {0x13})));

  // Nothing remembered means COM4.
  EXPECT_EQ(bench.Run({"/WriteFile:" + file}).exit_code, 0);
  EXPECT_EQ(WriteCount(*com4), 1u);
  RunResult run = bench.Run({"/WriteFile:" + file, "/Port:Auto"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, testing::IsSupersetOf({"Auto scan ports...", "Found a device at COM4"}));
  // A remembered port is opened as it is, without a scan.
  bench.SetRememberedPort("COM6");
  EXPECT_EQ(bench.Run({"/WriteFile:" + file}).exit_code, 0);
  EXPECT_EQ(WriteCount(*com6), 1u);
  bench.SetRememberedPort("COM8");
  run = bench.Run({"/WriteFile:" + file});
  EXPECT_EQ(run.exit_code, 3);
  EXPECT_THAT(run.lines, ElementsAre("Can't open COM8", "Write file to device fail"));

  ConsoleBench empty;
  run = empty.Run({"/WriteFile:" + file, "/Port:AUTO"});
  EXPECT_EQ(run.exit_code, 2);
  EXPECT_THAT(run.lines,
              ElementsAre("Auto scan ports...", "Can't found device", "Write file to device fail"));
}

// The reader takes a new rate after its reply to the write of its baud-rate register; the console must
// write that register last and check at the rate the reader went to.
TEST(ConsoleWrite, FollowsTheReaderToTheRateTheFileGivesIt) {
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(FactoryImage());
  config.line_rate = 9600;
  msrsim::EmulatedReader* reader = bench.AddReader("COM6", config);
  ASSERT_NE(reader, nullptr);

  // The default file says 19200.
  RunResult run = bench.Run({"/WriteDefault", "/Port:COM6,9600"});
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_EQ(HexOf(reader->Registers()), HexOf(FactoryImage()));
  EXPECT_THAT(run.errors, HasSubstr("msrcfg: COM6 answers at 19200 now\n"));

  // Back to 9600 (code 3), with a register above the rate's changed too.
  msrsim::RegisterImage image = FactoryImage();
  image[0x01] = 3;
  image = Changed(image, {0x10});
  run = bench.Run({"/WriteFile:" + bench.WriteCfg("job.cfg", HexOf(image)), "/Port:COM6"});
  EXPECT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_THAT(run.lines,
              ElementsAre("Read registers from the device...", "Read registers OK", "Begin write registers",
                          "Write 0x10 registers OK", "Write 0x01 registers OK", "Check registers...",
                          "Check registers OK", "Write file to device OK"));
  EXPECT_EQ(HexOf(reader->Registers()), HexOf(image));
}

TEST(ConsoleWrite, DryRunTellsWhatWouldBeWrittenAndWritesNothing) {
  ConsoleBench bench;
  msrsim::RegisterImage image = FactoryImage();
  image[0x10] = 0x33;
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", Reader(image));
  ASSERT_NE(reader, nullptr);
  image[0x10] = 0x5A;
  const RunResult run =
      bench.Run({"--write-file", bench.WriteCfg("job.cfg", HexOf(image)), "--dry-run", "--port", "COM5"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, ElementsAre("Read registers from the device...", "Read registers OK",
                                     "Registers that would be written (dry run, nothing is written):",
                                     "Would write 0x10 registers: 33 -> 5A", "Dry run OK"));
  EXPECT_EQ(reader->Register(0x10), 0x33);
}

TEST(ConsoleWrite, ReadToSavesAFileThatWritesTheSameImageAndAliasIntoAnotherReader) {
  ConsoleBench bench;
  const msrsim::RegisterImage image = Changed(FactoryImage("SHOP-1"), {0x10});
  ASSERT_NE(bench.AddReader("COM5", Reader(image)), nullptr);
  msrsim::EmulatedReader* blank = bench.AddReader("COM6", Reader(FactoryImage()));
  ASSERT_NE(blank, nullptr);
  const std::string saved = bench.Work().File("saved.cfg");

  RunResult run = bench.Run({"--read-to", saved, "--port", "COM5"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, ElementsAre("Read registers from the device...", "Read registers OK",
                                     "Save registers to " + saved + " OK", "Read device to file OK"));
  EXPECT_EQ(bench.Run({"/WriteFile:" + saved, "/Port:COM6"}).exit_code, 0);
  EXPECT_EQ(HexOf(blank->Registers()), HexOf(image));

  run = bench.Run({"--read-to", "/proc/no-such-folder/saved.cfg", "--port", "COM5"});
  EXPECT_EQ(run.exit_code, 255);
  EXPECT_EQ(run.lines.back(), "Read device to file fail");
}

TEST(ConsoleWrite, ExportHexNeedsNoReaderAndPlacesTheFileAlias) {
  ConsoleBench bench;
  msrsim::RegisterImage image{};
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i);
  const std::string hex = bench.Work().File("job.hex");
  RunResult run = bench.Run({"--export-hex", bench.WriteCfg("job.cfg", HexOf(image), "AB"), hex});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, ElementsAre("Write HEX file " + hex + " OK", "Export HEX file OK"));
  const std::string text = bench.Work().ReadFile("job.hex");
  EXPECT_THAT(text, testing::StartsWith(":10000000000102030405060708090A0B0C0D0E0F78\r\n"));
  // Bytes 224-239: the alias filled up with 0xFF.
  EXPECT_THAT(text, HasSubstr("\r\n:1000E0004142FFFFFFFFFFFFFFFFFFFFFFFFFFFF9B\r\n"));

  run = bench.Run({"--export-hex", hex + ".missing", hex});
  EXPECT_EQ(run.exit_code, 255);
  EXPECT_THAT(run.lines, ElementsAre("Can't open file", "Export HEX file fail"));
}

TEST(ConsoleWrite, HelpVersionAndCommandLineMistakes) {
  ConsoleBench bench;
  RunResult run = bench.Run({"--help"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.lines, Contains(testing::StartsWith("Usage: msrcfg")));
  run = bench.Run({"--version"});
  EXPECT_THAT(run.lines, ElementsAre(testing::MatchesRegex("msrcfg [0-9]+\\.[0-9]+\\.[0-9]+")));
  run = bench.Run({"/WriteDefault", "--frobnicate"});
  EXPECT_EQ(run.exit_code, 255);
  EXPECT_TRUE(run.lines.empty());
  EXPECT_THAT(run.errors, HasSubstr("unknown option --frobnicate"));
}

}  // namespace
}  // namespace console_test
