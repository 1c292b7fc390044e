#pragma once
// A main window on a bench of emulated readers: a program folder of its own (links to the build folder's
// skins, copies of its data files that a test may change), a per-user settings folder of its own, and
// readers on pseudo-terminals as the only serial ports.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "app/frmMain.h"
#include "tests/gnet/sim_readers.h"
#include "tests/support/temp_dir.h"

namespace app_test {

class ProgramFolder {
 public:
  ProgramFolder();
  const std::string& path() const { return dir_.path(); }
  // Replaces `relative_path` (a link into the build folder stays untouched).
  void Write(const std::string& relative_path, const std::string& content) const;
  std::string Read(const std::string& relative_path) const { return dir_.ReadFile(relative_path); }

 private:
  test_support::TempDir dir_{"app-program"};
};

// A reader that starts from the factory image of `image_model` in the build folder.
msrsim::ReaderConfig FactoryReader(const std::string& identification, const std::string& image_model);

class WindowTest : public ::testing::Test {
 protected:
  WindowTest();
  // A new window with `command_line`, loaded and shown.
  frmMain& Open(const std::string& command_line = "");
  bool Shows(const std::string& text) const { return window->txtView.Text().find(text) != std::string::npos; }
  // The colour of the first run holding `text`; -1 when none does.
  int64_t ColourOf(const std::string& text) const;
  // How many runs of the terminal view hold `text`.
  int CountOf(const std::string& text) const;
  // Runs the event loop until `done` holds or `timeout_ms` passed.
  static bool PumpUntil(const std::function<bool()>& done, int timeout_ms);
  // Runs `act` once, between two registers of the window's next bulk transfer, as a click or a device
  // notification arriving in the middle of it would.
  void DuringTransfer(std::function<void()> act);

  ProgramFolder program;
  test_support::TempDir user_config{"app-user"};
  test_support::ScopedEnv program_dir{"MSRCFG_HOME", program.path()};
  test_support::ScopedEnv config_home{"XDG_CONFIG_HOME", user_config.path()};
  test_support::SimReaders readers;
  std::unique_ptr<frmMain> window;  // after the readers: its ports close first
};

}  // namespace app_test
