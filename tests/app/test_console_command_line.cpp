// The console mode's command line: the production-line switches with their quote rule, the long options,
// and the progress line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/console_command_line.h"
#include "app/console_output.h"

namespace {

ConsoleRequest Parsed(const std::vector<std::string>& args) {
  ConsoleRequest request;
  std::string error;
  EXPECT_TRUE(ParseConsoleArguments(args, request, error)) << error;
  return request;
}

std::string ParseError(const std::vector<std::string>& args) {
  ConsoleRequest request;
  std::string error;
  EXPECT_FALSE(ParseConsoleArguments(args, request, error));
  return error;
}

TEST(ConsoleCommandLine, SwitchValueEndsAtABlankOutsideQuotesAndLeavesTheQuotesOut) {
  EXPECT_EQ(ReadSwitchValue("/WriteFile:a.cfg /Port:COM3", 11), "a.cfg");
  EXPECT_EQ(ReadSwitchValue("a\"b c\"d e", 0), "ab cd");
  EXPECT_EQ(ReadSwitchValue("\"a b c", 0), "a b c");  // an open quote runs to the end
  const ConsoleRequest request = Parsed({"-x", "/writefile:\"C:\\My Files\\a.cfg\"", "/PORT:", "COM3"});
  EXPECT_EQ(request.file_name, "C:\\My Files\\a.cfg");
  // The value ends at the blank after the switch: the port is empty, and so cannot be opened.
  EXPECT_EQ(request.port, "");
  EXPECT_TRUE(request.port_given);
}

TEST(ConsoleCommandLine, SwitchesAreFoundAnywhereAndThePortValueSplitsAtItsFirstComma) {
  ConsoleRequest request = Parsed({"/TestAll/WRITEDEFAULT", "/port:\"COM3 , 9600,E,7,1\""});
  EXPECT_EQ(request.file_name, ConsoleRequest::kDefaultMarker);
  EXPECT_EQ(request.port, "COM3");
  EXPECT_EQ(request.port_settings, "9600,E,7,1");
  // "/WriteFile:" wins over "/WriteDefault"; a port without settings keeps the usual ones.
  request = Parsed({"/WriteDefault", "/WriteFile:job.cfg", "/Port:auto"});
  EXPECT_EQ(request.file_name, "job.cfg");
  EXPECT_EQ(request.port, "auto");
  EXPECT_EQ(request.port_settings, "19200,N,8,1");
  EXPECT_EQ(Parsed({"/WriteDefault", "/Port:COM3,"}).port_settings, "19200,N,8,1");
  EXPECT_FALSE(Parsed({"/WriteDefault"}).port_given);
}

TEST(ConsoleCommandLine, LongOptionsSpellTheSameRequests) {
  ConsoleRequest request =
      Parsed({"--write-file", "a \"b\".cfg", "--port=COM3,9600,N,8,1", "--dry-run", "-q"});
  EXPECT_EQ(request.file_name, "a \"b\".cfg");  // taken as the shell gave it
  EXPECT_EQ(request.port, "COM3");
  EXPECT_EQ(request.port_settings, "9600,N,8,1");
  EXPECT_TRUE(request.dry_run && request.quiet);
  // The long option wins over the switch for the same thing.
  EXPECT_EQ(Parsed({"/Port:COM1", "--port", "COM2", "--write-default"}).port, "COM2");
  request = Parsed({"--export-hex", "in.cfg", "out.hex"});
  EXPECT_EQ(request.action, ConsoleRequest::Action::kExportHex);
  EXPECT_EQ(request.export_hex, "out.hex");
  EXPECT_EQ(Parsed({"--read-to=saved.cfg"}).read_to, "saved.cfg");
  EXPECT_EQ(Parsed({"--write-default", "--help"}).action, ConsoleRequest::Action::kHelp);

  EXPECT_EQ(ParseError({"--export-hex", "in.cfg"}), "--export-hex needs two values");
  EXPECT_EQ(ParseError({"--quiet=yes", "/WriteDefault"}), "unknown option --quiet=yes");
  EXPECT_THAT(ParseError({"/WriteFile:a.cfg", "--read-to", "b.cfg"}), ::testing::StartsWith("give one of"));
  EXPECT_THAT(ParseError({"--read-to", "b.cfg", "--dry-run"}), ::testing::StartsWith("--dry-run goes with"));
  EXPECT_THAT(ParseError({"--port", "COM3"}), ::testing::StartsWith("nothing to do"));
}

TEST(ConsoleCommandLine, StationTakesPortNamesAndRefusesWhatASingleRunTakes) {
  const ConsoleRequest request =
      Parsed({"--station", "/WriteFile:job.cfg", "--ports", " com3,HID12,,COM3", "--trace=t.csv", "-v"});
  EXPECT_EQ(request.action, ConsoleRequest::Action::kStation);
  EXPECT_EQ(request.station_ports, (std::vector<std::string>{"COM3", "HID12"}));
  EXPECT_EQ(request.trace, "t.csv");
  EXPECT_TRUE(request.verbose);
  EXPECT_TRUE(Parsed({"--station", "--write-default"}).station_ports.empty());  // every port
  EXPECT_EQ(Parsed({"--read-to", "a.cfg", "--trace", "t.csv"}).trace, "t.csv");

  const std::pair<std::vector<std::string>, const char*> refused[] = {
      {{"--station", "--read-to", "a.cfg"}, "--station needs"},
      {{"--station", "--write-default", "--port", "COM3"}, "--station watches"},
      {{"--station", "--write-default", "--dry-run"}, "--dry-run does not go"},
      {{"--station", "--write-default", "--ports", "COM3,LPT1"}, "--ports: \"LPT1\""},
      {{"--station", "--write-default", "--ports", "COM03"}, "--ports: \"COM03\""},
      {{"--station", "--write-default", "--ports", ","}, "--ports needs"},
      {{"--write-default", "--ports", "COM3"}, "--ports goes with --station"},
      {{"--write-default", "--verbose"}, "--verbose goes with --station"},
      {{"--export-hex", "a.cfg", "a.hex", "--trace", "t.csv"}, "--trace goes with"},
  };
  for (const auto& [args, error] : refused) EXPECT_THAT(ParseError(args), ::testing::StartsWith(error)) << error;
}

TEST(ConsoleCommandLine, ConsoleModeIsChosenOnlyByItsOwnSwitchesAndOptions) {
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"/writedefault"}, {"/TestAll", "/WriteFile:x.cfg"}, {"--read-to=x.cfg"}, {"-h"}}) {
    EXPECT_TRUE(IsConsoleArguments(args)) << args[0];
  }
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"/TestAll", "/PortSelBox", "/SaveEEPROM"},
                                             {"/Port:COM3"},
                                             {"-platform", "offscreen"},
                                             {"--style=fusion"}}) {
    EXPECT_FALSE(IsConsoleArguments(args)) << args[0];
  }
}

TEST(ConsoleOutput, ProgressIsRedrawnInPlaceOnATerminalAndLeavesBeforeAStepLine) {
  std::string lines;
  std::string progress;
  {
    ConsoleOutput out([&](const std::string& text) { lines += text; },
                      [&](const std::string& text) { progress += text; }, true, false);
    out.Progress("Writing 10/12 registers...");
    out.Progress("Writing 9/12...");
    out.Line("Write 0x10 registers OK");
  }
  EXPECT_EQ(progress, "\rWriting 10/12 registers...\rWriting 9/12..." + std::string(11, ' ') + "\r" +
                          std::string(15, ' ') + "\r");
  EXPECT_EQ(lines, "Write 0x10 registers OK\n");
}

}  // namespace
