#pragma once
// The console mode's command line. Two spellings lead to the same request:
//
//   - the production-line switches "/WriteFile:", "/WriteDefault" and "/Port:", each found as a substring
//     of the whole command line with case ignored. A value runs from the character after the switch to
//     the first blank outside double quotes; a double quote switches quoting on or off and is not part
//     of the value, so /WriteFile:"line 3/KRD36AR.cfg" names a file with a blank in it;
//   - long options for people who script on Linux: --write-file FILE, --write-default, --port VALUE,
//     --dry-run, --read-to FILE, --export-hex CFG HEX, --trace FILE, --quiet, --help, --version (a value
//     may also follow as --option=value); and the production station, --station with --ports LIST and
//     --verbose, which writes every reader plugged in until it is stopped.
//
// The switches were written for a command line that is one text. Here the shell has already split it and
// taken the quotes away, so the arguments are joined again with blanks, and a blank inside an argument
// (one without quotes of its own) is written as a quoted blank: "/WriteFile:my file.cfg" as one argument
// still names "my file.cfg".

#include <string>
#include <vector>

#include "app/app_settings.h"

struct ConsoleRequest {
  // kStationWorker is the station's own helper process for one port (--station-worker PORT); people do
  // not start it.
  enum class Action { kWriteFile, kReadTo, kExportHex, kHelp, kVersion, kStation, kStationWorker };
  // The marker that stands for the model's default file: "/WriteDefault", or "/WriteFile:" followed by
  // it in any case.
  static constexpr const char* kDefaultMarker = "<Default>";
  static constexpr const char* kDefaultSettings = app_settings::kDefaultCommSettings;

  Action action = Action::kWriteFile;
  // kWriteFile: the register file to write, or kDefaultMarker.
  std::string file_name;
  // From "/Port:" or --port; without either, the caller uses the remembered port.
  bool port_given = false;
  std::string port;
  std::string port_settings = kDefaultSettings;
  // kWriteFile: compare and report, write nothing.
  bool dry_run = false;
  // No progress line on standard error.
  bool quiet = false;
  // kReadTo: the .cfg file to save the reader's image in.
  std::string read_to;
  // kExportHex: the .cfg file read and the Intel HEX file written.
  std::string export_cfg;
  std::string export_hex;
  // --trace: the file that gets one row per reader; empty for none.
  std::string trace;
  // kStation: the ports watched, upper-case COM and HID names; empty for every port there is.
  std::vector<std::string> station_ports;
  // kStation: every reader's step lines as well as its result line.
  bool verbose = false;
};

// The arguments after the program name, joined into one command line (see above).
std::string JoinCommandLine(const std::vector<std::string>& args);

// The value of a switch that starts at `start` of `command_line`: characters up to the first blank
// outside double quotes, the quotes left out.
std::string ReadSwitchValue(const std::string& command_line, size_t start);

// Splits a port value "COM3,9600,N,8,1" into the port ("COM3") and its settings ("9600,N,8,1"), both
// trimmed; without a "," the whole value is the port and the settings stay as they are.
void SplitPortValue(const std::string& value, std::string& port, std::string& settings);

// True when the arguments ask for the console mode: one of the switches "/WriteFile:" or "/WriteDefault"
// anywhere, or a long option of the list above.
bool IsConsoleArguments(const std::vector<std::string>& args);

// Reads the request. False with `error` for a long option that is unknown, lacks its value, or asks for
// two things at once, and for a command line that asks for nothing.
bool ParseConsoleArguments(const std::vector<std::string>& args, ConsoleRequest& request, std::string& error);

// What --help prints.
std::string ConsoleUsageText();
