// The window's icon: the data folder's drawing, and none without the file.
#include <gtest/gtest.h>

#include <QImage>
#include <QPixmap>

#include "tests/support/program_folder.h"
#include "tests/support/temp_dir.h"
#include "ui/qt/msrcfg/program_icon.h"

namespace {

using test_support::ScopedEnv;

TEST(ProgramIcon, IsTheCardDrawnInTheDataFolder) {
  {
    ScopedEnv home("MSRCFG_HOME", test_support::BuildDir());
    const QImage image = msrcfg_window::ProgramIcon().pixmap(48, 48).toImage();
    ASSERT_EQ(image.width(), 48) << "drawing an SVG icon needs Qt's SVG icon engine (package libqt6svg6)";
    EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << "a clear corner";
    EXPECT_LT(qGray(image.pixel(20, 14)), 64) << "the dark magnetic stripe";
  }
  test_support::TempDir empty("icon");
  ScopedEnv home("MSRCFG_HOME", empty.path());
  EXPECT_TRUE(msrcfg_window::ProgramIcon().isNull());
}

}  // namespace
