// Start-up and close of the window: switches, Trakset.ini, the per-user settings, the port list and the
// first scan; devices that come and go; the test mode on the second engine.
#include <gtest/gtest.h>

#include "registers/user_settings.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using terminal_colour::kBlue;
using terminal_colour::kRed;

class Startup : public app_test::WindowTest {
 protected:
  // A listed port whose reader is never asked anything here.
  void AddIdleReader(const std::string& com_name) {
    ASSERT_NE(readers.Add(com_name, test_support::SimReaders::Reader("KRD36AR,3TRACK,UART")), nullptr);
  }
};

TEST_F(Startup, TheStoredPortCountsOnlyWithThePortSelector) {
  AddIdleReader("COM7");
  ASSERT_TRUE(SaveUserSetting("COMM", "Port", "COM7"));
  frmMain& plain = Open();
  EXPECT_EQ(plain.Port(), "COM4");
  EXPECT_EQ(plain.cboPort.Text(), "Auto");
  EXPECT_FALSE(plain.TimerAutoScan.Enabled());

  frmMain& selector = Open("msrcfg /portselbox");
  EXPECT_EQ(selector.Port(), "COM7");
  EXPECT_EQ(selector.cboPort.Text(), "COM7");
  // A remembered reader that is plugged in is looked for as soon as the window is up.
  EXPECT_TRUE(selector.TimerAutoScan.Enabled());
  EXPECT_EQ(selector.TimerAutoScan.Interval(), 100);
}

TEST_F(Startup, SettingsSwitchesAndCaption) {
  for (const char* stored : {"abc", "0"}) {
    ASSERT_TRUE(SaveUserSetting("COMM", "Baudrate", stored));
    EXPECT_EQ(Open().Baudrate(), 19200) << stored;
  }
  ASSERT_TRUE(SaveUserSetting("General", "Cache", "yes"));  // only TRUE checks the box
  program.Write("Trakset.ini", "[General]\nTitle = \"   \"\nDefaultAutoInterface = \" true \"\n");
  frmMain& blank = Open("msrcfg");
  EXPECT_EQ(blank.Form().Caption(), "zk4100_MSR V1.0R0");
  EXPECT_TRUE(blank.DefaultAutoInterface());
  EXPECT_EQ(blank.chkCacheMode.Value(), platform::CheckBox::kUnchecked);
  EXPECT_FALSE(blank.TestAll() || blank.cmdSaveHex.Visible());

  program.Write("Trakset.ini", "[General]\nTitle = Bench Tool\nDefaultAutoInterface = yes\n");
  frmMain& named = Open("msrcfg --x /testall /saveeeprom");
  EXPECT_EQ(named.Form().Caption(), "Bench Tool V1.0R0");
  EXPECT_FALSE(named.DefaultAutoInterface());  // narrower than the other yes/no values
  EXPECT_TRUE(named.TestAll() && named.SaveEEPROM() && named.cmdSaveHex.Visible());
}

TEST_F(Startup, PortListWithAndWithoutSerialPorts) {
  ASSERT_TRUE(SaveUserSetting("COMM", "ScanPort", "2"));
  frmMain& none = Open("/PortSelBox");
  EXPECT_EQ(none.cboPort.ListCount(), 0);  // no "Auto" either
  EXPECT_FALSE(none.TimerAutoScan.Enabled());

  AddIdleReader("COM3");
  AddIdleReader("COM5");
  frmMain& w = Open();
  ASSERT_EQ(w.cboPort.ListCount(), 3);
  EXPECT_EQ(w.cboPort.List(0) + "," + w.cboPort.List(1), "Auto,COM3");
  EXPECT_EQ(w.cboPort.Text(), "COM5");  // the stored index
  EXPECT_EQ(w.PortDescription(0), "");
  EXPECT_EQ(w.PortDescription(2).rfind("/dev/pts/", 0), 0u) << w.PortDescription(2);

  ASSERT_TRUE(SaveUserSetting("COMM", "ScanPort", "9"));
  EXPECT_EQ(Open().cboPort.Text(), "Auto");
}

TEST_F(Startup, SerialDevicesThatComeAndGo) {
  AddIdleReader("COM3");
  ASSERT_TRUE(SaveUserSetting("COMM", "Port", "COM3"));
  frmMain& w = Open("/PortSelBox");
  w.TimerAutoScan.SetEnabled(false);

  w.OnSerialDeviceArrival("/dev/ttyUSB0");  // no port name: not one of ours
  EXPECT_EQ(w.txtView.Text(), "");
  w.OnSerialDeviceArrival("COM05");
  EXPECT_EQ(ColourOf("COM5 is plus-in!"), kBlue);
  EXPECT_FALSE(w.TimerAutoScan.Enabled());  // not the remembered port
  w.OnSerialDeviceArrival("COM3");
  EXPECT_TRUE(w.TimerAutoScan.Enabled());
  EXPECT_EQ(w.TimerAutoScan.Interval(), 1500);
  w.TimerAutoScan.SetEnabled(false);

  w.OnSerialDeviceRemoval("COM3");  // not in use: nothing else happens
  EXPECT_EQ(ColourOf("COM3 is removed!"), kRed);
  EXPECT_FALSE(w.Unplugged());
}

TEST_F(Startup, TestModeWatchesAReaderOnTheSecondEngine) {
  // Behind a USB HID bridge and on a serial line alike. The bridge goes first: serial ports are scanned
  // first, so the serial round finds its reader before the bridge that may still be closing.
  for (const std::string port : {"HID1", "COM3"}) {
    SCOPED_TRACE(port);
    msrsim::EmulatedReader* reader =
        readers.Add(port, app_test::FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR"));
    ASSERT_NE(reader, nullptr);
    frmMain& w = Open();
    w.chkTestMode.UserClick();
    EXPECT_TRUE(Shows("Auto Scan for Test...") && Shows("Found Device on " + port));
    EXPECT_TRUE(w.ucGNetB.PortOpen() && !w.ucGNet.PortOpen());
    EXPECT_FALSE(w.picBack.Enabled() || w.cmdCancel.Visible());

    reader->Swipe("%B12345?");
    EXPECT_TRUE(PumpUntil([&] { return Shows("%B12345?<CR><LF>"); }, 2000)) << w.txtView.Text();

    w.chkTestMode.UserClick();
    EXPECT_FALSE(w.ucGNetB.PortOpen());
    EXPECT_TRUE(w.picBack.Enabled());
    reader->CloseLine();  // the next round's scan must not find this one
  }
}

}  // namespace
