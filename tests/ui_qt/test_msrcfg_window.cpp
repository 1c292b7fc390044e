// msrcfg's window against emulated readers: what a person sees and reaches after pressing Read, the alias
// dialog over the window, devices that come and go, and the keyboard.
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <algorithm>
#include <set>

#include "registers/clsRegister.h"
#include "tests/support/fake_device_events.h"
#include "tests/ui_qt/msrcfg_fixture.h"
#include "ui/qt/text_codec.h"

namespace msrcfg_test {
namespace {

using test_support::SimReaders;

void Press(const platform::Control& button) {
  auto* widget = dynamic_cast<QAbstractButton*>(ui_qt::WidgetOf(button));
  ASSERT_NE(widget, nullptr) << button.Name();
  QTest::mouseClick(widget, Qt::LeftButton);
}

class MsrcfgWindow : public MsrcfgWindowTest {};

TEST_F(MsrcfgWindow, ReadFindsTheReaderAndShowsItsPagesInsideTheSkinArea) {
  ASSERT_NE(readers.Add("COM3", SimReaders::Reader("KRD36AR,3TRACK,UART")), nullptr);
  Open();
  // The list's entries are the names the program compares; the device shows beside them.
  auto* ports = Widget<QComboBox>(form->cboPort);
  ASSERT_NE(ports, nullptr);
  ASSERT_EQ(ports->count(), 2);
  EXPECT_EQ(ports->itemText(1), "COM3");
  EXPECT_EQ(form->PortDescription(1).rfind("/dev/pts/", 0), 0u);

  Press(form->cmdRead);
  ASSERT_TRUE(PumpUntil([&] { return ScreenLog().find("Read OK!") != std::string::npos; }, 10000))
      << ScreenLog();
  EXPECT_EQ(Widget<QLabel>(form->labProduct)->text(), "KRD36AR,3TRACK,UART");

  // The skin's form sits inside the skin area, not in a window of its own, and shows what was read.
  SkinForm* skin = form->SkinObject();
  ASSERT_NE(skin, nullptr);
  QWidget* area = ui_qt::WidgetOf(form->picBack);
  QWidget* pages = ui_qt::WidgetOf(*skin);
  ASSERT_NE(pages, nullptr);
  EXPECT_TRUE(area->isAncestorOf(pages));
  EXPECT_FALSE(pages->isWindow());
  EXPECT_TRUE(pages->isVisible());
  EXPECT_EQ(pages->mapTo(area, QPoint(0, 0)), QPoint(0, 0));
  // The pages fill the area, so every tab's caption is in view.
  auto* tabs = dynamic_cast<QTabWidget*>(ui_qt::WidgetOf(*skin->SSTab()));
  ASSERT_NE(tabs, nullptr);
  ASSERT_GT(tabs->count(), 1);
  EXPECT_EQ(tabs->width(), area->width());
  EXPECT_LE(tabs->tabBar()->tabRect(tabs->count() - 1).right(), tabs->width());
  const clsRegister* led = form->m_oRegisters.FindRegister("LED");
  platform::Control* led_control = skin->Find("cboLED");
  ASSERT_TRUE(led != nullptr && led_control != nullptr);
  auto* led_list = Widget<QComboBox>(*led_control);
  ASSERT_NE(led_list, nullptr);
  EXPECT_TRUE(area->isAncestorOf(led_list));
  EXPECT_FALSE(led->Text().empty());
  EXPECT_EQ(ui_qt::FromQt(led_list->currentText()), led->Text());

  // A second Read keeps the same pages in the same place.
  Press(form->cmdRead);
  ASSERT_TRUE(PumpUntil([&] { return form->txtView.Text().find("Read OK!") != std::string::npos; }, 10000));
  EXPECT_EQ(ui_qt::WidgetOf(*form->SkinObject()), pages);
  EXPECT_TRUE(pages->isVisible());
}

TEST_F(MsrcfgWindow, PagesTallerThanTheSkinAreaScrollInIt) {
  ASSERT_NE(readers.Add("COM3", SimReaders::Reader("QV-R4410-03")), nullptr);
  Open();
  Press(form->cmdAutoScan);
  ASSERT_TRUE(PumpUntil([&] { return form->SkinObject() != nullptr && form->cmdWrite.Enabled(); }, 10000))
      << ScreenLog();
  // The page of the tracks and the data sent has more rows than the area has room for.
  platform::TabControl* pages = form->SkinObject()->SSTab();
  pages->UserSelectTab(1);
  QWidget* area = ui_qt::WidgetOf(form->picBack);
  QWidget* last_field = ui_qt::WidgetOf(*form->SkinObject()->Find("cboLetterCase"));
  ASSERT_NE(last_field, nullptr);
  ASSERT_GT(last_field->mapTo(area, QPoint(0, last_field->height())).y(), area->height());
  auto* scroller = area->findChild<QScrollArea*>();
  ASSERT_NE(scroller, nullptr);
  EXPECT_TRUE(scroller->verticalScrollBar()->isVisible());
  scroller->ensureWidgetVisible(last_field);
  const int bottom = last_field->mapTo(area, QPoint(0, last_field->height())).y();
  EXPECT_LE(bottom, area->height());
  EXPECT_GT(bottom, 0);
  // Nothing is cut at the side: no horizontal scrolling needed.
  EXPECT_FALSE(scroller->horizontalScrollBar()->isVisible());
}

TEST_F(MsrcfgWindow, TheAliasDialogKeepsTheWindowWaitingUntilItIsAnswered) {
  ASSERT_NE(readers.Add("COM3", SimReaders::Reader("KRD36AR,3TRACK,UART")), nullptr);
  Open();
  Press(form->cmdAutoScan);
  ASSERT_TRUE(PumpUntil([&] { return form->cmdAliasName.Visible() && form->cmdAliasName.Enabled(); }, 10000))
      << ScreenLog();

  ASSERT_GT(form->cboAliasName.ListCount(), 0);
  form->cboAliasName.UserSelect(0);
  frmAliasName& dialog = form->m_oAliasNames.Dialog();
  QWidget* dialog_window = ui_qt::WidgetOf(dialog);
  ASSERT_NE(dialog_window, nullptr);
  bool seen = false;
  dialog.OnShown = [&](frmAliasName& shown) {
    seen = true;
    EXPECT_TRUE(dialog_window->isVisible());
    EXPECT_EQ(QApplication::activeModalWidget(), dialog_window);
    EXPECT_EQ(dialog_window->windowModality(), Qt::ApplicationModal);
    // It belongs to the main window: it stays above it and opens over it.
    EXPECT_EQ(dialog_window->parentWidget(), &window->Widget());
    EXPECT_TRUE(window->Widget().geometry().contains(dialog_window->geometry().center()));
    Press(*shown.cmdAction[frmAliasName::kCancel]);
  };
  Press(form->cmdAliasName);
  EXPECT_TRUE(seen);
  EXPECT_FALSE(dialog_window->isVisible());
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(MsrcfgWindow, DevicesThatComeAndGoReachTheFormByTheirComNames) {
  Open();
  auto events = std::make_unique<test_support::FakeDeviceEvents>();
  test_support::FakeDeviceEvents& device_manager = *events;
  window->FollowDevices(std::move(events));
  ASSERT_TRUE(window->FollowsDevices());
  EXPECT_EQ(Widget<QComboBox>(form->cboPort)->count(), 0);

  msrsim::EmulatedReader* reader = readers.Add("COM7", SimReaders::Reader("KRD36AR,3TRACK,UART"));
  ASSERT_NE(reader, nullptr);
  device_manager.Send({test_support::DeviceAdded("/dev/tty5"), test_support::DeviceAdded(reader->Path())});
  ASSERT_TRUE(PumpUntil([&] { return ScreenLog().find("COM7 is plus-in!") != std::string::npos; }, 2000));
  auto* ports = Widget<QComboBox>(form->cboPort);
  ASSERT_EQ(ports->count(), 2);
  EXPECT_EQ(ports->itemText(1), "COM7");

  device_manager.Send({test_support::DeviceRemoved(reader->Path())});
  ASSERT_TRUE(PumpUntil([&] { return ScreenLog().find("COM7 is removed!") != std::string::npos; }, 2000));
  // Only serial ports of the list are reported: the console never was.
  EXPECT_EQ(ScreenLog().find("COM5"), std::string::npos);
  EXPECT_EQ(ScreenLog().find("tty5"), std::string::npos);
}

TEST_F(MsrcfgWindow, EveryControlIsReachableFromTheKeyboard) {
  ASSERT_NE(readers.Add("COM3", SimReaders::Reader("KRD36AR,3TRACK,UART")), nullptr);
  Open();
  // Each button and check box has a letter of its own; Cancel, shown only during a scan, has Escape.
  std::set<QChar> letters;
  for (platform::Control* control : form->Form().Descendants()) {
    if (control->Kind() != platform::ControlKind::kButton &&
        control->Kind() != platform::ControlKind::kCheckBox)
      continue;
    auto* button = dynamic_cast<QAbstractButton*>(ui_qt::WidgetOf(*control));
    ASSERT_NE(button, nullptr) << control->Name();
    EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus) << control->Name();
    if (control == &form->cmdCancel) continue;
    const QString text = button->text();
    const qsizetype amp = text.indexOf('&');
    ASSERT_TRUE(amp >= 0 && amp + 1 < text.size()) << control->Name() << " has no mnemonic";
    EXPECT_TRUE(letters.insert(text[amp + 1].toLower()).second) << control->Name() << " shares its letter";
  }
  window->Widget().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window->Widget()));
  form->cmdCancel.SetVisible(true);
  QTest::keyClick(&window->Widget(), Qt::Key_Escape);
  EXPECT_TRUE(form->ucGNet.GNetCancel());
  form->cmdCancel.SetVisible(false);
  form->ucGNet.SetGNetCancel(false);

  Press(form->cmdAutoScan);
  ASSERT_TRUE(PumpUntil([&] { return form->SkinObject() != nullptr && form->cmdWrite.Enabled(); }, 10000))
      << ScreenLog();
  // The Tab cycle, top of the window to the bottom: the skin's pages between the buttons and the log.
  std::vector<QWidget*> cycle;
  QWidget* start = ui_qt::WidgetOf(form->cboPort);
  for (QWidget* at = start->nextInFocusChain(); at != start && cycle.size() < 500;
       at = at->nextInFocusChain()) {
    if ((at->focusPolicy() & Qt::TabFocus) && at->isVisibleTo(&window->Widget()) && at->isEnabled())
      cycle.push_back(at);
  }
  auto place = [&](const QWidget* widget) {
    return std::find(cycle.begin(), cycle.end(), widget) - cycle.begin();
  };
  QWidget* skin_tabs_widget = ui_qt::WidgetOf(*form->SkinObject()->SSTab());
  ASSERT_NE(skin_tabs_widget, nullptr);
  if (skin_tabs_widget->focusProxy() != nullptr) skin_tabs_widget = skin_tabs_widget->focusProxy();
  // The first field on the page that shows.
  QWidget* first_field = nullptr;
  for (platform::Control* control : form->SkinObject()->Descendants()) {
    const bool field = control->Kind() == platform::ControlKind::kComboBox ||
                       control->Kind() == platform::ControlKind::kTextBox;
    if (field && ui_qt::WidgetOf(*control)->isVisibleTo(&window->Widget())) {
      first_field = ui_qt::WidgetOf(*control);
      break;
    }
  }
  ASSERT_NE(first_field, nullptr);
  const auto read = place(ui_qt::WidgetOf(form->cmdRead));
  const auto skin_tabs = place(skin_tabs_widget);
  const auto field = place(first_field);
  const auto log = place(ui_qt::WidgetOf(form->txtView));
  const auto exit = place(ui_qt::WidgetOf(form->cmdExit));
  EXPECT_LT(read, skin_tabs);
  EXPECT_LT(skin_tabs, field);
  EXPECT_LT(field, log);
  EXPECT_LT(log, exit);
  EXPECT_EQ(exit, static_cast<std::ptrdiff_t>(cycle.size()) - 1);
}

}  // namespace
}  // namespace msrcfg_test
