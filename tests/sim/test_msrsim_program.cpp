// The msrsim executable as scripts use it: in MSR_BUILD_DIR, which CTest sets, or else in the build folder
// above this test program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "sim/frame.h"
#include "sim/register_file.h"
#include "tests/support/program_folder.h"
#include "tests/support/temp_dir.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string Program() {
  return platform::Join(test_support::BuildDir(), "msrsim");
}

// Runs `script` with sh in `dir`, standard input from /dev/null; returns the exit code the script wrote
// into "rc" (the script itself must end with: echo $? > rc).
int RunScript(const test_support::TempDir& dir, const std::string& script) {
  const std::string command =
      "cd '" + dir.path() + "' && MSRSIM='" + Program() + "' sh -c '" + script + "' </dev/null";
  if (std::system(command.c_str()) == -1) return -1;
  const std::string rc = dir.ReadFile("rc");
  return rc.empty() ? -1 : std::atoi(rc.c_str());
}

class MsrsimProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(platform::FileExists(Program())) << Program() << " is missing: build the msrsim target";
  }
  test_support::TempDir dir_{"msrsim-run"};
};

TEST_F(MsrsimProgram, HelpListsEveryOptionAndExitsZero) {
  ASSERT_EQ(RunScript(dir_, "\"$MSRSIM\" --help > out; echo $? > rc"), 0);
  const std::string help = dir_.ReadFile("out");
  std::istringstream options(
      "--reader --cfg --fill --alias --id --version-text --rate --baud-register --baud-codes --device --hid "
      "--hid-socket "
      "--register --pace --latency --drop-every --bad-checksum-every --not-ready --refuse-writes "
      "--refuse-reads --ignore-writes --dump-bytes --silent --close-after --drop-percent "
      "--bad-checksum-percent "
      "--not-ready-percent --latency-max --seed --save-cfg --swipe --swipe-text --swipe-every --log");
  for (std::string option; options >> option;) EXPECT_THAT(help, HasSubstr(option));
}

TEST_F(MsrsimProgram, BadCommandLinesAndBrokenCfgFilesStopWithAMessage) {
  EXPECT_EQ(RunScript(dir_, "\"$MSRSIM\" --latency soon 2> err; echo $? > rc"), 2);
  EXPECT_THAT(dir_.ReadFile("err"), HasSubstr("--latency"));

  dir_.WriteFile("broken.cfg", "[MSRRegister]\nRegisters = 0G\n");
  EXPECT_EQ(RunScript(dir_, "\"$MSRSIM\" --cfg broken.cfg > out 2> err; echo $? > rc"), 2);
  EXPECT_THAT(dir_.ReadFile("err"), HasSubstr("broken.cfg"));
  EXPECT_EQ(dir_.ReadFile("out"), "") << "no port is announced for a reader that never started";
}

// Two readers, the first registered as COM7 and saving its image: both paths are announced after the seed
// that --log names, the settings line exists while msrsim runs and is gone after SIGTERM, the final image
// holds the host's write, and the exit is clean.
TEST_F(MsrsimProgram, RegistersItsPortWhileRunningAndSavesTheFinalImageWhenStopped) {
  msrsim::RegisterImage start{};
  start.fill(0x33);
  start[0x01] = 4;  // 19200 bit/s
  std::string hex;
  for (const uint8_t byte : start) hex += msrsim::HexByte(byte);
  dir_.WriteFile("start.cfg", "[MSRRegister]\nRegisters = " + hex + "\n");
  const std::string request = "C10,5A" + msrsim::HexByte(msrsim::Checksum("C10,5A"));
  const std::string script =
      "export XDG_CONFIG_HOME=\"$PWD/config\"; : > out; \"$MSRSIM\" --log=stdout --seed 77 "
      "--reader --register COM7 --cfg start.cfg --save-cfg end.cfg --reader > out & pid=$!; "
      "i=0; while [ $(wc -l < out) -lt 3 ] && [ $i -lt 200 ]; do sleep 0.02; i=$((i+1)); done; "
      "cp config/zk4100_MSR/settings.ini during.ini; "
      "path=$(grep COM7 out | cut -d\" \" -f1); printf \"\\002" +
      request +
      "\\r\" > $path; "
      "i=0; while ! grep -q C10 out && [ $i -lt 200 ]; do sleep 0.02; i=$((i+1)); done; "
      "kill -TERM $pid; wait $pid; echo $? > rc";
  ASSERT_EQ(RunScript(dir_, script), 0);

  std::istringstream out(dir_.ReadFile("out"));
  std::string seed, first, second;
  std::getline(out, seed);
  std::getline(out, first);
  std::getline(out, second);
  EXPECT_EQ(seed, "seed 77");
  ASSERT_THAT(first, HasSubstr(" COM7"));
  const std::string path = first.substr(0, first.find(' '));
  EXPECT_EQ(path.rfind("/dev/pts/", 0), 0u) << path;
  EXPECT_EQ(second.rfind("/dev/pts/", 0), 0u) << second;
  EXPECT_THAT(second, Not(HasSubstr("COM"))) << "the second reader is not registered";
  EXPECT_THAT(dir_.ReadFile("during.ini"), HasSubstr("COM7 = " + path));
  EXPECT_THAT(dir_.ReadFile("config/zk4100_MSR/settings.ini"), Not(HasSubstr("COM7")));

  msrsim::RegisterImage saved{};
  std::string error;
  ASSERT_TRUE(msrsim::LoadRegisterFile(dir_.File("end.cfg"), saved, error)) << error;
  msrsim::RegisterImage expected = start;
  expected[0x10] = 0x5A;
  EXPECT_EQ(saved, expected);
}

// A reader behind a bridge registered as HID1: its socket in XDG_RUNTIME_DIR is announced with the name,
// the HIDPorts line exists while msrsim runs, and line and socket are gone after SIGTERM.
TEST_F(MsrsimProgram, RegistersItsBridgeSocketAsAHidPortWhileRunning) {
  const std::string script =
      "export XDG_CONFIG_HOME=\"$PWD/config\" XDG_RUNTIME_DIR=\"$PWD\"; : > out; "
      "\"$MSRSIM\" --hid --register HID1 > out & pid=$!; "
      "i=0; while [ $(wc -l < out) -lt 1 ] && [ $i -lt 200 ]; do sleep 0.02; i=$((i+1)); done; "
      "cp config/zk4100_MSR/settings.ini during.ini; path=$(cut -d\" \" -f1 out); "
      "[ -S \"$path\" ] && echo socket > during; "
      "kill -TERM $pid; wait $pid; echo $? > rc; [ -e \"$path\" ] || echo gone > after";
  ASSERT_EQ(RunScript(dir_, script), 0);

  const std::string out = dir_.ReadFile("out");
  const std::string path = out.substr(0, out.find(' '));
  EXPECT_EQ(out, path + " HID1\n");
  EXPECT_EQ(path.rfind(dir_.path() + "/msrsim-", 0), 0u) << path;
  EXPECT_THAT(path, ::testing::EndsWith("-1.hid"));
  EXPECT_EQ(dir_.ReadFile("during"), "socket\n");
  EXPECT_THAT(dir_.ReadFile("during.ini"), HasSubstr("[HIDPorts]"));
  EXPECT_THAT(dir_.ReadFile("during.ini"), HasSubstr("HID1 = " + path));
  EXPECT_THAT(dir_.ReadFile("config/zk4100_MSR/settings.ini"), Not(HasSubstr("HID1")));
  EXPECT_EQ(dir_.ReadFile("after"), "gone\n");
}

}  // namespace
