#pragma once
// A main window on a bench of emulated readers: a program folder of its own (the build folder's skins,
// copies of its data files that a test may change), a per-user settings folder of its own, readers on
// pseudo-terminals as the only serial ports, and helpers to look at the terminal view.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "app/frmMain.h"
#include "tests/gnet/sim_readers.h"
#include "tests/support/temp_dir.h"

namespace app_test {

// The build folder CTest names in MSR_BUILD_DIR (skins, data files).
std::string BuildDir();

// A program folder for one test: Skin/ links to the build folder's skins and definition files, Default/
// and Trakset.ini are copies, and AliasName.ini enables alias names with no aliases yet.
class ProgramFolder {
 public:
  ProgramFolder();
  const std::string& path() const { return dir_.path(); }
  // Writes `content` to `relative_path` below the folder, replacing what was there.
  void Write(const std::string& relative_path, const std::string& content) const;
  std::string Read(const std::string& relative_path) const { return dir_.ReadFile(relative_path); }

 private:
  test_support::TempDir dir_{"app-program"};
};

// A reader that starts from its model's factory image in the build folder's Default/.
msrsim::ReaderConfig FactoryReader(const std::string& identification, const std::string& image_model);

class WindowTest : public ::testing::Test {
 protected:
  WindowTest();

  // Creates the window with `command_line` and runs Form_Load.
  frmMain& Open(const std::string& command_line = "");
  // Starts a reader listed as `com_name`.
  msrsim::EmulatedReader* AddReader(const std::string& com_name, msrsim::ReaderConfig config);

  // The terminal view's text, and whether it holds `text`.
  std::string ViewText() const;
  bool Shows(const std::string& text) const;
  // The colour of the first message holding `text`; -1 when none does.
  int64_t ColourOf(const std::string& text) const;
  // Runs the event loop until `done` holds or `timeout_ms` passed; the result of `done` at the end.
  static bool PumpUntil(const std::function<bool()>& done, int timeout_ms);

  ProgramFolder program;
  test_support::TempDir user_config{"app-user"};
  test_support::ScopedEnv program_dir{"MSRCFG_HOME", program.path()};
  test_support::ScopedEnv config_home{"XDG_CONFIG_HOME", user_config.path()};
  test_support::SimReaders readers;
  // Goes before the readers, so its ports are closed first.
  std::unique_ptr<frmMain> window;
};

}  // namespace app_test
