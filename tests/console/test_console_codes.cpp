// Every result code with the lines that lead to it: a KRD36AR reader (in its factory state, or with a
// fault) is sent a file that differs from it in registers 0x10, 0x20 and 0x30.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/console/console_bench.h"

namespace console_test {
namespace {

constexpr const char* kFail = "Write file to device fail";

struct CodeCase {
  const char* name;
  std::string identification = kIdentification;
  int dump_bytes = -1;
  int refused = -1;  // a register the reader refuses to write
  int ignored = -1;  // a register whose writes the reader acknowledges but drops
  int close_after = 0;
  // The file's Registers; empty: the factory image with the three changes.
  std::string registers{};
  std::vector<std::string> args = {"/WriteFile:{file}", "/Port:COM5"};
  bool port_held = false;  // another program has the reader's port open
  int exit_code = 0;
  std::vector<std::string> lines{};
  std::vector<std::string> errors{};  // parts of what standard error must tell the person
};

// Failure messages name the case.
void PrintTo(const CodeCase& c, std::ostream* os) {
  *os << c.name;
}

// The lines up to the first write, then `rest`.
std::vector<std::string> ReadThen(const std::vector<std::string>& rest) {
  std::vector<std::string> lines = {"Read registers from the device...", "Read registers OK",
                                    "Begin write registers", "Write 0x10 registers OK"};
  lines.insert(lines.end(), rest.begin(), rest.end());
  return lines;
}

const std::vector<std::string> kWrittenAndChecked =
    ReadThen({"Write 0x20 registers OK", "Write 0x30 registers OK", "Check registers...",
              "Check registers OK", "Write file to device OK"});

const CodeCase kCases[] = {
    {.name = "WrittenAndChecked", .lines = kWrittenAndChecked},
    // Some firmware repeats its acknowledgement before the identification.
    {.name = "AcknowledgementBeforeTheModel",
     .identification = "A,KRD36AR,3TRACK,UART",
     .lines = kWrittenAndChecked},
    {.name = "QvModel", .identification = "QV-R4410-03,2TRACK", .lines = kWrittenAndChecked},
    {.name = "UnsupportedModel",
     .identification = "A,KRD31X",
     .exit_code = 1,
     .lines = {"Can't found device", kFail}},
    {.name = "PortNotThere",
     .args = {"/WriteFile:{file}", "/Port:com8"},
     .exit_code = 3,
     .lines = {"Can't open COM8", kFail},
     .errors = {"msrcfg: COM8 is not present", "; known ports: ", "COM5 = /dev/pts/",
                "\nmsrcfg: to map COM8 to a device, add the line \"COM8 = /dev/ttyUSB0\" to section "
                "[SerialPorts] of ",
                "/zk4100_MSR/settings.ini\n"}},
    {.name = "PortInUse",
     .port_held = true,
     .exit_code = 3,
     .lines = {"Can't open COM5", kFail},
     .errors = {"msrcfg: /dev/pts/", " is in use by another program"}},
    // The port would otherwise open at settings nobody asked for.
    {.name = "BadLineSettings",
     .args = {"/WriteFile:{file}", "/Port:COM5,9600,X,8,1"},
     .exit_code = 3,
     .lines = {"Can't open COM5", kFail}},
    {.name = "CutDump",
     .dump_bytes = 100,
     .exit_code = 4,
     .lines = {"Read registers from the device...", "Read registers fail", kFail}},
    {.name = "RefusedWrite",
     .refused = 0x20,
     .exit_code = 5,
     .lines = ReadThen({"Write 0x20 registers fail", kFail})},
    // A poll, two dumps, two writes: the line goes during the third write.
    {.name = "ReaderHangsUp",
     .close_after = 5,
     .exit_code = 5,
     .lines = ReadThen({"Write 0x20 registers OK", "Write 0x30 registers fail", kFail})},
    {.name = "WriteDoesNotHold",
     .ignored = 0x20,
     .exit_code = 6,
     .lines = ReadThen({"Write 0x20 registers OK", "Write 0x30 registers OK", "Check registers...",
                        "Check registers fail", kFail})},
    {.name = "MissingFile",
     .args = {"/WriteFile:{file}.missing", "/Port:COM5"},
     .exit_code = 255,
     .lines = {"Can't open file", kFail}},
    {.name = "FolderForFile",
     .args = {"/WriteFile:/tmp", "/Port:COM5"},
     .exit_code = 255,
     .lines = {"Can't open file", kFail}},
    // One bad image stands for all: one routine judges images, and the skin catalogue's tests try each kind.
    {.name = "RegistersOneByteShort",
     .registers = std::string(510, '0'),
     .exit_code = 255,
     .lines = {"Can't read registers from the file", kFail}},
    {.name = "NoDefaultFileForTheModel",
     .identification = "KRD99P,2TRACK",
     .args = {"/WriteDefault", "/Port:COM5"},
     .exit_code = 255,
     .lines = {"Can't open DEFAULT file", kFail}},
};

class ConsoleCodes : public ::testing::TestWithParam<CodeCase> {};

TEST_P(ConsoleCodes, EndsWithItsLinesAndExitCode) {
  const CodeCase& c = GetParam();
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(FactoryImage(), c.identification);
  config.dump_bytes = c.dump_bytes;
  if (c.refused >= 0) config.refused_writes.registers = {static_cast<uint8_t>(c.refused)};
  if (c.ignored >= 0) config.ignored_writes.registers = {static_cast<uint8_t>(c.ignored)};
  config.close_after = c.close_after;
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", config);
  ASSERT_NE(reader, nullptr);
  const std::string file = bench.WriteCfg(
      "job.cfg", c.registers.empty() ? HexOf(Changed(FactoryImage(), {0x10, 0x20, 0x30})) : c.registers);
  std::vector<std::string> args = c.args;
  for (std::string& arg : args) {
    if (const size_t at = arg.find("{file}"); at != std::string::npos) arg.replace(at, 6, file);
  }

  // The lock that every program opening a port takes.
  const int holder = c.port_held ? open(reader->Path().c_str(), O_RDWR | O_NOCTTY) : -1;
  if (c.port_held) {
    EXPECT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
  }

  const RunResult run = bench.Run(args);
  if (holder >= 0) close(holder);
  EXPECT_EQ(run.exit_code, c.exit_code) << run.errors;
  EXPECT_THAT(run.lines, ::testing::ElementsAreArray(c.lines));
  for (const std::string& part : c.errors) EXPECT_THAT(run.errors, ::testing::HasSubstr(part));
  // The file's registers are all in the reader exactly when the run says so.
  EXPECT_EQ(reader->Registers() == Changed(FactoryImage(), {0x10, 0x20, 0x30}),
            c.exit_code == 0 && c.registers.empty());
}

INSTANTIATE_TEST_SUITE_P(Console, ConsoleCodes, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<CodeCase>& case_info) {
                           return case_info.param.name;
                         });

}  // namespace
}  // namespace console_test
