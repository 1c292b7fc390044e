// Which tabs belong to which connection, and enabling them for the connection in use.
#include <gtest/gtest.h>

#include "skin/skin_tabs.h"

namespace {

// The captions and ports of the tabs below are not repeated here; these are the cases they leave out.
TEST(SkinTabs, TheFirstConnectionWordOfACaptionDecides) {
  EXPECT_EQ(ConnectionOfCaption("uart settings"), SkinConnection::kSerial);
  EXPECT_EQ(ConnectionOfCaption("COM port"), SkinConnection::kSerial);
  EXPECT_EQ(ConnectionOfCaption("ps/2"), SkinConnection::kKeyboard);
  // Words are tried in a fixed order, not by their place in the caption.
  EXPECT_EQ(ConnectionOfCaption("Keyboard or RS232"), SkinConnection::kSerial);
  EXPECT_EQ(ConnectionOfCaption("HID keyboard"), SkinConnection::kKeyboard);
  // "Communication" begins with "COM" but names no port.
  EXPECT_EQ(ConnectionOfCaption("Communication"), SkinConnection::kNone);

  EXPECT_EQ(ConnectionOfPort("com12"), SkinConnection::kSerial);
  EXPECT_EQ(ConnectionOfPort("HID1"), SkinConnection::kHid);
  EXPECT_EQ(ConnectionOfPort("/dev/ttyS0"), SkinConnection::kNone);
}

class TabsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* captions[] = {"Communication", "PS/2 Keyboard", "USB HID", "RS232", "Tracks"};
    tabs_.SetTabs(5);
    for (int i = 0; i < 5; ++i) tabs_.SetTabCaption(i, captions[i]);
  }
  std::string Enabled() const {
    std::string states;
    for (int i = 0; i < tabs_.Tabs(); ++i) states += tabs_.TabEnabled(i) ? '1' : '0';
    return states;
  }
  platform::TabControl tabs_{"SSTab1"};
};

TEST_F(TabsTest, OnlyTheTabsOfTheConnectionInUseAndTheGeneralOnesAreEnabled) {
  SSTabEnable(tabs_, "PS/2");
  EXPECT_EQ(Enabled(), "11001");
  SSTabEnable(tabs_, "COM3");
  EXPECT_EQ(Enabled(), "10011");
  SSTabEnable(tabs_, "HID");
  EXPECT_EQ(Enabled(), "10101");
  SSTabDisable(tabs_);
  EXPECT_EQ(Enabled(), "10001");
  SSTabEnable(tabs_, "");
  EXPECT_EQ(Enabled(), "10001") << "no known connection: only the general tabs";
}

TEST_F(TabsTest, ASelectedTabThatBecomesDisabledGivesWayToTheFirstEnabledOne) {
  tabs_.SetTab(1);
  SSTabEnable(tabs_, "PS/2");
  EXPECT_EQ(tabs_.Tab(), 1) << "still enabled: the selection stays";
  SSTabEnable(tabs_, "COM1");
  EXPECT_EQ(tabs_.Tab(), 0);
  tabs_.SetTab(3);
  tabs_.SetTabVisible(0, false);
  SSTabDisable(tabs_);
  EXPECT_EQ(tabs_.Tab(), 4) << "hidden tabs are passed over";
}

}  // namespace
