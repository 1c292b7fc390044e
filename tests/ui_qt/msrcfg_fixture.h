#pragma once
// msrcfg's main window on the Qt back end, on a bench of emulated readers: a program folder of its own
// (the build folder's skins, copies of its data files), a per-user settings folder of its own, readers on
// pseudo-terminals as the only serial ports, and the Qt event loop as the program's loop.

#include <gtest/gtest.h>

#include <QWidget>
#include <functional>
#include <memory>
#include <string>

#include "app/frmMain.h"
#include "tests/gnet/sim_readers.h"
#include "tests/support/temp_dir.h"
#include "ui/qt/msrcfg/main_window.h"
#include "ui/qt/qt_event_loop.h"
#include "ui/qt/widget_builder.h"

namespace msrcfg_test {

class MsrcfgWindowTest : public ::testing::Test {
 protected:
  MsrcfgWindowTest();
  ~MsrcfgWindowTest() override;

  // Creates the form with `command_line` and its window, then loads and shows it (the window fitted to
  // one large screen, so a remembered place is taken as it is).
  msrcfg_window::MainWindow& Open(const std::string& command_line = "");
  // Closes and drops the window and its form, the way the program ends.
  void Close();
  // Runs the Qt loop until `done` holds or `timeout_ms` passed; the result of `done` at the end.
  static bool PumpUntil(const std::function<bool()>& done, int timeout_ms);

  // The text the terminal view shows on screen.
  std::string ScreenLog() const;
  template <typename W>
  static W* Widget(const platform::Control& control) {
    return dynamic_cast<W*>(ui_qt::WidgetOf(control));
  }

  test_support::TempDir program{"msrcfg-program"};
  test_support::TempDir user_config{"msrcfg-user"};
  test_support::ScopedEnv program_dir{"MSRCFG_HOME", program.path()};
  test_support::ScopedEnv config_home{"XDG_CONFIG_HOME", user_config.path()};
  ui_qt::QtEventLoop loop;
  test_support::SimReaders readers;
  std::unique_ptr<frmMain> form;
  std::unique_ptr<msrcfg_window::MainWindow> window;
};

}  // namespace msrcfg_test
