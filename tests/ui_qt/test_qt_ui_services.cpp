#include <gtest/gtest.h>

#include <QGuiApplication>

#include "platform/ui_services.h"
#include "tests/ui_qt/qt_printers.h"
#include "ui/qt/dialog_mapping.h"
#include "ui/qt/qt_ui_services.h"

namespace {

using namespace ui_qt;
using Buttons = std::vector<QMessageBox::StandardButton>;

TEST(QtUiServices, MessageBoxStylesMapToButtonsIconsAndAnswers) {
  MessageBoxLook look = LookOfStyle(platform::kMbOkOnly);
  EXPECT_EQ(look.buttons, Buttons{QMessageBox::Ok});
  EXPECT_EQ(look.icon, QMessageBox::NoIcon);

  look = LookOfStyle(platform::kMbOkCancel | platform::kMbCritical);
  EXPECT_EQ(look.buttons, (Buttons{QMessageBox::Ok, QMessageBox::Cancel}));
  EXPECT_EQ(look.icon, QMessageBox::Critical);
  EXPECT_EQ(look.default_button, QMessageBox::Ok);

  // 256 makes the second button the default one.
  look = LookOfStyle(platform::kMbYesNo | platform::kMbQuestion | 256);
  EXPECT_EQ(look.buttons, (Buttons{QMessageBox::Yes, QMessageBox::No}));
  EXPECT_EQ(look.icon, QMessageBox::Question);
  EXPECT_EQ(look.default_button, QMessageBox::No);

  // Yes/No/Cancel, with a default beyond the buttons falling back to the first.
  look = LookOfStyle(3 | 512 | 256);
  EXPECT_EQ(look.buttons.size(), 3u);
  EXPECT_EQ(look.default_button, QMessageBox::Yes);

  EXPECT_EQ(AnswerCode(QMessageBox::No), platform::kMbResultNo);
  EXPECT_EQ(AnswerCode(QMessageBox::NoButton), platform::kMbResultCancel);  // closed without a button
}

TEST(QtUiServices, FileFiltersTakeTheirPatternsFromBehindTheBar) {
  EXPECT_EQ(ToQtFilter("CFG File (*.cfg)|*.cfg"), "CFG File (*.cfg)");
  EXPECT_EQ(ToQtFilter("Intel HEX|*.hex;*.ihx|All Files (*.*)|*.*"),
            "Intel HEX (*.hex *.ihx);;All Files (*.*)");
  // Parentheses that disagree with the pattern are replaced, since Qt would filter by them.
  EXPECT_EQ(ToQtFilter("Settings (old)|*.ini"), "Settings (*.ini)");
  EXPECT_EQ(ToQtFilter("Odd entry without pattern"), "");
  EXPECT_EQ(DefaultSuffixOf("CFG File (*.cfg)"), "cfg");
  EXPECT_EQ(DefaultSuffixOf("All Files (*)"), "");
}

TEST(QtUiServices, PointerCodesOverrideTheCursorWithoutStacking) {
  QtUiServices ui;
  ui.SetMousePointer(platform::kPointerHourglass);
  ASSERT_NE(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
  ui.SetMousePointer(platform::kPointerHourglass);
  ui.SetMousePointer(3);
  EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::IBeamCursor);
  EXPECT_EQ(ui.MousePointer(), 3);
  // One 0 gives the widgets their pointers back, however often a code was set.
  ui.SetMousePointer(platform::kPointerDefault);
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  ui.SetMousePointer(platform::kPointerDefault);
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

}  // namespace
