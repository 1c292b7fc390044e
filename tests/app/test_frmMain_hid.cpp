// A reader behind a USB HID bridge, as a technician meets it: found by Auto Scan beside the serial ports,
// written with its defaults without being moved off its line, pulled out, and found again.
#include <gtest/gtest.h>

#include "tests/app/frmMain_fixture.h"

namespace {

using terminal_colour::kBlue;
using terminal_colour::kRed;

constexpr int kInterface = 0x00;
constexpr const char* kIdentification = "KRD36AR,3TRACK,UART";

class HidBridge : public app_test::WindowTest {};

TEST_F(HidBridge, AReaderBehindABridgeIsFoundKeepsItsInterfaceAndIsFoundAgainAfterAReplug) {
  msrsim::ReaderConfig config = app_test::FactoryReader(kIdentification, "KRD36AR");
  config.line_rate = 9600;  // the bridge starts at 19200: the scan must move it
  msrsim::EmulatedReader* reader = readers.Add("HID1", config);
  ASSERT_NE(reader, nullptr);
  const uint8_t interface = reader->Register(kInterface);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();
  ASSERT_TRUE(Shows("Found KRD36AR"));
  EXPECT_EQ(w.ucGNet.CommPort(), "HID1");
  EXPECT_EQ(w.labPort.Caption(), "HID1(msrsim bridge)");
  EXPECT_EQ(w.cboPort.List(1), "HID1");
  EXPECT_NE(w.PortDescription(1).find("msrsim bridge"), std::string::npos);

  // The factory file moves the reader to 19200; the bridge follows, and the reader stays on its UART
  // rather than being switched to the keyboard port.
  w.cmdDefault.UserClick();
  EXPECT_EQ(ColourOf("Set Default OK!"), kBlue);
  EXPECT_EQ(reader->Register(kInterface), interface);
  EXPECT_EQ(reader->LineRate(), 19200u);
  w.cmdRead.UserClick();
  EXPECT_EQ(ColourOf("Read OK!"), kBlue);

  reader->CloseLine();
  ASSERT_TRUE(PumpUntil([&] { return !w.ucGNet.PortOpen(); }, 5000));
  EXPECT_EQ(ColourOf("HID1 is closed & removed!"), kRed);
  EXPECT_FALSE(w.cmdWrite.Enabled());

  // The same bridge plugged in again: the socket comes back under the same name.
  ASSERT_NE(readers.Add("HID1", app_test::FactoryReader(kIdentification, "KRD36AR")), nullptr);
  w.cmdAutoScan.UserClick();
  EXPECT_TRUE(Shows("Found KRD36AR"));  // a scan starts a fresh log
  EXPECT_TRUE(w.ucGNet.PortOpen());
  EXPECT_TRUE(w.cmdWrite.Enabled());
}

TEST_F(HidBridge, BridgesPluggedInAndPulledOutAreShownAndTheOneInUseIsLeft) {
  msrsim::EmulatedReader* reader = readers.Add("HID1", app_test::FactoryReader(kIdentification, "KRD36AR"));
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();
  ASSERT_TRUE(w.ucGNet.PortOpen());

  w.OnHidDeviceArrival("HID2");
  w.OnHidDeviceRemoval("HID2");        // not in use
  w.GHIDIO1_OnDeviceEvent(7, "HID2");  // a code the bridges do not send
  EXPECT_EQ(ColourOf("HID2 is plus-in!"), kBlue);
  EXPECT_EQ(ColourOf("HID2 is removed!"), kRed);
  EXPECT_EQ(CountOf("HID2"), 2);
  EXPECT_TRUE(w.ucGNet.PortOpen());

  // The device manager tells of the bridge in use before its descriptor does.
  w.OnHidDeviceRemoval("HID1");
  EXPECT_EQ(ColourOf("HID1 is closed & removed!"), kRed);
  EXPECT_FALSE(w.ucGNet.PortOpen());
  EXPECT_TRUE(w.Unplugged());
}

}  // namespace
