// msrcfg's window against emulated readers: what a person sees and reaches after a Read, the alias
// dialog over the window, and the window's place between runs.
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <set>

#include "platform/clock.h"
#include "registers/clsRegister.h"
#include "registers/user_settings.h"
#include "tests/gnet/sim_readers.h"
#include "tests/support/program_folder.h"
#include "ui/qt/msrcfg/main_window.h"
#include "ui/qt/qt_event_loop.h"
#include "ui/qt/text_codec.h"
#include "ui/qt/widget_builder.h"

namespace {

using msrcfg_window::WindowGeometry;
using test_support::SimReaders;
using ui_qt::WidgetOf;

template <typename W = QWidget>
W* Widget(const platform::Control& control) {
  return dynamic_cast<W*>(WidgetOf(control));
}

void Press(const platform::Control& button) {
  QTest::mouseClick(Widget<QAbstractButton>(button), Qt::LeftButton);
}

// The window on the Qt loop, with a program folder (the build folder's skins, copies of its data files)
// and a settings folder of its own, and emulated readers as the only serial ports.
class Msrcfg : public ::testing::Test {
 protected:
  Msrcfg() {
    test_support::LayOutProgramFolder(program.path());
    program.WriteFile("AliasName.ini", "[General]\nAliasEnable = TRUE\n");
    platform::SetCurrentEventLoop(&loop);
  }
  ~Msrcfg() override {
    Close();
    platform::SetCurrentEventLoop(nullptr);
  }

  // A new form and window, loaded and shown as the program does (on one large screen).
  void Open(const char* reader = nullptr) {
    if (reader != nullptr) {
      ASSERT_NE(readers.Add("COM3", SimReaders::Reader(reader)), nullptr);
    }
    Close();
    form = std::make_unique<frmMain>();
    window = std::make_unique<msrcfg_window::MainWindow>(*form);
    window->LoadAndShow({QRect(0, 0, 2560, 1440)});
  }
  void Close() {
    window.reset();
    form.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  // Auto Scan, and the loop run until the reader's pages are filled.
  void Scan() {
    Press(form->cmdAutoScan);
    const uint32_t start = platform::GetTickCount();
    while (!form->cmdWrite.Enabled() && platform::GetTickCount() - start < 10000) loop.WaitForEvents(5);
    ASSERT_TRUE(form->cmdWrite.Enabled()) << form->txtView.Text();
  }
  std::string ScreenLog() const {
    return ui_qt::FromQt(Widget<QPlainTextEdit>(form->txtView)->toPlainText());
  }

  test_support::TempDir program{"msrcfg-program"};
  test_support::TempDir user_config{"msrcfg-user"};
  test_support::ScopedEnv program_dir{"MSRCFG_HOME", program.path()};
  test_support::ScopedEnv config_home{"XDG_CONFIG_HOME", user_config.path()};
  ui_qt::QtEventLoop loop;
  SimReaders readers;
  std::unique_ptr<frmMain> form;
  std::unique_ptr<msrcfg_window::MainWindow> window;
};

TEST_F(Msrcfg, ReadShowsTheReadersPagesInsideTheSkinArea) {
  Open("KRD36AR,3TRACK,UART");
  auto* ports = Widget<QComboBox>(form->cboPort);
  ASSERT_EQ(ports->count(), 2);
  EXPECT_EQ(ports->itemText(1), "COM3");  // the device only shows beside the name the program compares

  Press(form->cmdRead);
  EXPECT_NE(ScreenLog().find("Read OK!"), std::string::npos) << ScreenLog();
  EXPECT_EQ(Widget<QLabel>(form->labProduct)->text(), "KRD36AR,3TRACK,UART");
  // The pages sit in the skin area, not in a window of their own, fill it, and show what was read.
  QWidget* area = WidgetOf(form->picBack);
  QWidget* pages = WidgetOf(*form->SkinObject());
  ASSERT_TRUE(area->isAncestorOf(pages));
  EXPECT_TRUE(pages->isVisible());
  EXPECT_EQ(pages->mapTo(area, QPoint(0, 0)), QPoint(0, 0));
  auto* tabs = Widget<QTabWidget>(*form->SkinObject()->SSTab());
  EXPECT_EQ(tabs->width(), area->width());
  EXPECT_LE(tabs->tabBar()->tabRect(tabs->count() - 1).right(), tabs->width());
  auto* led = Widget<QComboBox>(*form->SkinObject()->Find("cboLED"));
  ASSERT_TRUE(led != nullptr && area->isAncestorOf(led));
  EXPECT_EQ(ui_qt::FromQt(led->currentText()), form->m_oRegisters.FindRegister("LED")->Text());
  EXPECT_FALSE(led->currentText().isEmpty());
}

TEST_F(Msrcfg, PagesTallerThanTheSkinAreaScrollInIt) {
  Open("QV-R4410-03");
  Scan();
  form->SkinObject()->SSTab()->UserSelectTab(1);  // tracks and data sent: more rows than there is room for
  QWidget* area = WidgetOf(form->picBack);
  QWidget* last = WidgetOf(*form->SkinObject()->Find("cboLetterCase"));
  auto bottom = [&] { return last->mapTo(area, QPoint(0, last->height())).y(); };
  ASSERT_GT(bottom(), area->height());
  auto* scroller = area->findChild<QScrollArea*>();
  scroller->ensureWidgetVisible(last);
  EXPECT_TRUE(bottom() > 0 && bottom() <= area->height());
  EXPECT_FALSE(scroller->horizontalScrollBar()->isVisible());
}

TEST_F(Msrcfg, TheAliasDialogKeepsTheWindowWaitingUntilItIsAnswered) {
  Open("KRD36AR,3TRACK,UART");
  Scan();
  form->cboAliasName.UserSelect(0);
  QWidget* dialog = WidgetOf(form->m_oAliasNames.Dialog());
  bool seen = false;
  // The name box passes Enter and Escape on to the dialog: Escape cancels, Enter adds the name typed.
  bool answered_by_key = true;
  int key = Qt::Key_Escape;
  form->m_oAliasNames.Dialog().OnShown = [&](frmAliasName& shown) {
    seen = QApplication::activeModalWidget() == dialog && dialog->parentWidget() == &window->Widget();
    if (key == Qt::Key_Return) shown.txtName.SetText("Cafe");
    QTest::keyClick(WidgetOf(shown.txtName), static_cast<Qt::Key>(key));
    if (!shown.Shown()) return;
    answered_by_key = false;
    Press(*shown.cmdAction[frmAliasName::kCancel]);
  };
  Press(form->cmdAliasName);
  EXPECT_TRUE(seen && answered_by_key);
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  EXPECT_EQ(form->cboAliasName.ListCount(), 1);
  key = Qt::Key_Return;
  form->cboAliasName.UserSelect(0);
  Press(form->cmdAliasName);
  EXPECT_TRUE(answered_by_key);
  EXPECT_EQ(form->cboAliasName.ListCount(), 2);
}

TEST_F(Msrcfg, EveryControlIsReachableFromTheKeyboard) {
  Open("KRD36AR,3TRACK,UART");
  // Each button and check box has a letter of its own; Cancel, shown only during a scan, has Escape.
  std::set<QChar> letters;
  for (platform::Control* control : form->Form().Descendants()) {
    auto* button = dynamic_cast<QAbstractButton*>(WidgetOf(*control));
    if (button == nullptr || control == &form->cmdCancel) continue;
    const qsizetype amp = button->text().indexOf('&');
    ASSERT_GE(amp, 0) << control->Name();
    EXPECT_TRUE(letters.insert(button->text()[amp + 1].toLower()).second) << control->Name();
  }
  window->Widget().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window->Widget()));
  form->cmdCancel.SetVisible(true);
  QTest::keyClick(&window->Widget(), Qt::Key_Escape);
  EXPECT_TRUE(form->ucGNet.GNetCancel());
  form->cmdCancel.SetVisible(false);

  Scan();
  // Tab goes top to bottom: the buttons, the pages' first field, the log, and Exit last.
  std::vector<QWidget*> cycle;
  QWidget* start = WidgetOf(form->cboPort);
  for (QWidget* at = start->nextInFocusChain(); at != start; at = at->nextInFocusChain()) {
    if ((at->focusPolicy() & Qt::TabFocus) && at->isVisibleTo(&window->Widget()) && at->isEnabled())
      cycle.push_back(at);
  }
  auto place = [&](const platform::Control& control) {
    return std::find(cycle.begin(), cycle.end(), WidgetOf(control)) - cycle.begin();
  };
  const platform::Control& first_field = *form->SkinObject()->Find("cboBaudrate");
  EXPECT_LT(place(form->cmdRead), place(first_field));
  EXPECT_LT(place(first_field), place(form->txtView));
  EXPECT_EQ(place(form->cmdExit), static_cast<std::ptrdiff_t>(cycle.size()) - 1);
}

TEST_F(Msrcfg, TheWindowOpensWhereItWasClosedAndTheLogGrowsWithIt) {
  Open();
  QWidget& main = window->Widget();
  const QSize design = main.size();
  const QSize minimum = main.minimumSize();
  const QRect log = Widget(form->txtView)->geometry();
  main.move(40, 50);
  main.resize(design + QSize(100, 80));
  EXPECT_EQ(Widget(form->txtView)->geometry(), log.adjusted(0, 0, 100, 80));
  EXPECT_EQ(form->txtView.Width(), log.width() + 100);
  EXPECT_EQ(main.minimumSize(), minimum);  // it can be made small again
  bool closed = false;
  window->OnClosed = [&] { closed = true; };
  Press(form->cmdExit);
  EXPECT_TRUE(closed);
  EXPECT_EQ(msrcfg_window::LoadWindowGeometry(),
            (WindowGeometry{40, 50, design.width() + 100, design.height() + 80}));

  Open();
  EXPECT_EQ(window->Widget().pos(), QPoint(40, 50));
  EXPECT_EQ(window->Widget().size(), design + QSize(100, 80));
  SaveUserSetting("Window", "Width", "wide");
  EXPECT_EQ(msrcfg_window::LoadWindowGeometry(), std::nullopt);
}

TEST(WindowGeometry, ARememberedPlaceIsMadeToFitTheScreensThereAreNow) {
  const QRect laptop(0, 0, 1920, 1050);
  const QRect second(1920, 0, 1280, 1024);
  const struct {
    WindowGeometry saved;
    std::vector<QRect> screens;
    WindowGeometry expected;
  } cases[] = {
      {{2000, 10, 1000, 700}, {laptop, second}, {2000, 10, 1000, 700}},  // fits as it is
      {{100, 80, 300, 200}, {laptop}, {100, 80, 900, 640}},              // never smaller than the form
      {{2000, 10, 1000, 700}, {laptop}, {460, 175, 1000, 700}},          // its screen is gone: centred
      {{100, -900, 1000, 700}, {laptop}, {460, 175, 1000, 700}},         // title bar out of reach
      {{1500, 100, 1000, 700}, {laptop}, {920, 100, 1000, 700}},         // half off the edge
      {{0, 0, 2500, 1400}, {laptop}, {0, 0, 1920, 1050}},                // larger than the screen
      {{-50, -50, 10, 10}, {}, {-50, -50, 900, 640}},                    // no screens known
  };
  for (const auto& c : cases) {
    EXPECT_EQ(msrcfg_window::FitOnScreens(c.saved, c.screens, QSize(900, 640)), c.expected)
        << c.saved.left << "," << c.saved.top;
  }
}

}  // namespace
