// msrcfg: the reader configuration program. With "/WriteFile:" or "/WriteDefault" on its command line it
// writes a register file into a reader unattended and never touches the display; otherwise it opens the
// main window.
#include <QApplication>
#include <string>

#include "app/console_mode.h"
#include "app/frmMain.h"
#include "platform/event_loop.h"
#include "platform/hotplug.h"
#include "platform/ui_services.h"
#include "registers/user_settings.h"
#include "ui/qt/msrcfg/main_window.h"
#include "ui/qt/msrcfg/program_icon.h"
#include "ui/qt/qt_event_loop.h"
#include "ui/qt/qt_ui_services.h"

namespace {

// The switches are looked for anywhere in the arguments, as one text.
std::string CommandLine(int argc, char** argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    if (i > 1) line += ' ';
    line += argv[i];
  }
  return line;
}

int RunWindow(int argc, char** argv) {
  QApplication application(argc, argv);
  // The form decides when the program ends: closing is refused while a transfer runs.
  QApplication::setQuitOnLastWindowClosed(false);
  // The main window and its dialogs.
  QApplication::setWindowIcon(msrcfg_window::ProgramIcon());
  ui_qt::QtEventLoop loop;
  ui_qt::QtUiServices services;
  platform::SetCurrentEventLoop(&loop);
  platform::SetCurrentUi(&services);
  InstallUserPortMap();

  int exit_code = 0;
  {
    // Qt has taken its own options out of argv by now.
    frmMain form(CommandLine(argc, argv));
    msrcfg_window::MainWindow window(form);
    // Without udev (a container) devices are simply not followed; plugging a reader in then needs a scan.
    window.FollowDevices(platform::OpenTtyEventSource());
    window.FollowHidDevices(platform::OpenHidrawEventSource());
    window.OnClosed = [&loop] { loop.Quit(0); };
    window.LoadAndShow();
    exit_code = loop.Run();
  }
  // The windows go with their forms; let Qt finish deleting them while the loop still exists.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  platform::SetCurrentUi(nullptr);
  platform::SetCurrentEventLoop(nullptr);
  return exit_code;
}

}  // namespace

int main(int argc, char** argv) {
  // Decided before any toolkit object exists: the console mode runs where there is no display.
  if (IsConsoleCommandLine(argc, argv)) return RunConsoleMode(argc, argv);
  return RunWindow(argc, argv);
}
