// A window with one control of every kind, to look at the Qt back end by eye. With a file name as its
// argument it saves a picture of the window there instead of running (works on the offscreen platform).

#include <QApplication>
#include <QPixmap>

#include "platform/controls.h"
#include "platform/event_loop.h"
#include "ui/qt/qt_event_loop.h"
#include "ui/qt/widget_builder.h"

using namespace platform;

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  ui_qt::QtEventLoop loop;
  SetCurrentEventLoop(&loop);

  Form form("frmDemo", "Controls demo");
  form.Add<Label>("labPort", "&Port");
  auto& port = form.Add<ComboBox>("cboPort");
  port.AddItem("COM1  /dev/ttyS0");
  port.AddItem("COM3  /dev/ttyUSB0  FT232R USB UART");
  port.SetListIndex(1);
  form.Add<Label>("labPrefix", "P&refix");
  form.Add<TextBox>("txtPrefix").SetText("%B");
  form.Add<CheckBox>("chkCache", "&Cache").SetValue(CheckBox::kChecked);
  auto& progress = form.Add<ProgressBar>("pgbRead");
  progress.SetValue(40);
  auto& frame = form.Add<Frame>("fraSkin", "Skin");
  auto& tabs = frame.Add<TabControl>("SSTab1");
  tabs.SetTabs(2);
  tabs.SetTabCaption(0, "General");
  tabs.SetTabCaption(1, "Track 1");
  tabs.Add<Label>("labBeep", "Beep");
  auto& beep = tabs.Add<ComboBox>("cboBeep");
  beep.AddItem("On");
  beep.AddItem("Off");
  beep.SetListIndex(0);
  tabs.Add<CheckBox>("chkTrack1", "Track 1 enabled");
  auto& buttons = form.Add<Container>("picButtons");
  buttons.Add<Button>("cmdRead", "&Read").Move(0, 0, 90, 28);
  buttons.Add<Button>("cmdWrite", "&Write").Move(96, 0, 90, 28);
  buttons.Add<Button>("cmdExit", "E&xit").Move(192, 0, 90, 28);
  auto& view = form.Add<RichTextView>("txtView");
  view.Append("12:00:00 - Scan COM3 19200\r\n", 0);
  view.Append("<STX>", 0xFF0000);
  view.Append("V1.00", 0);
  view.Append("<CR>", 0xFF0000);
  view.Append("\r\n", 0);
  view.Append("Read OK!\r\n", 0xFF0000);
  view.Append("Read NG!\r\n", 255);
  static_cast<Button*>(form.Find("cmdExit"))->OnClick = [&form] { form.RequestClose(); };
  form.OnUnload = [&loop](bool&) { loop.Quit(0); };

  QWidget* window = ui_qt::BuildWindow(form);
  form.Show();
  if (argc > 1) {
    loop.WaitForEvents(50);
    return window->grab().save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
  }
  return loop.Run();
}
