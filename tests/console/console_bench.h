#pragma once
// msrcfg run as a production script runs it: a process of its own with a private program folder (links to
// the build folder's skins and default files), a private settings folder whose SerialPorts section lists
// the emulated readers, no display, and its lines, error output and exit status captured.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sim/emulated_reader.h"
#include "tests/support/temp_dir.h"

namespace console_test {

inline constexpr const char* kIdentification = "KRD36AR,3TRACK,UART";

struct RunResult {
  int exit_code = -1;
  std::vector<std::string> lines;  // standard output
  std::string errors;              // standard error
};

class ConsoleBench {
 public:
  ConsoleBench();
  // Starts a reader listed as `com_name`; null after a test failure. A reader added under a name already
  // listed takes it over, as a device plugged in again does.
  msrsim::EmulatedReader* AddReader(const std::string& com_name, msrsim::ReaderConfig config);
  // COMM/Port: the port used when the command line names none.
  void SetRememberedPort(const std::string& port);
  // A register file (section MSRRegister) in the bench's work folder, or in the program's Default folder
  // when `name` starts with "Default/"; no AliasName key when `alias` is empty.
  std::string WriteCfg(const std::string& name, const std::string& registers, const std::string& alias = "",
                       const std::string& module = "KRD36AR");
  test_support::TempDir& Work() { return work_; }
  RunResult Run(const std::vector<std::string>& args);
  // The command line that runs msrcfg with `args` in the bench's folders, without a display.
  std::vector<std::string> Command(const std::vector<std::string>& args) const;

 private:
  void WriteSettings();

  test_support::TempDir program_{"console-program"};
  test_support::TempDir config_{"console-config"};
  test_support::TempDir work_{"console-work"};
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers_;
  std::vector<std::pair<std::string, std::string>> ports_;  // COM name, device
  std::string remembered_port_;
};

msrsim::ReaderConfig Reader(const msrsim::RegisterImage& image,
                            const std::string& identification = kIdentification);
// The factory image of KRD36AR from the build folder, with `alias` in its alias area.
msrsim::RegisterImage FactoryImage(const std::string& alias = "");
// `image` with each of `registers` changed.
msrsim::RegisterImage Changed(msrsim::RegisterImage image, std::initializer_list<uint8_t> registers);
std::string HexOf(const msrsim::RegisterImage& image);
// How many register writes ("C" requests) the reader received.
size_t WriteCount(const msrsim::EmulatedReader& reader);

}  // namespace console_test
