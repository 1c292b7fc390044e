// The main window's place and size between runs, and the controls that follow its size.
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

#include "registers/user_settings.h"
#include "tests/ui_qt/msrcfg_fixture.h"
#include "ui/qt/msrcfg/window_geometry.h"

namespace msrcfg_test {
namespace {

using msrcfg_window::FitOnScreens;
using msrcfg_window::WindowGeometry;

TEST(WindowGeometry, ARememberedPlaceIsMadeToFitTheScreensThereAreNow) {
  const QSize minimum(900, 640);
  const QRect laptop(0, 0, 1920, 1050);
  const QRect second(1920, 0, 1280, 1024);
  struct Case {
    const char* what;
    WindowGeometry saved;
    std::vector<QRect> screens;
    WindowGeometry expected;
  };
  const Case cases[] = {
      {"fits as it is", {100, 80, 1000, 700}, {laptop}, {100, 80, 1000, 700}},
      {"on the second screen", {2000, 10, 1000, 700}, {laptop, second}, {2000, 10, 1000, 700}},
      {"never smaller than the form", {100, 80, 300, 200}, {laptop}, {100, 80, 900, 640}},
      {"second screen gone: centred on the primary", {2000, 10, 1000, 700}, {laptop}, {460, 175, 1000, 700}},
      {"far above the screen", {100, -900, 1000, 700}, {laptop}, {460, 175, 1000, 700}},
      {"half off the right edge is pulled in", {1500, 100, 1000, 700}, {laptop}, {920, 100, 1000, 700}},
      {"larger than the screen", {0, 0, 2500, 1400}, {laptop}, {0, 0, 1920, 1050}},
      {"no screens known: only the minimum", {-50, -50, 10, 10}, {}, {-50, -50, 900, 640}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FitOnScreens(c.saved, c.screens, minimum), c.expected) << c.what;
  }
}

class WindowPlace : public MsrcfgWindowTest {};

TEST_F(WindowPlace, SettingsThatAreNoNumbersAreNoPlace) {
  EXPECT_EQ(msrcfg_window::LoadWindowGeometry(), std::nullopt);
  ASSERT_TRUE(msrcfg_window::SaveWindowGeometry({-20, 30, 1000, 700}));
  EXPECT_EQ(msrcfg_window::LoadWindowGeometry(), (WindowGeometry{-20, 30, 1000, 700}));
  ASSERT_TRUE(SaveUserSetting("Window", "Width", "wide"));
  EXPECT_EQ(msrcfg_window::LoadWindowGeometry(), std::nullopt);
}

TEST_F(WindowPlace, TheWindowOpensWhereItWasClosedAndTheLogGrowsWithIt) {
  Open();
  QWidget& main = window->Widget();
  const QRect log_before = Widget<QPlainTextEdit>(form->txtView)->geometry();
  const QRect exit_before = Widget<QPushButton>(form->cmdExit)->geometry();
  const QSize design = main.size();
  const QSize minimum_before = main.minimumSize();

  main.move(40, 50);
  main.resize(design.width() + 100, design.height() + 80);
  const QRect log_after = Widget<QPlainTextEdit>(form->txtView)->geometry();
  EXPECT_EQ(log_after.size(), log_before.size() + QSize(100, 80));
  EXPECT_EQ(Widget<QPushButton>(form->cmdExit)->geometry(), exit_before.translated(100, 0));
  // The model knows where its controls are.
  EXPECT_EQ(form->txtView.Width(), log_after.width());
  // And the window can be made small again.
  EXPECT_EQ(main.minimumSize(), minimum_before);

  bool closed = false;
  window->OnClosed = [&] { closed = true; };
  form->cmdExit.UserClick();
  EXPECT_TRUE(closed);
  EXPECT_EQ(GetUserSetting("Window", "Left", "") + "," + GetUserSetting("Window", "Top", "") + "," +
                GetUserSetting("Window", "Width", "") + "," + GetUserSetting("Window", "Height", ""),
            "40,50," + std::to_string(design.width() + 100) + "," + std::to_string(design.height() + 80));

  Open();
  EXPECT_EQ(window->Widget().pos(), QPoint(40, 50));
  EXPECT_EQ(window->Widget().size(), design + QSize(100, 80));
  EXPECT_EQ(Widget<QPlainTextEdit>(form->txtView)->geometry(), log_after);
}

TEST_F(WindowPlace, ClosingDuringATransferOnlyCancelsItAndSavesNothing) {
  msrsim::ReaderConfig slow = test_support::SimReaders::Reader("KRD36AR,3TRACK,UART");
  slow.latency_ms = 5;
  ASSERT_NE(readers.Add("COM3", slow), nullptr);
  Open();
  form->cmdAutoScan.UserClick();
  ASSERT_TRUE(form->cmdWrite.Enabled()) << form->txtView.Text();
  bool closed = false;
  window->OnClosed = [&] { closed = true; };
  // The person closes the window once the registers are on their way, one by one.
  form->chkCacheMode.SetValue(platform::CheckBox::kUnchecked);
  bool close_refused = false;
  QTimer watch;
  QObject::connect(&watch, &QTimer::timeout, [&] {
    if (form->txtView.Text().find("Begin Write Register") == std::string::npos) return;
    watch.stop();
    close_refused = !window->Widget().close();
  });
  watch.start(10);
  form->cmdWrite.UserClick();
  EXPECT_TRUE(close_refused);
  EXPECT_FALSE(closed);
  EXPECT_TRUE(window->Widget().isVisible());
  const std::string log = form->txtView.Text();
  EXPECT_TRUE(log.find("User Cancel") != std::string::npos && log.find("Write NG!") != std::string::npos)
      << log;
  EXPECT_EQ(GetUserSetting("Window", "Width", "none"), "none");
}

}  // namespace
}  // namespace msrcfg_test
