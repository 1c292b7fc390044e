// Finding a reader from the window: the scan, the reader's identity, the skin chosen for it and the pages
// filled from it, against emulated readers.
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/ui_services.h"
#include "registers/clsRegister.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using app_test::FactoryReader;
using app_test::WindowTest;
using terminal_colour::kBlue;
using terminal_colour::kRed;

class Discovery : public WindowTest {};

TEST_F(Discovery, FindsTheReaderByItsModelLoadsItsSkinAndFillsThePages) {
  msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  config.registers[0x32] = 2;  // LED: flash on read, unlike the factory image
  ASSERT_NE(AddReader("COM3", config), nullptr);
  frmMain& w = Open();
  ASSERT_EQ(w.cboPort.Text(), "Auto");

  w.cmdAutoScan.UserClick();

  EXPECT_TRUE(w.ucGNet.PortOpen());
  EXPECT_EQ(w.ucGNet.CommPort(), "COM3");
  EXPECT_EQ(w.Port(), "COM3");
  EXPECT_EQ(w.labProduct.Caption(), "KRD36AR,3TRACK,UART");
  EXPECT_EQ(w.labROMSN.Caption(), "12345678");
  EXPECT_EQ(w.labROMVersion.Caption(), "V1.05");
  EXPECT_EQ(w.labPort.Caption(), "COM3");
  EXPECT_EQ(ColourOf("Please waiting for check the device!"), kBlue);
  EXPECT_TRUE(Shows("Found KRD36AR,3TRACK,UART"));
  EXPECT_TRUE(Shows("Update Items Data..."));
  EXPECT_EQ(ColourOf("Update Items Data OK"), 0);
  EXPECT_FALSE(Shows("NG"));
  ASSERT_NE(w.SkinObject(), nullptr);
  EXPECT_EQ(w.SkinObject()->Owner(), &w.picBack);
  ASSERT_NE(w.m_oRegisters.FindRegister("LED"), nullptr);
  EXPECT_EQ(w.m_oRegisters.FindRegister("LED")->Text(), "Flash on read");
  EXPECT_EQ(w.m_oRegisters.FindRegister("Baudrate")->Text(), "19200");
  EXPECT_TRUE(w.SkinLoaded());
  EXPECT_TRUE(w.RegistersRead());
  // A single-interface reader: connected, its pages usable, the cancel button gone again.
  EXPECT_TRUE(w.cmdWrite.Enabled() && w.cmdRead.Enabled() && w.cmdAutoScan.Enabled());
  EXPECT_FALSE(w.cmdCancel.Visible());
  EXPECT_FALSE(w.MultipleInterfaces());
  EXPECT_TRUE(platform::HeadlessUi().messages.empty());

  // The same reader again: the skin stays, the pages are shown from what was read.
  w.cmdAutoScan.UserClick();
  EXPECT_EQ(ColourOf("Load skin OK!"), kBlue);

  EXPECT_FALSE(Shows("Update Items Data"));
  EXPECT_EQ(w.m_oRegisters.FindRegister("LED")->Text(), "Flash on read");
}

TEST_F(Discovery, AKrdModelWithoutASkinOfItsOwnFallsBackToOthers) {
  ASSERT_NE(AddReader("COM3", FactoryReader("KRD42XA-9,2TRACK,UART", "Others")), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();

  EXPECT_EQ(w.ModelName(), "KRD42XA-9");
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_TRUE(w.SkinLoaded());
  EXPECT_TRUE(w.ucGNet.PortOpen());
  EXPECT_NE(w.m_oRegisters.FindRegister("Baudrate"), nullptr);
}

TEST_F(Discovery, AnUnknownFamilyGetsNoSkinAndLeavesThePortClosed) {
  // The settings file lets the scan accept the model; no skin knows it.
  program.Write("Trakset.ini", "[General]\nModuleNames = XYZ##*\n");
  ASSERT_NE(AddReader("COM3", app_test::FactoryReader("XYZ12B,1TRACK", "Others")), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();

  EXPECT_TRUE(Shows("Found XYZ12B,1TRACK"));
  EXPECT_EQ(ColourOf("Open Information File NG(Read Settings Error)"), kRed);
  EXPECT_FALSE(w.ucGNet.PortOpen());
  EXPECT_FALSE(w.SkinLoaded());
  EXPECT_EQ(w.SkinObject(), nullptr);
  EXPECT_FALSE(w.cmdWrite.Enabled());
  EXPECT_TRUE(w.cmdRead.Enabled());  // Read scans again
}

TEST_F(Discovery, NoReaderSaysSoInTheViewAndInAMessageBox) {
  frmMain& w = Open();
  EXPECT_EQ(w.cboPort.ListCount(), 0);
  w.cmdAutoScan.UserClick();

  EXPECT_EQ(ColourOf("Not Found Reader"), kRed);
  ASSERT_EQ(platform::HeadlessUi().messages.size(), 1u);
  EXPECT_EQ(platform::HeadlessUi().messages[0].text, "Not Found Reader");
  EXPECT_EQ(platform::HeadlessUi().messages[0].style, platform::kMbCritical);
  EXPECT_TRUE(w.cmdAutoScan.Enabled());
  EXPECT_TRUE(w.chkTestMode.Enabled());
}

TEST_F(Discovery, CancelDuringTheScanEndsItQuietly) {
  msrsim::ReaderConfig silent = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  silent.silent = true;
  msrsim::EmulatedReader* reader = AddReader("COM3", silent);
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();

  // The person presses Cancel, which sits over the port list, once the first poll has gone out.
  platform::Timer press;
  bool cancel_was_over_list = false;
  press.OnTimer = [&] {
    if (reader->TransactionCount() == 0) return;
    press.SetEnabled(false);
    cancel_was_over_list = w.cmdCancel.Visible() && w.cmdCancel.Left() == w.cboPort.Left() &&
                           w.cmdCancel.Top() == w.cboPort.Top();
    w.cmdCancel.UserClick();
  };
  press.SetInterval(5);
  press.SetEnabled(true);
  const uint32_t start = platform::GetTickCount();
  w.cmdAutoScan.UserClick();

  EXPECT_TRUE(cancel_was_over_list);
  EXPECT_LT(platform::GetTickCount() - start, 1000u);  // not the three full reply time-outs
  EXPECT_EQ(ColourOf("User Cancel"), kBlue);
  EXPECT_FALSE(Shows("Not Found Reader"));
  EXPECT_TRUE(platform::HeadlessUi().messages.empty());
  EXPECT_FALSE(w.cmdCancel.Visible());
}

TEST_F(Discovery, AnAliasWithASkinOfItsOwnWinsOverTheModel) {
  // A customer's skin definition for the alias: the KRD pages, known by the alias name.
  std::string definition = program.Read("Skin/KRD36AR.ini");
  definition.replace(definition.find("Module = KRD36AR"), 16, "Module = Shop-7");
  program.Write("Skin/Shop7.ini", definition);
  msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  msrsim::SetAlias(config.registers, "Shop-7");
  ASSERT_NE(AddReader("COM3", config), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();

  EXPECT_EQ(w.labProduct.Caption(), "Shop-7");
  EXPECT_TRUE(Shows("Found Shop-7"));
  EXPECT_TRUE(Shows("Load skin by alias name: Shop-7"));
  EXPECT_TRUE(Shows("Update Items Data OK"));
}

}  // namespace
